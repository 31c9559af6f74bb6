#pragma once

#include <string>
#include <vector>

// The daemon's files below a system root: the front-end that marks the stack as installed, the
// pid file that marks it as running, the sockets, and the simulator's own control socket and
// request log. Remembers what it created so that a stopped daemon leaves the tree as it found it.
class SimSysroot
{
public:
    explicit SimSysroot(const std::string& root);
    ~SimSysroot() = default;
    SimSysroot(const SimSysroot&) = delete;
    SimSysroot& operator=(const SimSysroot&) = delete;

    std::string FrontEnd() const { return m_Root + "/opt/TessmarkQDX/bin/tmqdx"; }
    std::string PidFile() const { return m_Root + "/var/run/tmqdx.pid"; }
    std::string NativeSocket() const { return m_Root + "/opt/TessmarkQDX/vital/qmxds"; }
    std::string RequestSocket() const { return m_Root + "/opt/TessmarkQDX/vital/qmxdsj"; }
    std::string EventSocket() const { return m_Root + "/opt/TessmarkQDX/vital/qmxdaj"; }
    std::string ControlSocket() const { return m_Root + "/qmxd-sim.ctl"; }
    std::string DefaultRequestLog() const { return m_Root + "/qmxd-sim.requests.jsonl"; }

    // Every socket path must fit into sockaddr_un.sun_path.
    bool CheckSocketPaths(std::string& error) const;
    // Creates the missing parent directories of path.
    bool MakeParents(const std::string& path, std::string& error);
    // Creates the front-end file unless it exists (an existing one is left alone).
    bool CreateFrontEnd(std::string& error);
    bool WritePidFile(std::string& error);
    // Marks a file (a socket) as the daemon's, to be removed by RemoveCreated.
    void Remember(const std::string& path) { m_Files.push_back(path); }
    // Removes the pid file first (the daemon no longer counts as running), then the other files,
    // then the directories it created, deepest first, where they are empty.
    void RemoveCreated();

private:
    std::string m_Root;
    std::vector<std::string> m_Files;
    std::vector<std::string> m_Directories;
    bool m_WrotePidFile = false;
};
