#include "SimProcess.h"

#include "TestEnv.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace
{
constexpr int kReadyTimeoutMs = 5000;
constexpr int kControlTimeoutMs = 60000;

int MillisecondsLeft(std::chrono::steady_clock::time_point deadline)
{
    auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

uint32_t Member(const rapidjson::Value& command, const char* name, bool& present)
{
    auto found = command.FindMember(name);
    present = found != command.MemberEnd();
    return present && found->value.IsUint() ? found->value.GetUint() : 0;
}
} // namespace

SimProcess::SimProcess(std::string sysroot) : m_Sysroot(std::move(sysroot)) {}

SimProcess::~SimProcess()
{
    Stop();
}

std::string SimProcess::Executable()
{
    return QMXD_SIM_EXECUTABLE;
}

std::string SimProcess::ShippedProfile(const std::string& name)
{
    return std::string(QMXD_SIM_PROFILE_DIR) + "/" + name;
}

bool SimProcess::Start(const std::string& profilePath)
{
    if (IsRunning())
    {
        m_Error = "qmxd-sim is already running (pid " + std::to_string(m_Pid) + ")";
        return false;
    }
    m_Profile = profilePath;
    return Launch();
}

bool SimProcess::StartWithProfileText(const std::string& profileJson)
{
    std::string path = m_Sysroot + "/qmxd-sim.profile.json";
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << profileJson;
    out.close();
    if (!out)
    {
        m_Error = "cannot write " + path;
        return false;
    }
    return Start(path);
}

bool SimProcess::Restart()
{
    if (m_Profile.empty())
    {
        m_Error = "qmxd-sim was never started, so there is no profile to restart with";
        return false;
    }
    Stop();
    return Launch();
}

bool SimProcess::Launch()
{
    m_Error.clear();
    MakeDirs(m_Sysroot);
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0)
    {
        m_Error = std::string("pipe failed: ") + std::strerror(errno);
        return false;
    }
    std::string executable = Executable();
    std::string stderrPath = m_Sysroot + "/qmxd-sim.stderr";
    std::vector<std::string> words = {executable,  "--sysroot", m_Sysroot,
                                      "--profile", m_Profile,   "--exit-with-parent"};
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(&word[0]);
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ready[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, stderrPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    pid_t pid = -1;
    int spawned = posix_spawn(&pid, executable.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ready[1]);
    if (spawned != 0)
    {
        close(ready[0]);
        m_Error = "cannot start " + executable + ": " + std::strerror(spawned);
        return false;
    }
    m_Pid = pid;

    // Event-driven wait: the daemon prints its ready line once every socket listens.
    std::string output;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kReadyTimeoutMs);
    bool isReady = false;
    bool exited = false;
    while (!isReady && !exited)
    {
        pollfd fd = {ready[0], POLLIN, 0};
        int left = MillisecondsLeft(deadline);
        int result = left > 0 ? poll(&fd, 1, left) : 0;
        if (result < 0 && errno == EINTR)
            continue;
        if (result <= 0)
            break;
        char buffer[256];
        ssize_t count = read(ready[0], buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            exited = true;
        else
            output.append(buffer, static_cast<size_t>(count));
        isReady = output.find("qmxd-sim ready\n") != std::string::npos;
    }
    close(ready[0]);
    if (isReady)
        return true;

    if (exited)
    {
        int status = Stop();
        m_Error = "qmxd-sim exited with status " + std::to_string(status) + " before it was ready";
    }
    else
    {
        kill(m_Pid, SIGKILL);
        Stop();
        m_Error = "qmxd-sim was not ready within " + std::to_string(kReadyTimeoutMs / 1000) + " s";
    }
    m_Error += "; its messages: " + StderrText();
    return false;
}

int SimProcess::Stop()
{
    if (m_Pid <= 0)
        return -1;
    kill(m_Pid, SIGTERM);
    int status = 0;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    pid_t done = 0;
    while ((done = waitpid(m_Pid, &status, WNOHANG)) == 0)
    {
        if (MillisecondsLeft(deadline) == 0)
        {
            kill(m_Pid, SIGKILL);
            done = waitpid(m_Pid, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    m_Pid = -1;
    if (done < 0 || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

std::string SimProcess::StderrText() const
{
    std::string text = ReadFile(m_Sysroot + "/qmxd-sim.stderr");
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text.empty() ? "(none)" : text;
}

std::vector<std::string> SimProcess::RequestLogLines() const
{
    std::vector<std::string> lines;
    std::string text = ReadFile(m_Sysroot + "/qmxd-sim.requests.jsonl");
    size_t start = 0;
    size_t newline;
    // A line without its newline is still being written; it is left for the next call.
    while ((newline = text.find('\n', start)) != std::string::npos)
    {
        lines.push_back(text.substr(start, newline - start));
        start = newline + 1;
    }
    return lines;
}

std::vector<SimCommand> SimProcess::RequestedCommands() const
{
    std::vector<SimCommand> commands;
    std::vector<std::string> lines = RequestLogLines();
    for (size_t index = 0; index < lines.size(); ++index)
    {
        rapidjson::Document document;
        document.Parse(lines[index].c_str());
        if (document.HasParseError() || !document.IsObject() || !document.HasMember("SIP") ||
            !document["SIP"].IsObject() || !document["SIP"].HasMember("CMD") ||
            !document["SIP"]["CMD"].IsArray())
            continue;
        for (const auto& item : document["SIP"]["CMD"].GetArray())
        {
            if (!item.IsObject())
                continue;
            SimCommand command;
            bool hasOC = false;
            command.request = index;
            command.oc = Member(item, "OC", hasOC);
            command.oe = Member(item, "OE", command.hasOE);
            command.oi = Member(item, "OI", command.hasOI);
            command.ca = Member(item, "CA", command.hasCA);
            Member(item, "ST", command.hasST);
            Member(item, "DA", command.hasDA);
            commands.push_back(command);
        }
    }
    return commands;
}

std::vector<SimCommand> SimProcess::RequestedCommands(uint32_t oc) const
{
    std::vector<SimCommand> commands = RequestedCommands();
    commands.erase(std::remove_if(commands.begin(), commands.end(),
                                  [oc](const SimCommand& command) { return command.oc != oc; }),
                   commands.end());
    return commands;
}

void SimProcess::ClearRequestLog() const
{
    // Truncating keeps the daemon's append descriptor valid.
    if (truncate((m_Sysroot + "/qmxd-sim.requests.jsonl").c_str(), 0) != 0)
    {
        // Nothing logged yet: nothing to clear.
    }
}

std::string SimProcess::Control(const std::string& line) const
{
    std::string path = m_Sysroot + "/qmxd-sim.ctl";
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return std::string("error socket: ") + std::strerror(errno);
    sockaddr_un address;
    std::memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
    {
        std::string error = "error cannot reach " + path + ": " + std::strerror(errno);
        close(fd);
        return error;
    }
    std::string request = line + "\n";
    size_t sent = 0;
    while (sent < request.size())
    {
        ssize_t count = send(fd, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
        {
            close(fd);
            return "error control socket closed while sending";
        }
        sent += static_cast<size_t>(count);
    }
    std::string answer;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kControlTimeoutMs);
    while (answer.find('\n') == std::string::npos)
    {
        pollfd readable = {fd, POLLIN, 0};
        int left = MillisecondsLeft(deadline);
        int result = left > 0 ? poll(&readable, 1, left) : 0;
        if (result < 0 && errno == EINTR)
            continue;
        char buffer[512];
        ssize_t count = result > 0 ? read(fd, buffer, sizeof(buffer)) : -1;
        if (count <= 0)
        {
            close(fd);
            return result == 0 ? "error no answer from the control socket" : "error control socket closed";
        }
        answer.append(buffer, static_cast<size_t>(count));
    }
    close(fd);
    return answer.substr(0, answer.find('\n'));
}

bool SimProcess::PushEvents(long times) const
{
    return Control("push " + std::to_string(times)).compare(0, 2, "ok") == 0;
}

bool SimProcess::WaitEventChannels(size_t count, int timeoutMs) const
{
    return Control("wait-channels " + std::to_string(count) + " " + std::to_string(timeoutMs))
               .compare(0, 2, "ok") == 0;
}

bool SimProcess::DropEventChannels() const
{
    return Control("drop-events").compare(0, 2, "ok") == 0;
}

bool SimProcess::Signal(int signalNumber) const
{
    return m_Pid > 0 && kill(m_Pid, signalNumber) == 0;
}
