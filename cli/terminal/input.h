/** Input files that are read as a whole. */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace cli {

/** The argument that names standard input. */
inline constexpr const char *kStandardInputArgument = "-";

/** The name of an input in messages: "standard input" for "-", two quotation marks for an empty argument. */
std::string input_name(const std::string &argument);

/**
 * Reads the file to its end; standard input for "-".
 * @param most  so many bytes at most. @throws host::Error with the system's reason, and when there are more.
 */
std::vector<std::byte> read_input(const std::string &argument, std::size_t most);

} // namespace cli
