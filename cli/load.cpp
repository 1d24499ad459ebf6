#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/arguments/input_arguments.h"
#include "cli/arguments/invalid_value.h"
#include "cli/arguments/seconds.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/wrong_use.h"
#include "cli/dumps/clock.h"
#include "cli/questions/engine_names.h"
#include "cli/questions/http_connection.h"
#include "cli/questions/loader.h"
#include "cli/questions/recordings.h"
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
constexpr double kPatienceSeconds = 60;
constexpr double kSilenceSeconds = 300;

/** How many files the error names. */
constexpr std::size_t kFilesNamed = 20;

struct LoadArguments {
    std::vector<std::string> inputs;
    std::optional<std::string> files_from;
    std::vector<std::string> urls;
    std::string cluster; ///< empty for none
    std::string database = "qor";
    std::optional<std::string> device;
    std::optional<BootTime> taken;
    ClockWords clock;
    std::optional<std::uint64_t> connections;
    std::optional<std::uint64_t> insert_rows;
    std::optional<double> patience;
    std::optional<double> silence;
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
    if (arguments.urls.empty()) {
        throw WrongUse("--to is required");
    }
    for (const std::string &url : arguments.urls) {
        require_plain_url("--to", url);
    }
    if (arguments.urls.size() > 1 && arguments.cluster.empty()) {
        throw WrongUse("several --to require --cluster, and name a server of each of its shards");
    }
    require_range("--connections", arguments.connections, kMostConnections);
    require_range("--insert-rows", arguments.insert_rows, kMostInsertRows);
}

/** Empty for a variable that is not set. */
std::string text_of_variable(const char *variable) {
    const char *const text = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): no thread has started
    return text == nullptr ? "" : text;
}

/** A password is never on the command line, where every user of the machine can read it. */
std::optional<Credentials> credentials_of_environment() {
    const std::string user = text_of_variable("QORSTAT_CLICKHOUSE_USER");
    const std::string password = text_of_variable("QORSTAT_CLICKHOUSE_PASSWORD");
    if (user.empty() && password.empty()) {
        return std::nullopt;
    }
    return Credentials{user.empty() ? "default" : user, password};
}

std::chrono::milliseconds in_milliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

LoadOptions options_of(const LoadArguments &arguments) {
    LoadOptions options;
    options.urls = arguments.urls;
    options.credentials = credentials_of_environment();
    options.database = arguments.database;
    if (!arguments.cluster.empty()) {
        options.cluster = arguments.cluster;
    }
    options.connections = arguments.connections.value_or(options.connections);
    options.insert_rows = arguments.insert_rows.value_or(options.insert_rows);
    options.patience = in_milliseconds(arguments.patience.value_or(kPatienceSeconds));
    options.silence =
        std::chrono::ceil<std::chrono::seconds>(in_milliseconds(arguments.silence.value_or(kSilenceSeconds)));
    if (arguments.taken) {
        ClockWords words;
        words.boot_time = arguments.taken; // a date is converted in the same way
        options.taken = static_cast<std::int64_t>(*DumpClock(words).now().boot_time);
    }
    options.tell = [](const std::string &line) { print_message("qorstat: " + line); };
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
    const DumpClock clock(arguments.clock);
    RecordingSequence recordings(arguments.inputs, arguments.files_from, WantedRecordings::All, arguments.device);
    Loader loader(options_of(arguments), clock.now(), record_line);
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
    return {.arguments = {inputs_argument(arguments->inputs,
                                          "Dumps, records, stores, folders of them;\n- is standard input"),
                          files_from_argument(arguments->files_from),
                          {.name = "--to",
                           .value_name = "URL",
                           .target = &arguments->urls,
                           .help = "ClickHouse's HTTP interface; with --cluster one of\neach shard",
                           .is_repeated = true,
                           .kind = ValueKind::Other},
                          {.name = "--cluster",
                           .value_name = "NAME",
                           .target = cluster_reader(arguments->cluster),
                           .help = "Into the shards of a cluster, each device into one",
                           .kind = ValueKind::Other},
                          {.name = "--database",
                           .value_name = "NAME",
                           .target = database_reader(arguments->database),
                           .help = "Made if it is missing; default: qor",
                           .kind = ValueKind::Other},
                          device_argument(arguments->device),
                          {.name = "--taken",
                           .value_name = "TIME",
                           .target = boot_time_reader(arguments->taken),
                           .help = "When the stores were taken; default: last written to",
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
                          {.name = "--retry-for",
                           .value_name = "SECONDS",
                           .target = seconds_reader(arguments->patience, {0, 86'400}),
                           .help = "How long a server may be away; default: 60",
                           .kind = ValueKind::Other},
                          {.name = "--timeout",
                           .value_name = "SECONDS",
                           .target = seconds_reader(arguments->silence, {1, 86'400}),
                           .help = "How long a server may be silent; default: 300",
                           .kind = ValueKind::Other}},
            .notes = "What is complete is not loaded again, so a load that ended early is repeated as\n"
                     "it was. QORSTAT_CLICKHOUSE_USER and QORSTAT_CLICKHOUSE_PASSWORD, or ~/.netrc,\n"
                     "say who loads.",
            .examples = {"qorstat load --to http://localhost:8123 dumps/ day.db",
                         "qorstat load --to http://a:8123 --to http://b:8123 --cluster fleet dumps/"},
            .run = [arguments] { return load(*arguments); }};
}

} // namespace cli
