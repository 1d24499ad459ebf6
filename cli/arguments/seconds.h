/** Times in seconds on the command line. */
#pragma once

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace cli {

/** The times that an option accepts, both ends included. */
struct SecondsRange {
    double least;
    double most;
};

/**
 * Adds an option that takes a number of seconds; anything outside of `range` is wrong use.
 * @param seconds  filled when the verb's arguments are parsed; must live until then.
 */
CLI::Option *add_seconds(CLI::App &verb, const std::string &name, std::optional<double> &seconds,
                         const SecondsRange &range, const std::string &description);

/** A number of seconds as such an option takes it: at most six decimals, without zeros at the end. */
std::string seconds_argument(double seconds);

} // namespace cli
