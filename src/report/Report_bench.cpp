// Speed of the report: table building and rendering per row (flat from 1,000 rows to the row cap of
// 4,096; the event log, which has no count, to 100,000), and a whole report of a large server
// rendered by the HostCapture program against qmxd-sim.

#include "CConfigSpaceQuery.h"
#include "EnvironmentTables.h"
#include "FakeObraClient.h"
#include "HtmlText.h"
#include "PageTextBudget.h"
#include "ProgramRun.h"
#include "ReportTestSupport.h"
#include "RowLimit.h"
#include "SimProcess.h"
#include "StorageTables.h"
#include "SystemEventLog.h"
#include "TestEnv.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>

namespace
{
void CountRows(benchmark::State& state, int64_t rows)
{
    state.SetItemsProcessed(state.iterations() * rows);
    state.counters["time_per_row"] =
        benchmark::Counter(static_cast<double>(rows),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Temperature sensors answered by the in-process daemon: four queries and one row per sensor.
void BM_TemperatureTable(benchmark::State& state)
{
    const uint32_t rows = static_cast<uint32_t>(state.range(0));
    FakeObraClient daemon;
    daemon.RecordRequests = false;
    daemon.AnswerNumber(0x0400, 0, 0, rows);
    for (uint32_t i = 0; i < rows; ++i)
    {
        daemon.AnswerNumber(0x0401, 0, i, 1 + i % 7);
        daemon.AnswerString(0x0404, 0, i, "Sensor <" + std::to_string(i) + ">");
        daemon.AnswerNumber(0x0403, 0, i, i % 6);
        daemon.AnswerNumber(0x0402, 0, i, 20 + i % 60);
    }
    CConfigSpaceQuery query;
    query.Bind(&daemon, 0, "/opt/TessmarkQDX/bin/tmqdx");
    for (auto _ : state)
    {
        PageTextBudget::Start(); // each pass builds a page's worth of text anew
        std::string html = EnvironmentTables::BuildTemperatureTable(query)->Render();
        benchmark::DoNotOptimize(html.data());
    }
    CountRows(state, rows);
}
// A count-driven table holds at most RowLimit::kMaxRows rows, so that is the largest size.
BENCHMARK(BM_TemperatureTable)->Arg(1000)->Arg(RowLimit::kMaxRows)->Unit(benchmark::kMillisecond);

// Physical drives: the widest table, six queries (seven with the S.M.A.R.T. check) per row.
void BM_PhysicalDriveTable(benchmark::State& state)
{
    const uint32_t rows = static_cast<uint32_t>(state.range(0));
    FakeObraClient daemon;
    daemon.RecordRequests = false;
    daemon.AnswerNumber(0x2110, 0, 0, 1);
    daemon.AnswerNumber(0x2130, 0, 0, rows);
    for (uint32_t d = 0; d < rows; ++d)
    {
        daemon.AnswerNumber(0x2131, 0, d, d % 16);
        daemon.AnswerNumber(0x2132, 0, d, d % 2);
        daemon.AnswerString(0x2133, 0, d, "SAS HDD 1.2TB (" + std::to_string(d) + ")");
        daemon.AnswerNumber(0x2134, 0, d, 8);
        daemon.AnswerNumber(0x2135, 0, d, 1144641);
    }
    CConfigSpaceQuery query;
    query.Bind(&daemon, 0, "/opt/TessmarkQDX/bin/tmqdx");
    for (auto _ : state)
    {
        PageTextBudget::Start();
        std::string html = StorageTables::BuildRaidPhysicalDriveTable(query)->Render();
        benchmark::DoNotOptimize(html.data());
    }
    CountRows(state, rows);
}
BENCHMARK(BM_PhysicalDriveTable)->Arg(1000)->Arg(RowLimit::kMaxRows)->Unit(benchmark::kMillisecond);

// The event log: one raw answer, then the record walk, formatting and rendering.
void BM_EventLogTable(benchmark::State& state)
{
    const int64_t rows = state.range(0);
    std::vector<uint8_t> records;
    for (int64_t i = 0; i < rows; ++i)
        ReportTestSupport::AppendEventRecord(records, static_cast<uint8_t>(i % 4), static_cast<uint16_t>(i),
                                             static_cast<int32_t>(1700000000 + i * 60),
                                             "Fan 'FAN" + std::to_string(i % 7) +
                                                 " SYS' <prefailure> detected");
    for (auto _ : state)
    {
        PageTextBudget::Start();
        std::string html = SystemEventLog::BuildTable(records)->Render();
        benchmark::DoNotOptimize(html.data());
    }
    CountRows(state, rows);
}
BENCHMARK(BM_EventLogTable)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_DaemonTextEscaping(benchmark::State& state)
{
    const std::string text = "RAID Ctrl <SAS> 12G \"8i\" & \xC2\xB0"
                             "C \xFF\x01 ok";
    for (auto _ : state)
    {
        PageTextBudget::Start();
        std::string escaped = HtmlText::FromDaemon(text);
        benchmark::DoNotOptimize(escaped.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_DaemonTextEscaping);

// A server with 1,000 physical drives on four RAID adapters and 10,000 event-log records.
std::string LargeServerProfile()
{
    ReportTestSupport::ProfileBuilder p;
    p.String(0x0C00, 0x0608, 0, "RX-9000 M2").String(0xE107, 0, 0, "bench.example");
    const uint32_t adapters = 4;
    const uint32_t drivesPerAdapter = 250;
    p.String(0x0C00, 0xAA03, 0, "7.14").Number(0x2120, 0, 0, 1).Number(0x21DF, 0, 0, 0);
    p.Number(0x2110, 0, 0, adapters);
    for (uint32_t a = 0; a < adapters; ++a)
    {
        p.Number(0x2116, 0, a, 0).String(0x2111, 0, a, "RAID Ctrl (" + std::to_string(a) + ")");
        p.Number(0x2150, a, 0, 1)
            .Number(0x2151, a, 0, 0)
            .String(0x2152, a, 0, "LD0")
            .String(0x2155, a, 0, "RAID-6");
        p.Number(0x2153, a, 0, 250 * 1144641u / 4);
        p.Number(0x2130, a, 0, drivesPerAdapter);
        for (uint32_t d = 0; d < drivesPerAdapter; ++d)
        {
            p.Number(0x2131, a, d, 0).Number(0x2132, a, d, d % 50 == 1 ? 1 : 0);
            p.String(0x2133, a, d, "SAS HDD 1.2TB 10K (" + std::to_string(d) + ")");
            p.Number(0x2134, a, d, 8).Number(0x2135, a, d, 1144641);
        }
    }
    std::vector<uint8_t> records;
    for (int i = 0; i < 10000; ++i)
        ReportTestSupport::AppendEventRecord(records, static_cast<uint8_t>(i % 4),
                                             static_cast<uint16_t>(i * 7),
                                             i % 50 == 49 ? 0 : 1717400000 + i * 3607,
                                             "Memory module 'DIMM-2B' correctable errors exceeded threshold");
    p.Raw(0x0B10, 0, 0, records);
    return p.Text();
}

// The HostCapture program sits beside the simulator in the build tree.
std::string HostCaptureExecutable()
{
    if (const char* given = getenv("HOSTCAPTURE_EXECUTABLE"))
        return given;
    std::string path = QMXD_SIM_EXECUTABLE;
    const std::string simSuffix = "tools/qmxd-sim/qmxd-sim";
    if (path.size() >= simSuffix.size() &&
        path.compare(path.size() - simSuffix.size(), simSuffix.size(), simSuffix) == 0)
        path.replace(path.size() - simSuffix.size(), simSuffix.size(), "src/app/HostCapture");
    return path;
}

// Wall time, CPU time (user + system) and peak resident memory of the HostCapture process. The
// figures come from /usr/bin/time: a child forked straight from this (large) benchmark process
// would report this process's resident size as its own peak.
void BM_FullReportLargeServer(benchmark::State& state)
{
    TempDir root;
    TempDir work;
    SimProcess sim(root.Path());
    if (!sim.StartWithProfileText(LargeServerProfile()))
    {
        state.SkipWithError(("qmxd-sim did not start: " + sim.Error()).c_str());
        return;
    }
    const std::string figures = work.Path() + "/figures.txt";
    double wall = 0, cpu = 0, rss = 0;
    for (auto _ : state)
    {
        const auto run = RunProgram(
            "/usr/bin/time",
            {"-f", "%e %U %S %M", "-o", figures, HostCaptureExecutable(), "-output", "report.html"},
            work.Path(), {{"HOSTCAPTURE_SYSROOT", root.Path()}});
        double seconds = 0, user = 0, system = 0, peakKb = 0;
        if (run.exitStatus != 0 ||
            sscanf(ReadFile(figures).c_str(), "%lf %lf %lf %lf", &seconds, &user, &system, &peakKb) != 4)
        {
            state.SkipWithError(("HostCapture failed: " + run.output).c_str());
            return;
        }
        state.SetIterationTime(run.wallSeconds);
        wall += run.wallSeconds;
        cpu += user + system;
        rss = std::max(rss, peakKb);
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["wall_s"] = wall / n;
    state.counters["client_cpu_s"] = cpu / n;
    state.counters["client_maxrss_MiB"] = rss / 1024.0;
    state.counters["page_MiB"] =
        static_cast<double>(ReadFile(work.Path() + "/report.html").size()) / (1 << 20);
}
BENCHMARK(BM_FullReportLargeServer)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
