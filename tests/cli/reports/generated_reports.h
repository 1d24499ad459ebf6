/** Generated reports of every payload, for tests that compare a form with a plain formulation of it. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>

#include <gtest/gtest.h>

#include "decoder/payload_choice.h"
#include "tests/decoder/described_by_decoder.h"
#include "tests/decoder/report_generator.h"

namespace cli_tests {

/** Calls `check` with reports of every payload and with clocks, until the test has failed. */
template <typename Check>
void for_each_generated_report(const Check &check) {
    constexpr std::uint64_t kReports = 10'000;
    oracle::ReportGenerator generator(11);
    std::set<std::size_t> payloads;
    for (std::uint64_t i = 0; i < kReports && !testing::Test::HasFailure(); ++i) {
        const oracle::Report bytes = generator.report_of_kind(i % oracle::ReportGenerator::kKinds);
        const _QorProfileReport report = _QorProfileReport::copied_from(bytes.data());
        payloads.insert(decoder::payload_index(report));
        check(report, oracle::device_clock_of(generator.clock(bytes)));
    }
    EXPECT_TRUE(testing::Test::HasFailure() || payloads.size() == decoder::kPayloads.size());
}

} // namespace cli_tests
