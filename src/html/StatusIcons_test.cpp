#include "StatusIcons.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace
{
// A character outside the alphabet decodes to garbage, which no image signature survives.
std::string DecodeBase64(const std::string& text)
{
    static const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    uint32_t buffer = 0;
    int bits = 0;
    for (char c : text.substr(0, text.find('=')))
    {
        buffer = buffer << 6 | static_cast<uint32_t>(alphabet.find(c));
        if ((bits += 6) >= 8)
            out += static_cast<char>(buffer >> (bits -= 8));
    }
    return out;
}

uint32_t Byte(const std::string& data, size_t at)
{
    return at < data.size() ? static_cast<uint8_t>(data[at]) : 0xFFFFFFFF;
}

uint32_t BigEndian32(const std::string& data, size_t at)
{
    return Byte(data, at) << 24 | Byte(data, at + 1) << 16 | Byte(data, at + 2) << 8 | Byte(data, at + 3);
}
} // namespace

TEST(StatusIconsTest, EveryIconIsASixteenPixelSquareImageOfItsStatedType)
{
    ASSERT_EQ(6u, StatusIconCount);
    for (size_t i = 0; i < StatusIconCount; ++i)
    {
        const StatusIcon& icon = StatusIcons[i];
        SCOPED_TRACE(icon.CssClass);
        const std::string file = DecodeBase64(icon.Base64);
        ASSERT_GE(file.size(), 24u);
        if (std::string(icon.MimeType) == "image/gif")
        {
            EXPECT_STREQ("status-major", icon.CssClass);
            EXPECT_EQ("GIF89a", file.substr(0, 6));
            EXPECT_EQ(16u, Byte(file, 6) | Byte(file, 7) << 8);
            EXPECT_EQ(16u, Byte(file, 8) | Byte(file, 9) << 8);
            EXPECT_EQ(0x3Bu, Byte(file, file.size() - 1)); // trailer
            continue;
        }
        EXPECT_STREQ("image/png", icon.MimeType);
        EXPECT_EQ(std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16), file.substr(0, 16));
        EXPECT_EQ(16u, BigEndian32(file, 16)); // width
        EXPECT_EQ(16u, BigEndian32(file, 20)); // height
        EXPECT_EQ(std::string("\0\0\0\0IEND\xae\x42\x60\x82", 12), file.substr(file.size() - 12));
    }
}
