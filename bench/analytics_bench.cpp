/** Measures publishing analytics entries to the store against formatting their log lines alone. */
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "bench/ratio_reporter.h"
#include "host/RvLog.h"
#include "host/TallybookStore.h"
#include "plugin/OndreQORHIDStatistics.h"
#include "qor/analytics.h"

namespace {

constexpr std::size_t kEntries = 100'000;
constexpr std::size_t kValuesOfAKey = 1000;

/** Keys by the use that their names suggest. */
constexpr int kDurations[] = {9, 10, 11, 12, 13, 14, 15, 16, 17, 25, 26, 27, 28, 32, 33, 34, 35, 50, 51, 53};
constexpr int kCounters[] = {0, 1, 2, 3, 4, 5, 6, 18, 19, 20, 21, 22, 23, 38, 39, 40, 48, 49};

using Entry = std::array<std::uint8_t, qor::analytics::kEntrySize>;

Entry entry(int operation, int key, std::int32_t value) {
    const auto bits = static_cast<std::uint32_t>(value);
    return {qor::analytics::kVersion,
            static_cast<std::uint8_t>(operation),
            static_cast<std::uint8_t>(key),
            static_cast<std::uint8_t>(bits),
            static_cast<std::uint8_t>(bits >> 8),
            static_cast<std::uint8_t>(bits >> 16),
            static_cast<std::uint8_t>(bits >> 24)};
}

/** Operation codes of one mix, each repeated according to its share. */
using Shares = std::vector<std::pair<int, double>>;

/** A busy day: half of the entries are counts, half are durations, and some of those are pushed several times. */
const Shares kDay = {{qor::analytics::kAddToScalar, 45},
                     {qor::analytics::kSetScalar, 4},
                     {qor::analytics::kClearScalar, 0.5},
                     {qor::analytics::kPush, 46},
                     {qor::analytics::kPush + 2, 3},
                     {qor::analytics::kSetDistribution, 0.5},
                     {qor::analytics::kClearDistribution, 0.5},
                     {255, 0.5}};

/** The worst case for the store: single pushes only, which merge the least. */
const Shares kPushes = {{qor::analytics::kPush, 1}};

std::vector<Entry> entries_of(const Shares &shares) {
    std::mt19937 random(20261121);
    std::vector<double> weights;
    for (const auto &[operation, share] : shares) {
        weights.push_back(share);
    }
    std::discrete_distribution<std::size_t> choose(weights.begin(), weights.end());
    std::vector<Entry> entries;
    for (std::size_t i = 0; i < kEntries; ++i) {
        const int operation = shares[choose(random)].first;
        const bool is_scalar = operation <= qor::analytics::kAddToScalar;
        const int key =
            is_scalar ? kCounters[random() % std::size(kCounters)] : kDurations[random() % std::size(kDurations)];
        const auto value = static_cast<std::int32_t>(random() % kValuesOfAKey) * 1024;
        entries.push_back(entry(operation, key, is_scalar ? 1 : value));
    }
    return entries;
}

const std::vector<Entry> &day() {
    static const std::vector<Entry> entries = entries_of(kDay);
    return entries;
}

const std::vector<Entry> &pushes() {
    static const std::vector<Entry> entries = entries_of(kPushes);
    return entries;
}

OndreQORHIDStatistics *plug_in() {
    static OndreQORHIDStatistics *const object = [] {
        auto *made = OndreQORHIDStatistics::alloc(RvAllocatorGetDefault());
        made->open(nullptr, 0);
        return made;
    }();
    return object;
}

/** Publishes all entries through the plug-in, in batches as a device delivers them. */
void publish_all(const std::vector<Entry> &entries, std::size_t batch_size) {
    for (std::size_t done = 0; done < entries.size(); done += batch_size) {
        const host::StoreBatch batch;
        OndreQORHIDStatistics::publishTBData(plug_in(), &entries[done], std::min(batch_size, entries.size() - done));
    }
}

void count(benchmark::State &state) {
    const auto entries = static_cast<double>(state.iterations()) * static_cast<double>(kEntries);
    state.counters["entry"] = benchmark::Counter(entries, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.SetItemsProcessed(static_cast<std::int64_t>(entries));
}

/** Formats the lines alone with `printf`. */
void formatting_the_lines(benchmark::State &state) {
    for ([[maybe_unused]] auto round : state) {
        for (const Entry &entry : day()) {
            char text[256];
            std::snprintf(text, sizeof text, "%s op=%#x '%s' (%#x)", "publishTBData", entry[1],
                          qor::analytics::kKeys[entry[2]], entry[2]);
            benchmark::DoNotOptimize(text);
        }
    }
    count(state);
}

void translating(benchmark::State &state) {
    const auto nowhere = host::log_to_function([](const host::LogMessage &) {});
    host::open_store(host::kStoreInMemory);
    for ([[maybe_unused]] auto round : state) {
        publish_all(day(), 1000);
    }
    count(state);
    host::close_store();
}

void translating_without_a_log(benchmark::State &state) {
    host::open_store(host::kStoreInMemory);
    for ([[maybe_unused]] auto round : state) {
        publish_all(day(), 1000);
    }
    count(state);
    host::close_store();
}

/** A store on disk in the current folder, removed afterwards. */
class StoreOnDisk {
public:
    StoreOnDisk() {
        remove();
        host::open_store(_file);
    }
    ~StoreOnDisk() {
        host::close_store();
        remove();
    }
    StoreOnDisk(const StoreOnDisk &) = delete;
    StoreOnDisk &operator=(const StoreOnDisk &) = delete;

private:
    void remove() { std::filesystem::remove(_file); }

    std::string _file = "analytics-bench-" + std::to_string(getpid()) + ".db";
};

void onto_disk(benchmark::State &state, const std::vector<Entry> &entries) {
    const StoreOnDisk store;
    const auto batch_size = static_cast<std::size_t>(state.range(0));
    publish_all(entries, batch_size); // grows the store to its final size
    for ([[maybe_unused]] auto round : state) {
        publish_all(entries, batch_size);
    }
    count(state);
}

void pushes_onto_disk(benchmark::State &state) { onto_disk(state, pushes()); }
void day_onto_disk(benchmark::State &state) { onto_disk(state, day()); }

BENCHMARK(formatting_the_lines)->Unit(benchmark::kMillisecond);
BENCHMARK(translating)->Unit(benchmark::kMillisecond);
BENCHMARK(translating_without_a_log)->Unit(benchmark::kMillisecond);
BENCHMARK(pushes_onto_disk)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(day_onto_disk)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    bench::RatioReporter reporter("entry");
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nMillions of entries a second, by processor time and by the clock, medians (least to most):\n");
    reporter.print_rates("translated, store in memory, log to nowhere", "translating");
    reporter.print_rates("translated, store in memory, no log", "translating_without_a_log");
    reporter.print_rates("single pushes onto disk, batches of 1,000", "pushes_onto_disk/1000");
    reporter.print_rates("single pushes onto disk, batches of 10,000", "pushes_onto_disk/10000");
    reporter.print_rates("a day onto disk, batches of 1,000", "day_onto_disk/1000");
    reporter.print_rates("a day onto disk, batches of 10,000", "day_onto_disk/10000");
    std::printf("\nProcessor time per entry, as a ratio of medians (least to most):\n");
    reporter.print_ratio("translating, log to nowhere / formatting the lines alone", "translating",
                         "formatting_the_lines");
    return 0;
}
