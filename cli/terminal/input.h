/** Files to be read whole. */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace cli {

/** How standard input is named on the command line. */
inline constexpr const char *kStandardInputArgument = "-";

/** What errors call the input named `argument`: "standard input" for "-". */
std::string input_name(const std::string &argument);

/** Everything in the file, or in standard input for "-". @throws host::Error with the system's reason. */
std::vector<std::byte> read_input(const std::string &argument);

} // namespace cli
