#include "CXmlEncoding.h"

#include <cerrno>
#include <cstring>
#include <iconv.h>
#include <langinfo.h>

namespace
{
bool Matches(const std::string& bytes, const char* pattern, size_t length)
{
    return bytes.size() >= length && std::memcmp(bytes.data(), pattern, length) == 0;
}

std::string Upper(std::string text)
{
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return text;
}
} // namespace

std::string CXmlEncoding::DetectWide(const std::string& bytes, size_t& markLength)
{
    markLength = 0;
    // The four-byte marks first: FF FE 00 00 would otherwise look like UTF-16LE.
    if (Matches(bytes, "\x00\x00\xFE\xFF", 4))
    {
        markLength = 4;
        return "UTF-32BE";
    }
    if (Matches(bytes, "\xFF\xFE\x00\x00", 4))
    {
        markLength = 4;
        return "UTF-32LE";
    }
    if (Matches(bytes, "\xFE\xFF", 2))
    {
        markLength = 2;
        return "UTF-16BE";
    }
    if (Matches(bytes, "\xFF\xFE", 2))
    {
        markLength = 2;
        return "UTF-16LE";
    }
    if (bytes.size() < 4)
        return std::string();
    const bool zero0 = bytes[0] == '\0';
    const bool zero1 = bytes[1] == '\0';
    const bool zero2 = bytes[2] == '\0';
    const bool zero3 = bytes[3] == '\0';
    if (zero0 && zero1 && zero2 && !zero3)
        return "UTF-32BE";
    if (!zero0 && zero1 && zero2 && zero3)
        return "UTF-32LE";
    if (zero0 && !zero1 && zero2 && !zero3)
        return "UTF-16BE";
    if (!zero0 && zero1 && !zero2 && zero3)
        return "UTF-16LE";
    return std::string();
}

std::string CXmlEncoding::Declared(const std::string& bytes)
{
    size_t start = Matches(bytes, "\xEF\xBB\xBF", 3) ? 3 : 0;
    if (bytes.compare(start, 5, "<?xml") != 0)
        return std::string();
    const size_t end = bytes.find("?>", start);
    if (end == std::string::npos)
        return std::string();
    const std::string declaration = bytes.substr(start, end - start);
    size_t position = declaration.find("encoding");
    if (position == std::string::npos)
        return std::string();
    position = declaration.find_first_not_of(" \t\r\n", position + 8);
    if (position == std::string::npos || declaration[position] != '=')
        return std::string();
    position = declaration.find_first_not_of(" \t\r\n", position + 1);
    if (position == std::string::npos || (declaration[position] != '"' && declaration[position] != '\''))
        return std::string();
    const size_t closing = declaration.find(declaration[position], position + 1);
    if (closing == std::string::npos)
        return std::string();
    return declaration.substr(position + 1, closing - position - 1);
}

bool CXmlEncoding::ToUtf8(const std::string& bytes, const std::string& from, std::string& utf8)
{
    utf8.clear();
    iconv_t converter = iconv_open("UTF-8", from.c_str());
    if (converter == reinterpret_cast<iconv_t>(-1))
        return false;
    // Every source character becomes at most four UTF-8 bytes, and every source encoding
    // used here spends at least one byte per character.
    std::string output(bytes.size() * 4 + 4, '\0');
    char* input = const_cast<char*>(bytes.data());
    size_t inputLeft = bytes.size();
    char* target = &output[0];
    size_t targetLeft = output.size();
    size_t result = iconv(converter, &input, &inputLeft, &target, &targetLeft);
    if (result != static_cast<size_t>(-1))
        result = iconv(converter, nullptr, nullptr, &target, &targetLeft);
    iconv_close(converter);
    if (result == static_cast<size_t>(-1) || inputLeft != 0)
        return false;
    output.resize(output.size() - targetLeft);
    utf8 = std::move(output);
    return true;
}

std::vector<std::string> CXmlEncoding::EightBitCandidates()
{
    std::vector<std::string> candidates;
    const char* codeset = nl_langinfo(CODESET);
    const std::string local = codeset != nullptr ? Upper(codeset) : std::string();
    // The C locale answers with the ASCII name, which cannot decode the bytes in question.
    if (!local.empty() && local != "UTF-8" && local != "ANSI_X3.4-1968" && local != "ASCII" &&
        local != "US-ASCII")
        candidates.push_back(local);
    candidates.push_back("WINDOWS-1252");
    candidates.push_back("ISO-8859-1");
    return candidates;
}
