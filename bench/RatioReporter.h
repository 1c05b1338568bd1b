#pragma once

// Google Benchmark's console output, followed by the ratios of named pairs of benchmarks run in
// the same process: the figure each benchmark exists to report.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace brindlet::bench {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    // subject / baseline, printed with a label once every run is in.
    void addRatio(std::string label, std::string subject, std::string baseline)
    {
        ratios_.push_back({ std::move(label), std::move(subject), std::move(baseline) });
    }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                times_[run.benchmark_name()] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        for (const auto& [label, subject, baseline] : ratios_) {
            if (!times_.count(subject) || !times_.count(baseline) || times_[baseline] <= 0)
                continue;
            std::printf("ratio  %-55s %10.4f  (%s / %s)\n", label.c_str(), times_[subject] / times_[baseline],
                subject.c_str(), baseline.c_str());
        }
    }

private:
    struct Ratio {
        std::string label, subject, baseline;
    };
    std::vector<Ratio> ratios_;
    std::map<std::string, double> times_;
};

// The main of every benchmark program, after its Qt application object: the benchmarks, then
// the ratios, each given as {label, subject, baseline}.
inline int runBenchmarks(int argc, char** argv, const std::vector<std::array<std::string, 3>>& ratios)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    for (const auto& [label, subject, baseline] : ratios)
        reporter.addRatio(label, subject, baseline);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

} // namespace brindlet::bench
