#include "CXmlDocument.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace
{
// "Grüße & ©" as the catalogue's message text; its UTF-8 form is what every reading must give.
const std::u32string kDocument =
    U"<?xml version=\"1.0\" encoding=\"ENC\"?>\n"
    U"<ERRMSG><MSG id=\"1\">Gr\u00FC\u00DFe &amp; \u00A9 \U0001F600</MSG></ERRMSG>\n";
const char kExpectedText[] = "Gr\xC3\xBC\xC3\x9F"
                             "e & \xC2\xA9 \xF0\x9F\x98\x80";
const std::string kUtf8Document =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ERRMSG><MSG id=\"1\">Gr\xC3\xBC\xC3\x9F"
    "e &amp; \xC2\xA9 \xF0\x9F\x98\x80</MSG></ERRMSG>\n";

std::u32string WithEncoding(const std::u32string& text, const std::u32string& encoding)
{
    std::u32string result = text;
    result.replace(result.find(U"ENC"), 3, encoding);
    return result;
}

std::u32string WithoutDeclaration(const std::u32string& text)
{
    return text.substr(text.find(U'\n') + 1);
}

// The code units are written out by hand, so the test does not share the conversion code
// it checks.
std::string Utf16(const std::u32string& text, bool bigEndian, bool mark)
{
    std::u16string units;
    if (mark)
        units.push_back(0xFEFF);
    for (char32_t c : text)
    {
        if (c < 0x10000)
            units.push_back(static_cast<char16_t>(c));
        else
        {
            units.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
            units.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
        }
    }
    std::string bytes;
    for (char16_t unit : units)
    {
        const char high = static_cast<char>(unit >> 8);
        const char low = static_cast<char>(unit & 0xFF);
        bytes += bigEndian ? std::string{high, low} : std::string{low, high};
    }
    return bytes;
}

std::string Utf32(const std::u32string& text, bool bigEndian, bool mark)
{
    std::u32string units = mark ? U"\uFEFF" + text : text;
    std::string bytes;
    for (char32_t unit : units)
        for (int index = 0; index < 4; ++index)
        {
            const int shift = bigEndian ? 24 - 8 * index : 8 * index;
            bytes.push_back(static_cast<char>((unit >> shift) & 0xFF));
        }
    return bytes;
}

class XmlFiles : public ::testing::Test
{
protected:
    // Loads the bytes as a file; the document object is reused on purpose, so a load must not
    // carry anything over from the one before.
    bool Load(const std::string& bytes) { return m_Document.Load(m_Dir.Write("ERRMSG.XML", bytes)); }
    void ExpectCatalogue(const std::string& bytes, const char* label)
    {
        SCOPED_TRACE(label);
        ASSERT_TRUE(Load(bytes)) << m_Document.ErrorText();
        EXPECT_EQ(m_Document.RootName(), "ERRMSG");
        EXPECT_EQ(m_Document.RootText(), kExpectedText);
        EXPECT_TRUE(m_Document.ErrorText().empty());
    }
    void ExpectRejected(const std::string& bytes, const char* label)
    {
        SCOPED_TRACE(label);
        EXPECT_FALSE(Load(bytes));
        EXPECT_FALSE(m_Document.IsLoaded());
        EXPECT_EQ(m_Document.RootName(), "");
        EXPECT_FALSE(m_Document.ErrorText().empty());
    }

    TempDir m_Dir;
    CXmlDocument m_Document;
};
} // namespace

TEST_F(XmlFiles, ReadsUtf8WithAndWithoutMarkOrDeclaration)
{
    ExpectCatalogue(kUtf8Document, "declared");
    ExpectCatalogue("\xEF\xBB\xBF" + kUtf8Document, "with mark");
    ExpectCatalogue(kUtf8Document.substr(kUtf8Document.find('\n') + 1), "no declaration");
    EXPECT_EQ(m_Document.SourceEncoding(), "");
}

TEST_F(XmlFiles, ReadsUtf16AndUtf32InBothByteOrders)
{
    const std::u32string bare = WithoutDeclaration(kDocument);
    for (const int bits : {16, 32})
    {
        const std::u32string declared = WithEncoding(kDocument, bits == 16 ? U"UTF-16" : U"UTF-32");
        const auto encode = bits == 16 ? Utf16 : Utf32;
        for (bool bigEndian : {false, true})
        {
            const std::string order = "UTF-" + std::to_string(bits) + (bigEndian ? "BE" : "LE");
            SCOPED_TRACE(order);
            ExpectCatalogue(encode(declared, bigEndian, true), "mark and declaration");
            ExpectCatalogue(encode(declared, bigEndian, false), "declaration only");
            ExpectCatalogue(encode(bare, bigEndian, true), "mark only");
            ExpectCatalogue(encode(bare, bigEndian, false), "neither");
            EXPECT_EQ(m_Document.SourceEncoding(), order);
        }
    }
}

