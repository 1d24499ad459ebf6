/** Measures describing reports against a string-stream formulation and against copying the same bytes. */
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "bench/report_mix.h"
#include "cli/dumps/clock.h"
#include "cli/reports/rendering.h"
#include "decoder/ProfileDescription.h"
#include "decoder/byte_dump.h"
#include "decoder/remembered_second.h"
#include "decoder/report_line.h"
#include "host/RvRegistry.h"
#include "platform/Owned.h"
#include "tests/decoder/oracle.h"

namespace {

/** About 140 MB of lines: several times the last-level cache of the machines at hand. */
constexpr std::size_t kReports = 250'000;
/** The string streams are slower, so fewer reports suffice. */
constexpr std::size_t kOracleReports = 25'000;

constexpr decoder::time_sync kSync{3'600'000'000'000, 1'700'000'000'000'000'000};
constexpr std::uint64_t kBootTime = 1'699'990'000'123'456;

const std::vector<std::uint8_t> &mix() {
    static const std::vector<std::uint8_t> reports = bench::report_mix(kReports);
    return reports;
}

/** The report where it is, as programs read it that have many. */
const _QorProfileReport &report_at(std::size_t index) {
    const void *const report = mix().data() + index * _QorProfileReport::kSize;
    return *static_cast<const _QorProfileReport *>(report);
}

void count(benchmark::State &state, std::size_t lines, std::size_t bytes) {
    const auto rounds = static_cast<double>(state.iterations());
    state.counters["line"] = benchmark::Counter(rounds * static_cast<double>(lines),
                                                benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.SetBytesProcessed(static_cast<std::int64_t>(rounds * static_cast<double>(bytes)));
}

template <typename Clock>
void write_all(text_buffer &buffer, Clock clock) {
    const decoder::unchanging_zone zone;
    buffer.clear();
    for (std::size_t index = 0; index < kReports; ++index) {
        decoder::append_line(buffer, report_at(index), clock());
        buffer.append("\n");
    }
}

/** Appends all lines of the mix to one buffer. */
template <typename Clock>
void write_lines(benchmark::State &state, Clock clock) {
    static text_buffer buffer;
    write_all(buffer, clock); // grows the buffer and maps its pages
    for ([[maybe_unused]] auto round : state) {
        write_all(buffer, clock);
        benchmark::DoNotOptimize(buffer.text().data());
    }
    count(state, kReports, buffer.size());
}

void lines(benchmark::State &state) {
    write_lines(state, [] { return decoder::device_clock{}; });
}

void lines_with_given_clock(benchmark::State &state) {
    write_lines(state, [] { return decoder::device_clock{kSync, kBootTime}; });
}

/** Appends all reports of the mix to one buffer in one form of `qorstat decode`, through the same call as there. */
void write_form(benchmark::State &state, const char *form, const decoder::device_clock &clock) {
    static text_buffer buffer;
    const decoder::unchanging_zone zone;
    const cli::DumpClock fixed_clock(clock);
    cli::ReportBlock block;
    block.reports.assign(&report_at(0), &report_at(0) + kReports);
    const auto write_all_reports = [&] {
        buffer.clear();
        cli::rendering_of({.format = form}).append(buffer, block, fixed_clock);
    };
    write_all_reports(); // grows the buffer and maps its pages
    for ([[maybe_unused]] auto round : state) {
        write_all_reports();
        benchmark::DoNotOptimize(buffer.text().data());
    }
    count(state, kReports, buffer.size());
}

/** The form's arguments: with times or without. */
decoder::device_clock form_clock(bool has_times) {
    return has_times ? decoder::device_clock{kSync, kBootTime} : decoder::device_clock{};
}

void text_form(benchmark::State &state) { write_form(state, "text", form_clock(state.range(0) != 0)); }
void json_form(benchmark::State &state) { write_form(state, "jsonl", form_clock(state.range(0) != 0)); }
void csv_form(benchmark::State &state) { write_form(state, "csv", form_clock(state.range(0) != 0)); }
void trace_form(benchmark::State &state) { write_form(state, "chrome-trace", form_clock(state.range(0) != 0)); }

/** A registry with as many services as a phone has; the time synchronisation service is the last. */
class TimeSyncService {
public:
    TimeSyncService() {
        for (std::uint64_t id = 1; id <= 20; ++id) {
            _entries.push_back(add(id, "Service" + std::to_string(id)));
        }
        _entries.push_back(add(100, "OndreQORTimesync"));
        platform::OwnedMutableValue dictionary(TvDictionaryCreateMutable());
        set(dictionary.get(), "qor", static_cast<std::int64_t>(kSync.qor));
        set(dictionary.get(), "calendar", static_cast<std::int64_t>(kSync.calendar));
        host::device_registry::set_property(_entries.back(), "timesync", platform::OwnedValue(dictionary.detach()));
    }
    TimeSyncService(const TimeSyncService &) = delete;
    TimeSyncService &operator=(const TimeSyncService &) = delete;
    ~TimeSyncService() {
        for (RvRegistryEntry entry : _entries) {
            host::device_registry::remove(entry);
        }
    }

private:
    static RvRegistryEntry add(std::uint64_t id, const std::string &class_name) {
        host::RegistryEntryDescription description;
        description.registry_id = id;
        description.name = class_name;
        description.class_name = class_name;
        return host::device_registry::add(std::move(description));
    }
    static void set(TvMutableDictionaryRef dictionary, const char *key, std::int64_t value) {
        const platform::OwnedValue name(TvStringCreateWithCString(key, kTvStringEncodingUTF8));
        const platform::OwnedValue number(TvNumberCreateSInt64(value));
        TvDictionarySetValue(dictionary, name.get(), number.get());
    }

    std::vector<RvRegistryEntry> _entries;
};

void lines_with_live_clock(benchmark::State &state) {
    const TimeSyncService service;
    write_lines(state, [] { return decoder::read_device_clock(); });
}

void lines_with_live_clock_without_service(benchmark::State &state) {
    write_lines(state, [] { return decoder::read_device_clock(); });
}

void read_clock(benchmark::State &state) {
    const TimeSyncService service;
    for ([[maybe_unused]] auto round : state) {
        decoder::device_clock clock = decoder::read_device_clock();
        benchmark::DoNotOptimize(clock);
    }
    count(state, 1, 0);
}

/** Dumps the 48 bytes of each of a thousand reports. Input and output stay in the first-level cache. */
template <auto put_dump>
void dumps(benchmark::State &state) {
    constexpr std::size_t kDumps = 1000;
    // Aligned, since its place on the stack would decide how many stores cross a cache line.
    alignas(64) char text[decoder::dump_room(_QorProfileReport::kSize)];
    for ([[maybe_unused]] auto round : state) {
        for (std::size_t index = 0; index < kDumps; ++index) {
            const char *end = put_dump(text, mix().data() + index * _QorProfileReport::kSize, _QorProfileReport::kSize);
            benchmark::DoNotOptimize(end);
            benchmark::ClobberMemory();
        }
    }
    count(state, kDumps, kDumps * _QorProfileReport::kSize);
}

void vector_dumps(benchmark::State &state) { dumps<decoder::put_dump>(state); }
void portable_dumps(benchmark::State &state) { dumps<decoder::put_dump_portably>(state); }

void descriptions(benchmark::State &state) {
    std::size_t bytes = 0;
    for ([[maybe_unused]] auto round : state) {
        bytes = 0;
        for (std::size_t index = 0; index < kReports; ++index) {
            const platform::OwnedValue description(
                CopyProfileDescription(mix().data() + index * _QorProfileReport::kSize));
            bytes += TvStringGetLength(description.get());
        }
    }
    count(state, kReports, bytes);
}

void descriptions_with_live_clock(benchmark::State &state) {
    const TimeSyncService service;
    descriptions(state);
}

void string_streams(benchmark::State &state, const oracle::Clock &clock) {
    std::string text;
    for ([[maybe_unused]] auto round : state) {
        text.clear();
        for (std::size_t index = 0; index < kOracleReports; ++index) {
            text += oracle::describe(mix().data() + index * _QorProfileReport::kSize, clock);
            text += '\n';
        }
        benchmark::DoNotOptimize(text.data());
    }
    count(state, kOracleReports, text.size());
}

void string_stream_lines(benchmark::State &state) { string_streams(state, {}); }

/** Copies the bytes of `lines` from one buffer to another. */
void copying_the_lines(benchmark::State &state) {
    text_buffer lines;
    write_all(lines, [] { return decoder::device_clock{}; });
    const std::vector<char> from(lines.text().begin(), lines.text().end());
    std::vector<char> to(from.size());
    for ([[maybe_unused]] auto round : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    count(state, kReports, from.size());
}

BENCHMARK(copying_the_lines)->Unit(benchmark::kMillisecond);
BENCHMARK(string_stream_lines)->Unit(benchmark::kMillisecond);
BENCHMARK(lines)->Unit(benchmark::kMillisecond);
BENCHMARK(lines_with_given_clock)->Unit(benchmark::kMillisecond);
BENCHMARK(lines_with_live_clock)->Unit(benchmark::kMillisecond);
BENCHMARK(lines_with_live_clock_without_service)->Unit(benchmark::kMillisecond);
BENCHMARK(read_clock);
BENCHMARK(vector_dumps);
BENCHMARK(portable_dumps);
BENCHMARK(text_form)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(json_form)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(csv_form)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(trace_form)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(descriptions)->Unit(benchmark::kMillisecond);
BENCHMARK(descriptions_with_live_clock)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    bench::RatioReporter reporter("line");
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nProcessor time per line, as ratios of medians (least to most):\n");
    reporter.print_ratio("string streams / lines into memory", "string_stream_lines", "lines");
    reporter.print_ratio("lines into memory / copying their bytes", "lines", "copying_the_lines");
    reporter.print_ratio("both times from a given clock / neither time", "lines_with_given_clock", "lines");
    reporter.print_ratio("both times, asked for each record / neither time, not asked", "lines_with_live_clock",
                         "lines");
    reporter.print_ratio("both times / boot time alone, both asked for each record", "lines_with_live_clock",
                         "lines_with_live_clock_without_service");
    reporter.print_ratio("CopyProfileDescription: both times / boot time alone", "descriptions_with_live_clock",
                         "descriptions");
    reporter.print_ratio("CopyProfileDescription / the line into memory, both times", "descriptions_with_live_clock",
                         "lines_with_live_clock");
    reporter.print_ratio("CopyProfileDescription / the line into memory, boot time alone", "descriptions",
                         "lines_with_live_clock_without_service");
    reporter.print_ratio("portable dump / dump with vector instructions", "portable_dumps", "vector_dumps");
    std::printf("\nReports per second of processor time, of those as lines:\n");
    reporter.print_ratio("JSON Lines", "text_form/0", "json_form/0");
    reporter.print_ratio("JSON Lines, both times", "text_form/1", "json_form/1");
    reporter.print_ratio("CSV", "text_form/0", "csv_form/0");
    reporter.print_ratio("CSV, both times", "text_form/1", "csv_form/1");
    reporter.print_ratio("trace", "text_form/0", "trace_form/0");
    return 0;
}
