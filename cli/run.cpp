#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <asio.hpp>
#include <unistd.h>

#include "cli/arguments/help_page.h"
#include "cli/arguments/hosting.h"
#include "cli/arguments/listen_address.h"
#include "cli/arguments/seconds.h"
#include "cli/arguments/words.h"
#include "cli/metrics/endpoint.h"
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

/** 366 days: far beyond any use, and far below what the clock can count. */
constexpr double kLongestRunSeconds = 366.0 * 24 * 3600;

const std::vector<std::string> kStoreErrorWords = {"go-on", "stop"};

struct RunArguments {
    std::string description;
    std::string plug_in;
    std::optional<std::string> store; ///< none: the default one
    std::string on_store_error = "go-on";
    std::optional<double> seconds;
    std::string listen_address; ///< empty: metrics are not served
    std::string log_file;
    bool logs_to_journal = false;
};

std::vector<std::unique_ptr<host::LogSink>> open_log(const RunArguments &arguments) {
    std::vector<std::unique_ptr<host::LogSink>> sinks;
    sinks.push_back(host::log_to_terminal(style_for(STDERR_FILENO).is_coloured));
    if (!arguments.log_file.empty()) {
        sinks.push_back(host::log_to_file(arguments.log_file));
    }
    if (arguments.logs_to_journal) {
        sinks.push_back(host::log_to_journal());
    }
    return sinks;
}

void announce(const host::HostedDevice &device) {
    const std::size_t services = device.device().services().size();
    print_message("hosting " + device.device().name() + ": " + host::count_text(services, "service") + "; Ctrl-C ends");
}

std::string check_listen_address(const std::string &text) {
    try {
        parse_listen_address(text);
        return {};
    } catch (const std::invalid_argument &error) {
        return "\"" + text + "\" " + error.what();
    }
}

/** @return nothing when metrics are not to be served. */
std::unique_ptr<MetricsEndpoint> serve_metrics(const RunArguments &arguments) {
    if (arguments.listen_address.empty()) {
        return nullptr;
    }
    auto endpoint =
        std::make_unique<MetricsEndpoint>(parse_listen_address(arguments.listen_address), host::store_contents);
    print_message("metrics at " + endpoint->url());
    return endpoint;
}

/** Until a signal asks for the end, or the time is up. */
void wait_for_the_end(asio::io_context &events, const std::optional<double> &seconds) {
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

bool is_ignored(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

int run(const RunArguments &arguments) {
    const std::vector<std::unique_ptr<host::LogSink>> log = open_log(arguments);
    asio::io_context events;
    asio::signal_set signals(events, SIGINT, SIGTERM);
    if (!is_ignored(SIGHUP)) { // as nohup leaves it
        signals.add(SIGHUP);
    }
    signals.async_wait([&events](const asio::error_code &, int) { events.stop(); });

    host::HostedDevice device(arguments.description, arguments.plug_in);
    std::atomic<bool> store_ended_the_run = false;
    const auto stop_for_the_store = [&](const host::Error &failure, host::Fate) {
        print_message(std::string("qorstat: ") + failure.what());
        store_ended_the_run = true;
        events.stop();
    };
    host::HostedStore store(arguments.store ? *arguments.store : default_store_file_to_write(),
                            arguments.on_store_error == "stop" ? stop_for_the_store
                                                               : host::StoreFailureReport(say_store_failure));
    std::unique_ptr<MetricsEndpoint> endpoint = serve_metrics(arguments);
    const host::NotificationReceiver receiver;
    announce(device);
    host::AnalyticsSource analytics(device.device(), print_message);
    wait_for_the_end(events, arguments.seconds);
    // A second Ctrl-C ends a stop that hangs. A terminal that goes may say so twice.
    signals.remove(SIGINT);
    signals.remove(SIGTERM);
    analytics.stop();
    device.stop();
    endpoint.reset(); // what is closed has nothing to show
    store.close();
    return store_ended_the_run ? kExitFailed : kExitFine;
}

} // namespace

Verb add_run_verb(CLI::App &program) {
    CLI::App *const verb = program.add_subcommand("run", "Host the plug-in on a described device")->group("Verbs");
    const auto arguments = std::make_shared<RunArguments>();
    verb->add_option("DEVICE.toml", arguments->description, "The device's description")->required();
    add_plug_in_option(*verb, arguments->plug_in);
    add_store_option(*verb, arguments->store);
    verb->add_option("--on-store-error", arguments->on_store_error,
                     "When the store cannot be written: go-on (the default)\n"
                     "keeps what waits and tries again; stop ends the run")
        ->option_text("WORD")
        ->check(one_of(kStoreErrorWords));
    add_seconds(*verb, "--for", arguments->seconds, {0, kLongestRunSeconds},
                "End after so long; default: Ctrl-C or SIGTERM ends");
    verb->add_option("--listen", arguments->listen_address, "Serve metrics at /metrics; a PORT alone is on loopback")
        ->option_text("HOST:PORT")
        ->check(check_listen_address, "");
    verb->add_option("--log", arguments->log_file, "Append the log to a file, too")->option_text("FILE");
    verb->add_flag("--journal", arguments->logs_to_journal, "Send the log to the systemd journal, too");
    verb->footer(
        "Delivers the description's analytics in their time. The log goes to standard\n"
        "error. While it runs, qorstat notify reaches it.\n\n" +
        examples("qorstat run examples/phone.toml", "qorstat run examples/phone.toml --for 2.5 --log run.log"));
    return {verb, [arguments] { return run(*arguments); }};
}

} // namespace cli
