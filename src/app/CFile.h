#pragma once

#include <cstddef>
#include <string>
#include <sys/types.h>

// The page file, held from the check before the long report run to the final write. Root runs
// this tool in folders that other users may write, so the file is opened once and only accepted
// when it is what it claims to be (see SafeOpen::ForWriting): a regular file with one link that
// belongs to the user running the tool, never reached through a symbolic link, and never opened
// by name again. The whole name is used as given, however long; the system refuses a name it
// cannot take.
class CFile
{
public:
    explicit CFile(std::string path);
    ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // Each returns false on failure and keeps errno in LastError.
    // Opens or creates (mode 0600) the file and empties it; exclusive accepts only a new file.
    bool OpenForOutput(bool exclusive);
    // Takes the exclusive lock without waiting: false with EWOULDBLOCK while anyone holds a lock.
    bool TryLock();
    // Writes the whole text from the start of the file, going on after short writes.
    bool WriteAll(const std::string& text);
    bool Sync();
    bool Unlock();
    bool Close();

    const std::string& Path() const { return m_Path; }
    int LastError() const { return m_LastError; }
    bool IsOpen() const { return m_Fd >= 0; }

private:
    bool Fail();
    bool Fail(int error);

    int m_Fd = -1;
    bool m_Locked = false;
    std::string m_Path;
    int m_LastError = 0;
};
