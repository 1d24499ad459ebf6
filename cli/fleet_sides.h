/** Sides of a comparison out of a fleet's tables: the devices whose labels a condition holds for. */
#pragma once

#include <optional>
#include <string>

#include "cli/arguments/declaration.h"
#include "cli/comparison/side.h"
#include "cli/questions/server_arguments.h"

namespace cli {

/** What a command line says of a fleet. */
struct FleetArguments {
    ServerArguments from{.option = "--from"};
    std::optional<std::string> a; ///< a condition; nothing: that side comes from elsewhere
    std::optional<std::string> b;

    bool is_given() const { return !from.urls.empty(); }
};

// Arguments outlive the parsing.

Argument from_argument(FleetArguments &arguments);
Argument condition_a_argument(FleetArguments &arguments);
Argument condition_b_argument(FleetArguments &arguments);
Argument fleet_cluster_argument(FleetArguments &arguments);
Argument fleet_database_argument(FleetArguments &arguments);
Argument fleet_patience_argument(FleetArguments &arguments);
Argument fleet_silence_argument(FleetArguments &arguments);

/** The sides that have a condition; the others are empty. */
struct FleetSides {
    Side a;
    Side b;
};

/**
 * Reads what the tables have of the devices of each side.
 * @throws WrongUse for a bad condition; host::Error when a server fails, when a condition holds for no device, and for
 *         a device that both hold for.
 */
FleetSides collect_fleet(const FleetArguments &arguments);

} // namespace cli
