/** The reports on which the decoder is measured. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {

/**
 * `count` reports of 48 bytes end to end, the same ones on every call: 40 % function, 30 % event, 10 % of the
 * sshb category, 10 % short and long data, 10 % the rest, in random order. Time advances by 40 microseconds
 * on average from report to report; numbers have from none to all of their bits, each length equally often.
 */
std::vector<std::uint8_t> report_mix(std::size_t count);

} // namespace bench
