#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "cli/arguments/hosting.h"
#include "cli/arguments/input_arguments.h"
#include "cli/arguments/invalid_value.h"
#include "cli/arguments/time_text.h"
#include "cli/arguments/time_zone.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/words.h"
#include "cli/arguments/wrong_use.h"
#include "cli/dumps/clock.h"
#include "cli/dumps/open_input.h"
#include "cli/inputs/input_sequence.h"
#include "cli/reports/input_statistics.h"
#include "cli/reports/marks.h"
#include "cli/reports/ordered_workers.h"
#include "cli/reports/rendering.h"
#include "cli/reports/stream.h"
#include "cli/terminal/input.h"
#include "cli/terminal/output.h"
#include "cli/terminal/output_file.h"
#include "cli/terminal/progress_bar.h"
#include "cli/verbs.h"
#include "decoder/remembered_second.h"
#include "host/error.h"

namespace cli {
namespace {

struct DecodeArguments {
    std::vector<std::string> inputs;
    std::optional<std::string> files_from;
    std::string merge_by;   ///< empty: one input after the other
    bool has_files = false; ///< each report is shown with its file
    std::optional<std::uint64_t> skip;
    ClockWords clock;
    std::optional<std::string> time_zone;
    std::string format; ///< empty: brief on a terminal, text elsewhere
    bool has_raw = false;
    std::optional<std::string> names_file;
    Selection selection;
    std::string follow; ///< "" for no, "true" for the open file, "name"
    bool wants_statistics = false;
    bool statistics_are_json = false;
    bool is_strict = false;
    bool has_no_pager = false;
    std::optional<std::string> output_file;
};

/** The total of the progress bar; 0, for no bar, when the file is followed and its end is unknown. */
std::uint64_t bytes_to_read(const ReportStream &stream, const DecodeArguments &arguments) {
    return arguments.selection.follow != Follow::Nothing ? 0 : stream.size();
}

/** The watcher keeps references to `progress` and `output`. */
ReadingWatcher make_watcher(ProgressBar &progress, const Output &output, const DecodeArguments &arguments) {
    return [&progress, &output, follows = arguments.selection.follow != Follow::Nothing](std::uint64_t bytes_read) {
        progress.show(bytes_read);
        if (follows || output.is_paged()) {
            // Where nothing is written for a while, no failed write shows that the reader has gone.
            output.require_reader();
        }
    };
}

/** The owner's names; none without a file of them. @throws host::Error. */
OwnerNames read_names(const std::optional<std::string> &file) { return file ? OwnerNames::read(*file) : OwnerNames(); }

void require_rows_for_raw(const DecodeArguments &arguments) {
    if (arguments.has_raw && arguments.format != "jsonl" && arguments.format != "csv") {
        throw WrongUse("--raw requires --format jsonl or csv");
    }
}

void write_reports(ReportStream &stream, const DecodeArguments &arguments, const DumpClock &clock,
                   const OwnerNames *names) {
    OutputFile file(arguments.output_file);
    Output &output = file.output();
    // On a terminal the lines themselves show the progress.
    ProgressBar progress(output.style().escapes_controls ? 0 : bytes_to_read(stream, arguments));
    stream.watch(make_watcher(progress, output, arguments));
    RenderingWish wish{
        .format = arguments.format, .style = output.style(), .names = names, .has_raw = arguments.has_raw};
    if (arguments.has_files) {
        wish.name_of = [&stream](std::size_t input) { return stream.name_of(input); };
    }
    const ReportRendering rendering = rendering_of(wish);
    // A pager would hold back reports that arrive one by one.
    if (!arguments.has_no_pager && arguments.selection.follow == Follow::Nothing && !stream.may_wait()) {
        output.page_when_long();
    }
    MarkFinder marks;
    // Of what was between the last reports of a pipe that pass a filter nothing is known.
    if (shows_marks(arguments.format)) {
        static_cast<void>(stream.observe([&marks](const ReportPiece &piece) { marks.see(piece); }));
    }
    output.write(rendering.start);
    const BlockSteps steps{[&](Block &block) {
                               marks.begin(block);
                               const bool is_filled = stream.next(block);
                               if (shows_marks(arguments.format)) {
                                   marks.end();
                               }
                               return is_filled;
                           },
                           [&](Block &block) {
                               const decoder::unchanging_zone zone; // set before the first report
                               rendering.append(block.text, block, clock);
                           },
                           [&](const Block &block) {
                               const std::string_view text = block.text.text();
                               if (rendering.is_styled) {
                                   output.write_styled_lines(text);
                               } else {
                                   output.write_lines(std::as_bytes(std::span(text.data(), text.size())));
                               }
                           }};
    work_in_order(rendering.depends_on_order ? 1 : worker_count(), steps);
    output.write(rendering.end);
    file.finish();
}

void count_reports(ReportStream &stream, const DecodeArguments &arguments, const Output &output,
                   InputStatistics &statistics) {
    ProgressBar progress(bytes_to_read(stream, arguments));
    stream.watch(make_watcher(progress, output, arguments));
    ReportBlock room;
    for (ReportPiece piece = stream.next_in_place(room); piece.count() != 0; piece = stream.next_in_place(room)) {
        statistics.count(piece);
    }
}

void write_statistics(ReportStream &stream, const DecodeArguments &arguments, const DumpClock &clock,
                      const OwnerNames *names) {
    std::function<std::string(std::size_t)> name_of;
    if (!stream.is_single()) {
        name_of = [&stream](std::size_t input) { return stream.name_of(input); };
    }
    InputStatistics statistics(name_of, names);
    if (!stream.observe([&](const ReportPiece &piece) { statistics.see(piece); })) {
        throw WrongUse("--stats with --last and a filter needs a file: a pipe cannot be read backwards");
    }
    OutputFile file(arguments.output_file);
    count_reports(stream, arguments, file.output(), statistics);
    statistics.end(stream.opened_count());
    file.output().write(arguments.statistics_are_json ? statistics.json(clock.now()) : statistics.text(clock.now()));
    file.finish();
}

Follow follow_of(const DecodeArguments &arguments) {
    if (arguments.follow.empty()) {
        return Follow::Nothing;
    }
    if (arguments.follow == "true") {
        return Follow::Descriptor;
    }
    if (arguments.follow != "name") {
        throw WrongUse(invalid_value("--follow", arguments.follow) + ": expected name or no value");
    }
    if (arguments.inputs == std::vector<std::string>{kStandardInputArgument}) {
        throw WrongUse("--follow=name requires the name of a file");
    }
    return Follow::Name;
}

InputSequence inputs_of(const DecodeArguments &arguments) {
    if (arguments.inputs.empty() && !arguments.files_from) {
        throw WrongUse("INPUT is required");
    }
    InputSequence inputs(arguments.inputs, arguments.files_from, wanted_by_decode());
    if (arguments.selection.follow != Follow::Nothing && !inputs.is_one_file()) {
        throw WrongUse("--follow takes one file");
    }
    return inputs;
}

StreamOptions stream_options(const DecodeArguments &arguments) {
    return {.selection = arguments.selection,
            .skip = arguments.skip.value_or(0),
            .refuses_doubtful = arguments.is_strict,
            .with_offsets = arguments.has_files || shows_marks(arguments.format),
            // Viewers sort the events of a trace themselves, and statistics have no order.
            .merges_by_time =
                !arguments.merge_by.empty() && arguments.format != "chrome-trace" && !arguments.wants_statistics};
}

/** Whether a wall-clock time is shown by the clock that is given, or was said. */
bool uses_time_zone(const DecodeArguments &arguments) {
    const ClockWords &clock = arguments.clock;
    const auto *const boot_date = clock.boot_time ? std::get_if<WallTime>(&*clock.boot_time) : nullptr;
    return clock.time_sync || clock.live_description || (boot_date != nullptr && !boot_date->utc_distance) ||
           needs_of(arguments.selection).clock;
}

/** Statistics count the reports that are chosen, so there is nothing around them. */
void require_no_context(const DecodeArguments &arguments) {
    if (arguments.selection.around || arguments.selection.context) {
        throw WrongUse(std::string("--stats excludes ") + (arguments.selection.around ? "--around" : "--context"));
    }
}

int decode(DecodeArguments &arguments) {
    if (arguments.wants_statistics) {
        require_no_context(arguments);
    }
    arguments.selection.follow = follow_of(arguments);
    if (arguments.time_zone) {
        enter_time_zone(*arguments.time_zone);
    } else if (uses_time_zone(arguments)) {
        warn_of_unknown_zone();
    }
    if (arguments.format.empty()) {
        const bool is_to_terminal = arguments.output_file.value_or(kStandardInputArgument) == kStandardInputArgument &&
                                    isatty(STDOUT_FILENO) == 1;
        arguments.format = is_to_terminal ? "brief" : "text";
    }
    require_rows_for_raw(arguments);
    const OwnerNames names = read_names(arguments.names_file);
    arguments.selection.filter.names = arguments.names_file ? &names : nullptr;
    const DumpClock clock(arguments.clock);
    arguments.selection.sync = clock.now().sync;
    InputSequence inputs = inputs_of(arguments);
    // In rows of several inputs always, in lines only when that is wanted.
    arguments.has_files =
        arguments.has_files || (!inputs.is_one_file() && arguments.format != "text" && arguments.format != "brief");
    ReportStream stream(std::move(inputs), stream_options(arguments));
    if (!stream.has_opened_any()) {
        return stream.has_failed() ? kExitFailed : kExitOk;
    }
    (arguments.wants_statistics ? write_statistics : write_reports)(stream, arguments, clock,
                                                                    arguments.selection.filter.names);
    for (const auto &[input, bytes] : stream.trailing()) {
        report_trailing_bytes(stream.name_of(input), bytes); // a failure only with --strict
    }
    return stream.has_failed() || (arguments.is_strict && !stream.trailing().empty()) ? kExitFailed : kExitOk;
}

/** One of the filters by name. */
Argument name_filter(const char *option, ValueKind kind, std::vector<std::string> &words, const char *help) {
    return {.name = option, .value_name = "NAMES", .target = &words, .help = help, .is_repeated = true, .kind = kind};
}

/** Its negation. The line of the first filter tells of all four. */
Argument negated_filter(const char *option, ValueKind kind, std::vector<std::string> &words) {
    Argument argument = name_filter(option, kind, words, "");
    argument.is_unlisted = true;
    return argument;
}

Argument excluding(const char *option, Argument argument) {
    argument.excludes = option;
    return argument;
}

/** The same option, for the description of --live. */
Argument with_live(Argument option) {
    option.needs = "--live";
    return option;
}

} // namespace

Verb declare_decode() {
    const auto arguments = std::make_shared<DecodeArguments>();
    ClockWords &clock = arguments->clock;
    Selection &selection = arguments->selection;
    FilterWords &filter = selection.filter;
    return {
        .arguments = {inputs_argument(arguments->inputs,
                                      "Dumps, state-capture records, folders of them;\n- is standard input"),
                      files_from_argument(arguments->files_from),
                      {.name = "--merge-by",
                       .value_name = "time",
                       .target = word_reader(arguments->merge_by, {"time"}),
                       .help = "All inputs together in the order of time"},
                      {.name = "--with-file",
                       .target = &arguments->has_files,
                       .help = "Show the file of each report, also in lines"},
                      {.name = "--skip",
                       .value_name = "N",
                       .target = whole_number_reader(arguments->skip),
                       .help = "Leave out N bytes at the start of each dump",
                       .kind = ValueKind::Other},
                      {.name = "--live",
                       .value_name = "DEVICE.toml",
                       .target = &clock.live_description,
                       .help = "Read the clock of this device for every report"},
                      with_live(confine_option(clock.folder_of_files)),
                      excluding("--live", time_sync_argument(clock.time_sync)),
                      excluding("--live", boot_time_argument(clock.boot_time)),
                      time_zone_argument(arguments->time_zone),
                      {.name = "--format",
                       .short_name = "-f",
                       .value_name = "FORM",
                       .target = word_reader(arguments->format, kFormats),
                       .help = "brief (default on a terminal), text (elsewhere),\njsonl, csv, chrome-trace",
                       .has_variable = true},
                      {.name = "--raw",
                       .target = &arguments->has_raw,
                       .help = "With jsonl and csv: every row ends with all 48 bytes"},
                      {.name = "--names",
                       .value_name = "FILE.toml",
                       .target = &arguments->names_file,
                       .help = "Names of your own for ids (docs/decode.md)",
                       .has_variable = true},
                      name_filter("--category", ValueKind::Category, filter.categories,
                                  "Only sensor,wake or ids; --not-category: all but them"),
                      negated_filter("--not-category", ValueKind::Category, filter.unwanted_categories),
                      name_filter("--component", ValueKind::Component, filter.components,
                                  "The same of components; also --not-component"),
                      negated_filter("--not-component", ValueKind::Component, filter.unwanted_components),
                      name_filter("--event", ValueKind::Event, filter.events, "The same of events; also --not-event"),
                      negated_filter("--not-event", ValueKind::Event, filter.unwanted_events),
                      name_filter("--type", ValueKind::Type, filter.types, "The same of types; also --not-type"),
                      negated_filter("--not-type", ValueKind::Type, filter.unwanted_types),
                      {.name = "--since",
                       .value_name = "TIME",
                       .target = time_reader(filter.since),
                       .help = "From then on, as 7200.5s, +500ms, -10m or a date",
                       .kind = ValueKind::Other},
                      {.name = "--until",
                       .value_name = "TIME",
                       .target = time_reader(filter.until),
                       .help = "Up to then; both are included",
                       .kind = ValueKind::Other},
                      {.name = "--first",
                       .short_name = "-n",
                       .value_name = "N",
                       .target = whole_number_reader(selection.first),
                       .help = "At most N reports, then stop",
                       .kind = ValueKind::Other},
                      {.name = "--last",
                       .value_name = "N",
                       .target = whole_number_reader(selection.last),
                       .help = "At most N reports from the end",
                       .excludes = "--first",
                       .kind = ValueKind::Other},
                      {.name = "--around",
                       .value_name = "SEQ|TIME",
                       .target = around_reader(selection.around),
                       .help = "The report nearest to that, with 10 before and after",
                       .kind = ValueKind::Other},
                      {.name = "--context",
                       .short_name = "-C",
                       .value_name = "N",
                       .target = whole_number_reader(selection.context),
                       .help = "Also the N reports before and after each",
                       .kind = ValueKind::Other},
                      {.name = "--stats",
                       .target = &arguments->wants_statistics,
                       .help = "Print counts, gaps and time span, not the reports",
                       .excludes = "--format"},
                      {.name = "--json",
                       .target = &arguments->statistics_are_json,
                       .help = "With --stats: print JSON",
                       .needs = "--stats"},
                      {.name = "--follow",
                       .target = &arguments->follow,
                       .help = "Keep reading as it grows; =name: also what replaces it",
                       .has_value_or_none = true},
                      {.name = "--strict",
                       .target = &arguments->is_strict,
                       .help = "Refuse what does not look like a dump; exit with 1 if\n"
                               "a partial report is at the end"},
                      // A file is whole at its end, and there is none while a dump is followed.
                      excluding("--follow", output_argument(arguments->output_file)),
                      no_pager_argument(arguments->has_no_pager)},
        .examples = {"qorstat decode dump.bin --category sensor,wake --around 7201.5s",
                     "qorstat decode - --format chrome-trace < dump.bin > trace.json"},
        .run = [arguments] { return decode(*arguments); }};
}

} // namespace cli
