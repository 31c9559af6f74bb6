#include "CollectionName.h"

#include <gtest/gtest.h>

TEST(CollectionName, FolderHoldingThePage)
{
    EXPECT_EQ(CollectionName::Of("reports/h1/20260101T000000Z.html"), "h1");
    EXPECT_EQ(CollectionName::Of("/srv/reports/web-01/./x.failed"), "web-01");
    EXPECT_EQ(CollectionName::Of("/srv/reports/a/../web-02/x.html"), "web-02");
}

TEST(CollectionName, WhenAPageClaimFitsItsFolder)
{
    struct Case
    {
        const char* Folder;
        const char* Claim;
        std::vector<std::string> Addresses;
        bool Fits;
    } cases[] = {
        {"web-01", "web-01", {}, true},
        {"web-01", "WEB-01", {}, true},
        {"web-01", "web-01.example.net", {}, true},
        {"web-01.example.net", "web-01", {}, true},
        {"web-01.example.net", "WEB-01.Example.Net", {}, true},
        {"10.1.0.11", "web-01.example.net", {"10.1.0.11", "fd00::11"}, true},
        {"web-01", "", {}, true}, // a page without a name claims nothing
        {"web-01", "web-02", {}, false},
        {"web-01", "web-02.example.net", {}, false},
        {"web-01.example.net", "web-01.other.net", {}, false},
        {"web", "web-01", {}, false},
        {"10.1.0.12", "web-01.example.net", {"10.1.0.11"}, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CollectionName::Fits(c.Folder, c.Claim, c.Addresses), c.Fits)
            << c.Folder << " / " << c.Claim;
}
