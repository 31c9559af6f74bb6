#pragma once

// Test support for the report: a builder for daemon simulator profiles, packed event-log
// records, and a runner that starts the HostCapture program as a child process. Used by the
// report's end-to-end tests and its benchmark; not part of the library.

#include "TestEnv.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace ReportTestSupport
{
inline std::string JsonString(const std::string& text)
{
    std::string json = "\"";
    for (const char c : text)
    {
        if (c == '"' || c == '\\')
            json += '\\';
        if (static_cast<unsigned char>(c) < 0x20)
        {
            char escape[8];
            snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(c));
            json += escape;
        }
        else
            json += c;
    }
    return json + "\"";
}

// Raw answer data: {"RAW": [one number per byte]}.
inline std::string RawJson(const std::vector<uint8_t>& bytes)
{
    std::string json;
    json.reserve(bytes.size() * 4 + 16);
    json += "{\"RAW\":[";
    for (size_t i = 0; i < bytes.size(); ++i)
    {
        if (i != 0)
            json += ',';
        json += std::to_string(bytes[i]);
    }
    return json + "]}";
}

// A profile for qmxd-sim: answers keyed "OC/OE/OI" (hexadecimal), "ST" 0 unless given.
class ProfileBuilder
{
public:
    ProfileBuilder& Data(uint32_t oc, uint32_t oe, uint32_t oi, const std::string& dataJson)
    {
        m_Answers[Key(oc, oe, oi)] = "{\"DA\":" + dataJson + "}";
        return *this;
    }
    ProfileBuilder& Number(uint32_t oc, uint32_t oe, uint32_t oi, uint64_t value)
    {
        return Data(oc, oe, oi, std::to_string(value));
    }
    ProfileBuilder& String(uint32_t oc, uint32_t oe, uint32_t oi, const std::string& text)
    {
        return Data(oc, oe, oi, JsonString(text));
    }
    ProfileBuilder& Raw(uint32_t oc, uint32_t oe, uint32_t oi, const std::vector<uint8_t>& bytes)
    {
        return Data(oc, oe, oi, RawJson(bytes));
    }
    ProfileBuilder& Status(uint32_t oc, uint32_t oe, uint32_t oi, uint32_t status)
    {
        m_Answers[Key(oc, oe, oi)] = "{\"ST\":" + std::to_string(status) + "}";
        return *this;
    }

    std::string Text() const
    {
        std::string text = "{\n\"cabinet\": 0,\n\"unanswered\": {\"ST\": 4},\n\"answers\": {";
        bool first = true;
        for (const auto& answer : m_Answers)
        {
            text += first ? "\n" : ",\n";
            first = false;
            text += "\"" + answer.first + "\": " + answer.second;
        }
        return text + "\n}\n}\n";
    }

private:
    static std::string Key(uint32_t oc, uint32_t oe, uint32_t oi)
    {
        char key[48];
        snprintf(key, sizeof key, "0x%04X/0x%X/0x%X", oc, oe, oi);
        return key;
    }

    std::map<std::string, std::string> m_Answers;
};

// One event-log record as the management controller packs it (little-endian fields).
inline void AppendEventRecord(std::vector<uint8_t>& out, uint8_t severity, uint16_t code, int32_t time,
                              const std::string& text)
{
    const auto put = [&out](uint32_t value, int bytes)
    {
        for (int i = 0; i < bytes; ++i)
            out.push_back(static_cast<uint8_t>(value >> (8 * i)));
    };
    put(static_cast<uint32_t>(16 + text.size() + 1), 2);
    put(severity << 8, 2); // byte 2 unused, byte 3 the severity
    put(code, 2);
    put(0, 2);
    put(static_cast<uint32_t>(time), 4);
    put(0, 4);
    out.insert(out.end(), text.begin(), text.end());
    out.push_back(0);
}

struct ChildRun
{
    int exitStatus = -1; // -1 when the child did not exit normally
    std::string output;  // standard output and standard error together
    double wallSeconds = 0;
};

// Runs a program in a working directory with extra environment variables and waits for it.
inline ChildRun RunProgram(const std::string& executable, const std::vector<std::string>& args,
                           const std::string& workingDirectory,
                           const std::vector<std::pair<std::string, std::string>>& environment)
{
    ChildRun run;
    const std::string outputPath = workingDirectory + "/.child-output";
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid < 0)
        return run;
    if (pid == 0)
    {
        if (chdir(workingDirectory.c_str()) != 0)
            _exit(126);
        for (const auto& variable : environment)
            setenv(variable.first.c_str(), variable.second.c_str(), 1);
        const int fd = open(outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0)
        {
            dup2(fd, 1);
            dup2(fd, 2);
            close(fd);
        }
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(executable.c_str()));
        for (const std::string& arg : args)
            argv.push_back(const_cast<char*>(arg.c_str()));
        argv.push_back(nullptr);
        execv(executable.c_str(), argv.data());
        _exit(127);
    }
    int status = 0;
    pid_t waited;
    do
        waited = waitpid(pid, &status, 0);
    while (waited < 0 && errno == EINTR);
    if (waited < 0)
        return run;
    run.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (WIFEXITED(status))
        run.exitStatus = WEXITSTATUS(status);

    run.output = ReadFile(outputPath);
    unlink(outputPath.c_str());
    return run;
}
} // namespace ReportTestSupport
