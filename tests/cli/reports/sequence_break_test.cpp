#include "cli/reports/marks.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/cli/reports.h"

namespace {

using cli::BreakWatch;
using cli::SequenceBreak;
using cli_tests::as_report;
using cli_tests::kAccelData;
using cli_tests::report;

/** Each report's number and time stamp. */
using Reports = std::vector<std::pair<std::uint32_t, std::uint64_t>>;

/** The index and the text of each break, when the reports come in pieces of `piece`. */
std::vector<std::string> breaks_of(const Reports &reports, std::size_t piece = 100) {
    BreakWatch watch;
    std::vector<std::string> found;
    for (std::size_t begin = 0; begin < reports.size(); begin += piece) {
        std::vector<_QorProfileReport> bytes;
        for (std::size_t i = begin; i < std::min(begin + piece, reports.size()); ++i) {
            bytes.push_back(as_report(report(kAccelData, reports[i].first, reports[i].second)));
        }
        watch.see(bytes, [&](std::size_t index, const SequenceBreak &what) {
            found.push_back(std::to_string(begin + index) + ": " + cli::break_text(what));
        });
        watch.see({}, [](std::size_t, const SequenceBreak &) { FAIL(); });
    }
    return found;
}

using Texts = std::vector<std::string>;

TEST(SequenceBreakTest, ReportsInOrderHaveNone) {
    EXPECT_EQ(breaks_of({{700, 5}, {701, 5}, {702, 9}}), Texts());
    EXPECT_EQ(breaks_of({{0xFFFF'FFFF, 5}, {0, 5}, {1, 6}}), Texts());
}

TEST(SequenceBreakTest, SkippedNumbersAreMissing) {
    EXPECT_EQ(breaks_of({{7, 0}, {11, 0}}), Texts({"1: gap: 3 missing"}));
    EXPECT_EQ(breaks_of({{0xFFFF'FFFE, 0}, {2, 0}}), Texts({"1: gap: 3 missing"}));
}

TEST(SequenceBreakTest, ANumberThatGoesBackOrStaysMissesNone) {
    EXPECT_EQ(breaks_of({{9000, 1}, {3, 2}}), Texts({"1: gap: number 3 after 9000"}));
    EXPECT_EQ(breaks_of({{9000, 1}, {9000, 1}}), Texts({"1: gap: number 9000 after 9000"}));
    // Half the range of numbers is forward, the other half back.
    EXPECT_EQ(breaks_of({{0, 0}, {0x7FFF'FFFF, 0}}), Texts({"1: gap: 2147483646 missing"}));
    EXPECT_EQ(breaks_of({{0, 0}, {0x8000'0000, 0}}), Texts({"1: gap: number 2147483648 after 0"}));
}

TEST(SequenceBreakTest, ATimeStampBelowTheOneBeforeIsAClockThatGoesBack) {
    EXPECT_EQ(breaks_of({{1, 5'000'020}, {2, 4'000'000}}), Texts({"1: clock goes back 1.000020s"}));
    EXPECT_EQ(breaks_of({{1, 50}, {4, 49}}), Texts({"1: gap: 2 missing, clock goes back 0.000001s"}));
}

TEST(SequenceBreakTest, ASmallNumberAfterALargeOneWithAnEarlierTimeIsARestart) {
    EXPECT_EQ(breaks_of({{9255, 7'200'000'000}, {3, 500}}), Texts({"1: restart: number 3 after 9255"}));
    EXPECT_EQ(breaks_of({{9255, 10}, {999, 9}}), Texts({"1: restart: number 999 after 9255"}));
    EXPECT_EQ(breaks_of({{0x9000'0000, 10}, {3, 9}}), Texts({"1: restart: number 3 after 2415919104"}));
}

TEST(SequenceBreakTest, AnythingShortOfThatIsNoRestart) {
    EXPECT_EQ(breaks_of({{9255, 10}, {1000, 9}}), Texts({"1: gap: number 1000 after 9255, clock goes back 0.000001s"}));
    EXPECT_EQ(breaks_of({{9255, 10}, {3, 10}}), Texts({"1: gap: number 3 after 9255"}));
    // Two reports that have changed places.
    EXPECT_EQ(breaks_of({{900, 10}, {898, 9}}), Texts({"1: gap: number 898 after 900, clock goes back 0.000001s"}));
    EXPECT_EQ(breaks_of({{4, 10}, {2, 9}}), Texts({"1: gap: number 2 after 4, clock goes back 0.000001s"}));
    EXPECT_EQ(breaks_of({{0xFFFF'FFFF, 10}, {0, 9}}), Texts({"1: clock goes back 0.000001s"}));
}

TEST(SequenceBreakTest, PiecesMakeNoDifference) {
    const Reports reports = {{1, 10}, {2, 11}, {9, 12}, {10, 8}, {0, 1}, {1, 2}, {2, 3}, {70'000, 9}, {4, 0}};
    const Texts expected = {"2: gap: 6 missing", "3: clock goes back 0.000004s", "4: restart: number 0 after 10",
                            "7: gap: 69997 missing", "8: restart: number 4 after 70000"};

    for (std::size_t piece = 1; piece <= reports.size(); ++piece) {
        EXPECT_EQ(breaks_of(reports, piece), expected) << piece;
    }
}

} // namespace
