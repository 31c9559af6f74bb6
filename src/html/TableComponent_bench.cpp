// Rendering cost per row of a table, with nothing but the component itself in the loop: the
// time per row must stay flat from a thousand to a hundred thousand rows.
#include "TableComponent.h"

#include <benchmark/benchmark.h>

#include <string>

namespace
{
void BM_RenderTable(benchmark::State& state)
{
    const int rows = static_cast<int>(state.range(0));
    TableComponent table;
    for (const char* heading : {"Status", "Designation", "Adapter ID", "Interface", "Size (GByte)"})
        table.AddColumn(heading);
    for (int i = 0; i < rows; ++i)
    {
        std::string name = "SAS HDD 1.2TB 10K (" + std::to_string(i) + ")";
        table.AddRow({StatusNormal, "Operational"}, {name, std::to_string(i % 4), i % 7 ? "SAS" : "", "1118"});
    }
    size_t bytes = 0;
    for (auto _ : state)
    {
        std::string html = table.Render();
        bytes = html.size();
        benchmark::DoNotOptimize(html.data());
    }
    state.counters["time_per_row"] = benchmark::Counter(
        static_cast<double>(rows), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["page_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_RenderTable)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
