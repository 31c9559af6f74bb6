// What the metrics cost beside reading the pages they come from, in one process (no start-up,
// no disk): reading the golden page, and turning 1 or 1,000 read pages (1,000 hosts) into the
// text of the metrics file. bench/metrics_bench.sh measures the whole program the same way.
#include "MetricsWriter.h"
#include "PageMetrics.h"
#include "PageReader.h"
#include "TestEnv.h"

#include <benchmark/benchmark.h>
#include <libxml/parser.h>

#include <string>

namespace
{
const std::string& GoldenBytes()
{
    static const std::string bytes =
        ReadFile(std::string(HOSTCAPTURE_SOURCE_DIR) + "/testdata/golden/report.html");
    return bytes;
}

void BM_ReadPages(benchmark::State& state)
{
    const int pages = static_cast<int>(state.range(0));
    for (auto _ : state)
        for (int i = 0; i < pages; ++i)
        {
            HostPage page;
            benchmark::DoNotOptimize(PageReader::ReadPage(GoldenBytes(), page));
        }
    state.counters["per_page"] = benchmark::Counter(pages, benchmark::Counter::kIsIterationInvariantRate |
                                                               benchmark::Counter::kInvert);
}

void BM_WriteMetrics(benchmark::State& state)
{
    const int pages = static_cast<int>(state.range(0));
    HostPage page;
    if (!PageReader::ReadPage(GoldenBytes(), page))
    {
        state.SkipWithError("the golden page does not read");
        return;
    }
    size_t bytes = 0;
    for (auto _ : state)
    {
        MetricsWriter writer;
        PageMetrics metrics(writer);
        for (int i = 0; i < pages; ++i)
        {
            writer.BeginCollection("host" + std::to_string(i));
            metrics.AddPage(page);
        }
        std::string text = writer.Text();
        bytes = text.size();
        benchmark::DoNotOptimize(text.data());
    }
    state.counters["per_page"] = benchmark::Counter(pages, benchmark::Counter::kIsIterationInvariantRate |
                                                               benchmark::Counter::kInvert);
    state.counters["file_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_ReadPages)->Arg(1)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteMetrics)->Arg(1)->Arg(1000)->Unit(benchmark::kMillisecond);
} // namespace

int main(int argc, char** argv)
{
    xmlInitParser();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    xmlCleanupParser();
    return 0;
}
