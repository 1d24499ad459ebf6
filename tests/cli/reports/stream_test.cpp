#include "cli/reports/stream.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/error.h"
#include "tests/cli/program.h"
#include "tests/cli/reports/dumps.h"

using cli::ReportBlock;
using cli::ReportStream;
using cli_tests::DumpPipe;
using cli_tests::kAccelData;
using cli_tests::kGyroData;
using cli_tests::report;
using cli_tests::TemporaryFolder;

namespace {

/** A report as a stream gives it: the number of its input, its sequence number and its offset. */
struct Given {
    std::size_t input;
    std::uint32_t number;
    std::uint64_t offset;

    bool operator==(const Given &) const = default;
};

void PrintTo(const Given &given, std::ostream *out) {
    *out << given.input << ": " << given.number << " at " << given.offset;
}

std::vector<Given> read_all(ReportStream &stream) {
    std::vector<Given> all;
    for (ReportBlock block; stream.next(block);) {
        EXPECT_EQ(block.offsets.size(), block.size());
        for (std::size_t i = 0; i < block.size(); ++i) {
            all.push_back({block.input_of(i), block.reports[i].sequence_num(), block.offsets[i]});
        }
    }
    return all;
}

/** Reports of the gyroscope with these numbers, each after one of the accelerometer. */
std::string gyro_reports(const std::vector<std::uint32_t> &numbers) {
    std::string dump;
    for (const std::uint32_t number : numbers) {
        dump += report(kAccelData, 0, 0) + report(kGyroData, number, 0);
    }
    return dump;
}

/** Three dumps, two in files and between them one in a pipe, of whose reports those of the gyroscope are selected. */
class ThreeDumps : public testing::Test {
protected:
    ThreeDumps() {
        renew_pipe();
        options.selection.filter.components = {"gyro"};
        options.with_offsets = true;
    }

    void renew_pipe() {
        pipe.emplace(gyro_reports({3, 4, 5}) + "12");
        pipe->close_writer();
    }

    std::vector<std::string> arguments() const {
        return {folder.file("a", gyro_reports({1, 2}) + "1"), pipe->name(), folder.file("c", gyro_reports({6, 7}))};
    }

