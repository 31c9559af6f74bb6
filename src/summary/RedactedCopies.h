#pragma once

#include <string>
#include <vector>

// The folder of redacted copies. Every copy is a new file of mode 0600 made through descriptors
// of folders opened without following links, so a link planted inside the folder leads nowhere,
// and nothing that is already there (a copy of an earlier run, a page) is ever written over:
// when a name is taken, the host's folder name goes into the file name, then a number.
class RedactedCopies
{
public:
    RedactedCopies() = default;
    ~RedactedCopies();
    RedactedCopies(const RedactedCopies&) = delete;
    RedactedCopies& operator=(const RedactedCopies&) = delete;

    // Creates the folder (and its parents) when it is missing and opens it.
    bool Open(const std::string& folder, std::string& error);
    // Writes bytes as relative (a path below the folder, already redacted; host is the redacted
    // host folder name for a second choice of name). The path actually written, relative to the
    // folder, goes to written.
    bool Write(const std::string& relative, const std::string& host, const std::string& bytes,
               std::string& written, std::string& error);
    // Reads back a copy this object wrote.
    bool Read(const std::string& written, std::string& bytes, std::string& error) const;

private:
    // A descriptor of the folder for the path's parent, made on the way; -1 with error.
    int OpenParent(const std::vector<std::string>& parts, bool create, std::string& error) const;

    std::string m_Folder;
    int m_Fd = -1;
};
