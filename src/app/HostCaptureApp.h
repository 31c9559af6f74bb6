#pragma once

#include <string>

// The application: reads the command line, checks that the output file can be written, clears
// the Device Watch status on request, renders the report and writes it, and opens it in the
// desktop's browser on request. Messages for the user go to standard output.
class HostCaptureApp
{
public:
    // Returns the exit status: 0 after the help or a written report, -1 when the report cannot be
    // written.
    int Run(int argc, char** argv);
    void PrintHelp();
    // "HostCapture_<local time stamp>.html" in the current directory; the same name for the whole run.
    std::string GetDefaultFileName();
    // Creates or empties the file (true for an empty name); on failure errno tells why.
    bool CanCreateFile(const std::string& name);

private:
    std::string m_outputFile;
};

// Program entry: traces the arguments and runs the application object.
int RunHostCapture(int argc, char** argv);