    const TemporaryFolder folder;
    std::optional<DumpPipe> pipe;
    cli::StreamOptions options;
};

TEST_F(ThreeDumps, AreReadOneAfterTheOther) {
    ReportStream stream(arguments(), options);

    EXPECT_EQ(
        read_all(stream),
        (std::vector<Given>{{0, 1, 48}, {0, 2, 144}, {1, 3, 48}, {1, 4, 144}, {1, 5, 240}, {2, 6, 48}, {2, 7, 144}}));
    EXPECT_FALSE(stream.has_failed());
    ASSERT_EQ(stream.trailing().size(), 2u);
    EXPECT_EQ(stream.trailing()[0].input, 0u);
    EXPECT_EQ(stream.trailing()[1].input, 1u);
    EXPECT_EQ(stream.trailing()[1].bytes.offset, 288u);
    EXPECT_EQ(stream.trailing()[1].bytes.count, 2u);
}

TEST_F(ThreeDumps, TheFirstAreThoseOfAllTogether) {
    options.selection.first = 4;
    ReportStream stream(arguments(), options);

    EXPECT_EQ(read_all(stream), (std::vector<Given>{{0, 1, 48}, {0, 2, 144}, {1, 3, 48}, {1, 4, 144}}));
}

TEST_F(ThreeDumps, TheLastAreThoseOfAllTogether) {
    const std::vector<Given> all{{0, 1, 48},  {0, 2, 144}, {1, 3, 48}, {1, 4, 144},
                                 {1, 5, 240}, {2, 6, 48},  {2, 7, 144}};
    for (std::size_t count = 0; count <= 9; ++count) {
        renew_pipe();
        options.selection.last = count;
        ReportStream stream(arguments(), options);

        const std::size_t expected = std::min(count, all.size());
        EXPECT_EQ(read_all(stream), std::vector<Given>(all.end() - static_cast<std::ptrdiff_t>(expected), all.end()));
    }
}

TEST_F(ThreeDumps, AnObserverSeesWhatAFilterDropsBeforeABlockIsGiven) {
    ReportStream stream(arguments(), options);
    std::vector<Given> seen;
    ASSERT_TRUE(stream.observe([&](const cli::ReportPiece &piece) {
        for (std::size_t i = 0; i < piece.count(); ++i) {
            seen.push_back({piece.input, piece.report(i).sequence_num(), piece.offset_of(i)});
        }
    }));

    ReportBlock block;
    ASSERT_TRUE(stream.next(block));
    EXPECT_EQ(seen, (std::vector<Given>{{0, 0, 0}, {0, 1, 48}, {0, 0, 96}, {0, 2, 144}}));
    ASSERT_TRUE(stream.next(block));
    ASSERT_EQ(seen.size(), 10u);
    EXPECT_EQ(seen.back(), (Given{1, 5, 240}));
}

TEST_F(ThreeDumps, AnObserverIsRefusedByTheLastOfAPipeThatPassAFilter) {
    options.selection.last = 3;
    ReportStream stream(arguments(), options);

    EXPECT_FALSE(stream.observe([](const cli::ReportPiece &) { FAIL(); }));
    EXPECT_EQ(read_all(stream).size(), 3u);
}

TEST_F(ThreeDumps, AWatcherIsToldOfAllBytes) {
    ReportStream stream(arguments(), options);
    std::vector<std::uint64_t> progress;
    stream.watch([&](std::uint64_t bytes_read) { progress.push_back(bytes_read); });

    read_all(stream);

    EXPECT_EQ(progress.front(), 0u);
    EXPECT_EQ(progress.back(), 4u * 48 + 1 + 6 * 48 + 2 + 4 * 48);
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
}

TEST(ReportStreamTest, OneThatCannotBeReadDoesNotSilenceTheOthers) {
    const TemporaryFolder folder;
    const std::string good = folder.file("good", gyro_reports({1}));
    testing::internal::CaptureStderr();
    ReportStream stream({"/nowhere/a", good, "/nowhere/b", good, "/nowhere/c"}, {.with_offsets = true});

    EXPECT_EQ(read_all(stream), (std::vector<Given>{{1, 0, 0}, {1, 1, 48}, {3, 0, 0}, {3, 1, 48}}));
    EXPECT_TRUE(stream.has_failed());
    EXPECT_TRUE(stream.has_opened_any());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "qorstat: /nowhere/a: No such file or directory\n"
                                                      "qorstat: /nowhere/b: No such file or directory\n"
                                                      "qorstat: /nowhere/c: No such file or directory\n");
}

TEST(ReportStreamTest, OneThatCannotBeReadIsNamedOnceWithTheLast) {
    const TemporaryFolder folder;
    const std::string good = folder.file("good", gyro_reports({1}));
    cli::StreamOptions options{.with_offsets = true};
    options.selection.last = 3;
    testing::internal::CaptureStderr();
    ReportStream stream({good, "/nowhere/b", good}, options);

    EXPECT_EQ(read_all(stream), (std::vector<Given>{{0, 1, 48}, {2, 0, 0}, {2, 1, 48}}));
    EXPECT_TRUE(stream.has_failed());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "qorstat: /nowhere/b: No such file or directory\n");
}

TEST(ReportStreamTest, ASingleOneThatCannotBeReadIsAnError) {
    EXPECT_THROW(ReportStream({"/nowhere/a"}, {}), host::Error);
}

TEST(ReportStreamTest, NoneThatCanBeReadHasNoReports) {
    testing::internal::CaptureStderr();
    ReportStream stream({"/nowhere/a", "/nowhere/b"}, {.with_offsets = true});

    EXPECT_TRUE(read_all(stream).empty());
    EXPECT_FALSE(stream.has_opened_any());
    testing::internal::GetCapturedStderr();
}

} // namespace
