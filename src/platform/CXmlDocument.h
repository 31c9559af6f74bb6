#pragma once

#include <cstddef>
#include <string>

struct _xmlDoc;

// An XML document read from a file, such as the event-message catalogue. Load accepts UTF-8,
// UTF-16 and UTF-32 in either byte order with or without byte-order mark, any encoding the
// document declares that iconv knows, and undeclared 8-bit text: a file that declares nothing
// and is not valid UTF-8 is read in the local 8-bit code page (see
// CXmlEncoding::EightBitCandidates). The parser never prints, never loads external entities
// or DTDs and never touches the network.
class CXmlDocument
{
public:
    // Larger files are refused rather than read into memory.
    static constexpr size_t kMaxFileSize = 64u * 1024u * 1024u;

    CXmlDocument();
    ~CXmlDocument();
    CXmlDocument(const CXmlDocument&) = delete;
    CXmlDocument& operator=(const CXmlDocument&) = delete;

    // True only for a well-formed document with one root element. A failed load leaves the
    // object empty, with the reason in ErrorText.
    bool Load(const std::string& path);
    bool IsLoaded() const { return m_Document != nullptr; }

    // Name of the root element, or empty when nothing is loaded.
    std::string RootName() const;
    // The text content of the root element in UTF-8, entities decoded.
    std::string RootText() const;
    // Why the last load failed: the first error found, with its line; empty after success.
    const std::string& ErrorText() const { return m_Error; }
    // How the file was read, e.g. "UTF-16LE" or "WINDOWS-1252"; "" when the parser went by the
    // document's own declaration or the default UTF-8.
    const std::string& SourceEncoding() const { return m_SourceEncoding; }

private:
    void Release();
    bool ReadFile(const std::string& path, std::string& bytes);
    // Brings the bytes into a form the parser reads; false (with m_Error) when impossible.
    bool Decode(std::string& bytes, bool& converted);
    bool Parse(const std::string& text, const std::string& path, bool converted);

    _xmlDoc* m_Document = nullptr;
    std::string m_Error;
    std::string m_SourceEncoding;
};
