/** Lists of file names. */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace cli {

/** The longest list, in bytes. */
inline constexpr std::size_t kLongestList = std::size_t{64} << 20;

/**
 * Reads a list of file names: one in each line, or, when there is a zero byte anywhere, one before each zero byte.
 * Empty ones are left out; all other bytes of a name count. The list may be packed.
 * @param argument  a file, or "-" for standard input.
 * @throws host::Error when it cannot be read, is longer than `kLongestList`, or is a known file of another kind.
 */
std::vector<std::string> read_file_list(const std::string &argument);

} // namespace cli
