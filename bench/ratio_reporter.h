/** Ratios of the costs of two benchmarks, from all repetitions of one run. */
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/** Prints like the console reporter and keeps a processor-time counter of every repetition for ratios and rates. */
class RatioReporter : public benchmark::ConsoleReporter {
public:
    /** @param counter  the name of the counter with the time of one item, in seconds. */
    explicit RatioReporter(std::string counter) : _counter(std::move(counter)) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                const std::string &arguments = run.run_name.args;
                const std::string name = run.run_name.function_name + (arguments.empty() ? "" : "/" + arguments);
                const double nanoseconds = run.counters.at(_counter) * 1e9;
                _nanoseconds[name].push_back(nanoseconds);
                _by_the_clock[name].push_back(nanoseconds * run.real_accumulated_time / run.cpu_accumulated_time);
            }
        }
    }

    /** Prints the ratio of the medians of `slower` and `faster`, the least and the greatest ratio in brackets. */
    void print_ratio(const char *what, const std::string &slower, const std::string &faster) {
        const std::vector<double> slow = sort_times(_nanoseconds[slower]);
        const std::vector<double> fast = sort_times(_nanoseconds[faster]);
        if (!slow.empty() && !fast.empty()) {
            std::printf("%-64s %6.2f   (%.2f to %.2f)\n", what, slow[slow.size() / 2] / fast[fast.size() / 2],
                        slow.front() / fast.back(), slow.back() / fast.front());
        }
    }

    /** Prints millions of items a second by processor time and by the clock: medians, least and greatest in brackets.
     */
    void print_rates(const char *what, const std::string &name) {
        if (_nanoseconds[name].empty()) {
            return;
        }
        std::printf("%-48s", what);
        print_rate(sort_times(_nanoseconds[name]));
        print_rate(sort_times(_by_the_clock[name]));
        std::printf("\n");
    }

private:
    static std::vector<double> sort_times(std::vector<double> times) {
        std::sort(times.begin(), times.end());
        return times;
    }

    static void print_rate(const std::vector<double> &times) {
        std::printf("%8.2f (%.2f to %.2f)", 1e3 / times[times.size() / 2], 1e3 / times.back(), 1e3 / times.front());
    }

    std::string _counter;
    std::map<std::string, std::vector<double>> _nanoseconds;
    std::map<std::string, std::vector<double>> _by_the_clock;
};

} // namespace bench
