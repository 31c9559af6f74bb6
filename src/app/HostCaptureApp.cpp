#include "HostCaptureApp.h"

#include "BrowserLauncher.h"
#include "CConfigSpaceQuery.h"
#include "CDebug.h"
#include "CFile.h"
#include "Clock.h"
#include "CmdLineOptions.h"
#include "HostCapture.h"
#include "StopSignals.h"
#include "SwitchClientConnection.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

namespace
{
const char kOutputKey[] = "output";
const char kClearStatusKey[] = "clearstatus";
const char kAutoStartKey[] = "autostart";
const char kHelpKey[] = "?";

// Every message for the user goes out at once: the run may wait a long time for the daemon, and
// whoever follows it through a pipe or a log must see where it is (stdout is not a terminal
// there, so it would otherwise sit in the buffer until the end).
void PrintMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));
void PrintMessage(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
    fflush(stdout);
}

int ReportWriteFailure(const std::string& name)
{
    PrintMessage("\n!! Failed to write HTML file \"%s\"! (Error %s)\n", name.c_str(), strerror(errno));
    return -1;
}

void ClearDeviceWatchStatus()
{
    PrintMessage("\nClearing Device Watch status for all components...");
    CConfigSpaceQuery query;
    // Without a daemon the query object stays unbound and the clear simply reports failure.
    ConnectSwitchClient(query);
    if (query.ClearDeviceWatchStatus())
        PrintMessage("\nStatus clear success.");
    else
        PrintMessage("\nStatus clear failed.");
    ReleaseSwitchClient(query);
}
} // namespace

int HostCaptureApp::Run(int argc, char** argv)
{
    CmdLineOptions options("-");
    if (argc != 1 && options.Parse(argc, argv, true) == 0)
    {
        PrintHelp();
        return 0;
    }
    if (options.Find(kHelpKey))
    {
        PrintHelp();
        return 0;
    }

    // Every word on the command line must be accounted for: the output option and its file name,
    // and the two switches. This one count rejects unknown options, stray words, a missing file
    // name, repeated options and extra values alike.
    int recognised = 0;
    if (options.Find(kOutputKey))
        recognised += 2;
    if (options.Find(kClearStatusKey))
        recognised += 1;
    if (options.Find(kAutoStartKey))
        recognised += 1;
    if (options.Find(kHelpKey) || recognised + 1 != argc)
    {
        PrintHelp();
        return 0;
    }

    std::string fileName;
    bool defaultName = true;
    if (options.Find(kOutputKey))
    {
        std::vector<std::string> values = options.Values(kOutputKey);
        defaultName = values.empty();
        fileName = defaultName ? GetDefaultFileName() : values.front();
    }
    else
        fileName = GetDefaultFileName();

    // Find out now, not after the long report run, when the file cannot be written. The default
    // name is predictable, so whatever already carries it was planted: only a new file will do.
    if (!fileName.empty() && !CanCreateFile(fileName, defaultName))
        return ReportWriteFailure(fileName);

    if (options.Find(kClearStatusKey))
        ClearDeviceWatchStatus();

    PrintMessage("\nGenerating HTML report...");
    auto document = std::make_unique<HostCapture>();
    std::string page = document->Render();

    // A page that did not reach the disk whole is a failure, not a success with a cut page.
    if (fileName.empty() || !WritePage(page))
        return ReportWriteFailure(fileName);

    PrintMessage("\nSuccessfuly write HTML file \"%s\"\n", fileName.c_str());
    // A run stopped by a signal has written what it had; it opens no browser and tells the
    // caller by its exit status that the page is incomplete.
    const int stoppedStatus = StopSignals::ExitStatus();
    if (stoppedStatus != 0)
    {
        g_Debug.Print(1, "\nHostCaptureApp::Run: run stopped by signal %d - page written with what was read",
                      stoppedStatus - 128);
        return stoppedStatus;
    }
    if (options.Find(kAutoStartKey))
        BrowserLauncher::Open(fileName);
    return 0;
}

void HostCaptureApp::PrintHelp()
{
    PrintMessage("\nSyntax:");
    PrintMessage("\nHostCapture");
    PrintMessage("\nHostCapture           generates HTML output file HostCapture_<timestamp>.html");
    PrintMessage("\n");
    PrintMessage("\n   -output [file name]   generates HTML output file [file name]");
    PrintMessage("\n   -clearstatus          clears Device Watch status and generates HTML output file "
                 "HostCapture_<timestamp>.html");
    PrintMessage("\n   -autostart             starts default browser after generating the HTML report");
    PrintMessage("\n   -?                    shows this help");
    PrintMessage("\n");
}

std::string HostCaptureApp::GetDefaultFileName()
{
    if (m_outputFile.empty())
    {
        time_t now = CClock::Get().Now();
        struct tm local = {};
        char stamp[100] = "";
        if (localtime_r(&now, &local) == nullptr ||
            strftime(stamp, sizeof(stamp), "%Y%m%d%H%M%S", &local) == 0)
            stamp[0] = '\0';
        m_outputFile = std::string("HostCapture_") + stamp + ".html";
    }
    return m_outputFile;
}

HostCaptureApp::HostCaptureApp() = default;
HostCaptureApp::~HostCaptureApp() = default;

bool HostCaptureApp::CanCreateFile(const std::string& name, bool exclusive)
{
    if (name.empty())
        return true;
    errno = 0;
    m_Output = std::make_unique<CFile>(name);
    if (!m_Output->OpenForOutput(exclusive))
    {
        errno = m_Output->LastError();
        m_Output.reset();
        return false;
    }
    // Anyone who can read the old page can hold a lock on it; the run does not wait for them.
    if (!m_Output->TryLock())
        g_Debug.Print(
            1, "\nHostCaptureApp::CanCreateFile: lock on \"%s\" held elsewhere (%s) - not waiting for it",
            name.c_str(), strerror(m_Output->LastError()));
    m_Output->Sync();
    m_Output->Unlock();
    return true;
}

bool HostCaptureApp::WritePage(const std::string& page)
{
    if (!m_Output)
    {
        errno = EBADF;
        return false;
    }
    const bool written = m_Output->WriteAll(page) && m_Output->Sync() && m_Output->Close();
    if (!written)
    {
        const int error = m_Output->LastError();
        g_Debug.Print(1, "\nCFile               : ERROR 0x%X! Failed to write text file \"%s\"", error,
                      m_Output->Path().c_str());
        m_Output.reset();
        errno = error;
        return false;
    }
    m_Output.reset();
    return true;
}

int RunHostCapture(int argc, char** argv)
{
    if (g_Debug.IsTraceEnabled())
    {
        g_Debug.Print(2, "\nHostCapture           : %d command line args:", argc);
        for (int i = 0; i < argc; ++i)
        {
            if (argv[i] != nullptr)
                g_Debug.Print(2, "\nHostCapture           :   Arg %d: \"%s\"", i, argv[i]);
        }
    }
    StopSignals::Install();
    HostCaptureApp app;
    return app.Run(argc, argv);
}
