#pragma once

#include "TestEnv.h"

#include <string>

// A private system root for registry tests: the registry files live in its etc directory, and
// HOSTCAPTURE_SYSROOT points at it while the object exists.
class RegistryTestFiles
{
public:
    RegistryTestFiles() : m_SysRoot("HOSTCAPTURE_SYSROOT", m_Root.Path().c_str()) { MakeDirs(Directory()); }

    std::string Directory() const { return m_Root.Path() + "/opt/TessmarkQDX/vital/etc/plinthd"; }
    std::string PathOf(const std::string& name) const { return Directory() + "/" + name; }
    void Write(const std::string& name, const std::string& content) const
    {
        m_Root.Write("opt/TessmarkQDX/vital/etc/plinthd/" + name, content);
    }
    std::string Read(const std::string& name) const { return ReadFile(PathOf(name)); }

private:
    TempDir m_Root;
    ScopedEnv m_SysRoot;
};
