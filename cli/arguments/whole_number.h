/** Options that accept a whole number. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

namespace cli {

/** Reads decimal digits, leading zeros included. Empty for any other text and for numbers beyond 64 bits. */
std::optional<std::uint64_t> parse_whole_number(std::string_view text);

/**
 * Adds an option whose value is a whole number of 64 bits.
 * @param number  stays empty when the option is not given; must live until the arguments are parsed.
 */
CLI::Option *add_whole_number(CLI::App &verb, const std::string &name, std::optional<std::uint64_t> &number,
                              const std::string &description);

} // namespace cli
