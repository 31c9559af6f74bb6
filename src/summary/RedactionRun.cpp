#include "RedactionRun.h"

#include "ReadFully.h"
#include "RedactionCheck.h"
#include "SafeOpen.h"
#include "TerminalText.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
namespace fs = std::filesystem;

fs::path Resolved(const std::string& path)
{
    std::error_code ec;
    fs::path resolved = fs::weakly_canonical(fs::absolute(path, ec), ec);
    std::string text = resolved.string();
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    return text;
}

// inner is outer or lies below it.
bool Within(const fs::path& inner, const fs::path& outer)
{
    std::string in = inner.string(), out = outer.string();
    return in == out || (in.compare(0, out.size(), out) == 0 && in.size() > out.size() &&
                         (out == "/" || in[out.size()] == '/'));
}

std::string Joined(const std::vector<std::string>& values)
{
    std::string text;
    for (const std::string& value : values)
        text += (text.empty() ? "" : ", ") + value;
    return text;
}
} // namespace

std::string RedactionRun::DefaultKeyPath(const std::string& folder)
{
    fs::path resolved = Resolved(folder);
    return (resolved.parent_path() / (resolved.filename().string() + "-redaction-key.json")).string();
}

bool RedactionRun::Prepare(const std::string& folder, const std::string& keyPath,
                           const std::vector<std::string>& inputs)
{
    m_KeyPath = keyPath.empty() ? DefaultKeyPath(folder) : keyPath;
    fs::path copies = Resolved(folder);
    if (Within(Resolved(m_KeyPath), copies))
    {
        TerminalText::Complain(m_KeyPath + ": the redaction key must not lie inside " + folder +
                               ", which is meant to be sent away");
        return false;
    }
    for (const std::string& input : inputs)
    {
        // A named page stands for its folder; an argument that is not there holds nothing.
        std::error_code ec;
        fs::path in = Resolved(input);
        if (!fs::exists(in, ec))
            continue;
        if (!fs::is_directory(in, ec))
            in = in.parent_path();
        if (Within(copies, in) || Within(in, copies))
        {
            TerminalText::Complain(folder + ": the copies must not go into a folder being summarised (" +
                                   input + ") nor hold one");
            return false;
        }
    }
    // The key is written last; a folder missing for it must stop the run before any copy exists.
    std::error_code ec;
    fs::path keyFolder = fs::path(m_KeyPath).parent_path();
    if (!keyFolder.empty() && !fs::is_directory(keyFolder, ec))
    {
        TerminalText::Complain(m_KeyPath + ": the folder " + keyFolder.string() + " does not exist");
        return false;
    }
    std::string error;
    if (!m_Key.Load(m_KeyPath, error) || !m_Copies.Open(folder, error))
    {
        TerminalText::Complain(error);
        return false;
    }
    return true;
}

void RedactionRun::Copy(const std::string& bytes, const HostPage& page, const std::string& relative)
{
    m_Redactor.Learn(page);
    std::string redacted = m_Redactor.Redact(bytes);
    std::string name;
    for (const auto& part : fs::path(relative))
        name += (name.empty() ? "" : "/") + m_Redactor.RedactName(part.string());
    std::string host = m_Redactor.RedactName(page.Collection);
    std::string written, error;
    if (!m_Copies.Write(name, host, redacted, written, error))
    {
        TerminalText::Complain(error);
        m_Failed = true;
        return;
    }
    m_Written.emplace_back(written, m_Redactor.Replaced());
}

void RedactionRun::Finish()
{
    for (const auto& copy : m_Written)
    {
        std::string bytes, error;
        if (!m_Copies.Read(copy.first, bytes, error))
        {
            TerminalText::Complain(error);
            m_Failed = true;
            continue;
        }
        std::vector<std::string> left = RedactionCheck::Remaining(bytes, m_Key, copy.second);
        std::vector<std::string> inName = RedactionCheck::Remaining(copy.first, m_Key, copy.second);
        left.insert(left.end(), inName.begin(), inName.end());
        if (!left.empty())
        {
            TerminalText::Complain(copy.first + ": redaction failed, the copy still holds " + Joined(left) +
                                   "; do not send it");
            m_Failed = true;
        }
    }
    std::string error;
    if (!m_Key.Save(m_KeyPath, error))
    {
        TerminalText::Complain(error);
        m_Failed = true;
    }
}

bool RedactionRun::Restore(const std::string& keyPath, const std::string& file, std::string& restored,
                           std::string& error)
{
    RedactionKey key;
    struct stat st;
    if (stat(keyPath.c_str(), &st) != 0)
    {
        error = keyPath + ": " + std::strerror(errno);
        return false;
    }
    if (!key.Load(keyPath, error))
        return false;
    int fd = SafeOpen::ForReading(file, true);
    if (fd < 0 || fstat(fd, &st) != 0)
    {
        error = file + ": " + (fd < 0 && errno == EINVAL ? "not a regular file" : std::strerror(errno));
        if (fd >= 0)
            close(fd);
        return false;
    }
    std::string bytes(static_cast<size_t>(st.st_size), '\0');
    bool ok = bytes.empty() || ReadFully(fd, &bytes[0], bytes.size()) == bytes.size();
    close(fd);
    if (!ok)
    {
        error = file + ": cannot be read";
        return false;
    }
    std::string ext = fs::path(file).extension().string();
    restored = key.Restore(bytes, ext == ".html" || ext == ".htm");
    return true;
}
