#include "CIniSection.h"

#include "TraceTestEnv.h"

#include <gtest/gtest.h>

#include <string>
#include <unistd.h>

namespace
{
// Writes an ini file and loads section from it with a fresh reader.
class IniFile
{
public:
    IniFile(const std::string& content, const char* section = "HostCapture")
    {
        m_Dir.Write("trace.ini", content);
        m_Reader.Bind(m_Dir.Path(), "trace.ini");
        m_Loaded = m_Reader.Load(section);
    }
    bool Loaded() const { return m_Loaded; }
    CIniSection& Reader() { return m_Reader; }
    std::string Path() const { return m_Dir.Path() + "/trace.ini"; }
    std::string Value(const char* key, size_t maxLength = CIniSection::kValueLength)
    {
        std::string buffer(maxLength + 1, '\0');
        if (!m_Reader.GetString(key, &buffer[0], maxLength))
            return "<missing>";
        return buffer.c_str();
    }
    unsigned Number(const char* key)
    {
        unsigned value = 12345;
        m_Reader.GetNumber(key, value);
        return value;
    }

private:
    TempDir m_Dir;
    CIniSection m_Reader;
    bool m_Loaded = false;
};

} // namespace

TEST(CIniSection, FileIsAcceptedOnlyWhenItsLastBracketedWordIsEndOfFile)
{
    EXPECT_TRUE(IniFile("[HostCapture]\nA=1\n[EndOfFile]\n").Loaded());
    EXPECT_TRUE(IniFile("[HostCapture]\nA=1\n[endoffile]").Loaded());
    // Text behind the marker without brackets does not matter.
    EXPECT_TRUE(IniFile("[HostCapture]\nA=1\n[EndOfFile]\n; written by setup\n").Loaded());

    EXPECT_FALSE(IniFile("[HostCapture]\nA=1\n").Loaded());
    EXPECT_FALSE(IniFile("[HostCapture]\nA=1\n[EndOfFile]\n[Other]\n").Loaded());
    EXPECT_FALSE(IniFile("[HostCapture]\nA=1\n[EndOfFileX]\n").Loaded());
    EXPECT_FALSE(IniFile("").Loaded());
    EXPECT_FALSE(IniFile("EndOfFile]").Loaded());

    IniFile rejected("[HostCapture]\nA=1\n");
    EXPECT_FALSE(rejected.Reader().HasSection());
    EXPECT_EQ(rejected.Value("A"), "<missing>");
}

TEST(CIniSection, SectionsMatchInAnyCaseAndEndAtTheNextHeader)
{
    IniFile ini("[Other]\nLevel=1\n[hostCAPTURE]\nLevel=2\n[Next]\nOnlyNext=3\n[HostCapture]\nLevel=4\n["
                "EndOfFile]\n");
    ASSERT_TRUE(ini.Loaded());
    EXPECT_EQ(ini.Number("Level"), 2u); // the first matching section wins
    EXPECT_EQ(ini.Value("OnlyNext"), "<missing>");

    EXPECT_FALSE(IniFile("[HostCaptureX]\nLevel=1\n[EndOfFile]\n").Loaded());
    EXPECT_FALSE(IniFile("[Host]\nLevel=1\n[EndOfFile]\n").Loaded());
    // The marker itself is not a section that can be found.
    EXPECT_FALSE(IniFile("[Other]\n[EndOfFile]\n", "EndOfFile").Loaded());
}

TEST(CIniSection, KeysAreFoundBySubstringSearchAnywhereInTheSection)
{
    IniFile ini("[HostCapture]\n"
                "; FileDebugLevel is set below\n"
                "Other=7\n"
                "FileDebugLevel=2\n"
                "MyTraceFlags=5\n"
                "[EndOfFile]\n");
    ASSERT_TRUE(ini.Loaded());
    // The name inside the comment is found first; its "=" is that of the next line.
    EXPECT_EQ(ini.Number("FileDebugLevel"), 7u);
    EXPECT_EQ(ini.Number("TraceFlags"), 5u);
    EXPECT_EQ(ini.Number("Missing"), 12345u);
}

