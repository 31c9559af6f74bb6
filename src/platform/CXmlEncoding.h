#pragma once

#include <string>
#include <vector>

// Finds out how the bytes of an XML file are encoded and converts them to UTF-8 where the
// parser cannot do it alone. Wide encodings (UTF-16 and UTF-32, either byte order) are
// recognised by their byte-order mark or, without one, by the NUL bytes around the first
// character, which in a document is '<' or white space.
class CXmlEncoding
{
public:
    // The iconv name of a wide encoding ("UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"), or
    // an empty string for encodings that keep ASCII as it is. markLength receives the length of
    // a wide byte-order mark (0 when there is none).
    static std::string DetectWide(const std::string& bytes, size_t& markLength);
    // The value of the encoding declaration of an ASCII-compatible document, or empty.
    static std::string Declared(const std::string& bytes);
    // Converts to UTF-8 with iconv; false when the encoding is unknown or a sequence is invalid
    // or cut off.
    static bool ToUtf8(const std::string& bytes, const std::string& from, std::string& utf8);
    // The 8-bit code pages tried, in order, for a document that declares nothing and is not
    // UTF-8: the code set of the process's LC_CTYPE when it is neither ASCII nor UTF-8 (the
    // program takes LC_CTYPE from the environment at start), then Windows-1252, then ISO-8859-1
    // (which takes every byte).
    static std::vector<std::string> EightBitCandidates();
};
