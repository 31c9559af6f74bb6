// The profiles that ship with the simulator are what a newcomer sees first, so their pages must
// make sense: every section's status is the worst among its rows and sub-sections, the trace of
// a run on the bundled system root holds no ERROR line, and the event log shows the texts of the
// bundled message catalogue. The program runs as a child process against the real simulator.
#include "ProgramRun.h"
#include "SimProcess.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

namespace
{
namespace fs = std::filesystem;

const std::string kSourceDir = HOSTCAPTURE_SOURCE_DIR;

// error and major rank highest, then warning, then normal. Unknown and not present do not count:
// an empty slot or a disabled fan says nothing about the health of its section, and a value the
// daemon does not know cannot be better or worse than the others.
int Rank(const std::string& statusClass)
{
    if (statusClass == "status-error" || statusClass == "status-major")
        return 3;
    if (statusClass == "status-warning")
        return 2;
    if (statusClass == "status-normal")
        return 1;
    return 0;
}

struct Section
{
    std::string title;
    std::string status; // empty: the header shows no status
    int contentDepth = 0;
    int worstInside = 0;
};

// Walks the page's collapsible sections (a header button followed by its content division) and
// returns one line per section whose status disagrees with what it holds. A section without a
// status of its own (the event log, the top-level frames) is not judged and does not count for
// the section around it.
std::vector<std::string> StatusDisagreements(const std::string& page)
{
    static const std::regex token(
        R"re(<button[^>]*class="([^"]*)"[^>]*>([^<]*)</button>|<div[^>]*>|</div>|)re"
        R"re(<td class="(status-[a-z-]+) icon status")re");
    static const std::regex statusWord(R"(\bstatus-[a-z-]+)");
    std::vector<std::string> problems;
    std::vector<Section> open;
    Section pending;
    bool hasPending = false;
    int depth = 0;
    for (std::sregex_iterator it(page.begin(), page.end(), token), end; it != end; ++it)
    {
        const std::string text = it->str(0);
        if (text.rfind("<button", 0) == 0)
        {
            std::smatch status;
            const std::string classes = it->str(1);
            pending =
                Section{it->str(2), std::regex_search(classes, status, statusWord) ? status.str(0) : ""};
            hasPending = true;
        }
        else if (text.rfind("<div", 0) == 0)
        {
            ++depth;
            if (hasPending)
            {
                pending.contentDepth = depth;
                open.push_back(pending);
                hasPending = false;
            }
        }
        else if (text == "</div>")
        {
            if (!open.empty() && open.back().contentDepth == depth)
            {
                const Section done = open.back();
                open.pop_back();
                const int own = Rank(done.status);
                if (!done.status.empty() && done.worstInside != 0 && own != done.worstInside)
                    problems.push_back(done.title + ": " + done.status + " over contents of rank " +
                                       std::to_string(done.worstInside));
                if (!open.empty() && !done.status.empty())
                    open.back().worstInside = std::max(open.back().worstInside, own);
            }
            --depth;
        }
        else if (!open.empty())
        {
            open.back().worstInside = std::max(open.back().worstInside, Rank(it->str(3)));
        }
    }
    return problems;
}

std::string SectionHtml(const std::string& title, const std::string& status, const std::string& inside)
{
    return "<button type=\"button\" class=\"collapsible title-text " + status + "\">" + title +
           "</button>\n<div class=\"content\">\n" + inside + "</div>\n";
}

std::string Rows(const std::vector<std::string>& statuses)
{
    std::string rows = "<table><tbody>\n";
    for (const std::string& status : statuses)
        rows += "<tr><td class=\"" + status + " icon status\">x</td><td>y</td></tr>\n";
    return rows + "</tbody></table>\n";
}

TEST(ShippedProfilesTest, StatusCheckFindsSectionsThatHideWorseContents)
{
    struct Case
    {
        const char* name;
        std::string page;
        std::vector<std::string> expected;
    };
    const std::string normalBoard =
        SectionHtml("Memory Modules", "status-normal", Rows({"status-normal", "status-not-present"}));
    const Case cases[] = {
        {"warning row under a normal section",
         SectionHtml("Memory Modules", "status-normal", Rows({"status-normal", "status-warning"})),
         {"Memory Modules: status-normal over contents of rank 2"}},
        {"warning section over normal rows",
         SectionHtml("Voltages", "status-warning", Rows({"status-normal"})),
         {"Voltages: status-warning over contents of rank 1"}},
        {"major row makes an error section right",
         SectionHtml("Logical", "status-error", Rows({"status-major", "status-warning"})),
         {}},
        {"empty slots and unknown rows do not count",
         SectionHtml("Slots", "status-normal",
                     Rows({"status-not-present", "status-unknown", "status-normal"})),
         {}},
        {"group over a warning sub-section",
         SectionHtml("System Board", "status-normal",
                     normalBoard + SectionHtml("PCI Slots", "status-warning", Rows({"status-warning"}))),
         {"System Board: status-normal over contents of rank 2"}},
        {"a section without status is not judged and does not count",
         SectionHtml("Health", "",
                     SectionHtml("Event Log", "", Rows({"status-error"})) +
                         SectionHtml("Power", "status-normal", Rows({"status-normal"}))),
         {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(StatusDisagreements(c.page), c.expected) << c.name;
}

// The texts of the event-log table's last column.
std::vector<std::string> EventLogMessages(const std::string& page)
{
    std::vector<std::string> messages;
    const size_t start = page.find(">System Event Log</button>");
    const size_t end = page.find("</table>", start);
    if (start == std::string::npos || end == std::string::npos)
        return messages;
    static const std::regex row(
        R"re(<tr>\s*<td class="status[^>]*>[^<]*</td>\s*<td>[^<]*</td>\s*<td>[^<]*</td>\s*<td>([^<]*)</td>)re");
    const std::string table = page.substr(start, end - start);
    for (std::sregex_iterator it(table.begin(), table.end(), row), last; it != last; ++it)
        messages.push_back(it->str(1));
    return messages;
}

TEST(ShippedProfilesTest, EveryShippedProfileGivesAConsistentPageAndACleanTrace)
{
    const std::string catalogue =
        ReadFile(kSourceDir + "/tools/qmxd-sim/demo-root/opt/TessmarkQDX/bin/ERRMSG.XML");
    ASSERT_FALSE(catalogue.empty());
    int profiles = 0;
    for (const auto& entry : fs::directory_iterator(kSourceDir + "/tools/qmxd-sim/profiles"))
    {
        if (entry.path().extension() != ".json")
            continue;
        ++profiles;
        const std::string name = entry.path().filename().string();
        TempDir root;
        TempDir work;
        fs::copy(kSourceDir + "/tools/qmxd-sim/demo-root", root.Path(), fs::copy_options::recursive);
        MakeDirs(root.Path() + "/var/log/plinthd");
        SimProcess sim(root.Path());
        ASSERT_TRUE(sim.Start(entry.path().string())) << name << ": " << sim.Error();

        ProgramRun run = RunProgram(HOSTCAPTURE_EXECUTABLE, {"-output", "page.html"}, work.Path(),
                                    {{"HOSTCAPTURE_SYSROOT", root.Path()}, {"TM_LOG_DEBUG_LEVEL", "3"}});
        ASSERT_EQ(run.exitStatus, 0) << name;
        const std::string page = ReadFile(work.Path() + "/page.html");
        ASSERT_NE(page.find("</html>"), std::string::npos) << name;
        EXPECT_EQ(StatusDisagreements(page), std::vector<std::string>()) << name;

        const std::string trace = ReadFile(root.Path() + "/var/log/plinthd/log.hostcapture");
        EXPECT_NE(trace.find("Event messages successfully opened"), std::string::npos) << name;
        EXPECT_EQ(trace.find("ERROR"), std::string::npos)
            << name << ": "
            << trace.substr(trace.find("ERROR") - std::min<size_t>(trace.find("ERROR"), 200), 400);
        for (const std::string& message : EventLogMessages(page))
            EXPECT_NE(catalogue.find(">" + message + "</Message>"), std::string::npos)
                << name << ": " << message;
    }
    EXPECT_GE(profiles, 2);
}
} // namespace
