#pragma once

#include <cstddef>
#include <ctime>
#include <string>

// Reads one section of a trace configuration file. The whole file is kept in memory so that
// keys can be looked up repeatedly, and its size and modification time are remembered so that
// a later check can tell whether the file on disk has changed.
//
// A file is accepted only when its last bracketed word is "EndOfFile" (any case): a file that
// was cut short while being written therefore never takes effect. Section names compare without
// regard to case. Keys are found by plain substring search in the section body, so a key name
// that appears inside an earlier value or comment is taken from there.
class CIniSection
{
public:
    // Longest value copied for an ordinary key, and for a directory.
    static constexpr size_t kValueLength = 64;
    static constexpr size_t kDirectoryValueLength = 256;

    enum class EDiskState
    {
        Missing,
        Unchanged,
        Newer
    };

    CIniSection() = default;
    ~CIniSection();
    CIniSection(const CIniSection&) = delete;
    CIniSection& operator=(const CIniSection&) = delete;

    // Binds the reader to directory/fileName and forgets everything read before.
    void Bind(const std::string& directory, const std::string& fileName);
    void Unbind();
    bool IsBound() const { return !m_Path.empty(); }
    const std::string& FileName() const { return m_FileName; }

    // Reads the bound file and looks for the section; false when the file is missing or cannot
    // be read completely, lacks the EndOfFile marker, or has no such section.
    bool Load(const char* sectionName);
    bool HasSection() const { return m_SectionBegin != nullptr; }

    // Compares the file on disk with the copy in memory (by modification time).
    EDiskState CheckDisk() const;
    // Frees the copy in memory; the next CheckDisk then reports any existing file as newer.
    void Drop();

    // Copies the value of key into value (at most maxLength characters plus a terminating zero,
    // so value must hold maxLength + 1 bytes). False when the key or its "=" is not found.
    bool GetString(const char* key, char* value, size_t maxLength) const;
    // Reads a number in C notation ("0x10", "010", "16"); value is left alone when not found.
    bool GetNumber(const char* key, unsigned& value) const;

private:
    bool ReadWholeFile(size_t size);
    bool CutAtEndOfFileMarker();
    bool FindSection(const char* sectionName);

    std::string m_Directory;
    std::string m_FileName;
    std::string m_Path;
    size_t m_FileSize = 0;
    struct timespec m_ModificationTime = {0, 0};
    char* m_Buffer = nullptr;
    // End of the usable text: the "[" of the EndOfFile marker.
    const char* m_TextEnd = nullptr;
    const char* m_SectionBegin = nullptr;
    const char* m_SectionEnd = nullptr;
};
