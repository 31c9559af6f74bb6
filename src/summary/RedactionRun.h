#pragma once

#include "HostPage.h"
#include "PageRedactor.h"
#include "RedactedCopies.h"
#include "RedactionKey.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

// --redact DIR: a redacted copy of every readable page in DIR, the key beside DIR (never inside
// it, so it does not leave with the folder), and at the end a check of every copy for every
// value replaced in it. Messages go to standard error; Failed() tells the run to exit 3.
class RedactionRun
{
public:
    RedactionRun() : m_Redactor(m_Key) {}

    // "<DIR>-redaction-key.json" in the folder that holds DIR.
    static std::string DefaultKeyPath(const std::string& folder);

    // Refuses a key inside the folder and a folder that overlaps a folder being summarised (the
    // copies would be read as hosts next time); loads an existing key; opens the folder.
    bool Prepare(const std::string& folder, const std::string& keyPath,
                 const std::vector<std::string>& inputs);
    // Writes the copy of one page (relative: its path below the folder it was found in).
    void Copy(const std::string& bytes, const HostPage& page, const std::string& relative);
    // Checks every copy, then saves the key (also when a check failed: the copies use it).
    void Finish();
    bool Failed() const { return m_Failed; }

    // --restore FILE: FILE's bytes with every token of the key at keyPath put back.
    static bool Restore(const std::string& keyPath, const std::string& file, std::string& restored,
                        std::string& error);

private:
    RedactionKey m_Key;
    PageRedactor m_Redactor;
    RedactedCopies m_Copies;
    std::string m_KeyPath;
    // Every copy written and the tokens whose values must no longer stand in it.
    std::vector<std::pair<std::string, std::set<size_t>>> m_Written;
    bool m_Failed = false;
};
