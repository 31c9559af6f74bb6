#include "StatusIcons.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace
{
using Bytes = std::vector<uint8_t>;

bool DecodeBase64(const std::string& text, Bytes& out)
{
    static const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (text.size() % 4 != 0)
        return false;
    uint32_t buffer = 0;
    int bits = 0;
    size_t padding = 0;
    for (char c : text)
    {
        if (c == '=')
        {
            ++padding;
            continue;
        }
        size_t value = alphabet.find(c);
        if (value == std::string::npos || padding != 0)
            return false;
        buffer = (buffer << 6) | static_cast<uint32_t>(value);
        bits += 6;
        if (bits >= 8)
        {
            bits -= 8;
            out.push_back(static_cast<uint8_t>(buffer >> bits));
        }
    }
    return padding <= 2;
}

uint32_t BigEndian32(const Bytes& data, size_t at)
{
    return uint32_t(data[at]) << 24 | uint32_t(data[at + 1]) << 16 | uint32_t(data[at + 2]) << 8 |
           data[at + 3];
}

uint16_t LittleEndian16(const Bytes& data, size_t at)
{
    return static_cast<uint16_t>(data[at] | data[at + 1] << 8);
}

uint32_t Crc32(const uint8_t* data, size_t size)
{
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < size; ++i)
    {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return crc ^ 0xFFFFFFFFu;
}

struct PngChunk
{
    std::string Type;
    Bytes Data;
};

// Walks the chunks of a PNG file, checking lengths and CRCs; fails on anything malformed.
void ReadPng(const Bytes& file, std::vector<PngChunk>& chunks)
{
    static const uint8_t signature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    ASSERT_GE(file.size(), sizeof(signature));
    ASSERT_EQ(0, memcmp(file.data(), signature, sizeof(signature)));
    size_t at = sizeof(signature);
    while (at < file.size())
    {
        ASSERT_LE(at + 12, file.size());
        uint32_t length = BigEndian32(file, at);
        ASSERT_LE(at + 12 + length, file.size());
        uint32_t crc = BigEndian32(file, at + 8 + length);
        EXPECT_EQ(Crc32(&file[at + 4], 4 + length), crc);
        chunks.push_back({std::string(file.begin() + at + 4, file.begin() + at + 8),
                          Bytes(file.begin() + at + 8, file.begin() + at + 8 + length)});
        at += 12 + length;
    }
}

// Decodes the LZW data of a GIF image into colour indexes.
bool DecodeGifLzw(const Bytes& data, int minCodeSize, std::vector<uint16_t>& pixels)
{
    const int clear = 1 << minCodeSize;
    const int end = clear + 1;
    std::vector<std::vector<uint16_t>> table;
    int codeSize = minCodeSize + 1;
    int previous = -1;
    uint32_t buffer = 0;
    int bits = 0;
    size_t at = 0;
    for (;;)
    {
        while (bits < codeSize)
        {
            if (at == data.size())
                return false; // no end code
            buffer |= uint32_t(data[at++]) << bits;
            bits += 8;
        }
        int code = static_cast<int>(buffer & ((1u << codeSize) - 1));
        buffer >>= codeSize;
        bits -= codeSize;
        if (code == clear)
        {
            table.clear();
            for (int i = 0; i < clear + 2; ++i)
                table.push_back({static_cast<uint16_t>(i)});
            codeSize = minCodeSize + 1;
            previous = -1;
            continue;
        }
        if (code == end)
            return true;
        if (table.empty())
            return false; // data must start with a clear code
        std::vector<uint16_t> entry;
        if (code < static_cast<int>(table.size()) && code != clear && code != end)
            entry = table[code];
        else if (code == static_cast<int>(table.size()) && previous >= 0)
        {
            entry = table[previous];
            entry.push_back(table[previous][0]);
        }
        else
            return false;
        if (previous >= 0 && table.size() < 4096)
        {
            std::vector<uint16_t> added = table[previous];
            added.push_back(entry[0]);
            table.push_back(added);
        }
        pixels.insert(pixels.end(), entry.begin(), entry.end());
        previous = code;
        if (static_cast<int>(table.size()) == (1 << codeSize) && codeSize < 12)
            ++codeSize;
    }
}

void CheckPng(const Bytes& file)
{
    std::vector<PngChunk> chunks;
    ReadPng(file, chunks);
    ASSERT_GE(chunks.size(), 3u);
    ASSERT_EQ("IHDR", chunks.front().Type);
    const Bytes& header = chunks.front().Data;
    ASSERT_EQ(13u, header.size());
    EXPECT_EQ(16u, BigEndian32(header, 0));
    EXPECT_EQ(16u, BigEndian32(header, 4));
    EXPECT_EQ(8, header[8]); // bit depth
    EXPECT_TRUE(header[9] == 6 || header[9] == 2 || header[9] == 3) << int(header[9]);
    EXPECT_EQ(0, header[10]); // deflate
    EXPECT_EQ("IEND", chunks.back().Type);
    EXPECT_TRUE(chunks.back().Data.empty());

    bool hasData = false;
    for (const PngChunk& chunk : chunks)
    {
        if (chunk.Type != "IDAT")
            continue;
        if (!hasData)
        {
            // The image data is a zlib stream: deflate method and a header check that divides by 31.
            ASSERT_GE(chunk.Data.size(), 2u);
            EXPECT_EQ(8, chunk.Data[0] & 0x0F);
            EXPECT_EQ(0, (chunk.Data[0] * 256 + chunk.Data[1]) % 31);
        }
        hasData = true;
    }
    EXPECT_TRUE(hasData);
}

void CheckGif(const Bytes& file)
{
    ASSERT_GE(file.size(), 13u + 1u);
    EXPECT_EQ("GIF89a", std::string(file.begin(), file.begin() + 6));
    EXPECT_EQ(16, LittleEndian16(file, 6));
    EXPECT_EQ(16, LittleEndian16(file, 8));
    uint8_t flags = file[10];
    ASSERT_TRUE(flags & 0x80) << "no global colour table";
    size_t colours = size_t(1) << ((flags & 7) + 1);
    size_t at = 13 + 3 * colours;
    bool sawImage = false;
    while (at < file.size() && file[at] != 0x3B)
    {
        if (file[at] == 0x21)
        {
            at += 2; // extension introducer and label, then sub-blocks
            while (at < file.size() && file[at] != 0)
                at += 1 + file[at];
            ++at;
            continue;
        }
        ASSERT_EQ(0x2C, file[at]) << "unexpected block at " << at;
        ASSERT_LE(at + 11, file.size());
        EXPECT_EQ(0, LittleEndian16(file, at + 1));
        EXPECT_EQ(0, LittleEndian16(file, at + 3));
        EXPECT_EQ(16, LittleEndian16(file, at + 5));
        EXPECT_EQ(16, LittleEndian16(file, at + 7));
        EXPECT_EQ(0, file[at + 9] & 0xC0) << "local colour table or interlace not expected";
        int minCodeSize = file[at + 10];
        at += 11;
        Bytes lzw;
        while (at < file.size() && file[at] != 0)
        {
            ASSERT_LE(at + 1 + file[at], file.size());
            lzw.insert(lzw.end(), file.begin() + at + 1, file.begin() + at + 1 + file[at]);
            at += 1 + file[at];
        }
        ++at;
        std::vector<uint16_t> pixels;
        ASSERT_TRUE(DecodeGifLzw(lzw, minCodeSize, pixels));
        ASSERT_EQ(256u, pixels.size());
        for (uint16_t index : pixels)
            ASSERT_LT(index, colours);
        sawImage = true;
    }
    EXPECT_TRUE(sawImage);
    ASSERT_LT(at, file.size());
    EXPECT_EQ(0x3B, file[at]);
    EXPECT_EQ(file.size(), at + 1) << "bytes after the trailer";
}
} // namespace

TEST(StatusIconsTest, EveryIconIsASixteenPixelSquareImageOfItsStatedType)
{
    ASSERT_EQ(6u, StatusIconCount);
    const char* const order[] = {"status-normal", "status-warning", "status-major",
                                 "status-error",  "status-unknown", "status-not-present"};
    for (size_t i = 0; i < StatusIconCount; ++i)
    {
        const StatusIcon& icon = StatusIcons[i];
        SCOPED_TRACE(icon.CssClass);
        EXPECT_STREQ(order[i], icon.CssClass);
        Bytes file;
        ASSERT_TRUE(DecodeBase64(icon.Base64, file));
        if (std::string(icon.CssClass) == "status-major")
        {
            EXPECT_STREQ("image/gif", icon.MimeType);
            CheckGif(file);
        }
        else
        {
            EXPECT_STREQ("image/png", icon.MimeType);
            CheckPng(file);
        }
    }
}

TEST(StatusIconsTest, IconsAreDistinctPictures)
{
    for (size_t i = 0; i < StatusIconCount; ++i)
        for (size_t j = i + 1; j < StatusIconCount; ++j)
            EXPECT_STRNE(StatusIcons[i].Base64, StatusIcons[j].Base64) << i << " " << j;
}
