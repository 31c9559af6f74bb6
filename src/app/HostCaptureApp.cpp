#include "HostCaptureApp.h"

int RunHostCapture(int, char**)
{
    return 0;
}
