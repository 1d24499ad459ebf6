#include "cli/reports/stream.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "cli/arguments/wrong_use.h"
#include "cli/dumps/open_input.h"
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

cli::InputSequence inputs(const std::vector<std::string> &arguments) {
    return {arguments, std::nullopt, cli::wanted_by_decode()};
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
    ReportStream stream(inputs(arguments()), options);

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
    ReportStream stream(inputs(arguments()), options);

    EXPECT_EQ(read_all(stream), (std::vector<Given>{{0, 1, 48}, {0, 2, 144}, {1, 3, 48}, {1, 4, 144}}));
}

TEST_F(ThreeDumps, TheLastAreThoseOfAllTogether) {
    const std::vector<Given> all{{0, 1, 48},  {0, 2, 144}, {1, 3, 48}, {1, 4, 144},
                                 {1, 5, 240}, {2, 6, 48},  {2, 7, 144}};
    for (std::size_t count = 0; count <= 9; ++count) {
        renew_pipe();
        options.selection.last = count;
        ReportStream stream(inputs(arguments()), options);

        const std::size_t expected = std::min(count, all.size());
        EXPECT_EQ(read_all(stream), std::vector<Given>(all.end() - static_cast<std::ptrdiff_t>(expected), all.end()));
    }
}

TEST_F(ThreeDumps, AnObserverSeesWhatAFilterDropsBeforeABlockIsGiven) {
    ReportStream stream(inputs(arguments()), options);
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
    ReportStream stream(inputs(arguments()), options);

    EXPECT_FALSE(stream.observe([](const cli::ReportPiece &) { FAIL(); }));
    EXPECT_EQ(read_all(stream).size(), 3u);
}

TEST_F(ThreeDumps, AWatcherIsToldOfAllBytes) {
    ReportStream stream(inputs(arguments()), options);
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
    ReportStream stream(inputs({"/nowhere/a", good, "/nowhere/b", good, "/nowhere/c"}), {.with_offsets = true});

    EXPECT_EQ(read_all(stream), (std::vector<Given>{{0, 0, 0}, {0, 1, 48}, {1, 0, 0}, {1, 1, 48}}));
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
    ReportStream stream(inputs({good, "/nowhere/b", good}), options);

    EXPECT_EQ(read_all(stream), (std::vector<Given>{{0, 1, 48}, {1, 0, 0}, {1, 1, 48}}));
    EXPECT_TRUE(stream.has_failed());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "qorstat: /nowhere/b: No such file or directory\n");
}

TEST(ReportStreamTest, NoneThatCanBeReadHasNoReports) {
    testing::internal::CaptureStderr();
    ReportStream stream(inputs({"/nowhere/a"}), {.with_offsets = true});

    EXPECT_TRUE(read_all(stream).empty());
    EXPECT_FALSE(stream.has_opened_any());
    EXPECT_TRUE(stream.has_failed());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "qorstat: /nowhere/a: No such file or directory\n");
}

/** Reports with these numbers, each at ten times its number. */
std::string timed_reports(const std::vector<std::uint32_t> &numbers) {
    std::string dump;
    for (const std::uint32_t number : numbers) {
        dump += report(kAccelData, number, 10 * std::uint64_t{number});
    }
    return dump;
}

std::vector<std::uint32_t> merged_numbers(const std::vector<std::string> &files, cli::Selection selection = {}) {
    cli::StreamOptions options{.with_offsets = true, .merges_by_time = true};
    options.selection = std::move(selection);
    ReportStream stream(inputs(files), options);
    std::vector<std::uint32_t> numbers;
    for (const Given &given : read_all(stream)) {
        numbers.push_back(given.number);
    }
    EXPECT_FALSE(stream.has_failed());
    return numbers;
}

