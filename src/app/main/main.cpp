#include "HostCaptureApp.h"

int main(int argc, char** argv)
{
    return RunHostCapture(argc, argv);
}
