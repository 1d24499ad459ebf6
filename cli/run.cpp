#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>
#include <unistd.h>

#include "cli/arguments/hosting.h"
#include "cli/arguments/hosting_log.h"
#include "cli/arguments/listen_address.h"
#include "cli/arguments/seconds.h"
#include "cli/arguments/words.h"
#include "cli/metrics/endpoint.h"
#include "cli/metrics/entries.h"
#include "cli/terminal/interruption.h"
#include "cli/terminal/output.h"
#include "cli/verbs.h"
#include "host/RvLog.h"
#include "host/RvNotify.h"
#include "host/TallybookStore.h"
#include "host/count_text.h"
#include "host/device/analytics_source.h"
#include "host/module/hosted_device.h"
#include "host/store/hosted_store.h"

namespace cli {
namespace {

/** 366 days: longer than any use, and far below the range of the clock. */
constexpr double kLongestRunSeconds = 366.0 * 24 * 3600;

const std::vector<std::string> kStoreErrorWords = {"go-on", "stop"};

struct RunArguments {
    std::string description;
    std::optional<std::string> folder_of_files; ///< empty: the description may name any file
    std::string plug_in;
    std::string platform;             ///< empty: the one of the program
    std::optional<std::string> store; ///< empty: the default store
    std::string on_store_error = "go-on";
    std::optional<double> seconds;
    std::optional<ListenAddress> listen_address; ///< empty: metrics are not served
    std::vector<std::string> host_names;         ///< under which the server of metrics is also known
    LogArguments log;
};

std::string store_file(const RunArguments &arguments) {
    return arguments.store ? *arguments.store : default_store_file_to_write();
}

void announce(const host::HostedDevice &device) {
    const std::size_t services = device.device().services().size();
    print_message("hosting " + device.device().name() + ": " + host::count_text(services, "service") +
                  "; Ctrl-C stops");
}

/** @return null when metrics are not served. */
std::unique_ptr<MetricsEndpoint> serve_metrics(const RunArguments &arguments) {
    if (!arguments.listen_address) {
        return nullptr;
    }
    auto endpoint = std::make_unique<MetricsEndpoint>(*arguments.listen_address, arguments.host_names,
                                                      StoreReader{host::store_contents, host::unwritten_operations});
    print_message("metrics at " + endpoint->url());
    return endpoint;
}

/** @return null, with a message, when notifications cannot be received: a host is of use without them. */
std::unique_ptr<host::NotificationReceiver> receive_notifications() {
    try {
        auto receiver = std::make_unique<host::NotificationReceiver>();
        print_message("notifications at " + receiver->socket());
        return receiver;
    } catch (const host::Error &failure) {
        print_message(std::string("qorstat: ") + failure.what() + "; qorstat notify does not reach this host");
        return nullptr;
    }
}

/** Returns on a signal, or after `seconds`. */
void wait_for_end(asio::io_context &events, const std::optional<double> &seconds) {
    asio::steady_timer timer(events);
    if (seconds) {
        timer.expires_after(
            std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(*seconds)));
        timer.async_wait([&events](const asio::error_code &error) {
            if (!error) {
                events.stop();
            }
        });
    }
    events.run();
}

/** "10.0 s". */
std::string seconds_text(std::chrono::steady_clock::duration time) {
    const auto tenths = std::chrono::duration_cast<std::chrono::milliseconds>(time).count() / 100;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

/** Called when nothing is delivered any more. */
void print_summary(std::chrono::steady_clock::duration time, const host::AnalyticsSource &source,
                   const std::vector<host::AnalyticsDescription> &batches, const HostingLog &log) {
    std::uint64_t delivered = 0;
    std::uint64_t lost = 0;
    EntryCounts entries;
    for (std::size_t i = 0; i < batches.size(); ++i) {
        const host::BatchDeliveries &deliveries = source.deliveries()[i];
        delivered += deliveries.made;
        lost += deliveries.lost;
        count_entries(entries, batches[i].entries, deliveries.made);
    }
    print_message("ended after " + seconds_text(time) + ": " + host::count_text(delivered, "batch", "batches") +
                  (lost == 0 ? "" : ", " + std::to_string(lost) + " lost") + ", " +
                  host::count_text(log.count(kRvLogLevelFault), "fault"));
    print_message(entry_counts_text(entries));
    log.print_hidden();
}

int run(const RunArguments &arguments) {
    use_platform(arguments.platform, arguments.plug_in);
    HostingLog log(arguments.log);
    // That may take long. Until it is done, a signal ends the process.
    host::DeviceDescription description =
        host::read_device_description(arguments.description, arguments.folder_of_files);
    log.set_device(description.name);
    Interruption interruption;
    asio::io_context events;
    asio::posix::stream_descriptor signals(events, dup(interruption.descriptor()));
    signals.async_wait(asio::posix::descriptor_base::wait_read, [&events](const asio::error_code &) { events.stop(); });

    host::HostedDevice device(std::move(description), arguments.plug_in);
    std::atomic<bool> store_stopped_run = false;
    const auto stop_for_store = [&](const host::Error &failure, host::Fate operations) {
        print_message(std::string("qorstat: ") + failure.what());
        if (operations != host::Fate::kBeside) {
            store_stopped_run = true;
            events.stop();
        }
    };
    const std::string file = store_file(arguments);
    host::HostedStore store(file, arguments.on_store_error == "stop" ? stop_for_store
                                                                     : host::StoreFailureReport(print_store_failure));
    std::unique_ptr<MetricsEndpoint> endpoint = serve_metrics(arguments);
    print_message(file == host::kStoreInMemory ? "analytics in memory only" : "analytics in " + file);
    const std::unique_ptr<host::NotificationReceiver> receiver = receive_notifications();
    announce(device);
    const auto start = std::chrono::steady_clock::now();
    host::AnalyticsSource analytics(device.device(), print_message);
    wait_for_end(events, arguments.seconds);
    interruption.let_next_signal_kill(); // a stop that hangs
    analytics.stop();
    device.stop();
    endpoint.reset(); // a closed store has no metrics
    print_summary(std::chrono::steady_clock::now() - start, analytics, device.device().analytics(), log);
    store.close();
    return store_stopped_run ? kExitFailed : kExitOk;
}

} // namespace

Verb declare_run() {
    const auto arguments = std::make_shared<RunArguments>();
    return {.arguments = {{.name = "DEVICE.toml",
                           .target = &arguments->description,
                           .help = "Device description",
                           .is_required = true},
                          confine_option(arguments->folder_of_files),
                          plug_in_option(arguments->plug_in),
                          platform_option(arguments->platform),
                          store_option(arguments->store),
                          {.name = "--on-store-error",
                           .value_name = "WORD",
                           .target = word_reader(arguments->on_store_error, kStoreErrorWords),
                           .help = "When the store cannot be written: go-on (default)\n"
                                   "keeps the analytics and retries; stop ends the run"},
                          {.name = "--for",
                           .value_name = "TIME",
                           .target = seconds_reader(arguments->seconds, {0, kLongestRunSeconds}),
                           .help = "Stop after 10 (seconds), 500ms, 2m; default: on Ctrl-C",
                           .kind = ValueKind::Other},
                          {.name = "--listen",
                           .value_name = "HOST:PORT",
                           .target = listen_address_reader(arguments->listen_address),
                           .help = "Serve metrics at /metrics; PORT alone is loopback",
                           .kind = ValueKind::Other},
                          {.name = "--host-name",
                           .value_name = "NAME",
                           .target = &arguments->host_names,
                           .help = "Also answer requests for this name of the host;\n"
                                   "may be repeated",
                           .is_repeated = true,
                           .needs = "--listen",
                           .kind = ValueKind::Other},
                          log_level_option(arguments->log),
                          log_file_option(arguments->log),
                          {.name = "--journal",
                           .target = &arguments->log.goes_to_journal,
                           .help = "Send the whole log to the systemd journal"}},
            .notes = "Delivers the analytics when they are due. Standard error has the start,\n"
                     "failures, faults and a summary. qorstat notify reaches the running host.",
            .examples = {"qorstat run examples/phone.toml", "qorstat run examples/phone.toml --for 2.5 --log run.log"},
            .run = [arguments] { return run(*arguments); }};
}

} // namespace cli
