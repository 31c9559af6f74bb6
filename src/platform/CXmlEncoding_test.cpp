#include "CXmlEncoding.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

// The declaration is read only from the document's first "<?xml ... ?>": quotes of either kind,
// blanks around "=", a UTF-8 mark before it; anything malformed declares nothing.
TEST(CXmlEncoding, DeclaredEncodingOnlyFromAWellFormedDeclaration)
{
    struct Case
    {
        const char* Name;
        std::string Bytes;
        const char* Declared;
    };
    const Case cases[] = {
        {"double quotes", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><m/>", "ISO-8859-1"},
        {"single quotes", "<?xml version='1.0' encoding='windows-1252'?><m/>", "windows-1252"},
        {"blanks around =", "<?xml version=\"1.0\" encoding \t=\r\n 'UTF-8' ?><m/>", "UTF-8"},
        {"after a UTF-8 mark", "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>", "UTF-8"},
        {"no encoding", "<?xml version=\"1.0\"?><m/>", ""},
        {"only in the body", "<?xml version=\"1.0\"?><m encoding=\"ISO-8859-1\"/>", ""},
        {"no declaration", "<m encoding=\"ISO-8859-1\"/>", ""},
        {"declaration not first", " <?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>", ""},
        {"declaration never closed", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"", ""},
        {"no =", "<?xml version=\"1.0\" encoding \"ISO-8859-1\"?>", ""},
        {"nothing after =", "<?xml version=\"1.0\" encoding=?>", ""},
        {"no quote", "<?xml version=\"1.0\" encoding=latin1 standalone=\"yes\"?>", ""},
        {"quote never closed", "<?xml version=\"1.0\" encoding=\"ISO-8859-1?>", ""},
        {"mixed quotes", "<?xml version=\"1.0\" encoding=\"ISO-8859-1'?>", ""},
        {"empty", "", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CXmlEncoding::Declared(c.Bytes), c.Declared) << c.Name;
}

// A mark decides; without one the NUL bytes around the first character do. Four-byte marks are
// looked for before two-byte ones, which are their beginning.
TEST(CXmlEncoding, WideEncodingsByMarkOrByTheirNulBytes)
{
    struct Case
    {
        std::string Bytes;
        const char* Encoding;
        size_t Mark;
    };
    const Case cases[] = {
        {"\x00\x00\xFE\xFF\x00\x00\x00<"s, "UTF-32BE", 4},
        {"\xFF\xFE\x00\x00<\x00\x00\x00"s, "UTF-32LE", 4},
        {"\xFE\xFF\x00<"s, "UTF-16BE", 2},
        {"\xFF\xFE<\x00"s, "UTF-16LE", 2},
        {"\xFF\xFE"s, "UTF-16LE", 2},
        {"\x00\x00\x00<"s, "UTF-32BE", 0},
        {"<\x00\x00\x00"s, "UTF-32LE", 0},
        {"\x00<\x00?"s, "UTF-16BE", 0},
        {"<\x00?\x00"s, "UTF-16LE", 0},
        {"<?xm"s, "", 0},
        {"\xEF\xBB\xBF<"s, "", 0},    // UTF-8 keeps ASCII as it is
        {"<\x00"s, "", 0},            // too short to tell
        {"\x00\x00\x00\x00"s, "", 0}, // no character at all
        {""s, "", 0},
    };
    for (const Case& c : cases)
    {
        size_t mark = 99;
        EXPECT_EQ(CXmlEncoding::DetectWide(c.Bytes, mark), c.Encoding) << testing::PrintToString(c.Bytes);
        EXPECT_EQ(mark, c.Mark) << testing::PrintToString(c.Bytes);
    }
}
