#include "CIniSection.h"

#include "ReadFully.h"
#include "SafeOpen.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const char kEndOfFileMarker[] = "EndOfFile";

// True when the bytes [begin, end) spell name, compared without regard to case.
bool SameWordIgnoringCase(const char* begin, const char* end, const char* name)
{
    size_t length = static_cast<size_t>(end - begin);
    return length == std::strlen(name) && strncasecmp(begin, name, length) == 0;
}

const char* FindLastChar(const char* begin, const char* end, char wanted)
{
    for (const char* p = end; p > begin; --p)
    {
        if (p[-1] == wanted)
            return p - 1;
    }
    return nullptr;
}

bool IsNewer(const struct timespec& disk, const struct timespec& known)
{
    if (disk.tv_sec != known.tv_sec)
        return disk.tv_sec > known.tv_sec;
    return disk.tv_nsec > known.tv_nsec;
}
} // namespace

CIniSection::~CIniSection()
{
    Drop();
}

void CIniSection::Bind(const std::string& directory, const std::string& fileName)
{
    Drop();
    m_Directory = directory;
    m_FileName = fileName;
    m_Path = directory + "/" + fileName;
    m_FileSize = 0;
    m_ModificationTime = {0, 0};
}

void CIniSection::Unbind()
{
    Drop();
    m_Directory.clear();
    m_FileName.clear();
    m_Path.clear();
}

void CIniSection::Drop()
{
    std::free(m_Buffer);
    m_Buffer = nullptr;
    m_TextEnd = nullptr;
    m_SectionBegin = nullptr;
    m_SectionEnd = nullptr;
    m_ModificationTime = {0, 0};
}

bool CIniSection::Load(const char* sectionName)
{
    Drop();
    struct stat info;
    if (!IsBound() || sectionName == nullptr || stat(m_Path.c_str(), &info) != 0)
        return false;
    m_FileSize = static_cast<size_t>(info.st_size);
    m_ModificationTime = info.st_mtim;

    if (!ReadWholeFile(m_FileSize) || !CutAtEndOfFileMarker() || !FindSection(sectionName))
    {
        // Keep the modification time: the same broken file is not read again on every check,
        // but a corrected (newer) one is.
        struct timespec seen = m_ModificationTime;
        Drop();
        m_ModificationTime = seen;
        return false;
    }
    return true;
}

bool CIniSection::ReadWholeFile(size_t size)
{
    // Zero padding behind the text lets the scanners treat it as a C string where convenient.
    m_Buffer = static_cast<char*>(std::calloc(size + 16, 1));
    if (m_Buffer == nullptr)
        return false;
    // A FIFO put in place of an ini file must not hold the program in open().
    int fd = SafeOpen::ForReading(m_Path, true);
    if (fd < 0)
        return false;
    const size_t done = ReadFully(fd, m_Buffer, size);
    close(fd);
    return done == size;
}

bool CIniSection::CutAtEndOfFileMarker()
{
    const char* end = m_Buffer + m_FileSize;
    const char* closeBracket = FindLastChar(m_Buffer, end, ']');
    if (closeBracket == nullptr)
        return false;
    const char* openBracket = FindLastChar(m_Buffer, closeBracket, '[');
    if (openBracket == nullptr || !SameWordIgnoringCase(openBracket + 1, closeBracket, kEndOfFileMarker))
        return false;
    m_TextEnd = openBracket;
    return true;
}

bool CIniSection::FindSection(const char* sectionName)
{
    const char* p = m_Buffer;
    while (p < m_TextEnd)
    {
        const char* openBracket = static_cast<const char*>(std::memchr(p, '[', m_TextEnd - p));
        if (openBracket == nullptr)
            return false;
        const char* closeBracket =
            static_cast<const char*>(std::memchr(openBracket, ']', m_TextEnd - openBracket));
        if (closeBracket == nullptr)
            return false;
        if (SameWordIgnoringCase(openBracket + 1, closeBracket, sectionName))
        {
            m_SectionBegin = closeBracket + 1;
            const char* next =
                static_cast<const char*>(std::memchr(m_SectionBegin, '[', m_TextEnd - m_SectionBegin));
            m_SectionEnd = next != nullptr ? next : m_TextEnd;
            return true;
        }
        p = closeBracket + 1;
    }
    return false;
}

CIniSection::EDiskState CIniSection::CheckDisk() const
{
    struct stat info;
    if (!IsBound() || stat(m_Path.c_str(), &info) != 0)
        return EDiskState::Missing;
    return IsNewer(info.st_mtim, m_ModificationTime) ? EDiskState::Newer : EDiskState::Unchanged;
}

bool CIniSection::GetString(const char* key, char* value, size_t maxLength) const
{
    if (!HasSection() || key == nullptr || *key == '\0' || value == nullptr)
        return false;
    size_t bodyLength = static_cast<size_t>(m_SectionEnd - m_SectionBegin);
    const char* found = static_cast<const char*>(memmem(m_SectionBegin, bodyLength, key, std::strlen(key)));
    if (found == nullptr)
        return false;
    const char* equals = static_cast<const char*>(std::memchr(found, '=', m_SectionEnd - found));
    if (equals == nullptr)
        return false;
    const char* p = equals + 1;
    while (p < m_SectionEnd && std::isspace(static_cast<unsigned char>(*p)))
        ++p;
    size_t length = 0;
    while (p + length < m_SectionEnd && length < maxLength && p[length] != '\n')
        ++length;
    std::memcpy(value, p, length);
    value[length] = '\0';
    return true;
}

bool CIniSection::GetNumber(const char* key, unsigned& value) const
{
    char text[kValueLength + 1];
    if (!GetString(key, text, kValueLength))
        return false;
    value = static_cast<unsigned>(std::strtoul(text, nullptr, 0));
    return true;
}
