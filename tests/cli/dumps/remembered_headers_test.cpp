#include "cli/dumps/remembered_headers.h"

#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "tests/decoder/report_builder.h"

namespace cli_tests {
namespace {

struct Fills {
    int count = 0;
};

struct HeaderText {
    std::uint32_t header = 0;
};

void fill(HeaderText &text, const _QorProfileReport &report, Fills *fills) {
    text.header = report.header();
    ++fills->count;
}

using Remembered = cli::RememberedHeaders<HeaderText, Fills *, fill>;

_QorProfileReport report_of(std::uint32_t header) { return ReportBuilder(0, 0, 0, 0).u32(0, header); }

TEST(RememberedHeadersTest, ATextIsThatOfTheHeader) {
    Remembered remembered;
    Fills fills;
    std::mt19937 engine(3); // NOLINT(cert-msc51-cpp,cert-msc32-c): the same headers every time
    std::vector<std::uint32_t> headers{0, ~0U};
    for (int count = 0; count < 1000; ++count) {
        headers.push_back(static_cast<std::uint32_t>(engine()) & 0x0707'1F0F);
    }
    for (int round = 0; round < 20'000; ++round) {
        const std::uint32_t header = headers[engine() % headers.size()];
        ASSERT_EQ(remembered.of(report_of(header), &fills).header, header);
    }
}

TEST(RememberedHeadersTest, TwoHeadersNeverTakeEachOthersPlaces) {
    for (std::uint32_t type = 0; type < 16; ++type) {
        for (std::uint32_t category = 3; category < 16; ++category) {
            Remembered remembered;
            Fills fills;
            for (int round = 0; round < 3; ++round) {
                remembered.of(report_of(0x0200'0203), &fills);
                remembered.of(report_of(category << 24 | 0x0200 | type), &fills);
            }
            EXPECT_EQ(fills.count, 2) << type << " " << category;
        }
    }
}

} // namespace
} // namespace cli_tests
