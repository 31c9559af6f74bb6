#pragma once

#include <string>

// The event-message catalogue "ERRMSG.XML". It is looked for in the current directory first,
// then in the directory where the management software is installed, as the registry records it.
// The event-log table takes its texts from the records themselves; the catalogue is located and
// loaded once per run so that the trace tells which catalogue the installation carries and
// whether it is readable.
class CLogMsgFile
{
public:
    static constexpr const char* kFileName = "ERRMSG.XML";

    // Locates and loads the catalogue, with the trace lines of every step. True when loaded.
    bool Open();
    bool IsLoaded() const { return m_Loaded; }
    // The last path tried (the loaded file's path on success), empty when none was tried.
    const std::string& Path() const { return m_Path; }

    // The installation directory from the registry ("BinRoot", else "FileRoot" of the product's
    // Setup key), or empty.
    static std::string RegisteredDirectory();
    // directory + "/" + name, without doubling a separator the directory already ends with.
    static std::string JoinPath(const std::string& directory, const std::string& name);

private:
    bool TryLoad(const std::string& path);

    bool m_Loaded = false;
    std::string m_Path;
};
