// Cost of trace calls: a call whose level is filtered out (the common case in production, where
// most detail lines are off), and a line that is written to the log file or the ring buffer.
#include "CDebug.h"

#include "TestEnv.h"

#include <benchmark/benchmark.h>

namespace
{
// A trace object configured through the environment, writing under a private directory.
struct BenchTrace
{
    BenchTrace(const char* level, const char* dynamicUpdate)
        : root("HOSTCAPTURE_SYSROOT", dir.Path().c_str()), traceLevel("TM_LOG_DEBUG_LEVEL", level),
          logDir("TM_LOG_RINGBUF_DIR", dir.Path().c_str()), dynamic("TM_LOG_DYNAMIC_UPDATE", dynamicUpdate),
          debug("HostCapture")
    {
    }

    TempDir dir;
    ScopedEnv root;
    ScopedEnv traceLevel;
    ScopedEnv logDir;
    ScopedEnv dynamic;
    CDebug debug;
};

void BM_PrintFilteredOut(benchmark::State& state)
{
    BenchTrace trace("2", nullptr);
    int value = 0;
    for (auto _ : state)
        trace.debug.Print(4, "\nCSwitchClient::Request: OC=%d OE=%s", ++value, "extension");
    benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_PrintFilteredOut);

// With re-reading configured, each call also reads the clock to see whether a check is due.
void BM_PrintFilteredOutWithDynamicUpdate(benchmark::State& state)
{
    BenchTrace trace("2", "3600");
    int value = 0;
    for (auto _ : state)
        trace.debug.Print(4, "\nCSwitchClient::Request: OC=%d OE=%s", ++value, "extension");
    benchmark::DoNotOptimize(value);
}
BENCHMARK(BM_PrintFilteredOutWithDynamicUpdate);

void BM_PrintWrittenToLogFile(benchmark::State& state)
{
    BenchTrace trace("2", nullptr);
    int value = 0;
    for (auto _ : state)
        trace.debug.Print(2, "\nCSwitchClient::Request: OC=%d OE=%s", ++value, "extension");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PrintWrittenToLogFile);

void BM_PrintWrittenToRingBuffer(benchmark::State& state)
{
    BenchTrace trace("2", nullptr);
    trace.debug.InitRingBuffer((trace.dir.Path() + "/ring").c_str(), 4 << 20);
    int value = 0;
    for (auto _ : state)
        trace.debug.Print(2, "\nCSwitchClient::Request: OC=%d OE=%s", ++value, "extension");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PrintWrittenToRingBuffer);
} // namespace

BENCHMARK_MAIN();
