#pragma once

// Pages that HostCapture itself writes from simulator profiles whose statuses are known, made
// once per test program and shared by its tests.

#include "ProgramRun.h"
#include "SimProcess.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace GeneratedPages
{
inline TempDir& Folder()
{
    static TempDir folder;
    return folder;
}

inline std::string TestProfile(const std::string& name)
{
    return std::string(HOSTCAPTURE_SOURCE_DIR) + "/testdata/profiles/" + name + ".json";
}

// The path of a page written from testdata/profiles/<profile>.json; "no-daemon" runs HostCapture
// without any daemon. Empty (and a test failure) when it could not be made.
inline std::string Page(const std::string& profile)
{
    static std::map<std::string, std::string> made;
    auto known = made.find(profile);
    if (known != made.end())
        return known->second;
    TempDir root;
    SimProcess sim(root.Path());
    if (profile != "no-daemon" && !sim.Start(TestProfile(profile)))
    {
        ADD_FAILURE() << profile << ": " << sim.Error();
        return {};
    }
    std::string page = Folder().File("pages/" + profile + ".html");
    ProgramRun run = RunProgram(HOSTCAPTURE_EXECUTABLE, {"-output", page}, Folder().Path(),
                                {{"HOSTCAPTURE_SYSROOT", root.Path()}});
    if (run.exitStatus != 0)
    {
        ADD_FAILURE() << "HostCapture failed on " << profile << ": " << run.errors;
        return {};
    }
    made[profile] = page;
    return page;
}
} // namespace GeneratedPages
