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
#include "cli/arguments/listen_address.h"
#include "cli/arguments/seconds.h"
#include "cli/arguments/words.h"
#include "cli/metrics/endpoint.h"
#include "cli/terminal/interruption.h"
#include "cli/terminal/log.h"
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
    std::optional<std::string> store; ///< empty: the default store
    std::string on_store_error = "go-on";
    std::optional<double> seconds;
    std::optional<ListenAddress> listen_address; ///< empty: metrics are not served
    std::vector<std::string> host_names;         ///< under which the server of metrics is also known
    std::string log_file;
    bool logs_to_journal = false;
};

/** Without a journal the log goes on to standard error alone, and the user is told. */
void send_log_to_journal(std::vector<std::unique_ptr<host::LogSink>> &sinks) {
    try {
        host::require_journal();
        sinks.push_back(host::log_to_journal());
    } catch (const host::Error &failure) {
        print_message("qorstat: there is no systemd journal: " + std::string(failure.what()) +
                      "; the log goes to standard error only");
    }
}

std::vector<std::unique_ptr<host::LogSink>> open_log(const RunArguments &arguments) {
    std::vector<std::unique_ptr<host::LogSink>> sinks;
    sinks.push_back(log_to_terminal());
    if (!arguments.log_file.empty()) {
        sinks.push_back(host::log_to_file(arguments.log_file));
    }
    if (arguments.logs_to_journal) {
        send_log_to_journal(sinks);
    }
    return sinks;
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
        return std::make_unique<host::NotificationReceiver>();
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

int run(const RunArguments &arguments) {
    const std::vector<std::unique_ptr<host::LogSink>> log = open_log(arguments);
    // That may take long. Until it is done, a signal ends the process.
    host::DeviceDescription description =
        host::read_device_description(arguments.description, arguments.folder_of_files);
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
    host::HostedStore store(arguments.store ? *arguments.store : default_store_file_to_write(),
                            arguments.on_store_error == "stop" ? stop_for_store
                                                               : host::StoreFailureReport(print_store_failure));
    std::unique_ptr<MetricsEndpoint> endpoint = serve_metrics(arguments);
    const std::unique_ptr<host::NotificationReceiver> receiver = receive_notifications();
    announce(device);
    host::AnalyticsSource analytics(device.device(), print_message);
    wait_for_end(events, arguments.seconds);
    interruption.let_next_signal_kill(); // a stop that hangs
    analytics.stop();
    device.stop();
    endpoint.reset(); // a closed store has no metrics
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
                          store_option(arguments->store),
                          {.name = "--on-store-error",
                           .value_name = "WORD",
                           .target = word_reader(arguments->on_store_error, kStoreErrorWords),
                           .help = "When the store cannot be written: go-on (default)\n"
                                   "keeps the analytics and retries; stop ends the run"},
                          {.name = "--for",
                           .value_name = "SECONDS",
                           .target = seconds_reader(arguments->seconds, {0, kLongestRunSeconds}),
                           .help = "Stop after this time; default: on Ctrl-C or SIGTERM"},
                          {.name = "--listen",
                           .value_name = "HOST:PORT",
                           .target = listen_address_reader(arguments->listen_address),
                           .help = "Serve metrics at /metrics; PORT alone is loopback"},
                          {.name = "--host-name",
                           .value_name = "NAME",
                           .target = &arguments->host_names,
                           .help = "Also answer requests for this name of the host;\n"
                                   "may be repeated",
                           .is_repeated = true,
                           .needs = "--listen"},
                          {.name = "--log",
                           .value_name = "FILE",
                           .target = &arguments->log_file,
                           .help = "Also append the log to a file"},
                          {.name = "--journal",
                           .target = &arguments->logs_to_journal,
                           .help = "Also send the log to the systemd journal"}},
            .notes = "Delivers the analytics of the description when they are due. The log is written\n"
                     "to standard error. qorstat notify reaches the running host.",
            .examples = {"qorstat run examples/phone.toml", "qorstat run examples/phone.toml --for 2.5 --log run.log"},
            .run = [arguments] { return run(*arguments); }};
}

} // namespace cli
