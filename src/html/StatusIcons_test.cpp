#include "StatusIcons.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace
{
std::string DecodeBase64(const std::string& text)
{
    static const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    uint32_t buffer = 0;
    int bits = 0;
    for (char c : text)
    {
        size_t value = alphabet.find(c);
        if (c == '=')
            break;
        if (value == std::string::npos)
            return "invalid base64";
        buffer = (buffer << 6) | static_cast<uint32_t>(value);
        bits += 6;
        if (bits >= 8)
        {
            bits -= 8;
            out += static_cast<char>((buffer >> bits) & 0xFF);
        }
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
    const char* const order[] = {"status-normal", "status-warning", "status-major",
                                 "status-error",  "status-unknown", "status-not-present"};
    ASSERT_EQ(6u, StatusIconCount);
    for (size_t i = 0; i < StatusIconCount; ++i)
    {
        const StatusIcon& icon = StatusIcons[i];
        SCOPED_TRACE(icon.CssClass);
        EXPECT_STREQ(order[i], icon.CssClass);
        std::string file = DecodeBase64(icon.Base64);
        if (std::string(icon.CssClass) == "status-major")
        {
            EXPECT_STREQ("image/gif", icon.MimeType);
            EXPECT_EQ("GIF89a", file.substr(0, 6));
            EXPECT_EQ(16u, Byte(file, 6) | Byte(file, 7) << 8);
            EXPECT_EQ(16u, Byte(file, 8) | Byte(file, 9) << 8);
            EXPECT_EQ(0x3Bu, Byte(file, file.size() - 1)); // trailer
            continue;
        }
        EXPECT_STREQ("image/png", icon.MimeType);
        EXPECT_EQ(std::string("\x89PNG\r\n\x1a\n", 8), file.substr(0, 8));
        EXPECT_EQ(13u, BigEndian32(file, 8));
        EXPECT_EQ("IHDR", file.substr(12, 4));
        EXPECT_EQ(16u, BigEndian32(file, 16)); // width
        EXPECT_EQ(16u, BigEndian32(file, 20)); // height
        EXPECT_EQ(8u, Byte(file, 24));         // bits per sample
        EXPECT_NE(std::string::npos, file.find("IDAT"));
        ASSERT_GE(file.size(), 12u);
        EXPECT_EQ(std::string("\0\0\0\0IEND\xae\x42\x60\x82", 12), file.substr(file.size() - 12));
    }
}
