#include "HostCaptureApp.h"

#include <clocale>

int main(int argc, char** argv)
{
    // Only the character type comes from the environment: the message catalogue may be written
    // in the user's 8-bit code page, while numbers and times on the page keep their C formats.
    std::setlocale(LC_CTYPE, "");
    return RunHostCapture(argc, argv);
}
