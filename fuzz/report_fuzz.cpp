// Describes any report under any clock: the decoder's line equals the oracle's.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/input.h"
#include "tests/decoder/described_by_decoder.h"
#include "tests/decoder/oracle.h"
#include "tests/decoder/report_generator.h"

namespace {

using fuzz::Input;

oracle::Clock clock_of(Input &input) {
    constexpr unsigned kHasTimeSync = 1;
    constexpr unsigned kHasBootTime = 2;
    const unsigned present = input.byte();
    oracle::Clock clock;
    if (present & kHasTimeSync) {
        const auto qor = static_cast<std::int64_t>(input.number());
        const auto calendar = static_cast<std::int64_t>(input.number());
        clock.time_sync = oracle::TimeSync{qor, calendar};
    }
    if (present & kHasBootTime) {
        clock.boot_time = input.number();
    }
    return clock;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Input input(data, size);
    oracle::Report report;
    std::generate(report.begin(), report.end(), [&input] { return input.byte(); });
    const oracle::Clock clock = clock_of(input);
    const std::size_t prefix = input.byte();

    const std::string expected = oracle::describe(report.data(), clock);
    const std::string described = oracle::describe_with_decoder(report.data(), clock, prefix);
    if (described != expected) {
        std::fprintf(stderr, "decoder: %s\noracle:  %s\n", described.c_str(), expected.c_str());
        std::abort();
    }
    return 0;
}