TEST_F(XmlFiles, ReadsEightBitCodePages)
{
    ASSERT_TRUE(Load("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><m>caf\xE9</m>"));
    EXPECT_EQ(m_Document.RootText(), "caf\xC3\xA9");

    ASSERT_TRUE(Load("<?xml version='1.0' encoding='windows-1252'?><m>\x80 5</m>"));
    EXPECT_EQ(m_Document.RootText(), "\xE2\x82\xAC 5");

    // Undeclared bytes that are not UTF-8: in the C locale of the tests, Windows-1252 first.
    ASSERT_TRUE(Load("<m>caf\xE9 \x80</m>")) << m_Document.ErrorText();
    EXPECT_EQ(m_Document.RootText(), "caf\xC3\xA9 \xE2\x82\xAC");
    EXPECT_EQ(m_Document.SourceEncoding(), "WINDOWS-1252");

    // 0x81 has no Windows-1252 character; ISO-8859-1 still takes it.
    ASSERT_TRUE(Load("<m>\xE9\x81</m>")) << m_Document.ErrorText();
    EXPECT_EQ(m_Document.RootText(), "\xC3\xA9\xC2\x81");
    EXPECT_EQ(m_Document.SourceEncoding(), "ISO-8859-1");
}

TEST_F(XmlFiles, UndeclaredEightBitTextIsReadInTheCodeSetOfTheCharacterTypeLocale)
{
    // A private ISO-8859-15 locale, where 0xA4 is the euro sign (Windows-1252 and ISO-8859-1
    // read it as the currency sign).
    TempDir locales;
    const std::string command =
        "localedef -i POSIX -f ISO-8859-15 " + locales.Path() + "/T.ISO-8859-15 2>/dev/null";
    ASSERT_NE(std::system(command.c_str()), -1);
    ScopedEnv path("LOCPATH", locales.Path().c_str());
    ASSERT_NE(setlocale(LC_CTYPE, "T.ISO-8859-15"), nullptr) << "localedef could not build the locale";
    const bool loaded = Load("<m>\xA4</m>");
    setlocale(LC_CTYPE, "C");
    ASSERT_TRUE(loaded) << m_Document.ErrorText();
    EXPECT_EQ(m_Document.RootText(), "\xE2\x82\xAC");
    EXPECT_EQ(m_Document.SourceEncoding(), "ISO-8859-15");
    ASSERT_TRUE(Load("<m>\xA4</m>"));
    EXPECT_EQ(m_Document.RootText(), "\xC2\xA4") << "back in the C locale";
}

TEST_F(XmlFiles, RejectsWhatIsNotOneWellFormedDocument)
{
    ExpectRejected("", "empty");
    ExpectRejected("\xFF\xFE", "mark only");
    ExpectRejected("<ERRMSG><MSG id=\"1\">cut", "truncated");
    ExpectRejected(Utf16(U"<ERRMSG/>", false, true).substr(0, 9), "truncated UTF-16");
    ExpectRejected(Utf16(U"<ERRMSG></ERRMSG>", true, false) + std::string("\xDC\x00", 2), "lone surrogate");
    ExpectRejected(Utf32(U"<ERRMSG>", false, false) + std::string("\x00\x00\x11\x00", 4) +
                       Utf32(U"</ERRMSG>", false, false),
                   "UTF-32 beyond Unicode");
    ExpectRejected("<a/><b/>", "two roots");
    ExpectRejected("just text", "no root");
    ExpectRejected("<?xml version=\"1.0\"?>", "declaration only");
    ExpectRejected("<?xml version=\"1.0\" encoding=\"X-NO-SUCH-CODE\"?><a/>", "unknown encoding");
    ExpectRejected("<a><b></a></b>", "crossed tags");

    EXPECT_FALSE(m_Document.Load(m_Dir.Path() + "/missing.xml"));
    EXPECT_FALSE(m_Document.ErrorText().empty());
    EXPECT_FALSE(m_Document.Load(m_Dir.Path()));

    // The first error is reported with its line; the object is still usable afterwards.
    EXPECT_FALSE(Load("<a>\n<b>\n</a>\n"));
    EXPECT_EQ(m_Document.ErrorText().rfind("line 3: ", 0), 0u) << m_Document.ErrorText();
    ExpectCatalogue(kUtf8Document, "after failures");
}

TEST_F(XmlFiles, NeitherPrintsNorLoadsExternalEntities)
{
    const std::string secret = m_Dir.Write("secret.txt", "TOP-SECRET");
    const std::string withEntity = "<?xml version=\"1.0\"?>\n"
                                   "<!DOCTYPE m [<!ENTITY x SYSTEM \"file://" +
                                   secret + "\">]>\n<m>before &x; after</m>";
    const std::string withDtd =
        "<?xml version=\"1.0\"?>\n<!DOCTYPE m SYSTEM \"file://" + secret + "\">\n<m/>";

    // Everything the parser could say goes to a file standing in for standard error.
    fflush(stderr);
    const std::string errorPath = m_Dir.File("stderr.txt");
    const int saved = dup(STDERR_FILENO);
    const int capture = open(errorPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(saved, 0);
    ASSERT_GE(capture, 0);
    dup2(capture, STDERR_FILENO);
    close(capture);
    const bool entityLoaded = Load(withEntity);
    const std::string entityText = m_Document.RootText();
    const bool dtdLoaded = Load(withDtd);
    const bool brokenLoaded = Load("<a><b></a>");
    const bool unknownLoaded = Load("<?xml version=\"1.0\" encoding=\"X-NO-SUCH-CODE\"?><a/>");
    fflush(stderr);
    dup2(saved, STDERR_FILENO);
    close(saved);

    EXPECT_TRUE(entityLoaded);
    EXPECT_EQ(entityText.find("TOP-SECRET"), std::string::npos);
    EXPECT_NE(entityText.find("before"), std::string::npos);
    EXPECT_TRUE(dtdLoaded);
    EXPECT_FALSE(brokenLoaded);
    EXPECT_FALSE(unknownLoaded);
    EXPECT_EQ(ReadFile(errorPath), "");
}
