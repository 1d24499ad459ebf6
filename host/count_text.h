/** Numbers with their nouns. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace host {

/** "1 entry", "2 entries": `number` with `one` when it is 1 and with `many` otherwise. */
std::string count_text(std::uint64_t number, std::string_view one, std::string_view many);

/** "1 record", "2 records": the same for a noun whose plural adds an "s". */
std::string count_text(std::uint64_t number, std::string_view noun);

} // namespace host
