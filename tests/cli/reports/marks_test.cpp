#include "cli/reports/marks.h"

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "cli/dumps/open_input.h"
#include "cli/reports/stream.h"
#include "tests/cli/program.h"
#include "tests/cli/reports.h"
#include "tests/cli/reports/dumps.h"

namespace {

using cli::MarkFinder;
using cli::ReportBlock;
using cli::ReportPiece;
using cli::ReportStream;
using cli::Selection;
using cli_tests::kAccelData;
using cli_tests::kGyroData;
using cli_tests::report;
using cli_tests::TemporaryFolder;

using Texts = std::vector<std::string>;

/** What is shown: each report's number, and before it its marks. */
Texts shown(const std::vector<std::string> &inputs, const Selection &selection = {}, bool merges_by_time = false) {
    ReportStream stream(cli::InputSequence(inputs, std::nullopt, cli::wanted_by_decode()),
                        {.selection = selection, .with_offsets = true, .merges_by_time = merges_by_time});
    MarkFinder finder;
    static_cast<void>(stream.observe([&](const ReportPiece &piece) { finder.see(piece); }));
    Texts texts;
    ReportBlock block;
    for (finder.begin(block); stream.next(block); finder.begin(block)) {
        finder.end();
        auto mark = block.marks.begin();
        for (std::size_t i = 0; i < block.size(); ++i) {
            for (; mark != block.marks.end() && mark->place == i; ++mark) {
                texts.push_back(cli::break_text(mark->what));
                if (mark->further != 0) {
                    texts.push_back("further " + std::to_string(mark->further));
                }
            }
            texts.push_back(std::to_string(block.reports[i].sequence_num()));
        }
        EXPECT_EQ(mark, block.marks.end());
    }
    return texts;
}

Selection gyro_alone() {
    Selection selection;
    selection.filter.components = {"gyro"};
    return selection;
}

/** Numbers with 'g' for a report of the gyroscope, 'a' for one of the accelerometer. */
std::string dump_of(const std::vector<std::pair<char, std::uint32_t>> &reports) {
    std::string dump;
    for (const auto &[sensor, number] : reports) {
        dump += report(sensor == 'g' ? kGyroData : kAccelData, number, 0);
    }
    return dump;
}

TEST(MarksTest, ABreakStandsBeforeTheReportBehindIt) {
    const TemporaryFolder folder;
    EXPECT_EQ(shown({folder.file("dump", dump_of({{'a', 1}, {'a', 2}, {'a', 6}, {'a', 7}}))}),
              Texts({"1", "2", "gap: 3 missing", "6", "7"}));
    const std::string back = report(kAccelData, 1, 100) + report(kAccelData, 2, 80);
    EXPECT_EQ(shown({folder.file("back", back)}), Texts({"1", "clock goes back 0.000020s", "2"}));
}

TEST(MarksTest, WhatAFilterLeavesOutIsNoGapAndWhatIsLostThereIsOne) {
    const TemporaryFolder folder;
    const std::string dump = dump_of(
        {{'a', 9}, {'g', 1}, {'a', 2}, {'g', 3}, {'a', 6}, {'a', 8}, {'a', 9}, {'g', 10}, {'g', 11}, {'a', 20}});
    EXPECT_EQ(shown({folder.file("dump", dump)}, gyro_alone()),
              Texts({"gap: number 1 after 9", "1", "3", "gap: 2 missing", "gap: 1 missing", "10", "11"}));
}

TEST(MarksTest, EachInputHasItsOwn) {
    const TemporaryFolder folder;
    const std::string first = folder.file("first", dump_of({{'g', 1}, {'g', 3}, {'a', 5}}));
    const std::string second = folder.file("second", dump_of({{'a', 70}, {'g', 71}}));
    EXPECT_EQ(shown({first, second}, gyro_alone()), Texts({"1", "gap: 1 missing", "3", "71"}));
}

/** Of more inputs than are open at a time. */
TEST(MarksTest, WhatIsLostInMergedInputsStandsBeforeTheirOwnReports) {
    const TemporaryFolder folder;
    constexpr std::uint32_t kFiles = cli::TimeMerge::kOpenAtMost + 2;
    std::vector<std::string> files;
    Texts expected;
    for (std::uint32_t file = 0; file < kFiles; ++file) {
        const std::uint32_t first = 100 * file;
        files.push_back(folder.file("dump" + std::to_string(file),
                                    report(kGyroData, first, file) + report(kAccelData, first + 3 + file, 1000) +
                                        report(kGyroData, first + 4 + file, 2000 + file)));
        expected.push_back(std::to_string(first));
    }
    for (std::uint32_t file = 0; file < kFiles; ++file) {
        expected.push_back("gap: " + std::to_string(2 + file) + " missing");
        expected.push_back(std::to_string(100 * file + 4 + file));
    }
    EXPECT_EQ(shown(files, gyro_alone(), true), expected);
}

TEST(MarksTest, TheLastReportsBeginWithoutOne) {
    const TemporaryFolder folder;
    const std::string dump = dump_of({{'a', 1}, {'a', 5}, {'a', 9}});
    Selection last;
    last.last = 2;
    EXPECT_EQ(shown({folder.file("dump", dump)}, last), Texts({"5", "gap: 3 missing", "9"}));

    cli_tests::DumpPipe pipe(dump);
    pipe.close_writer();
    EXPECT_EQ(shown({pipe.name()}, last), Texts({"5", "gap: 3 missing", "9"}));
}

/** They are given when their neighbours have been read, and those around the nearest at the end. */
TEST(MarksTest, ReportsAroundOthersHaveTheirsToo) {
    const TemporaryFolder folder;
    std::vector<std::pair<char, std::uint32_t>> reports;
    for (std::uint32_t number = 0; number < 30'000; number += number % 3 == 0 ? 2 : 1) {
        reports.emplace_back(number == 9'000 || number == 9'002 || number == 29'000 ? 'g' : 'a', number);
    }
    const std::string dump = folder.file("dump", dump_of(reports));
    Selection context = gyro_alone();
    context.context = 1;
    // Every multiple of 3 has a break behind it. Of those between the groups, how many more there are is not exact.
    Texts expected(MarkFinder::kMarksAtMost, "gap: 1 missing");
    expected.insert(expected.end(), {"8999", "9000", "gap: 1 missing", "9002", "9003"});
    expected.insert(expected.end(), MarkFinder::kMarksAtMost, "gap: 1 missing");
    const Texts near_29000 = {"28998", "gap: 1 missing", "29000", "29001"};
    expected.insert(expected.end(), near_29000.begin(), near_29000.end());
    Texts in_context = shown({dump}, context);
    std::erase_if(in_context, [](const std::string &text) { return text.starts_with("further"); });
    EXPECT_EQ(in_context, expected);

    Selection around;
    around.around = cli::SequenceNumber{29'000};
    around.context = 1;
    const Texts found = shown({dump}, around);
    ASSERT_GT(found.size(), near_29000.size());
    EXPECT_EQ(Texts(found.end() - static_cast<std::ptrdiff_t>(near_29000.size()), found.end()), near_29000);
}

TEST(MarksTest, ManyBreaksBetweenTwoShownReportsAreCountedTogether) {
    const TemporaryFolder folder;
    std::string dump = report(kGyroData, 1, 0);
    for (std::uint32_t i = 1; i < 100'000; ++i) {
        dump += report(kAccelData, 2 * i + 100'000, 500 + i);
    }
    dump += report(kAccelData, 7, 1) + report(kGyroData, 9, 2);

    const Texts texts = shown({folder.file("dump", dump)}, gyro_alone());

    // Of 100,001 breaks, 8 are told apart, the restart among them.
    ASSERT_EQ(texts.size(), 1 + MarkFinder::kMarksAtMost + 1 + 1);
    EXPECT_EQ(texts[1], "gap: 100000 missing");
    EXPECT_EQ(texts[2], "gap: 1 missing");
    EXPECT_EQ(texts[MarkFinder::kMarksAtMost], "restart: number 7 after 299998");
    EXPECT_EQ(texts[MarkFinder::kMarksAtMost + 1], "further 99993");
    EXPECT_EQ(texts.back(), "9");
}

/** Against a walk over the whole dump, for dumps of several blocks with every kind of break. */
TEST(MarksTest, AreThoseOfAPlainWalk) {
    std::mt19937 random(5);
    for (unsigned round = 0; round < 5; ++round) {
        std::vector<std::pair<char, std::uint32_t>> reports;
        std::uint32_t number = 0;
        for (int i = 0; i < 5000; ++i) {
            number += random() % 20 == 0 ? static_cast<std::uint32_t>(random()) % 5 : 1;
            reports.emplace_back(random() % (round + 1) == 0 ? 'g' : 'a', number);
        }
        Texts expected;
        Texts waiting;
        for (std::size_t i = 0; i < reports.size(); ++i) {
            const auto &[sensor, after] = reports[i];
            if (i != 0 && after != reports[i - 1].second + 1) {
                waiting.push_back(after > reports[i - 1].second
                                      ? "gap: " + std::to_string(after - reports[i - 1].second - 1) + " missing"
                                      : "gap: number " + std::to_string(after) + " after " + std::to_string(after));
            }
            if (sensor == 'g') {
                expected.insert(expected.end(), waiting.begin(), waiting.end());
                expected.push_back(std::to_string(after));
                waiting.clear();
            }
        }
        const TemporaryFolder folder;
        EXPECT_EQ(shown({folder.file("dump", dump_of(reports))}, gyro_alone()), expected) << round;
    }
}

} // namespace
