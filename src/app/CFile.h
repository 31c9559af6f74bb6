#pragma once

#include <cstddef>
#include <string>
#include <sys/types.h>

// A file reached through a descriptor, used to check before the long report run that the output
// file can be created. The path is kept in a fixed buffer: longer names are cut at MaxPath
// characters rather than overflowing it.
class CFile
{
public:
    static constexpr size_t MaxPath = 260;

    explicit CFile(const char* path);
    ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // Each returns false on failure and keeps errno in LastError.
    bool Open(int flags, mode_t mode);
    bool Lock();
    bool Sync();
    bool Unlock();
    bool Close();

    const char* Path() const { return m_Path; }
    int LastError() const { return m_LastError; }
    bool IsOpen() const { return m_Open; }

    // Writes the text into the named file (created or truncated) with one fputs. False, with errno
    // set and an error trace line, when the file cannot be opened; write errors are not reported.
    static bool WriteTextFile(const std::string& name, const std::string& text);

private:
    bool Fail();

    int m_Fd = -1;
    bool m_Open = false;
    bool m_Locked = false;
    bool m_Closed = false;
    char m_Path[MaxPath + 1];
    int m_LastError = 0;
};
