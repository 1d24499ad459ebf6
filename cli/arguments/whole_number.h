/** Whole numbers on the command line. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

namespace cli {

/** The number that `text` writes in decimal digits alone, zeros in front included; nothing beyond 64 bits. */
std::optional<std::uint64_t> whole_number(std::string_view text);

/**
 * Adds an option that takes one, and is wrong use with anything else.
 * @param number  filled when the verb's arguments are parsed; must live until then.
 */
CLI::Option *add_whole_number(CLI::App &verb, const std::string &name, std::optional<std::uint64_t> &number,
                              const std::string &description);

} // namespace cli
