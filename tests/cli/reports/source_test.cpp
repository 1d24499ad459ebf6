#include "cli/reports/source.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/error.h"
#include "tests/cli/program.h"
#include "tests/cli/reports/dumps.h"

using cli::ReportSource;
using cli::Selection;
using cli_tests::DumpPipe;
using cli_tests::kGyroData;
using cli_tests::numbered_reports;
using cli_tests::report;
using cli_tests::SelectedDump;
using cli_tests::TemporaryFolder;

namespace {

std::vector<std::uint32_t> read_numbers(ReportSource &source) {
    std::vector<std::uint32_t> numbers;
    for (cli::ReportBlock block; source.next(block);) {
        EXPECT_LE(block.size(), ReportSource::kBlockReports);
        for (const _QorProfileReport &report : block.reports) {
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
    EXPECT_TRUE(source.observe([&](const cli::ReportPiece &piece) {
        for (std::size_t i = 0; i < piece.count(); ++i) {
            places.emplace_back(piece.report(i).sequence_num(), piece.offset_of(i));
        }
    }));
    cli::ReportBlock room;
    while (source.next_in_place(room).count() != 0) {
    }
    return places;
}

TEST(ReportSourceTest, GivesWhatPassesInOrder) {
    Selection selection;
    selection.filter.components = {"gyro"};
    const TemporaryFolder folder;
    SelectedDump source(folder.file("dump", numbered_reports(2) + report(kGyroData, 7, 0) + numbered_reports(2000) +
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
        SelectedDump of_file(file, last(count));
        SelectedDump of_pipe(pipe.name(), last(count));

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
    SelectedDump source(folder.file("dump", numbered_reports(2) + report(kGyroData, 7, 0)), selection);

    EXPECT_EQ(observe(source), (Places{{1, 0}, {2, 48}, {7, 96}}));
}

TEST(ReportSourceTest, AnObserverSeesNothingBehindTheLastOfTheFirst) {
    Selection selection;
    selection.filter.components = {"gyro"};
    selection.first = 1;
    const TemporaryFolder folder;
    SelectedDump source(folder.file("dump", numbered_reports(1) + report(kGyroData, 7, 0) + numbered_reports(2)),
                        selection);

    EXPECT_EQ(observe(source), (Places{{1, 0}, {7, 48}}));
}

TEST(ReportSourceTest, AnObserverOfTheLastOfAPipeExcludesAFilter) {
    Selection selection = last(1);
    selection.filter.components = {"accel"};
    DumpPipe pipe(numbered_reports(2));
    pipe.close_writer();
    SelectedDump source(pipe.name(), selection);

    EXPECT_FALSE(source.observe([](const cli::ReportPiece &) {}));
}

TEST(ReportSourceTest, AWatcherIsToldBeforeEveryRead) {
    const TemporaryFolder folder;
    SelectedDump source(folder.file("dump", numbered_reports(1366)), {});
    std::vector<std::uint64_t> progress;
    source.watch([&](std::uint64_t bytes_read) { progress.push_back(bytes_read); });

    read_numbers(source);

    EXPECT_EQ(progress, (std::vector<std::uint64_t>{0, 1365 * 48, 1366 * 48}));
}

TEST(ReportSourceTest, AfterTheFirstNothingIsReadAndNothingTrails) {
    Selection selection;
    selection.first = 2;
    DumpPipe pipe(numbered_reports(3) + "123"); // its writer stays: another read would not return
    SelectedDump source(pipe.name(), selection);

    EXPECT_EQ(read_numbers(source), (std::vector<std::uint32_t>{1, 2}));
    EXPECT_FALSE(source.trailing_bytes());
}

/** Truncates the file while it is decoded, before the reports behind `bytes_read` are used. */
cli::ReadingWatcher cutting(const std::string &file, std::uint64_t bytes_read, std::uint64_t size) {
    return [=](std::uint64_t read) {
        if (read == bytes_read) {
            std::filesystem::resize_file(file, size);
        }
    };
}

TEST(ReportSourceTest, AllReportsBeforeTheCutOfAFileAreGivenOnce) {
    constexpr std::uint64_t kPiece = 1365 * 48;
    for (const std::uint64_t size : {kPiece + 48 * 100 + 3, kPiece, kPiece - 40, kPiece * 20 + 4096}) {
        const TemporaryFolder folder;
        const std::string file = folder.file("dump", numbered_reports(150'000));
        SelectedDump source(file, {});
        source.watch(cutting(file, size > kPiece * 20 ? kPiece * 20 : kPiece, size));
        std::uint32_t expected = 0;
        std::string message;

        try {
            for (cli::ReportBlock block; source.next(block);) {
                for (const _QorProfileReport &report : block.reports) {
                    ASSERT_EQ(report.sequence_num(), ++expected);
                }
            }
        } catch (const host::Error &error) {
            message = error.what();
        }

        EXPECT_EQ(expected, std::max(size, kPiece) / 48);
        EXPECT_EQ(message, file + ": byte " + std::to_string(std::max(size, kPiece)) +
                               ": the file was truncated while it was being read");
    }
}

TEST(ReportSourceTest, TheFirstAreCountedRightBeforeACut) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", numbered_reports(20'000));
    Selection selection;
    selection.first = 2000;
    SelectedDump source(file, selection);
    source.watch(cutting(file, 1365 * 48, 1500 * 48));
    cli::ReportBlock block;

    ASSERT_TRUE(source.next(block));
    EXPECT_EQ(block.size(), 1365u);
    ASSERT_TRUE(source.next(block));
    EXPECT_EQ(block.size(), 135u);
    EXPECT_THROW(source.next(block), host::Error);
}

TEST(ReportSourceTest, WhatIsUsedInPlaceEndsWithAnErrorAfterACut) {
    for (const std::uint64_t first : {100'000U, 2000U}) {
        const TemporaryFolder folder;
        const std::string file = folder.file("dump", numbered_reports(20'000));
        Selection selection;
        selection.first = first;
        SelectedDump source(file, selection);
        source.watch(cutting(file, 1365 * 48, 1500 * 48 + 1));
        std::uint32_t sum = 0;
        cli::ReportBlock room;
        ASSERT_EQ(source.next_in_place(room).count(), 1365u);
        for (const _QorProfileReport &report : source.next_in_place(room).reports) {
            sum += report.sequence_num();
        }

        EXPECT_GT(sum, 0u);
        try {
            source.next_in_place(room);
            FAIL() << "nothing was thrown";
        } catch (const host::Error &error) {
            EXPECT_EQ(std::string(error.what()), file + ": byte 72001: the file was truncated while it was being read");
        }
    }
}

TEST(ReportSourceTest, InPlaceAreTheSameReportsInOrder) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", numbered_reports(3000) + report(kGyroData, 7, 0));
    Selection gyro;
    gyro.filter.components = {"gyro"};
    Selection first;
    first.first = 2000;
    for (const Selection &selection : {Selection{}, gyro, first, last(5)}) {
        SelectedDump plain(file, selection);
        SelectedDump in_place(file, selection);
        std::vector<std::uint32_t> numbers;
        cli::ReportBlock room;

        for (auto part = in_place.next_in_place(room); part.count() != 0; part = in_place.next_in_place(room)) {
            for (const _QorProfileReport &report : part.reports) {
                numbers.push_back(report.sequence_num());
            }
        }

        EXPECT_EQ(numbers, read_numbers(plain));
    }
}

} // namespace