TEST(MergedStreamTest, ReportsComeInTheOrderOfTime) {
    const TemporaryFolder folder;
    const std::vector<std::string> files = {folder.file("a", timed_reports({1, 5, 6}) + "12"), folder.file("b", ""),
                                            folder.file("c", timed_reports({2, 3, 9, 4}))};
    cli::StreamOptions options{.with_offsets = true, .merges_by_time = true};
    ReportStream stream(inputs(files), options);

    // 4 comes late: each input keeps its order.
    EXPECT_EQ(read_all(stream),
              (std::vector<Given>{{0, 1, 0}, {2, 2, 0}, {2, 3, 48}, {0, 5, 48}, {0, 6, 96}, {2, 9, 96}, {2, 4, 144}}));
    ASSERT_EQ(stream.trailing().size(), 1u);
    EXPECT_EQ(stream.trailing()[0].input, 0u);
}

TEST(MergedStreamTest, FirstAndLastCountInTheOrderOfTime) {
    const TemporaryFolder folder;
    const std::vector<std::string> files = {folder.file("a", timed_reports({1, 4, 7})),
                                            folder.file("b", timed_reports({2, 5, 8})),
                                            folder.file("c", timed_reports({3, 6, 9}))};
    cli::Selection selection;
    selection.first = 4;
    EXPECT_EQ(merged_numbers(files, selection), (std::vector<std::uint32_t>{1, 2, 3, 4}));
    selection.first = 0;
    EXPECT_EQ(merged_numbers(files, selection), std::vector<std::uint32_t>{});
    selection.first.reset();
    selection.last = 4;
    EXPECT_EQ(merged_numbers(files, selection), (std::vector<std::uint32_t>{6, 7, 8, 9}));
    selection.filter.since = cli::FirmwareTime{30};
    selection.last = 100;
    EXPECT_EQ(merged_numbers(files, selection), (std::vector<std::uint32_t>{3, 4, 5, 6, 7, 8, 9}));
}

TEST(MergedStreamTest, ManyInputsNeedFewDescriptors) {
    const TemporaryFolder folder;
    constexpr std::uint32_t kFiles = 200;
    constexpr std::uint32_t kReports = 300; // more than are in memory of each
    std::vector<std::string> files;
    for (std::uint32_t file = 0; file < kFiles; ++file) {
        std::vector<std::uint32_t> numbers;
        for (std::uint32_t i = 0; i < kReports; ++i) {
            numbers.push_back(i * kFiles + file);
        }
        files.push_back(folder.file("dump" + std::to_string(file), timed_reports(numbers)));
    }
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    rlimit tight = former;
    tight.rlim_cur = cli::TimeMerge::kOpenAtMost + 40;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);

    const std::vector<std::uint32_t> numbers = merged_numbers(files);

    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &former), 0);
    ASSERT_EQ(numbers.size(), kFiles * kReports);
    for (std::uint32_t i = 0; i < numbers.size(); ++i) {
        ASSERT_EQ(numbers[i], i);
    }
}

TEST(MergedStreamTest, IsWatchedWhileItReads) {
    const TemporaryFolder folder;
    ReportStream stream(inputs({folder.file("a", timed_reports({1, 3})), folder.file("b", timed_reports({2}))}),
                        {.with_offsets = true, .merges_by_time = true});
    int reads = 0;
    stream.watch([&reads](std::uint64_t) { ++reads; });

    EXPECT_EQ(read_all(stream).size(), 3u);
    EXPECT_GE(reads, 4) << "the reports and the end of each";
}

TEST(MergedStreamTest, OneThatFailsDoesNotSilenceTheOthers) {
    const TemporaryFolder folder;
    const std::vector<std::string> files = {folder.file("a", timed_reports({1, 3})), "/nowhere/b",
                                            folder.file("c", timed_reports({2, 4}))};
    testing::internal::CaptureStderr();
    ReportStream stream(inputs(files), {.with_offsets = true, .merges_by_time = true});

    EXPECT_EQ(read_all(stream), (std::vector<Given>{{0, 1, 0}, {1, 2, 0}, {0, 3, 48}, {1, 4, 48}}));
    EXPECT_TRUE(stream.has_failed());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "qorstat: /nowhere/b: No such file or directory\n");
}

TEST(MergedStreamTest, AContextIsWrongUse) {
    cli::StreamOptions options{.merges_by_time = true};
    options.selection.context = 1;

    EXPECT_THROW(ReportStream(inputs({"/nowhere"}), options), cli::WrongUse);
}

} // namespace
