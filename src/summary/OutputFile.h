#pragma once

#include <string>

// A file the summary writes (the export, the overview, the redaction key): created beside its
// final name as a new file of mode 0600 (O_EXCL, so never through a link and never into someone
// else's file), and renamed over the final name only once it is complete. The final name is
// replaced, never followed, and a run that fails leaves the old file as it was.
class OutputFile
{
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // False, with a reason in Error(), when the folder of path is missing or not writable.
    bool Create(const std::string& path);
    int Descriptor() const { return m_Fd; }
    bool Write(const std::string& bytes);
    // Hands the descriptor over (to a stdio stream); Commit then only renames.
    int Release();
    // Closes (unless released) and renames into place; ok says whether everything was written.
    bool Commit(bool ok = true);
    const std::string& Error() const { return m_Error; }

private:
    void Discard();

    std::string m_Path;
    std::string m_Temporary;
    int m_Fd = -1;
    bool m_Failed = false;
    std::string m_Error;
};
