#pragma once

#include <string>

// A directory under /tmp that is removed with everything in it when the object goes away.
// Paths stay short so that UNIX socket paths below it fit into sun_path.
class TempDir
{
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_Path; }
    // Path() + "/" + relative; creates the parent directories of the result.
    std::string File(const std::string& relative) const;
    // Writes a file (parents created) and returns its path.
    std::string Write(const std::string& relative, const std::string& content) const;

private:
    std::string m_Path;
};

// Sets (or with nullptr unsets) an environment variable for the lifetime of the object.
class ScopedEnv
{
public:
    ScopedEnv(const char* name, const char* value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string m_Name;
    std::string m_Old;
    bool m_Had;
};

// Creates the directories of a path (like mkdir -p).
void MakeDirs(const std::string& path);
// Reads a whole file; empty when it cannot be read.
std::string ReadFile(const std::string& path);
