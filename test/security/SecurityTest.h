#pragma once

#include "StartedProgram.h"
#include "TestEnv.h"
#include "Unprivileged.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

// Shared by the tests of this folder: HostCapture runs as root (the test's own user) while a
// child of the test acts as uid 65534 in a folder that user owns. A file of root's elsewhere
// stands for whatever the other user would like root to overwrite.
class SecurityTest : public ::testing::Test
{
protected:
    static constexpr const char* kVictimText = "root's own file\n";
    static constexpr int kRunLimitMs = 60000;

    void SetUp() override
    {
        const std::string reason = UnprivilegedSkipReason();
        if (!reason.empty())
            GTEST_SKIP() << reason;
        ASSERT_FALSE(m_Home.Path().empty());
        ASSERT_EQ("", NobodyReachConcern(m_Home.Path()));
        m_Victim = m_Secret.Write("victim", kVictimText);
    }

    // Runs HostCapture to its end (at most kRunLimitMs) with an empty system root, so no daemon.
    // A run that hangs is killed and reported with exit status -2.
    struct Result
    {
        int exitStatus = -2;
        std::string output, errors;
    };
    Result Run(const std::vector<std::string>& args, const std::string& workDir,
               std::vector<std::pair<std::string, std::string>> environment = {})
    {
        return RunOn(m_Sysroot.Path(), args, workDir, std::move(environment));
    }
    // The same on a system root of the test's own.
    static Result RunOn(const std::string& sysroot, const std::vector<std::string>& args,
                        const std::string& workDir,
                        std::vector<std::pair<std::string, std::string>> environment = {})
    {
        environment.emplace_back("HOSTCAPTURE_SYSROOT", sysroot);
        StartedProgram program(HOSTCAPTURE_EXECUTABLE, args, workDir, environment);
        Result result;
        if (program.Wait(kRunLimitMs))
            result.exitStatus = program.ExitStatus();
        result.output = program.Output();
        result.errors = program.Errors();
        return result;
    }

    static std::string WriteFailure(const std::string& name, int error)
    {
        return "\n!! Failed to write HTML file \"" + name + "\"! (Error " + std::strerror(error) + ")\n";
    }
    static bool IsCompletePage(const std::string& page)
    {
        return page.rfind("<!DOCTYPE html>", 0) == 0 && page.size() > 7 &&
               page.compare(page.size() - 7, 7, "</html>") == 0;
    }
    static mode_t ModeOf(const std::string& path)
    {
        struct stat status
        {
        };
        return lstat(path.c_str(), &status) == 0 ? (status.st_mode & 07777) : 0;
    }

    NobodyFolder m_Home; // the other user's folder
    TempDir m_Secret;    // root's, holding the victim
    TempDir m_Sysroot;   // empty: no daemon
    std::string m_Victim;
};
