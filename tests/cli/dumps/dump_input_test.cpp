#include "cli/dumps/dump_input.h"

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/error.h"
#include "tests/cli/program.h"
#include "tests/cli/reports/dumps.h"

using cli::DumpInput;
using cli::Follow;
using cli::ReportPiece;
using cli_tests::DumpPipe;
using cli_tests::numbered_reports;
using cli_tests::TemporaryFolder;

namespace {

std::unique_ptr<cli::ByteStream> open_stream(const std::string &argument) {
    return std::make_unique<cli::ByteStream>(argument);
}

/** The sequence numbers of a piece, and at most ten of them. */
std::vector<std::uint32_t> numbers_of(const std::optional<ReportPiece> &piece) {
    std::vector<std::uint32_t> numbers;
    for (std::size_t i = 0; piece && i < piece->count() && i < 10; ++i) {
        numbers.push_back(piece->report(i).sequence_num());
    }
    return numbers;
}

TEST(DumpInputTest, AFileComesInPiecesOfAtMost1365Reports) {
    const TemporaryFolder folder;
    DumpInput input(open_stream(folder.file("dump", numbered_reports(1367) + "1234")), {});

    const std::optional<ReportPiece> first = input.read_next();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->offset, 0u);
    EXPECT_EQ(first->count(), 1365u);
    EXPECT_EQ(first->offset_of(2), 96u);

    const std::optional<ReportPiece> second = input.read_next();
    ASSERT_TRUE(second);
    EXPECT_EQ(second->offset, 1365u * 48);
    EXPECT_EQ(numbers_of(second), (std::vector<std::uint32_t>{1366, 1367}));
    const std::optional<ReportPiece> part = input.read_next();
    ASSERT_TRUE(part) << "four more bytes";
    EXPECT_EQ(part->count(), 0u);
    EXPECT_EQ(input.bytes_read(), 1367u * 48 + 4);
    EXPECT_FALSE(input.read_next());
    EXPECT_EQ(input.trailing_bytes().offset, 1367u * 48);
    EXPECT_EQ(input.trailing_bytes().count, 4u);
}

TEST(DumpInputTest, SizesOfAFileAreThoseWhenItWasOpened) {
    const TemporaryFolder folder;
    const DumpInput input(open_stream(folder.file("dump", numbered_reports(3) + "1234")), {});

    EXPECT_TRUE(input.has_known_end());
    EXPECT_EQ(input.size(), 148u);
    EXPECT_EQ(input.end_of_reports(), 144u);
}

TEST(DumpInputTest, APipeGivesWhatItHolds) {
    const std::string dump = numbered_reports(2);
    DumpPipe pipe(dump.substr(0, 60));
    DumpInput input(open_stream(pipe.name()), {});
    EXPECT_FALSE(input.has_known_end());
    EXPECT_EQ(input.size(), 0u);

    EXPECT_EQ(numbers_of(input.read_next()), std::vector<std::uint32_t>{1});
    EXPECT_EQ(input.trailing_bytes().offset, 48u);
    EXPECT_EQ(input.trailing_bytes().count, 12u);

    pipe.write_more(dump.substr(60, 10));
    const std::optional<ReportPiece> part = input.read_next();
    ASSERT_TRUE(part) << "no whole report, but not the end";
    EXPECT_EQ(part->count(), 0u);

    pipe.write_more(dump.substr(70));
    pipe.close_writer();
    const std::optional<ReportPiece> rest = input.read_next();
    ASSERT_TRUE(rest);
    EXPECT_EQ(rest->offset, 48u);
    EXPECT_EQ(numbers_of(rest), std::vector<std::uint32_t>{2});
    EXPECT_FALSE(input.read_next());
    EXPECT_EQ(input.trailing_bytes().count, 0u);
}

TEST(DumpInputTest, ReadsFromAnOffset) {
    const TemporaryFolder folder;
    DumpInput input(open_stream(folder.file("dump", numbered_reports(3))), {});

    input.start_at(96);

    const std::optional<ReportPiece> piece = input.read_next();
    ASSERT_TRUE(piece);
    EXPECT_EQ(piece->offset, 96u);
    EXPECT_EQ(numbers_of(piece), std::vector<std::uint32_t>{3});
}

TEST(DumpInputTest, FindsBackwardsFromTheLastWholeReport) {
    const TemporaryFolder folder;
    const DumpInput input(open_stream(folder.file("dump", numbered_reports(3000) + "1234")), {});
    std::uint32_t expected = 3000;

    input.find_backwards([&](const _QorProfileReport &report, std::uint64_t offset) {
        EXPECT_EQ(report.sequence_num(), expected);
        EXPECT_EQ(offset, (expected - 1) * 48u);
        --expected;
        return report.sequence_num() == 17;
    });
    EXPECT_EQ(expected, 16u);

    std::uint32_t seen = 0;
    input.find_backwards([&](const _QorProfileReport &, std::uint64_t) { return ++seen == 0; });
    EXPECT_EQ(seen, 3000u);
}

TEST(DumpInputTest, AFollowedFileIsNotAtItsEndUntilAnInterruption) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", numbered_reports(1));
    DumpInput input(open_stream(file), {.follow = Follow::Descriptor});
    ASSERT_EQ(numbers_of(input.read_next()), std::vector<std::uint32_t>{1});

    const std::optional<ReportPiece> nothing = input.read_next();
    ASSERT_TRUE(nothing);
    EXPECT_EQ(nothing->count(), 0u);

    folder.file("dump", numbered_reports(2));
    EXPECT_EQ(numbers_of(input.read_next()), std::vector<std::uint32_t>{2});

    std::raise(SIGINT);
    EXPECT_FALSE(input.read_next());
}

