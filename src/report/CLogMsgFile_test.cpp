#include "CLogMsgFile.h"
#include "CRegistry.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <climits>
#include <unistd.h>

namespace
{
const char kCatalogue[] =
    "<?xml version=\"1.0\"?>\n<ErrorMessages><Message Code=\"0x0101\">System booted</Message>"
    "</ErrorMessages>\n";
const char kBrokenCatalogue[] = "<ErrorMessages><Message></ErrorMessages>";

// The product's Setup key below HKEY_LOCAL_MACHINE with the given value lines.
std::string ProductSetup(const std::string& valueLines)
{
    return "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Valmerex]\n[Management]\n[Server Control]\n[Setup]\n" +
           valueLines + "\n\n\n\n\n\n\n";
}

class CatalogueLocation : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char cwd[PATH_MAX];
        ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
        m_OldCwd = cwd;
        ASSERT_EQ(chdir(m_Work.Path().c_str()), 0);
    }
    void TearDown() override { EXPECT_EQ(chdir(m_OldCwd.c_str()), 0); }

    void WriteRegistry(const std::string& text)
    {
        m_Root.Write("opt/TessmarkQDX/vital/etc/plinthd/registry", text);
        TheRegistry().SetupTree(true);
        ASSERT_TRUE(TheRegistry().IsSetup());
    }

    TempDir m_Root;
    ScopedEnv m_Sysroot{"HOSTCAPTURE_SYSROOT", m_Root.Path().c_str()};
    TempDir m_Work;
    TempDir m_Install;
    std::string m_OldCwd;
};
} // namespace

TEST(CLogMsgFilePath, JoinsWithoutDoublingSeparators)
{
    EXPECT_EQ(CLogMsgFile::JoinPath("/opt/TessmarkQDX/bin", "ERRMSG.XML"), "/opt/TessmarkQDX/bin/ERRMSG.XML");
    EXPECT_EQ(CLogMsgFile::JoinPath("/opt/TessmarkQDX/bin/", "ERRMSG.XML"),
              "/opt/TessmarkQDX/bin/ERRMSG.XML");
    EXPECT_EQ(CLogMsgFile::JoinPath("D:\\Tessmark\\", "ERRMSG.XML"), "D:\\Tessmark\\ERRMSG.XML");
    EXPECT_EQ(CLogMsgFile::JoinPath("", "ERRMSG.XML"), "ERRMSG.XML");
}

TEST_F(CatalogueLocation, WorkingDirectoryComesFirst)
{
    m_Work.Write("ERRMSG.XML", kCatalogue);
    m_Install.Write("ERRMSG.XML", kCatalogue);
    WriteRegistry(ProductSetup("BinRoot=s=" + m_Install.Path()));

    CLogMsgFile catalogue;
    EXPECT_TRUE(catalogue.Open());
    EXPECT_TRUE(catalogue.IsLoaded());
    EXPECT_EQ(catalogue.Path(), m_Work.Path() + "/ERRMSG.XML");
}

TEST_F(CatalogueLocation, BrokenLocalFileFallsBackToBinRoot)
{
    m_Work.Write("ERRMSG.XML", kBrokenCatalogue);
    m_Install.Write("ERRMSG.XML", kCatalogue);
    WriteRegistry(ProductSetup("BinRoot=s=" + m_Install.Path() + "\nFileRoot=s=/nowhere"));

    CLogMsgFile catalogue;
    EXPECT_TRUE(catalogue.Open());
    EXPECT_EQ(catalogue.Path(), m_Install.Path() + "/ERRMSG.XML");
}

TEST_F(CatalogueLocation, FileRootServesWhenBinRootIsMissingAndIsExpanded)
{
    m_Install.Write("ERRMSG.XML", kCatalogue);
    ScopedEnv installDir("HC_TEST_INSTALL_DIR", m_Install.Path().c_str());
    WriteRegistry(ProductSetup("BinRoot=s=\nFileRoot=es=%HC_TEST_INSTALL_DIR%/"));

    EXPECT_EQ(CLogMsgFile::RegisteredDirectory(), m_Install.Path() + "/");
    CLogMsgFile catalogue;
    EXPECT_TRUE(catalogue.Open());
    EXPECT_EQ(catalogue.Path(), m_Install.Path() + "/ERRMSG.XML");
}

TEST_F(CatalogueLocation, UuidEntryNamesTheProductKey)
{
    m_Install.Write("ERRMSG.XML", kCatalogue);
    WriteRegistry("[HKEY_LOCAL_MACHINE]\n"
                  "[SOFTWARE]\n"
                  "[Valmerex]\n[Management]\n[Server Control]\n[Setup]\nBinRoot=s=/nowhere\n\n\n\n\n"
                  "[Relocated]\n[Product]\n[Setup]\nBinRoot=s=" +
                  m_Install.Path() +
                  "\n\n\n\n\n"
                  "[SYSTEM]\n[CurrentControlSet]\n[Control]\n[UUID]\n[C3681B60-0D26-11D3-8319-00A0C9B61E25]\n"
                  "Server Control=s=SOFTWARE\\Relocated\\Product\n\n\n\n\n\n\n\n");

    EXPECT_EQ(CLogMsgFile::RegisteredDirectory(), m_Install.Path());
    CLogMsgFile catalogue;
    EXPECT_TRUE(catalogue.Open());
    EXPECT_EQ(catalogue.Path(), m_Install.Path() + "/ERRMSG.XML");
}

TEST_F(CatalogueLocation, NothingFoundLeavesTheLastPathTried)
{
    WriteRegistry("[HKEY_CURRENT_USER]\nName=s=x\n\n\n");
    EXPECT_EQ(CLogMsgFile::RegisteredDirectory(), "");

    CLogMsgFile catalogue;
    EXPECT_FALSE(catalogue.Open());
    EXPECT_FALSE(catalogue.IsLoaded());
    EXPECT_EQ(catalogue.Path(), m_Work.Path() + "/ERRMSG.XML");

    // A registered directory without the file fails as well, and is the path reported.
    WriteRegistry(ProductSetup("BinRoot=s=" + m_Install.Path()));
    EXPECT_FALSE(catalogue.Open());
    EXPECT_EQ(catalogue.Path(), m_Install.Path() + "/ERRMSG.XML");
}
