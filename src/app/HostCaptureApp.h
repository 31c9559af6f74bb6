#pragma once

#include <memory>
#include <string>

class CFile;

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
    // Opens and empties the file (true for an empty name) and keeps it open for the final write;
    // on failure errno tells why. With exclusive only a new file is accepted.
    bool CanCreateFile(const std::string& name, bool exclusive = false);

    HostCaptureApp();
    ~HostCaptureApp();

private:
    // Writes the page through the descriptor opened by CanCreateFile; false with errno set.
    bool WritePage(const std::string& page);

    std::string m_outputFile;
    std::unique_ptr<CFile> m_Output;
};

// Program entry: traces the arguments and runs the application object.
int RunHostCapture(int argc, char** argv);
