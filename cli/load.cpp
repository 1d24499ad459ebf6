#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/arguments/input_arguments.h"
#include "cli/arguments/invalid_value.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/wrong_use.h"
#include "cli/dumps/clock.h"
#include "cli/questions/labels.h"
#include "cli/questions/loader.h"
#include "cli/questions/server_arguments.h"
#include "cli/recordings/recordings.h"
#include "cli/records/json.h"
#include "cli/terminal/output.h"
#include "cli/terminal/progress_bar.h"
#include "cli/verbs.h"
#include "host/count_text.h"
#include "host/error.h"

namespace cli {
namespace {

constexpr std::uint64_t kMostConnections = 16;
constexpr std::uint64_t kMostInsertRows = std::uint64_t{1} << 24;

/** How many files the error names. */
constexpr std::size_t kFilesNamed = 20;

struct LoadArguments {
    std::vector<std::string> inputs;
    std::optional<std::string> files_from;
    ServerArguments to{.option = "--to"};
    std::optional<std::string> device;
    std::optional<BootTime> taken;
    std::vector<std::string> labels;
    ClockWords clock;
    std::optional<std::uint64_t> connections;
    std::optional<std::uint64_t> insert_rows;
};

void require_range(const char *option, const std::optional<std::uint64_t> &number, std::uint64_t most) {
    if (number && (*number == 0 || *number > most)) {
        throw WrongUse(invalid_value(option, std::to_string(*number)) + ": expected 1 to " + std::to_string(most));
    }
}

void check_use(const LoadArguments &arguments) {
    if (arguments.inputs.empty() && !arguments.files_from) {
        throw WrongUse("INPUT is required");
    }
    require_range("--connections", arguments.connections, kMostConnections);
    require_range("--insert-rows", arguments.insert_rows, kMostInsertRows);
}

LoadOptions options_of(const LoadArguments &arguments) {
    LoadOptions options;
    options.to = servers_of(arguments.to);
    options.connections = arguments.connections.value_or(options.connections);
    options.insert_rows = arguments.insert_rows.value_or(options.insert_rows);
    if (arguments.taken) {
        ClockWords words;
        words.boot_time = arguments.taken; // a date is converted in the same way
        options.taken = static_cast<std::int64_t>(*DumpClock(words).now().boot_time);
    }
    options.labels = read_labels("--label", arguments.labels);
    return options;
}

/** "12 dumps and 3 stores". */
std::string joined(const std::vector<std::string> &parts) {
    std::string text;
    for (std::size_t index = 0; index < parts.size(); ++index) {
        text += (index == 0 ? "" : index + 1 == parts.size() ? " and " : ", ") + parts[index];
    }
    return text;
}

std::string summary_text(const LoadSummary &summary) {
    const LoadCounts &counts = summary.counts;
    std::vector<std::string> loaded;
    if (counts.dumps != 0 || (counts.stores == 0 && counts.record_files == 0)) {
        loaded.push_back(host::count_text(counts.dumps, "dump"));
    }
    if (counts.record_files != 0) {
        loaded.push_back(host::count_text(counts.record_files, "record file"));
    }
    if (counts.stores != 0) {
        loaded.push_back(host::count_text(counts.stores, "store"));
    }
    std::string text = "loaded " + joined(loaded) + " with " + host::count_text(counts.reports, "report");
    if (counts.mended != 0) {
        text += "; " + std::to_string(counts.mended) + " mended";
    }
    if (summary.known != 0) {
        text += "; " + std::to_string(summary.known) + " there already";
    }
    if (summary.labelled != 0) {
        text += "; " + host::count_text(summary.labelled, "device") + " labelled";
    }
    return text + "\n";
}

/** One error that says which inputs are not loaded. */
host::Error loss(const LoadSummary &summary) {
    std::string names;
    for (std::size_t index = 0; index < std::min(summary.lost.size(), kFilesNamed); ++index) {
        names += (index == 0 ? "" : ", ") + summary.lost[index];
    }
    if (summary.lost.size() > kFilesNamed) {
        names += " and " + std::to_string(summary.lost.size() - kFilesNamed) + " more";
    }
    return {"", "", host::count_text(summary.lost.size(), "input") + " not loaded (" + names + "): " + summary.reason};
}

int load(const LoadArguments &arguments) {
    check_use(arguments);
    LoadOptions options = options_of(arguments);
    const DumpClock clock(arguments.clock);
    RecordingSequence recordings(arguments.inputs, arguments.files_from, WantedRecordings::All, arguments.device);
    Loader loader(std::move(options), clock.now(), record_line);
    LoadSummary summary;
    {
        ProgressBar progress(recordings.total_size());
        summary = loader.load(recordings, [&progress](std::uint64_t done) { progress.show(done); });
    }
    print_outcome(summary_text(summary));
    if (!summary.lost.empty()) {
        throw loss(summary);
    }
    return recordings.has_failed() ? kExitFailed : kExitOk;
}

} // namespace

Verb declare_load() {
    const auto arguments = std::make_shared<LoadArguments>();
    return {
        .arguments = {inputs_argument(arguments->inputs,
                                      "Dumps, records, stores, folders of them;\n- is standard input"),
                      files_from_argument(arguments->files_from),
                      urls_argument(arguments->to, "ClickHouse's HTTP interface; with --cluster one of\neach shard"),
                      cluster_argument(arguments->to, "Into the shards of a cluster, each device into one"),
                      database_argument(arguments->to, "Made if it is missing; default: qor"),
                      device_argument(arguments->device),
                      {.name = "--taken",
                       .value_name = "TIME",
                       .target = boot_time_reader(arguments->taken),
                       .help = "When the stores were taken; default: last written to",
                       .kind = ValueKind::Other},
                      {.name = "--label",
                       .value_name = "KEY=VALUE",
                       .target = &arguments->labels,
                       .help = "Of the devices, such as firmware=7; can be repeated",
                       .is_repeated = true,
                       .kind = ValueKind::Other},
                      time_sync_argument(
                          arguments->clock.time_sync,
                          "Both clocks at one instant: qor=TIME,calendar=TIME;\nalso for what is loaded already"),
                      boot_time_argument(arguments->clock.boot_time),
                      {.name = "--connections",
                       .value_name = "N",
                       .target = whole_number_reader(arguments->connections),
                       .help = "So many to each server, 1 to 16; default: 2",
                       .kind = ValueKind::Other},
                      {.name = "--insert-rows",
                       .value_name = "N",
                       .target = whole_number_reader(arguments->insert_rows),
                       .help = "At least so many rows in an insert; default: 1048576",
                       .kind = ValueKind::Other},
                      patience_argument(arguments->to),
                      silence_argument(arguments->to)},
        .notes = "What is complete is not loaded again, so a load that ended early is repeated as\n"
                 "it was. QORSTAT_CLICKHOUSE_USER and QORSTAT_CLICKHOUSE_PASSWORD, or ~/.netrc,\n"
                 "say who loads.",
        .examples = {"qorstat load --to http://localhost:8123 dumps/ day.db",
                     "qorstat load --to http://a:8123 --to http://b:8123 --cluster fleet dumps/"},
        .run = [arguments] { return load(*arguments); }};
}

} // namespace cli
