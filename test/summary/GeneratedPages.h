#pragma once

// Pages that HostCapture itself writes from simulator profiles whose statuses are known, made
// once per test program and shared by its tests.

#include "ProgramRun.h"
#include "SimProcess.h"
#include "TestEnv.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>

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

// Runs HostCapture into page against the simulator started with profileFile ("" for no daemon
// at all); the page's path, or empty (and a test failure) when it could not be made.
inline std::string Capture(const std::string& profileFile, const std::string& page, const std::string& dir)
{
    TempDir root;
    SimProcess sim(root.Path());
    if (!profileFile.empty() && !sim.Start(profileFile))
    {
        ADD_FAILURE() << profileFile << ": " << sim.Error();
        return {};
    }
    ProgramRun run =
        RunProgram(HOSTCAPTURE_EXECUTABLE, {"-output", page}, dir, {{"HOSTCAPTURE_SYSROOT", root.Path()}});
    if (run.exitStatus != 0)
    {
        ADD_FAILURE() << "HostCapture failed on " << profileFile << ": " << run.errors;
        return {};
    }
    return page;
}

// The path of a page written from testdata/profiles/<profile>.json; "no-daemon" runs HostCapture
// without any daemon. Made once per test program.
inline std::string Page(const std::string& profile)
{
    static std::map<std::string, std::string> made;
    auto known = made.find(profile);
    if (known == made.end())
        known = made.emplace(profile, Capture(profile == "no-daemon" ? "" : TestProfile(profile),
                                              Folder().File("pages/" + profile + ".html"), Folder().Path()))
                    .first;
    return known->second;
}

// Why json does not follow the fleet export's schema; empty when it does.
inline std::string SchemaFailure(const rapidjson::Document& json)
{
    rapidjson::Document schemaDocument;
    schemaDocument.Parse(ReadFile(FLEET_SCHEMA).c_str());
    if (schemaDocument.HasParseError())
        return "the schema is not JSON";
    rapidjson::SchemaDocument schema(schemaDocument);
    rapidjson::SchemaValidator validator(schema);
    if (json.Accept(validator))
        return {};
    rapidjson::StringBuffer where;
    validator.GetInvalidDocumentPointer().StringifyUriFragment(where);
    return std::string("invalid at ") + where.GetString() + ", keyword " +
           validator.GetInvalidSchemaKeyword();
}

inline ProgramRun Summary(const std::vector<std::string>& args, const std::string& dir)
{
    return RunProgram(HOSTCAPTURE_SUMMARY_EXECUTABLE, args, dir);
}
} // namespace GeneratedPages