TEST(CIniSection, NumbersFollowCNotationAndValuesSkipLeadingWhiteSpace)
{
    IniFile ini(
        "[HostCapture]\n"
        "Hex=0x3\nOctal=010\nDecimal=16\nSpaced =  \n\t 42\nText=abc\nEmpty=\nAfter=9\n[EndOfFile]\n");
    ASSERT_TRUE(ini.Loaded());
    EXPECT_EQ(ini.Number("Hex"), 3u);
    EXPECT_EQ(ini.Number("Octal"), 8u);
    EXPECT_EQ(ini.Number("Decimal"), 16u);
    EXPECT_EQ(ini.Number("Spaced"), 42u); // white space after "=" includes newlines
    EXPECT_EQ(ini.Number("Text"), 0u);
    EXPECT_EQ(ini.Value("Text"), "abc");
    // An empty value reaches over to the next line.
    EXPECT_EQ(ini.Value("Empty"), "After=9");
}

TEST(CIniSection, ValuesAreCutAtTheirLengthLimit)
{
    std::string longValue(300, 'd');
    IniFile ini("[HostCapture]\nRingBufferDirectory=/" + longValue + "\nName=" + longValue +
                "\n[EndOfFile]\n");
    ASSERT_TRUE(ini.Loaded());
    EXPECT_EQ(ini.Value("Name"), longValue.substr(0, 64));
    EXPECT_EQ(ini.Value("RingBufferDirectory", CIniSection::kDirectoryValueLength),
              "/" + longValue.substr(0, 255));
}

TEST(CIniSection, HostileFilesAreReadWithoutOverflow)
{
    // A one-megabyte line: the value is cut, the reader stays within its buffer.
    std::string megabyte(1 << 20, 'x');
    IniFile longLine("[HostCapture]\nRingBufferDirectory=" + megabyte + "\n[EndOfFile]\n");
    ASSERT_TRUE(longLine.Loaded());
    EXPECT_EQ(longLine.Value("RingBufferDirectory", CIniSection::kDirectoryValueLength).size(), 256u);
    EXPECT_FALSE(IniFile(megabyte).Loaded());
    EXPECT_FALSE(IniFile(std::string(1 << 20, '[')).Loaded());

    // Binary garbage: zero bytes, control and high bytes before the section and in its value.
    std::string garbage;
    std::string bracketed;
    for (int i = 0; i < 4096; ++i)
    {
        char byte = static_cast<char>((i * 131 + 7) & 0xFF);
        bracketed += byte;
        if (byte != '[' && byte != ']')
            garbage += byte;
    }
    std::string body =
        std::string("[HostCapture]\n\x01\x02", 16) + std::string("\0\0Level=\0x9\nHex=0x1f\n", 21);
    IniFile binary(garbage + body + "[EndOfFile]");
    ASSERT_TRUE(binary.Loaded());
    EXPECT_EQ(binary.Number("Level"), 0u); // the value starts with a zero byte
    EXPECT_EQ(binary.Number("Hex"), 31u);
    EXPECT_FALSE(IniFile(bracketed + body).Loaded());
}

TEST(CIniSection, MissingOrUnreadableFilesFail)
{
    TempDir dir;
    CIniSection reader;
    EXPECT_FALSE(reader.Load("HostCapture")); // not bound
    reader.Bind(dir.Path(), "absent.ini");
    EXPECT_FALSE(reader.Load("HostCapture"));
    EXPECT_EQ(reader.CheckDisk(), CIniSection::EDiskState::Missing);
    MakeDirs(dir.Path() + "/folder.ini");
    reader.Bind(dir.Path(), "folder.ini");
    EXPECT_FALSE(reader.Load("HostCapture"));
}

TEST(CIniSection, CheckDiskReportsNewerAndMissingFiles)
{
    IniFile ini("[HostCapture]\nLevel=1\n[EndOfFile]\n");
    ASSERT_TRUE(ini.Loaded());
    EXPECT_EQ(ini.Reader().CheckDisk(), CIniSection::EDiskState::Unchanged);
    ASSERT_TRUE(ShiftMtime(ini.Path(), 10));
    EXPECT_EQ(ini.Reader().CheckDisk(), CIniSection::EDiskState::Newer);
    ASSERT_TRUE(ini.Reader().Load("HostCapture"));
    EXPECT_EQ(ini.Reader().CheckDisk(), CIniSection::EDiskState::Unchanged);
    // An older file (restored from a backup) is not taken as a change.
    ASSERT_TRUE(ShiftMtime(ini.Path(), -100));
    EXPECT_EQ(ini.Reader().CheckDisk(), CIniSection::EDiskState::Unchanged);
    ASSERT_EQ(unlink(ini.Path().c_str()), 0);
    EXPECT_EQ(ini.Reader().CheckDisk(), CIniSection::EDiskState::Missing);
}
