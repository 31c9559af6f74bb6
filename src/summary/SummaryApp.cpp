#include "SummaryApp.h"

#include "FleetJson.h"
#include "FleetOverview.h"
#include "FleetTally.h"
#include "PageFiles.h"
#include "PageReader.h"
#include "PageRedactor.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace
{
const char kKeyFileName[] = "redaction-key.json";

const char kUsage[] =
    "Usage: hostcapture-summary [options] PAGE|FOLDER...\n"
    "Reads HostCapture pages (folders are searched recursively for *.html) and summarises them.\n"
    "  --json FILE     write the machine-readable export to FILE (- for standard output)\n"
    "  --html FILE     write the fleet overview page to FILE\n"
    "  --redact DIR    write a copy of every page to DIR with serial numbers, host names and\n"
    "                  addresses replaced by tokens; the key goes to DIR/redaction-key.json (mode 0600)\n"
    "  --latest        read only the newest page of every folder (names sort by time)\n"
    "  --quiet         no status line on standard output\n"
    "  --help          this text\n"
    "Exit status: 0 all normal, 1 some warning, 2 some error or major,\n"
    "3 some page unreadable or unknown (an error outranks 3, 3 outranks a warning).\n";
} // namespace

bool SummaryApp::IsOutput(const std::string& path) const
{
    std::error_code ec;
    auto same = [&](const std::string& output)
    { return !output.empty() && output != "-" && std::filesystem::equivalent(path, output, ec); };
    return same(m_HtmlPath) || same(m_JsonPath);
}

bool SummaryApp::Parse(const std::vector<std::string>& arguments)
{
    for (size_t i = 0; i < arguments.size(); ++i)
    {
        const std::string& a = arguments[i];
        auto value = [&](std::string& into)
        {
            if (i + 1 >= arguments.size())
            {
                m_Error = a + " needs a value";
                return false;
            }
            into = arguments[++i];
            return true;
        };
        if (a == "--json")
        {
            if (!value(m_JsonPath))
                return false;
        }
        else if (a == "--html")
        {
            if (!value(m_HtmlPath))
                return false;
        }
        else if (a == "--redact")
        {
            if (!value(m_RedactDir))
                return false;
        }
        else if (a == "--latest")
            m_Latest = true;
        else if (a == "--quiet")
            m_Quiet = true;
        else if (a == "--help" || a == "-h")
            m_Help = true;
        else if (a == "--")
        {
            m_Inputs.insert(m_Inputs.end(), arguments.begin() + i + 1, arguments.end());
            break;
        }
        else if (a.size() > 1 && a[0] == '-')
        {
            m_Error = "unknown option " + a;
            return false;
        }
        else
            m_Inputs.push_back(a);
    }
    if (!m_Help && m_Inputs.empty())
    {
        m_Error = "no page or folder given";
        return false;
    }
    return true;
}

int SummaryApp::Run(const std::vector<std::string>& arguments)
{
    if (!Parse(arguments))
    {
        fprintf(stderr, "hostcapture-summary: %s\n%s", m_Error.c_str(), kUsage);
        return kExitUsage;
    }
    if (m_Help)
    {
        fputs(kUsage, stdout);
        return 0;
    }

    std::string keyPath;
    if (!m_RedactDir.empty())
    {
        std::error_code ec;
        std::filesystem::create_directories(m_RedactDir, ec);
        keyPath = (std::filesystem::path(m_RedactDir) / kKeyFileName).string();
        struct stat st;
        if (ec || lstat(keyPath.c_str(), &st) == 0)
        {
            fprintf(stderr, "hostcapture-summary: %s: %s\n", ec ? m_RedactDir.c_str() : keyPath.c_str(),
                    ec ? ec.message().c_str() : "a redaction key is already there; choose an empty folder");
            return kExitUsage;
        }
    }

    FleetJson json;
    if (!m_JsonPath.empty() && !json.Open(m_JsonPath))
    {
        fprintf(stderr, "hostcapture-summary: %s\n", json.Error().c_str());
        return kExitUsage;
    }

    FleetTally tally;
    PageRedactor redactor;
    bool outputFailed = false;
    std::string bytes;
    for (const PageFile& file : PageFiles::Collect(m_Inputs, m_Latest))
    {
        // The overview may land in the folder being summarised; it is not a host.
        if (IsOutput(file.Path))
            continue;
        HostPage page;
        bool readable = PageReader::ReadFile(file.Path, page, m_RedactDir.empty() ? nullptr : &bytes);
        if (!readable)
            fprintf(stderr, "hostcapture-summary: %s: %s\n", file.Path.c_str(), page.Problem.c_str());
        tally.Add(page);
        json.AddPage(page);
        if (readable && !m_RedactDir.empty())
        {
            std::filesystem::path target = std::filesystem::path(m_RedactDir) / file.Relative;
            std::error_code ec;
            std::filesystem::create_directories(target.parent_path(), ec);
            std::ofstream out(target, std::ios::binary | std::ios::trunc);
            out << redactor.Redact(bytes, page);
            out.close();
            if (!out)
            {
                fprintf(stderr, "hostcapture-summary: %s: cannot be written\n", target.c_str());
                outputFailed = true;
            }
        }
        bytes.clear();
    }

    if (!m_JsonPath.empty() && !json.Finish(tally))
    {
        fprintf(stderr, "hostcapture-summary: %s: %s\n", m_JsonPath.c_str(), json.Error().c_str());
        outputFailed = true;
    }
    std::string error;
    if (!m_HtmlPath.empty() && !FleetOverview::Write(tally, m_HtmlPath, error))
    {
        fprintf(stderr, "hostcapture-summary: %s\n", error.c_str());
        outputFailed = true;
    }
    if (!m_RedactDir.empty() && !redactor.WriteKey(keyPath, error))
    {
        fprintf(stderr, "hostcapture-summary: %s\n", error.c_str());
        outputFailed = true;
    }

    if (!m_Quiet && m_JsonPath != "-")
    {
        std::string status = HostStatusRules::Name(tally.Worst());
        for (char& c : status)
            c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
        printf("HOSTCAPTURE %s - %d hosts:", status.c_str(), tally.Hosts());
        const char* separator = " ";
        for (int s = HostStatusRules::kCount - 1; s >= 0; --s)
        {
            int count = tally.HostsWith(static_cast<HostStatus>(s));
            if (count == 0)
                continue;
            printf("%s%d %s", separator, count, HostStatusRules::Name(static_cast<HostStatus>(s)));
            separator = ", ";
        }
        printf("\n");
    }
    fflush(stdout);
    // Output that could not be written leaves the monitoring state unknown.
    return outputFailed ? kExitUsage : tally.ExitCode();
}
