#include "CIniSection.h"

#include "TraceTestEnv.h"

#include <gtest/gtest.h>

#include <unistd.h>

using namespace std::string_literals;

namespace
{
// An ini file in a temporary directory, loaded for one section.
struct IniFile
{
    explicit IniFile(const std::string& content, const char* section = "HostCapture")
    {
        path = dir.Write("trace.ini", content);
        reader.Bind(dir.Path(), "trace.ini");
        loaded = reader.Load(section);
    }
    std::string Value(const char* key, size_t maxLength = CIniSection::kValueLength)
    {
        std::string buffer(maxLength + 1, '\0');
        return reader.GetString(key, &buffer[0], maxLength) ? buffer.c_str() : "<missing>";
    }
    unsigned Number(const char* key)
    {
        unsigned value = 12345;
        reader.GetNumber(key, value);
        return value;
    }

    TempDir dir;
    std::string path;
    CIniSection reader;
    bool loaded = false;
};
} // namespace

TEST(CIniSection, FileIsAcceptedOnlyWhenItsLastBracketedWordIsEndOfFile)
{
    EXPECT_TRUE(IniFile("[HostCapture]\nA=1\n[endoffile]").loaded);
    EXPECT_TRUE(IniFile("[HostCapture]\nA=1\n[EndOfFile]\n; no brackets behind it\n").loaded);
    EXPECT_FALSE(IniFile("[HostCapture]\nA=1\n").loaded);
    EXPECT_FALSE(IniFile("[HostCapture]\nA=1\n[EndOfFile]\n[Other]\n").loaded);
    EXPECT_FALSE(IniFile("").loaded);
    EXPECT_FALSE(IniFile("[Other]\n[EndOfFile]\n", "EndOfFile").loaded); // the marker is no section
    IniFile missing("x");
    EXPECT_EQ(missing.Value("A"), "<missing>");
}

TEST(CIniSection, SectionsMatchInAnyCaseAndKeysAreFoundBySubstringSearch)
{
    IniFile ini("[Other]\nDepth=1\n[hostCAPTURE]\n"
                "; FileDebugLevel is set below\nOther=7\nFileDebugLevel=2\n"
                "Hex=0x1f\nOctal=010\nSpaced =  \n\t 42\nEmpty=\nAfter=9\n"
                "[Next]\nOnlyNext=3\n[HostCapture]\nDepth=4\n[EndOfFile]\n");
    ASSERT_TRUE(ini.loaded);
    EXPECT_EQ(ini.Number("Depth"), 12345u); // the first matching section wins and ends at "[Next]"
    EXPECT_EQ(ini.Number("OnlyNext"), 12345u);
    // The name inside the comment is found first; its "=" is that of the next line.
    EXPECT_EQ(ini.Number("FileDebugLevel"), 7u);
    EXPECT_EQ(ini.Number("Hex"), 31u);
    EXPECT_EQ(ini.Number("Octal"), 8u);
    EXPECT_EQ(ini.Number("Spaced"), 42u);     // white space after "=" includes newlines
    EXPECT_EQ(ini.Value("Empty"), "After=9"); // so an empty value reaches into the next line
}

// A section is found only by a whole bracketed name before the EndOfFile marker, and a key only
// with its "=" inside the section: neither may borrow from what follows.
TEST(CIniSection, SectionsAndKeysThatAreNotThere)
{
    struct Case
    {
        const char* Name;
        std::string Text;
        bool Loaded;
        const char* Level;
    };
    const Case cases[] = {
        {"found", "[HostCapture]\nLevel=3\n[EndOfFile]", true, "3"},
        {"other section only", "[Other]\nLevel=3\n[EndOfFile]", false, "<missing>"},
        {"name never closed", "[HostCapture\nLevel=3\n[EndOfFile]", false, "<missing>"},
        {"longer name", "[HostCaptureX]\nLevel=3\n[EndOfFile]", false, "<missing>"},
        {"section only in the marker's place", "[Other]\n[HostCapture]", false, "<missing>"},
        {"key without =", "[HostCapture]\nLevel 3\n[EndOfFile]", true, "<missing>"},
        {"= only in the next section", "[HostCapture]\nLevel 3\n[Next]\nX=4\n[EndOfFile]", true, "<missing>"},
        {"key only in the next section", "[HostCapture]\nA=1\n[Next]\nLevel=4\n[EndOfFile]", true,
         "<missing>"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        IniFile ini(c.Text);
        EXPECT_EQ(ini.loaded, c.Loaded);
        EXPECT_EQ(ini.Value("Level"), c.Level);
    }
}

TEST(CIniSection, LongLinesAndBinaryGarbageAreReadWithoutOverflow)
{
    std::string megabyte(1 << 20, 'x');
    IniFile ini("[HostCapture]\nRingBufferDirectory=" + megabyte + "\nName=" + megabyte + "\n[EndOfFile]\n");
    ASSERT_TRUE(ini.loaded);
    EXPECT_EQ(ini.Value("RingBufferDirectory", CIniSection::kDirectoryValueLength), megabyte.substr(0, 256));
    EXPECT_EQ(ini.Value("Name"), megabyte.substr(0, 64));
    EXPECT_FALSE(IniFile(megabyte).loaded);

    std::string garbage;
    for (int i = 0; i < 4096; ++i)
        garbage += static_cast<char>((i * 131 + 7) & 0xFF); // zero, control and high bytes, brackets
    std::string body = "[HostCapture]\n\x01\0Level=\0x9\nHex=0x1f\n"s;
    EXPECT_FALSE(IniFile(garbage + body).loaded);
    IniFile binary("\x7f\x45\x4c\x46\xff" + body + "[EndOfFile]");
    ASSERT_TRUE(binary.loaded);
    EXPECT_EQ(binary.Number("Level"), 0u); // the value starts with a zero byte
    EXPECT_EQ(binary.Number("Hex"), 31u);
}

TEST(CIniSection, CheckDiskReportsNewerAndMissingFiles)
{
    IniFile ini("[HostCapture]\nLevel=1\n[EndOfFile]\n");
    ASSERT_TRUE(ShiftMtime(ini.path, 10));
    EXPECT_EQ(ini.reader.CheckDisk(), CIniSection::EDiskState::Newer);
    ASSERT_TRUE(ini.reader.Load("HostCapture"));
    ASSERT_TRUE(ShiftMtime(ini.path, -100)); // an older file (a restored backup) is no change
    EXPECT_EQ(ini.reader.CheckDisk(), CIniSection::EDiskState::Unchanged);
    ASSERT_EQ(unlink(ini.path.c_str()), 0);
    EXPECT_EQ(ini.reader.CheckDisk(), CIniSection::EDiskState::Missing);
}
