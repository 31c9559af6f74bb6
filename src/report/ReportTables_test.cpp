#include "CConfigSpaceQuery.h"
#include "FakeObraClient.h"
#include "StorageTables.h"

#include <gtest/gtest.h>

TEST(RaidManagerTable, RowForEveryStatusClassInstalledOrNot)
{
    FakeObraClient daemon;
    CConfigSpaceQuery query;
    query.Bind(&daemon, 0, "");
    struct Case
    {
        uint32_t code; // codes 0 to 3 carry classes 0 to 3; 7 is unknown: class 0, no text
        const char* cssClass;
        const char* text;
    };
    for (const Case& c : {Case{1, "status-normal", "OK"}, Case{2, "status-warning", "Warning"},
                          Case{3, "status-error", "Error"}, Case{0, "status-not-present", "Unknown"},
                          Case{7, "status-not-present", ""}})
    {
        for (const bool installed : {true, false})
        {
            SCOPED_TRACE(std::to_string(c.code) + (installed ? " installed" : " not installed"));
            daemon.Sent.clear();
            if (installed)
                daemon.AnswerString(0x0C00, 0xAA03, 0, "7.2 <beta>");
            else
                daemon.AnswerStatus(0x0C00, 0xAA03, 0, 21);
            daemon.AnswerNumber(0x2120, 0, 0, c.code);

            const std::string table = StorageTables::BuildRaidManagerTable(query)->Render();
            const std::string row = std::string("<td class=\"") +
                                    (installed ? "status-normal" : "status-not-present") + " icon status\">" +
                                    (installed ? "Installed" : "Not Installed") + "</td>\n<td class=\"" +
                                    c.cssClass + " icon status\">" + c.text + "</td>\n            <td>" +
                                    (installed ? "7.2 &lt;beta&gt;" : "N/A") + "</td>";
            EXPECT_NE(table.find(row), std::string::npos) << table;
            EXPECT_EQ(daemon.CountSent(0x21DF), c.code == 1 ? 1u : 0u);
        }
    }
    // A class beyond 0 to 3 leaves the second cell with only the icon classes; its text is escaped.
    EXPECT_EQ(StorageTables::MakeRaidManagerRowHead(true, 9, "a&<b>").Text,
              "Installed</td>\n<td class=\" icon status\">a&amp;&lt;b&gt;");
}
