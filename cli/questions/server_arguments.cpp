#include "cli/questions/server_arguments.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>

#include "cli/arguments/seconds.h"
#include "cli/arguments/wrong_use.h"
#include "cli/questions/engine_names.h"
#include "cli/terminal/output.h"

namespace cli {
namespace {

constexpr double kPatienceSeconds = 60;
constexpr double kSilenceSeconds = 300;

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

} // namespace

Argument urls_argument(ServerArguments &arguments, const char *help) {
    return {.name = arguments.option,
            .value_name = "URL",
            .target = &arguments.urls,
            .help = help,
            .is_repeated = true,
            .kind = ValueKind::Other};
}

Argument cluster_argument(ServerArguments &arguments, const char *help) {
    return {.name = "--cluster",
            .value_name = "NAME",
            .target = cluster_reader(arguments.cluster),
            .help = help,
            .kind = ValueKind::Other};
}

Argument database_argument(ServerArguments &arguments, const char *help) {
    return {.name = "--database",
            .value_name = "NAME",
            .target = database_reader(arguments.database),
            .help = help,
            .kind = ValueKind::Other};
}

Argument patience_argument(ServerArguments &arguments) {
    return {.name = "--retry-for",
            .value_name = "SECONDS",
            .target = seconds_reader(arguments.patience, {0, 86'400}),
            .help = "How long a server may be away; default: 60",
            .kind = ValueKind::Other};
}

Argument silence_argument(ServerArguments &arguments) {
    return {.name = "--timeout",
            .value_name = "SECONDS",
            .target = seconds_reader(arguments.silence, {1, 86'400}),
            .help = "How long a server may be silent; default: 300",
            .kind = ValueKind::Other};
}

EngineServers servers_of(const ServerArguments &arguments) {
    const std::string option = arguments.option;
    if (arguments.urls.empty()) {
        throw WrongUse(option + " is required");
    }
    EngineServers servers{.option = arguments.option,
                          .servers = {},
                          .database = arguments.database,
                          .cluster = std::nullopt,
                          .patience = in_milliseconds(arguments.patience.value_or(kPatienceSeconds)),
                          .tell = [](const std::string &line) { print_message("qorstat: " + line); }};
    const std::optional<Credentials> credentials = credentials_of_environment();
    const auto silence =
        std::chrono::ceil<std::chrono::seconds>(in_milliseconds(arguments.silence.value_or(kSilenceSeconds)));
    for (const std::string &url : arguments.urls) {
        require_plain_url(option, url);
        servers.servers.push_back({url, credentials, silence});
    }
    if (!arguments.cluster.empty()) {
        servers.cluster = arguments.cluster;
    } else if (servers.servers.size() > 1) {
        throw WrongUse("several " + option + " require --cluster, and name a server of each of its shards");
    }
    return servers;
}

} // namespace cli
