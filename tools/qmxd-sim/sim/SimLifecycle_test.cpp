#include "SimProcess.h"
#include "SimTestClient.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/stat.h>

namespace
{
bool Exists(const std::string& path)
{
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

bool IsSocket(const std::string& path)
{
    struct stat info;
    return lstat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode);
}

const char* const kSockets[] = {"opt/TessmarkQDX/vital/qmxds", "opt/TessmarkQDX/vital/qmxdsj",
                                "opt/TessmarkQDX/vital/qmxdaj", "qmxd-sim.ctl"};

TEST(SimLifecycleTest, CreatesTheDaemonFilesAndRemovesThemOnTerm)
{
    TempDir root;
    SimProcess sim(root.Path());
    ASSERT_TRUE(sim.Start(SimProcess::ShippedProfile("empty.json"))) << sim.Error();
    for (const char* socketPath : kSockets)
        EXPECT_TRUE(IsSocket(root.Path() + "/" + socketPath)) << socketPath;
    EXPECT_TRUE(Exists(root.Path() + "/opt/TessmarkQDX/bin/tmqdx"));
    EXPECT_EQ(ReadFile(root.Path() + "/var/run/tmqdx.pid"), std::to_string(sim.Pid()) + "\n");

    // The native socket is a readiness probe: accepted, then closed.
    SimTestClient probe(root.Path() + "/opt/TessmarkQDX/vital/qmxds");
    ASSERT_TRUE(probe.Connected());
    EXPECT_TRUE(probe.SeesEndOfFile());

    // A connected client does not keep the daemon from stopping.
    SimTestClient client(root.Path() + "/opt/TessmarkQDX/vital/qmxdsj");
    rapidjson::Document reply;
    client.Exchange(R"({"SIP":{"V":1,"CMD":[{"OC":768,"CA":0}]}})", reply);
    ASSERT_TRUE(reply.IsObject());
    EXPECT_EQ(reply["SIP"]["CMD"][0]["ST"].GetUint(), 4u);
    EXPECT_EQ(sim.Stop(), 0);
    EXPECT_TRUE(client.SeesEndOfFile());
    for (const char* socketPath : kSockets)
        EXPECT_FALSE(Exists(root.Path() + "/" + socketPath)) << socketPath;
    EXPECT_FALSE(Exists(root.Path() + "/var/run/tmqdx.pid"));
    EXPECT_FALSE(Exists(root.Path() + "/opt")) << "directories it created go too";
    EXPECT_FALSE(Exists(root.Path() + "/var"));
}

TEST(SimLifecycleTest, LeavesWhatExistedBeforeAndEndsOnInterrupt)
{
    TempDir root;
    std::string frontEnd = root.Write("opt/TessmarkQDX/bin/tmqdx", "installed front-end");
    root.Write("var/log/plinthd/keep", "x");
    SimProcess sim(root.Path());
    ASSERT_TRUE(sim.Start(SimProcess::ShippedProfile("empty.json"))) << sim.Error();
    EXPECT_EQ(ReadFile(frontEnd), "installed front-end");
    ASSERT_TRUE(sim.Signal(SIGINT));
    // Stop sends SIGTERM to a process that is already stopping; it still collects the status.
    EXPECT_EQ(sim.Stop(), 0);
    EXPECT_EQ(ReadFile(frontEnd), "installed front-end");
    EXPECT_TRUE(Exists(root.Path() + "/var/log/plinthd/keep"));
    EXPECT_FALSE(Exists(root.Path() + "/var/run")) << "created by the daemon";
    EXPECT_FALSE(Exists(root.Path() + "/var/run/tmqdx.pid"));
    EXPECT_FALSE(Exists(root.Path() + "/opt/TessmarkQDX/vital"));
}

TEST(SimLifecycleTest, RestartsOnTheSameSysrootEvenAfterBeingKilled)
{
    TempDir root;
    SimProcess sim(root.Path());
    ASSERT_TRUE(sim.StartWithProfileText(R"({"answers": {"0x0300": {"DA": 6}}})")) << sim.Error();
    ASSERT_TRUE(sim.Restart()) << sim.Error();

    // A killed daemon leaves its socket files behind; the next one replaces them.
    ASSERT_TRUE(sim.Signal(SIGKILL));
    sim.Stop();
    ASSERT_TRUE(IsSocket(root.Path() + "/opt/TessmarkQDX/vital/qmxdsj"));
    ASSERT_TRUE(sim.Restart()) << sim.Error();

    SimTestClient client(root.Path() + "/opt/TessmarkQDX/vital/qmxdsj");
    rapidjson::Document reply;
    client.Exchange(R"({"SIP":{"V":1,"CMD":[{"OC":768,"CA":0}]}})", reply);
    ASSERT_TRUE(reply.IsObject());
    EXPECT_EQ(reply["SIP"]["CMD"][0]["DA"].GetUint(), 6u);
    EXPECT_EQ(sim.RequestLogLines().size(), 1u);
    sim.ClearRequestLog();
    EXPECT_TRUE(sim.RequestLogLines().empty());
    client.Exchange(R"({"SIP":{"V":1,"CMD":[{"OC":768,"CA":0}]}})", reply);
    EXPECT_EQ(sim.RequestLogLines().size(), 1u) << "logging goes on after the log was cleared";
}

struct BadStart
{
    const char* name;
    const char* profile;
    const char* message;
};

TEST(SimLifecycleTest, BadProfilesAndPathsExitWithStatusOneAndSayWhy)
{
    const BadStart cases[] = {
        {"not JSON", "{\"answers\": ", "bad profile"},
        {"no object", "[1]", "must be a JSON object"},
        {"unknown member", "{\"anwsers\": {}}", "unknown member \"anwsers\""},
        {"bad key", "{\"answers\": {\"0x0300/zz\": {}}}", "answer \"0x0300/zz\""},
        {"code too big", "{\"answers\": {\"0x10000\": {}}}", "answer \"0x10000\""},
        {"answer not object", "{\"answers\": {\"1\": 5}}", "expected an object"},
        {"unknown fault", "{\"answers\": {\"1\": {\"fault\": {\"dealy_ms\": 5}}}}",
         "unknown member \"dealy_ms\""},
        {"negative delay", "{\"answers\": {\"1\": {\"fault\": {\"delay_ms\": -1}}}}", "delay_ms"},
        {"duplicate", "{\"answers\": {\"1\": {}, \"0x1/0/0\": {}}}", "answered twice"},
        {"bad status", "{\"answers\": {\"1\": {\"ST\": [1]}}}", "\"ST\" must be"},
        {"bad events", "{\"events\": [1]}", "every event must be"},
        {"bad cabinet", "{\"cabinet\": \"1\"}", "\"cabinet\""},
    };
    for (const BadStart& bad : cases)
    {
        TempDir root;
        SimProcess sim(root.Path());
        EXPECT_FALSE(sim.StartWithProfileText(bad.profile)) << bad.name;
        EXPECT_NE(sim.Error().find("exited with status 1"), std::string::npos)
            << bad.name << ": " << sim.Error();
        EXPECT_NE(sim.Error().find(bad.message), std::string::npos) << bad.name << ": " << sim.Error();
        EXPECT_FALSE(Exists(root.Path() + "/opt")) << bad.name;
    }

    TempDir root;
    SimProcess missing(root.Path());
    EXPECT_FALSE(missing.Start(root.Path() + "/no-such-profile.json"));
    EXPECT_NE(missing.Error().find("cannot read profile"), std::string::npos) << missing.Error();

    SimProcess deep(root.Path() + "/" + std::string(80, 'd'));
    EXPECT_FALSE(deep.Start(SimProcess::ShippedProfile("empty.json")));
    EXPECT_NE(deep.Error().find("socket path too long"), std::string::npos) << deep.Error();

    // A directory where a socket belongs cannot be bound; what was created is removed again.
    MakeDirs(root.Path() + "/opt/TessmarkQDX/vital/qmxdsj");
    SimProcess blocked(root.Path());
    EXPECT_FALSE(blocked.Start(SimProcess::ShippedProfile("empty.json")));
    EXPECT_NE(blocked.Error().find("cannot bind"), std::string::npos) << blocked.Error();
    EXPECT_FALSE(Exists(root.Path() + "/opt/TessmarkQDX/vital/qmxds"));
    EXPECT_FALSE(Exists(root.Path() + "/opt/TessmarkQDX/bin"));
}

TEST(SimLifecycleTest, HarnessReportsAnUnreachableControlSocket)
{
    TempDir root;
    SimProcess sim(root.Path());
    EXPECT_EQ(sim.Control("ping").find("error cannot reach " + root.Path()), 0u);
    EXPECT_FALSE(sim.PushEvents());
    EXPECT_EQ(sim.Stop(), -1);
    ASSERT_TRUE(sim.Start(SimProcess::ShippedProfile("empty.json"))) << sim.Error();
    EXPECT_FALSE(sim.Start(SimProcess::ShippedProfile("empty.json")));
    EXPECT_EQ(sim.Control("ping"), "ok");
}
} // namespace
