#include "CLogMsgFile.h"
#include "CRegistry.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

// The working-directory search and the traced steps are covered by running the program; these
// cases cover the registry chain.
class CatalogueRegistry : public ::testing::Test
{
protected:
    void Load(const std::string& registry)
    {
        m_Root.Write("opt/TessmarkQDX/vital/etc/plinthd/registry", registry);
        TheRegistry().SetupTree(true);
        ASSERT_TRUE(TheRegistry().IsSetup());
    }

    TempDir m_Root;
    ScopedEnv m_Sysroot{"HOSTCAPTURE_SYSROOT", m_Root.Path().c_str()};
    TempDir m_Install;
};

TEST_F(CatalogueRegistry, UuidEntryNamesTheProductKey)
{
    m_Install.Write("ERRMSG.XML", "<Messages/>");
    Load("[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n"
         "[Valmerex]\n[Management]\n[Server Control]\n[Setup]\nBinRoot=s=/nowhere\n\n\n\n\n"
         "[Relocated]\n[Setup]\nBinRoot=s=" +
         m_Install.Path() +
         "\n\n\n\n"
         "[SYSTEM]\n[CurrentControlSet]\n[Control]\n[UUID]\n[C3681B60-0D26-11D3-8319-00A0C9B61E25]\n"
         "Server Control=s=SOFTWARE\\Relocated\n");
    EXPECT_EQ(CLogMsgFile::RegisteredDirectory(), m_Install.Path());
    EXPECT_EQ(CLogMsgFile::JoinPath(m_Install.Path(), "ERRMSG.XML"), m_Install.Path() + "/ERRMSG.XML");
}

TEST_F(CatalogueRegistry, FileRootWhenBinRootIsEmptyWithoutDoubledSeparator)
{
    m_Install.Write("ERRMSG.XML", "<Messages/>");
    ScopedEnv installDir("HC_TEST_INSTALL_DIR", m_Install.Path().c_str());
    Load("[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Valmerex]\n[Management]\n[Server Control]\n[Setup]\n"
         "BinRoot=s=\nFileRoot=es=%HC_TEST_INSTALL_DIR%/\n");
    EXPECT_EQ(CLogMsgFile::RegisteredDirectory(), m_Install.Path() + "/");
    CLogMsgFile catalogue;
    EXPECT_TRUE(catalogue.Open());
    EXPECT_EQ(catalogue.Path(), m_Install.Path() + "/ERRMSG.XML");
}

TEST_F(CatalogueRegistry, NoProductKeyMeansNoDirectory)
{
    Load("[HKEY_CURRENT_USER]\nName=s=x\n");
    EXPECT_EQ(CLogMsgFile::RegisteredDirectory(), "");
    EXPECT_EQ(CLogMsgFile::JoinPath("D:\\Tessmark\\", "ERRMSG.XML"), "D:\\Tessmark\\ERRMSG.XML");
}
