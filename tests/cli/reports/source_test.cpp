#include "cli/reports/source.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "cli/arguments/wrong_use.h"
#include "tests/cli/program.h"
#include "tests/cli/reports/dumps.h"

using cli::ReportSource;
using cli::Selection;
using cli_tests::DumpPipe;
using cli_tests::kGyroData;
using cli_tests::numbered_reports;
using cli_tests::report;
using cli_tests::TemporaryFolder;

namespace {

std::vector<std::uint32_t> read_numbers(ReportSource &source) {
    std::vector<std::uint32_t> numbers;
    for (std::vector<_QorProfileReport> block; source.next(block);) {
        EXPECT_LE(block.size(), ReportSource::kBlockReports);
        for (const _QorProfileReport &report : block) {
            numbers.push_back(report.sequence_num());
        }
    }
    return numbers;
}

Selection last(std::uint64_t count) {
    Selection selection;
    selection.last = count;
    return selection;
}

using Places = std::vector<std::pair<std::uint32_t, std::uint64_t>>;

/** What an observer sees: sequence numbers and offsets. */
Places observe(ReportSource &source) {
    Places places;
    source.observe([&](const cli::ReportPiece &piece) {
        for (std::size_t i = 0; i < piece.count(); ++i) {
            places.emplace_back(piece.report(i).sequence_num(), piece.offset_of(i));
        }
    });
    read_numbers(source);
    return places;
}

TEST(ReportSourceTest, GivesWhatPassesInOrder) {
    Selection selection;
    selection.filter.components = {"gyro"};
    const TemporaryFolder folder;
    ReportSource source(folder.file("dump", numbered_reports(2) + report(kGyroData, 7, 0) + numbered_reports(2000) +
                                                report(kGyroData, 8, 0)),
                        selection);

    EXPECT_EQ(read_numbers(source), (std::vector<std::uint32_t>{7, 8}));
}

TEST(ReportSourceTest, TheLastAreTheSameOfAFileAndOfAPipe) {
    const std::string dump = numbered_reports(5) + "123";
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", dump);

    for (const std::uint64_t count : {0U, 1U, 4U, 5U, 9U}) {
        DumpPipe pipe(dump);
        pipe.close_writer();
        ReportSource of_file(file, last(count));
        ReportSource of_pipe(pipe.name(), last(count));

        const Places seen = observe(of_file);

        EXPECT_EQ(seen.size(), std::min<std::uint64_t>(count, 5));
        EXPECT_EQ(observe(of_pipe), seen) << count;
        for (const ReportSource *const source : {&of_file, &of_pipe}) {
            ASSERT_TRUE(source->trailing_bytes());
            EXPECT_EQ(source->trailing_bytes()->offset, 240u);
            EXPECT_EQ(source->trailing_bytes()->count, 3u);
        }
    }
}

TEST(ReportSourceTest, AnObserverSeesWhatAFilterDrops) {
    Selection selection;
    selection.filter.components = {"gyro"};
    const TemporaryFolder folder;
    ReportSource source(folder.file("dump", numbered_reports(2) + report(kGyroData, 7, 0)), selection);

    EXPECT_EQ(observe(source), (Places{{1, 0}, {2, 48}, {7, 96}}));
}

TEST(ReportSourceTest, AnObserverSeesNothingBehindTheLastOfTheFirst) {
    Selection selection;
    selection.filter.components = {"gyro"};
    selection.first = 1;
    const TemporaryFolder folder;
    ReportSource source(folder.file("dump", numbered_reports(1) + report(kGyroData, 7, 0) + numbered_reports(2)),
                        selection);

    EXPECT_EQ(observe(source), (Places{{1, 0}, {7, 48}}));
}

TEST(ReportSourceTest, AnObserverOfTheLastOfAPipeExcludesAFilter) {
    Selection selection = last(1);
    selection.filter.components = {"accel"};
    DumpPipe pipe(numbered_reports(2));
    pipe.close_writer();
    ReportSource source(pipe.name(), selection);

    EXPECT_THROW(source.observe([](const cli::ReportPiece &) {}), cli::WrongUse);
}

TEST(ReportSourceTest, AWatcherIsToldBeforeEveryRead) {
    const TemporaryFolder folder;
    ReportSource source(folder.file("dump", numbered_reports(1366)), {});
    std::vector<std::uint64_t> progress;
    source.watch([&](std::uint64_t bytes_read) { progress.push_back(bytes_read); });

    read_numbers(source);

    EXPECT_EQ(progress, (std::vector<std::uint64_t>{0, 1365 * 48, 1366 * 48}));
}

TEST(ReportSourceTest, AfterTheFirstNothingIsReadAndNothingTrails) {
    Selection selection;
    selection.first = 2;
    DumpPipe pipe(numbered_reports(3) + "123"); // its writer stays: another read would not return
    ReportSource source(pipe.name(), selection);

    EXPECT_EQ(read_numbers(source), (std::vector<std::uint32_t>{1, 2}));
    EXPECT_FALSE(source.trailing_bytes());
}

} // namespace
