#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/arguments/hosting.h"
#include "cli/arguments/hosting_log.h"
#include "cli/metrics/entries.h"
#include "cli/terminal/input.h"
#include "cli/terminal/output.h"
#include "cli/verbs.h"
#include "host/error.h"
#include "host/module/hosted_device.h"
#include "host/store/hosted_store.h"
#include "qor/analytics.h"

namespace cli {
namespace {

namespace analytics = qor::analytics;

/**
 * The smallest device on which the plug-in installs its analytics callback: a driver two levels below a device, and a
 * service of that driver.
 */
constexpr const char *kBuiltInDevice = R"(
name = "built-in device"

[device.qor]

[[entry]]
id = 1
name = "device"
class = "BuiltInDevice"
device = "qor"

[[entry]]
id = 2
name = "interface"
class = "BuiltInInterface"
parent = 1

[[entry]]
id = 3
name = "driver"
class = "BuiltInDriver"
parent = 2

[[service]]
name = "button"
id = 3
transport = "QOR"
properties = { ZELSupportsTallybook = true }
)";

struct PublishArguments {
    std::string batch;
    std::string plug_in;
    std::string platform;             ///< empty: the one of the program
    std::optional<std::string> store; ///< empty: the default store
    bool shows_whole_log = false;
    LogArguments log;
};

/** In bytes: 38 million entries. */
constexpr std::size_t kLongestBatch = std::size_t{256} << 20;

std::vector<std::byte> read_batch(const std::string &argument) {
    std::vector<std::byte> batch = read_input(argument, kLongestBatch);
    if (const std::size_t rest = batch.size() % analytics::kEntrySize; rest != 0) {
        throw host::Error(input_name(argument), "byte " + std::to_string(batch.size() - rest),
                          "not a whole entry of " + std::to_string(analytics::kEntrySize) + " bytes: " +
                              std::to_string(rest) + " of " + std::to_string(batch.size()) + " bytes are left over");
    }
    return batch;
}

void deliver(std::span<const std::byte> batch, const std::string &plug_in, const std::string &store_file) {
    host::HostedDevice device(host::read_device_description_text(kBuiltInDevice, "built-in device"), plug_in);
    host::DeviceBehaviour &qor = device.device().device("qor");
    if (!qor.has_callback()) {
        throw host::Error(host::plug_in_file(plug_in), "", "the plug-in installs no analytics callback");
    }
    host::HostedStore store(store_file, [](const host::Error &failure, host::Fate operations) {
        if (operations == host::Fate::kBeside) { // the others need no report of their own: close() throws
            print_store_failure(failure, operations);
        }
    });
    qor.deliver_batch(batch);
    device.stop();
    store.close();
}

/** @return null when no log was asked for: then the plug-in formats no line for each entry. */
std::unique_ptr<HostingLog> open_log(const PublishArguments &arguments) {
    LogArguments log = arguments.log;
    if (arguments.shows_whole_log) {
        log.level = "default";
    }
    return log.level.empty() ? nullptr : std::make_unique<HostingLog>(log);
}

int publish(const PublishArguments &arguments) {
    use_platform(arguments.platform, arguments.plug_in);
    const std::vector<std::byte> batch = read_batch(arguments.batch);
    const auto log = open_log(arguments);
    deliver(batch, arguments.plug_in, arguments.store ? *arguments.store : default_store_file_to_write());
    EntryCounts counts;
    count_entries(counts, batch);
    print_outcome(entry_counts_text(counts) + "\n");
    if (log) {
        log->print_hidden();
    }
    return kExitOk;
}

/** Here nothing of the log is shown without the option. */
Argument optional_log_level(LogArguments &log) {
    log.level.clear();
    Argument option = log_level_option(log);
    option.help = "Show the log from this level on: default (all of it),\nerror or fault; none of it by default";
    option.excludes = "--log";
    return option;
}

} // namespace

Verb declare_publish() {
    const auto arguments = std::make_shared<PublishArguments>();
    return {.arguments = {{.name = "BATCH.bin",
                           .target = &arguments->batch,
                           .help = "Entries of 7 bytes end to end; - is standard input",
                           .is_required = true},
                          store_option(arguments->store),
                          {.name = "--log",
                           .target = &arguments->shows_whole_log,
                           .help = "Print the log, one line per entry, to standard error"},
                          optional_log_level(arguments->log),
                          plug_in_option(arguments->plug_in),
                          platform_option(arguments->platform)},
            .notes = "The batch is applied completely or not at all, on a built-in device.",
            .examples = {"qorstat publish batch.bin --store analytics.db --log",
                         "qorstat publish - < batch.bin && qorstat metrics"},
            .run = [arguments] { return publish(*arguments); }};
}

} // namespace cli
