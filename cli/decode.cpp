#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include "cli/arguments/help_page.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/words.h"
#include "cli/reports/clock.h"
#include "cli/reports/ordered_workers.h"
#include "cli/reports/rendering.h"
#include "cli/reports/source.h"
#include "cli/reports/statistics.h"
#include "cli/terminal/output.h"
#include "cli/terminal/progress_bar.h"
#include "cli/verbs.h"
#include "host/count_text.h"

namespace cli {
namespace {

struct DecodeArguments {
    std::string file;
    ClockWords clock;
    std::optional<std::string> time_zone;
    std::string format = "text";
    Selection selection;
    bool wants_statistics = false;
    bool statistics_are_json = false;
    bool is_strict = false;
};

/** Reports trailing bytes. They are a failure only with `--strict`. @return the exit code. */
int report_trailing_bytes(const ReportSource &source, bool is_strict) {
    const std::optional<TrailingBytes> trailing = source.trailing_bytes();
    if (!trailing) {
        return kExitOk;
    }
    print_message("qorstat: " + source.name() + ": byte " + std::to_string(trailing->offset) + ": " +
                  host::count_text(trailing->count, "trailing byte is", "trailing bytes are") + " not a whole report");
    return is_strict ? kExitFailed : kExitOk;
}

/** The total of the progress bar; 0, for no bar, when the file is followed and its end is unknown. */
std::uint64_t bytes_to_read(const ReportSource &source, const DecodeArguments &arguments) {
    return arguments.selection.follows ? 0 : source.file_size();
}

/** The watcher keeps references to `progress` and `output`. */
ReportSource::Watcher make_watcher(ProgressBar &progress, const Output &output, const DecodeArguments &arguments) {
    return [&progress, &output, follows = arguments.selection.follows](std::uint64_t bytes_read) {
        progress.show(bytes_read);
        if (follows) {
            // While the file does not grow nothing is written, so no failed write shows that the reader has gone.
            output.require_reader();
        }
    };
}

void write_reports(ReportSource &source, const DecodeArguments &arguments, const DumpClock &clock) {
    Output output = standard_output();
    // On a terminal the lines themselves show the progress.
    ProgressBar progress(isatty(STDOUT_FILENO) == 1 ? 0 : bytes_to_read(source, arguments));
    source.watch(make_watcher(progress, output, arguments));
    const ReportRendering rendering = rendering_of(arguments.format, output.style());
    output.write(rendering.start);
    const BlockSteps steps{[&](Block &block) { return source.next(block.reports); },
                           [&](Block &block) {
                               for (const _QorProfileReport &report : block.reports) {
                                   rendering.append(block.text, report, clock.now());
                               }
                           },
                           [&](const Block &block) {
                               const std::string_view text = block.text.text();
                               output.write_lines(std::as_bytes(std::span(text.data(), text.size())));
                           }};
    work_in_order(rendering.depends_on_order ? 1 : worker_count(), steps);
    output.write(rendering.end);
    output.flush();
}

void count_reports(ReportSource &source, const DecodeArguments &arguments, const Output &output,
                   DumpStatistics &statistics) {
    ProgressBar progress(bytes_to_read(source, arguments));
    source.watch(make_watcher(progress, output, arguments));
    std::vector<_QorProfileReport> block;
    while (source.next(block)) {
        for (const _QorProfileReport &report : block) {
            statistics.count(report);
        }
    }
}

void write_statistics(ReportSource &source, const DecodeArguments &arguments, const DumpClock &clock) {
    SequenceWatch sequence;
    DumpStatistics statistics;
    source.observe([&](const _QorProfileReport &report, std::uint64_t offset) { sequence.see(report, offset); });
    Output output = standard_output();
    count_reports(source, arguments, output, statistics);
    output.write(arguments.statistics_are_json ? statistics.json(sequence, clock.now())
                                               : statistics.text(sequence, clock.now()));
    output.flush();
}

int decode(const DecodeArguments &arguments) {
    if (arguments.time_zone) {
        enter_time_zone(*arguments.time_zone);
    }
    const DumpClock clock(arguments.clock);
    ReportSource source(arguments.file, arguments.selection);
    (arguments.wants_statistics ? write_statistics : write_reports)(source, arguments, clock);
    return report_trailing_bytes(source, arguments.is_strict);
}

void add_clock_options(CLI::App &verb, DecodeArguments &arguments) {
    CLI::Option *const live =
        verb.add_option("--live", arguments.clock.live_description, "Read the clock of this device for every report")
            ->option_text("DEVICE.toml");
    verb.add_option("--time-sync", arguments.clock.time_sync, "Both clocks at one instant: qor=NS,calendar=NS")
        ->option_text("SYNC")
        ->excludes(live);
    add_whole_number(verb, "--boot-time", arguments.clock.boot_time, "Microseconds since the epoch")
        ->option_text("TIME")
        ->excludes(live);
    verb.add_option("--time-zone", arguments.time_zone, "Time zone of wall-clock times; default: local")
        ->option_text("NAME");
}

void add_filter_options(CLI::App &verb, Selection &selection) {
    FilterWords &filter = selection.filter;
    const auto add_names = [&verb](const char *option, std::vector<std::string> &words, const char *description) {
        verb.add_option(option, words, description)->option_text("NAME|ID")->allow_extra_args(false);
    };
    add_names("--category", filter.categories, "Only this category; these four may be repeated");
    add_names("--component", filter.components, "Only this component");
    add_names("--event", filter.events, "Only this event");
    add_names("--type", filter.types, "Only this type");
    add_whole_number(verb, "--since", filter.since, "From this firmware time, in microseconds")->option_text("TIME");
    add_whole_number(verb, "--until", filter.until, "Up to this firmware time")->option_text("TIME");
    CLI::Option *const first =
        add_whole_number(verb, "--first", selection.first, "At most N reports, then stop")->option_text("N");
    add_whole_number(verb, "--last", selection.last, "At most N reports from the end")
        ->option_text("N")
        ->excludes(first);
}

} // namespace

Verb add_decode_verb(CLI::App &program) {
    CLI::App *const verb = program.add_subcommand("decode", "Decode a dump of 48-byte reports")->group("Verbs");
    const auto arguments = std::make_shared<DecodeArguments>();
    verb->add_option("FILE", arguments->file, "Reports end to end; - is standard input")->required();
    add_clock_options(*verb, *arguments);
    CLI::Option *const format =
        add_word(*verb, "--format", arguments->format, kFormats, "text (default), jsonl, csv, chrome-trace")
            ->option_text("FORM");
    add_filter_options(*verb, arguments->selection);
    CLI::Option *const statistics =
        verb->add_flag("--stats", arguments->wants_statistics, "Print counts, gaps and time span, not the reports")
            ->excludes(format);
    verb->add_flag("--json", arguments->statistics_are_json, "With --stats: print JSON")->needs(statistics);
    verb->add_flag("--follow", arguments->selection.follows, "Keep reading as the file grows, until Ctrl-C");
    verb->add_flag("--strict", arguments->is_strict, "Exit with 1 if a partial report is at the end");
    verb->footer(examples("qorstat decode dump.bin --category sensor --last 20",
                          "qorstat decode - --format chrome-trace < dump.bin > trace.json"));
    return {verb, [arguments] { return decode(*arguments); }};
}

} // namespace cli
