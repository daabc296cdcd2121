// Runs the benchmarks and prints the ratios that docs/performance.md speaks of: medians of one run
// against each other, because one machine's milliseconds are nobody else's.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "photograph.h"
#include "support.h"

namespace {

std::map<std::string, std::vector<double>> times;

class Collector : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::printf("%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
            }
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                times[run.run_name.function_name].push_back(
                    run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit));
            }
        }
    }
};

double median(std::vector<double>& values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (!bench::check_photograph()) {
        return 1;
    }
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);

    std::printf("%-44s %10s\n", "median", "ms");
    for (auto& [name, values] : times) {
        std::printf("%-44s %10.3f\n", name.c_str(), median(values) * 1e3);
    }
    std::printf("\n%-44s %10s %10s %8s %8s\n", "ratio of medians", "ms", "base ms", "ratio", "bar");
    for (const bench::Bar& bar : bench::bars()) {
        if (times.count(bar.name) == 0 || times.count(bar.base) == 0) {
            continue;
        }
        const double own = median(times[bar.name]);
        const double base = median(times[bar.base]);
        const double ratio = own / base;
        std::printf("%-44s %10.3f %10.3f %8.4g %8.4g%s\n", bar.name.c_str(), own * 1e3, base * 1e3,
                    ratio, bar.limit, ratio <= bar.limit ? "" : "  MISSED");
    }
    return 0;
}
