#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "cli/arguments/input_arguments.h"
#include "cli/arguments/invalid_value.h"
#include "cli/arguments/seconds.h"
#include "cli/arguments/state_folder.h"
#include "cli/arguments/time_zone.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/words.h"
#include "cli/arguments/wrong_use.h"
#include "cli/dumps/clock.h"
#include "cli/questions/prompt_history.h"
#include "cli/questions/prompt_session.h"
#include "cli/questions/query_engine.h"
#include "cli/questions/result_writers.h"
#include "cli/recordings/recordings.h"
#include "cli/records/json.h"
#include "cli/terminal/input.h"
#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"
#include "cli/terminal/output_file.h"
#include "cli/verbs.h"
#include "host/error.h"

namespace cli {
namespace {

/** The longest file of a query. */
constexpr std::size_t kLongestQuery = std::size_t{1} << 20;

struct QueryArguments {
    std::vector<std::string> words; ///< inputs, and the query behind them unless it is in a file
    std::optional<std::string> files_from;
    std::optional<std::string> query_file;
    std::optional<std::string> device;
    ClockWords clock;
    std::optional<std::string> time_zone;
    std::string format = kResultFormats.front();
    std::string schema; ///< "true" for all tables, or the name of one
    std::optional<double> timeout;
    std::uint64_t memory = std::uint64_t{1} << 30;
    std::optional<std::string> output_file;
    bool has_no_pager = false;
};

/** The value is a number of bytes with an optional unit: K, M or G. */
ValueReader memory_reader(std::uint64_t &bytes) {
    return [&bytes](const std::string &name, const std::string &text) {
        constexpr std::uint64_t kLeast = std::uint64_t{1} << 20;
        constexpr std::string_view kUnits = "KMG";
        const std::size_t unit = text.empty() ? std::string_view::npos : kUnits.find(text.back());
        const bool has_unit = unit != std::string_view::npos;
        const unsigned shift = has_unit ? 10 * (static_cast<unsigned>(unit) + 1) : 0;
        const std::optional<std::uint64_t> number =
            parse_whole_number(std::string_view(text).substr(0, text.size() - (has_unit ? 1 : 0)));
        constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        if (!number || *number > kMost >> shift || *number << shift < kLeast) {
            throw WrongUse(invalid_value(name, text) + ": expected a number of bytes, 1M or more, such as 512M or 2G");
        }
        bytes = *number << shift;
    };
}

bool is_file(const std::string &word) {
    struct stat status {};
    return word == kStandardInputArgument || stat(word.c_str(), &status) == 0;
}

/** A statement has more than one word, or parentheses; a file may, too. */
bool looks_like_query(const std::string &word) {
    return word.find_first_of(" \t\n(;") != std::string::npos && !is_file(word);
}

/** Takes the query off the words. @return nothing when there is none. */
std::optional<std::string> take_query(QueryArguments &arguments) {
    if (arguments.query_file) {
        const std::vector<std::string> &inputs = arguments.words;
        const bool is_named_twice = arguments.files_from == kStandardInputArgument ||
                                    std::ranges::find(inputs, kStandardInputArgument) != inputs.end();
        if (arguments.query_file == kStandardInputArgument && is_named_twice) {
            throw WrongUse("standard input is named more than once");
        }
        const std::vector<std::byte> bytes = read_input(*arguments.query_file, kLongestQuery);
        return std::string(static_cast<const char *>(static_cast<const void *>(bytes.data())), bytes.size());
    }
    if (arguments.words.empty() || !looks_like_query(arguments.words.back())) {
        return std::nullopt;
    }
    std::string query = std::move(arguments.words.back());
    arguments.words.pop_back();
    return query;
}

QueryOptions options_of(const QueryArguments &arguments, const TextStyle &style) {
    QueryOptions options{.clock = arguments.clock,
                         .record_text = record_line,
                         .shows_blocks = style.shows_blocks,
                         .memory = arguments.memory};
    if (arguments.timeout) {
        options.timeout = std::chrono::milliseconds(static_cast<std::int64_t>(*arguments.timeout * 1000));
    }
    return options;
}

/** What is wrong with the query is wrong use. */
void run_query(QueryEngine &engine, const std::string &query, QuerySink &sink) {
    try {
        engine.run(query, sink);
    } catch (const WrongQuery &error) {
        throw WrongUse(error.what());
    }
}

int answer(const QueryArguments &arguments, const std::string &query, RecordingSequence recordings) {
    OutputFile file(arguments.output_file);
    Output &output = file.output();
    if (!arguments.has_no_pager && !recordings.may_wait()) {
        output.page_when_long();
    }
    QueryOptions options = options_of(arguments, output.style());
    options.check = [&output] {
        if (output.is_paged()) {
            output.require_reader();
        }
    };
    QueryEngine engine(std::move(recordings), std::move(options));
    if (engine.has_recordings()) {
        run_query(engine, query, *make_result_writer(arguments.format, output));
        file.finish();
    }
    return engine.has_failed() ? kExitFailed : kExitOk;
}

int hold_prompt(const QueryArguments &arguments, RecordingSequence recordings) {
    Output output = standard_output();
    std::optional<Interruption> interruption;
    QueryOptions options = options_of(arguments, output.style());
    options.check = [&interruption] {
        if (interruption->is_requested()) {
            throw Interrupted{};
        }
    };
    QueryEngine engine(std::move(recordings), std::move(options));
    interruption.emplace(); // while the inputs are kept, a signal ends the program
    std::string format = arguments.format;
    PromptSubject subject;
    for (const QueryTable &table : query_tables()) {
        OfferedTable &offered = subject.names.tables.emplace_back(OfferedTable{table.name, {}});
        for (const QueryTable::Column &column : table.columns) {
            offered.columns.push_back(column.name);
        }
    }
    subject.names.formats = kResultFormats;
    subject.answer = [&](const std::string &statement) { engine.run(statement, *make_result_writer(format, output)); };
    subject.describe = [&output](const std::string &table) { return schema_text(table, output.style()); };
    subject.choose_format = [&format](const std::string &chosen) { format = chosen; };
    const std::optional<std::filesystem::path> folder = state_folder();
    const PromptHistory history(folder ? *folder / "query-history" : std::filesystem::path());
    const int signal = hold_session(std::move(subject), history, output, *interruption);
    interruption.reset();
    if (signal != 0) {
        std::raise(signal); // the program ends as if there had been no prompt
    }
    return engine.has_failed() ? kExitFailed : kExitOk;
}

int show_schema(const QueryArguments &arguments) {
    OutputFile file(arguments.output_file);
    Output &output = file.output();
    if (!arguments.has_no_pager) {
        output.page_when_long();
    }
    try {
        output.write_styled(schema_text(arguments.schema == "true" ? "" : arguments.schema, output.style()));
    } catch (const WrongQuery &error) {
        throw WrongUse(error.what());
    }
    file.finish();
    return kExitOk;
}

int query(QueryArguments &arguments) {
    if (!arguments.schema.empty()) {
        return show_schema(arguments);
    }
    if (arguments.time_zone) {
        enter_time_zone(*arguments.time_zone);
    } else {
        warn_of_unknown_zone();
    }
    const std::optional<std::string> text = take_query(arguments);
    if (arguments.words.empty() && !arguments.files_from) {
        throw WrongUse("INPUT is required");
    }
    const bool is_terminal = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 && !arguments.output_file;
    if (!text && !is_terminal) {
        throw WrongUse("SQL is required, behind the inputs or with --file; at a terminal it is asked for");
    }
    RecordingSequence recordings(arguments.words, arguments.files_from, WantedRecordings::All, arguments.device);
    return text ? answer(arguments, *text, std::move(recordings)) : hold_prompt(arguments, std::move(recordings));
}

} // namespace

Verb declare_query() {
    const auto arguments = std::make_shared<QueryArguments>();
    return {.arguments = {inputs_argument(arguments->words,
                                          "Dumps, records, stores, folders of them, -; then the\nquery, in SQL; "
                                          "without one, at a terminal, a prompt"),
                          files_from_argument(arguments->files_from),
                          {.name = "--file",
                           .value_name = "QUERY.sql",
                           .target = &arguments->query_file,
                           .help = "Read the query from this file"},
                          {.name = "--schema",
                           .value_name = "TABLE",
                           .target = &arguments->schema,
                           .help = "List the tables and views with their columns, or one",
                           .has_value_or_none = true,
                           .kind = ValueKind::Other},
                          {.name = "--format",
                           .short_name = "-f",
                           .value_name = "FORM",
                           .target = word_reader(arguments->format, kResultFormats),
                           .help = "table (default), csv, jsonl, markdown"},
                          device_argument(arguments->device),
                          time_sync_argument(arguments->clock.time_sync),
                          boot_time_argument(arguments->clock.boot_time),
                          time_zone_argument(arguments->time_zone),
                          {.name = "--timeout",
                           .value_name = "SECONDS",
                           .target = seconds_reader(arguments->timeout, {0.001, 1e6}),
                           .help = "End a query that takes longer",
                           .kind = ValueKind::Other},
                          {.name = "--memory",
                           .value_name = "SIZE",
                           .target = memory_reader(arguments->memory),
                           .help = "End a query that needs more: 512M, 2G; default: 1G",
                           .kind = ValueKind::Other},
                          output_argument(arguments->output_file),
                          no_pager_argument(arguments->has_no_pager)},
            .notes = "The inputs are read where they are; nothing is imported or changed.",
            .examples = {"qorstat query day.bin \"SELECT event, count(*) FROM reports GROUP BY event\"",
                         "qorstat query --schema=wake_request"},
            .run = [arguments] { return query(*arguments); }};
}

} // namespace cli
