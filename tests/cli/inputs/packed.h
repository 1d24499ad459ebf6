/** Packed data for tests, made by the libraries that pack. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace cli_tests {

/** One gzip member with `text` as often as wanted. */
std::string gzip(std::string_view text, std::size_t times = 1);

/** One zstd frame with the same. */
std::string zstd(std::string_view text, std::size_t times = 1);

} // namespace cli_tests
