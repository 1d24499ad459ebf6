/** Options that accept a time in seconds. */
#pragma once

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace cli {

/** The accepted times, both ends included. */
struct SecondsRange {
    double least;
    double most;
};

/**
 * Adds an option whose value is a number of seconds within `range`, fractions included.
 * @param seconds  stays empty when the option is not given; must live until the arguments are parsed.
 */
CLI::Option *add_seconds(CLI::App &verb, const std::string &name, std::optional<double> &seconds,
                         const SecondsRange &range, const std::string &description);

/** `seconds` in the form that such an option accepts: at most six decimals, no trailing zeros. */
std::string seconds_argument(double seconds);

} // namespace cli