TEST(DumpInputTest, WhatIsSkippedOfAFollowedFileMayComeLater) {
    const TemporaryFolder folder;
    const std::string header(16, 'h');
    const std::string path = folder.file("dump", header.substr(6));
    DumpInput input(open_stream(path), {.follow = Follow::Name, .skip = header.size()});

    EXPECT_EQ(numbers_of(input.read_next()), std::vector<std::uint32_t>());
    std::ofstream(path, std::ios::app) << header.substr(10) << numbered_reports(2);
    EXPECT_EQ(numbers_of(input.read_next()), (std::vector<std::uint32_t>{1, 2}));

    // The file that replaces it has such a header, too.
    std::filesystem::rename(folder.file("next", header + numbered_reports(3)), path);
    std::vector<std::uint32_t> numbers;
    for (int reads = 0; reads < 10 && numbers.empty(); ++reads) {
        numbers = numbers_of(input.read_next());
    }
    EXPECT_EQ(numbers, (std::vector<std::uint32_t>{1, 2, 3}));
}

TEST(DumpInputTest, AFollowedFileEndsWithAnInterruptionBeforeItHasBeenRead) {
    const TemporaryFolder folder;
    DumpInput input(open_stream(folder.file("dump", numbered_reports(5000))), {.follow = Follow::Descriptor});
    ASSERT_TRUE(input.read_next());
    EXPECT_FALSE(input.is_cut_short());

    std::raise(SIGTERM);

    EXPECT_FALSE(input.read_next());
    EXPECT_TRUE(input.is_cut_short());
}

TEST(DumpInputTest, AFileWhoseSizeTheSystemDoesNotKnowHasNoKnownEnd) {
    const TemporaryFolder folder;

    EXPECT_FALSE(DumpInput(open_stream("/proc/self/auxv"), {}).has_known_end());
    EXPECT_TRUE(DumpInput(open_stream(folder.file("empty", "")), {}).has_known_end());
}

TEST(DumpInputTest, ATruncatedFileIsAnErrorWhileItIsFollowed) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", numbered_reports(2));
    DumpInput input(open_stream(file), {.follow = Follow::Descriptor});
    input.read_next();

    std::filesystem::resize_file(file, 50);

    try {
        input.read_next();
        FAIL() << "nothing was thrown";
    } catch (const host::Error &error) {
        EXPECT_EQ(std::string(error.what()), file + ": byte 50: the file was truncated while it was being followed");
    }
}

/** The message of the error that the rest of the input ends with, behind `rest` more reports. */
std::string error_after(DumpInput &input, std::size_t rest) {
    try {
        std::size_t count = 0;
        while (const std::optional<ReportPiece> piece = input.read_next()) {
            count += piece->count();
            EXPECT_LE(count, rest);
        }
    } catch (const host::Error &error) {
        return error.what();
    }
    return "";
}

TEST(DumpInputTest, APieceWhoseBytesWereCutOffIsReadAgain) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", numbered_reports(4000));
    DumpInput input(open_stream(file), {});
    ASSERT_TRUE(input.read_next());
    EXPECT_TRUE(input.keeps_last_piece());
    const std::optional<ReportPiece> second = input.read_next();
    ASSERT_TRUE(second);
    ASSERT_EQ(second->offset, 1365u * 48);

    std::filesystem::resize_file(file, 1600 * 48 + 5);

    EXPECT_EQ(second->report(1300).sequence_num(), 0u) << "no crash";
    EXPECT_FALSE(input.keeps_last_piece());
    const std::optional<ReportPiece> again = input.read_next();
    ASSERT_TRUE(again);
    EXPECT_EQ(again->offset, 1365u * 48);
    EXPECT_EQ(again->count(), 235u);
    EXPECT_EQ(again->report(234).sequence_num(), 1600u);
    EXPECT_TRUE(input.keeps_last_piece());
    EXPECT_EQ(error_after(input, 0), file + ": byte 76805: the file was truncated while it was being read");
}

TEST(DumpInputTest, AFileThatIsCutBetweenPiecesIsAnError) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", numbered_reports(3) + "1234");
    DumpInput input(open_stream(file), {});
    ASSERT_TRUE(input.read_next());
    ASSERT_TRUE(input.keeps_last_piece());

    std::filesystem::resize_file(file, 145);

    EXPECT_EQ(error_after(input, 0), file + ": byte 145: the file was truncated while it was being read");
}

TEST(DumpInputTest, WhatAFileGetsWhileItIsReadIsReadToo) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", numbered_reports(3) + numbered_reports(1).substr(0, 10));
    DumpInput input(open_stream(file), {});
    ASSERT_EQ(numbers_of(input.read_next()), (std::vector<std::uint32_t>{1, 2, 3}));

    folder.file("dump", numbered_reports(3) + numbered_reports(1));

    EXPECT_TRUE(input.keeps_last_piece());
    EXPECT_EQ(numbers_of(input.read_next()), std::vector<std::uint32_t>{1});
    EXPECT_FALSE(input.read_next());
}

TEST(DumpInputTest, AMissingFileIsAnError) {
    try {
        const DumpInput input(open_stream("/nowhere/dump"), {});
        FAIL() << "nothing was thrown";
    } catch (const host::Error &error) {
        EXPECT_STREQ(error.what(), "/nowhere/dump: No such file or directory");
    }
}

} // namespace
