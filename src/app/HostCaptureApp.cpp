#include "HostCaptureApp.h"

#include "CConfigSpaceQuery.h"
#include "CDebug.h"
#include "CFile.h"
#include "Clock.h"
#include "CmdLineOptions.h"
#include "HostCapture.h"
#include "SwitchClientConnection.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <memory>

namespace
{
const char kOutputKey[] = "output";
const char kClearStatusKey[] = "clearstatus";
const char kAutoStartKey[] = "autostart";
const char kHelpKey[] = "?";

int ReportWriteFailure(const std::string& name)
{
    printf("\n!! Failed to write HTML file \"%s\"! (Error %s)\n", name.c_str(), strerror(errno));
    return -1;
}

void ClearDeviceWatchStatus()
{
    printf("\nClearing Device Watch status for all components...");
    CConfigSpaceQuery query;
    // Without a daemon the query object stays unbound and the clear simply reports failure.
    ConnectSwitchClient(query);
    if (query.ClearDeviceWatchStatus())
        printf("\nStatus clear success.");
    else
        printf("\nStatus clear failed.");
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
    if (options.Find(kOutputKey))
    {
        std::vector<std::string> values = options.Values(kOutputKey);
        fileName = values.empty() ? GetDefaultFileName() : values.front();
    }
    else
        fileName = GetDefaultFileName();

    // Find out now, not after the long report run, when the file cannot be written.
    if (!fileName.empty() && !CanCreateFile(fileName))
        return ReportWriteFailure(fileName);

    if (options.Find(kClearStatusKey))
        ClearDeviceWatchStatus();

    printf("\nGenerating HTML report...");
    auto document = std::make_unique<HostCapture>();
    std::string page = document->Render();

    if (fileName.empty() || !CFile::WriteTextFile(fileName, page))
        return ReportWriteFailure(fileName);

    printf("\nSuccessfuly write HTML file \"%s\"\n", fileName.c_str());
    if (options.Find(kAutoStartKey))
    {
        std::string command = "xdg-open \"" + fileName + "\"";
        // The browser's own output must come after ours.
        fflush(stdout);
        int ignored = system(command.c_str());
        (void)ignored;
    }
    return 0;
}

void HostCaptureApp::PrintHelp()
{
    printf("\nSyntax:");
    printf("\nHostCapture");
    printf("\nHostCapture           generates HTML output file HostCapture_<timestamp>.html");
    printf("\n");
    printf("\n   -output [file name]   generates HTML output file [file name]");
    printf("\n   -clearstatus          clears Device Watch status and generates HTML output file "
           "HostCapture_<timestamp>.html");
    printf("\n   -autostart             starts default browser after generating the HTML report");
    printf("\n   -?                    shows this help");
    printf("\n");
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

bool HostCaptureApp::CanCreateFile(const std::string& name)
{
    if (name.empty())
        return true;
    errno = 0;
    CFile file(name.c_str());
    if (!file.Open(O_RDWR | O_CREAT | O_TRUNC, 0644))
    {
        errno = file.LastError();
        return false;
    }
    file.Lock();
    file.Sync();
    file.Unlock();
    file.Close();
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
    HostCaptureApp app;
    return app.Run(argc, argv);
}
