/** The arguments that name the servers of an engine: the same for every verb that asks them. */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/arguments/declaration.h"
#include "cli/questions/shards.h"

namespace cli {

/** What a command line says of servers. */
struct ServerArguments {
    const char *option; ///< the name of the one that takes URLs, such as "--to"
    std::vector<std::string> urls{};
    std::string cluster{}; ///< empty for none
    std::string database = "qor";
    std::optional<double> patience{}; ///< seconds
    std::optional<double> silence{};  ///< seconds
};

// Arguments outlive the parsing.

Argument urls_argument(ServerArguments &arguments, const char *help);
Argument cluster_argument(ServerArguments &arguments, const char *help);
Argument database_argument(ServerArguments &arguments, const char *help);
/** `--retry-for`. */
Argument patience_argument(ServerArguments &arguments);
/** `--timeout`. */
Argument silence_argument(ServerArguments &arguments);

/**
 * The servers with the user and the password of the environment. Call it before a thread starts.
 * @throws WrongUse for URLs that are none, and for several without a cluster.
 */
EngineServers servers_of(const ServerArguments &arguments);

} // namespace cli
