#include "Utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
const std::string R = "\xEF\xBF\xBD"; // U+FFFD

std::string Hex(const std::string& bytes)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned char byte : bytes)
        text += std::string(text.empty() ? "" : " ") + digits[byte >> 4] + digits[byte & 0xF];
    return text;
}

// The shortest and longest encodings of each length, and the code points on either side of the
// ranges that are excluded.
const std::vector<std::string> kWellFormed = {
    "\x7F",             // U+007F, last one-byte
    "\xC2\x80",         // U+0080, first two-byte
    "\xDF\xBF",         // U+07FF, last two-byte
    "\xE0\xA0\x80",     // U+0800, first three-byte
    "\xED\x9F\xBF",     // U+D7FF, just below the surrogates
    "\xEE\x80\x80",     // U+E000, just above them
    "\xEF\xBF\xBF",     // U+FFFF, last three-byte
    "\xF0\x90\x80\x80", // U+10000, first four-byte
    "\xF4\x8F\xBF\xBF", // U+10FFFF, the last code point
};
} // namespace

TEST(Utf8, BoundaryCodePointsAreWellFormed)
{
    for (const std::string& sequence : kWellFormed)
    {
        SCOPED_TRACE(Hex(sequence));
        EXPECT_EQ(Utf8::SequenceLength(sequence, 0), sequence.size());
        EXPECT_TRUE(Utf8::IsValid("a" + sequence + "b"));
        EXPECT_EQ(Utf8::Repaired(sequence, Utf8::Controls::Keep), sequence);
    }
    EXPECT_TRUE(Utf8::IsValid(""));
    EXPECT_EQ(Utf8::Repaired("", Utf8::Controls::Replace), "");
}

// Every ill-formed sequence is refused at its first byte, and the repair replaces byte by byte
// until a byte begins a well-formed sequence again.
TEST(Utf8, EveryIllFormedSequenceIsRefusedAndRepaired)
{
    struct Case
    {
        const char* Name;
        std::string Bytes;
        std::string Repaired;
    };
    const Case cases[] = {
        {"overlong 2-byte NUL", "\xC0\x80", R + R},
        {"overlong 2-byte U+007F", "\xC1\xBF", R + R},
        {"overlong 3-byte NUL", "\xE0\x80\x80", R + R + R},
        {"overlong 3-byte U+07FF", "\xE0\x9F\xBF", R + R + R},
        {"overlong 4-byte NUL", "\xF0\x80\x80\x80", R + R + R + R},
        {"overlong 4-byte U+FFFF", "\xF0\x8F\xBF\xBF", R + R + R + R},
        {"surrogate U+D800", "\xED\xA0\x80", R + R + R},
        {"surrogate U+DBFF", "\xED\xAF\xBF", R + R + R},
        {"surrogate U+DC00", "\xED\xB0\x80", R + R + R},
        {"surrogate U+DFFF", "\xED\xBF\xBF", R + R + R},
        {"U+110000", "\xF4\x90\x80\x80", R + R + R + R},
        {"F5 lead", "\xF5\x80\x80\x80", R + R + R + R},
        {"F7 lead, 4-byte form", "\xF7\xBF\xBF\xBF", R + R + R + R},
        {"F8 lead, 5-byte form", "\xF8\x88\x80\x80\x80", R + R + R + R + R},
        {"FC lead, 6-byte form", "\xFC\x84\x80\x80\x80\x80", R + R + R + R + R + R},
        {"FE", "\xFE", R},
        {"FF", "\xFF", R},
        {"stray continuation 80", "\x80", R},
        {"stray continuation BF", "\xBF", R},
        {"ASCII where a continuation belongs", "\xC2\x41", R + "A"},
        {"third byte not a continuation", "\xE2\x82\x41", R + R + "A"},
        {"fourth byte not a continuation", "\xF0\x9F\x98\x41", R + R + R + "A"},
        {"a lead byte where a continuation belongs", "\xE2\xC2\xA9", R + "\xC2\xA9"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(c.Name) + ": " + Hex(c.Bytes));
        EXPECT_EQ(Utf8::SequenceLength(c.Bytes, 0), 0u);
        EXPECT_FALSE(Utf8::IsValid(c.Bytes));
        EXPECT_FALSE(Utf8::IsValid("ok " + c.Bytes + " ok"));
        EXPECT_EQ(Utf8::Repaired(c.Bytes, Utf8::Controls::Keep), c.Repaired);
        EXPECT_EQ(Utf8::Repaired("<" + c.Bytes + ">", Utf8::Controls::Replace), "<" + c.Repaired + ">");
        EXPECT_TRUE(Utf8::IsValid(Utf8::Repaired(c.Bytes, Utf8::Controls::Keep)));
    }
    // One continuation byte too many after a whole sequence.
    EXPECT_FALSE(Utf8::IsValid("\xC2\xA9\xA9"));
    EXPECT_EQ(Utf8::Repaired("\xC2\xA9\xA9", Utf8::Controls::Keep), "\xC2\xA9" + R);
}

// A sequence cut short after any of its bytes, at the end of the text or followed by more text.
TEST(Utf8, SequencesCutShortAtEveryPosition)
{
    for (const std::string& sequence : kWellFormed)
    {
        for (size_t kept = 1; kept < sequence.size(); ++kept)
        {
            const std::string cut = sequence.substr(0, kept);
            SCOPED_TRACE(Hex(cut));
            EXPECT_EQ(Utf8::SequenceLength(cut, 0), 0u);
            EXPECT_EQ(Utf8::SequenceLength("x" + cut, 1), 0u);
            EXPECT_FALSE(Utf8::IsValid("text" + cut));
            EXPECT_FALSE(Utf8::IsValid(cut + "text"));
            std::string replaced;
            for (size_t i = 0; i < kept; ++i)
                replaced += R;
            EXPECT_EQ(Utf8::Repaired("text" + cut, Utf8::Controls::Keep), "text" + replaced);
            EXPECT_EQ(Utf8::Repaired(cut + "text", Utf8::Controls::Keep), replaced + "text");
        }
    }
}

// Keep leaves every control character as it is; Replace turns C0 controls except tab, DEL and the
// C1 controls into U+FFFD, and leaves the characters next to them alone.
TEST(Utf8, ControlCharactersInBothModes)
{
    struct Case
    {
        std::string Bytes;
        bool Control;
    };
    const Case cases[] = {
        {std::string(1, '\0'), true},
        {"\x01", true},
        {"\n", true},
        {"\r", true},
        {"\x1F", true},
        {"\t", false},
        {" ", false},
        {"~", false},
        {"\x7F", true},
        {"\xC2\x80", true},  // U+0080, first C1 control
        {"\xC2\x9F", true},  // U+009F, last C1 control
        {"\xC2\xA0", false}, // U+00A0, no-break space
        {"\xC2\xB0", false}, // degree sign
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(Hex(c.Bytes));
        const std::string text = "a" + c.Bytes + "b";
        EXPECT_TRUE(Utf8::IsValid(text));
        EXPECT_EQ(Utf8::Repaired(text, Utf8::Controls::Keep), text);
        EXPECT_EQ(Utf8::Repaired(text, Utf8::Controls::Replace), c.Control ? "a" + R + "b" : text);
    }
    // An ill-formed byte becomes U+FFFD in either mode, next to a control that only Replace touches.
    EXPECT_EQ(Utf8::Repaired("\x80\n", Utf8::Controls::Keep), R + "\n");
    EXPECT_EQ(Utf8::Repaired("\x80\n", Utf8::Controls::Replace), R + R);
}
