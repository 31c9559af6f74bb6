#pragma once

#include <string>
#include <sys/types.h>

// A file the summary writes (the export, the overview, the change pages, the redaction key, the
// metrics): created beside its final name as a new file (O_EXCL, so never through a link and never
// into someone else's file), and renamed over the final name only once it is complete. The final
// name is replaced, never followed, and a run that fails leaves the old file as it was. The mode
// is 0600 unless the caller names another: most outputs hold serial numbers and addresses.
class OutputFile
{
public:
    // Synced: the data and the rename reach the disk before Commit returns, for a file that a
    // collector picks up on its own schedule and that must never be seen half written after a crash.
    enum class Durability
    {
        Ordinary,
        Synced
    };

    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // False, with a reason in Error(), when the folder of path is missing or not writable.
    bool Create(const std::string& path, mode_t mode = 0600, Durability durability = Durability::Ordinary);
    int Descriptor() const { return m_Fd; }
    bool Write(const std::string& bytes);
    // Hands the descriptor over (to a stdio stream); Commit then only renames.
    int Release();
    // Closes (unless released) and renames into place; ok says whether everything was written.
    bool Commit(bool ok = true);
    const std::string& Error() const { return m_Error; }

    // Writes text as the whole of path in mode 0600. A file of ours that already holds exactly
    // text is left as it is: a summary run again over the same pages then touches nothing.
    static bool WriteText(const std::string& path, const std::string& text, std::string& error);

private:
    void Discard();
    bool SyncFolder();

    std::string m_Path;
    std::string m_Folder;
    std::string m_Temporary;
    int m_Fd = -1;
    mode_t m_Mode = 0600;
    Durability m_Durability = Durability::Ordinary;
    bool m_Failed = false;
    std::string m_Error;
};
