/** Which reports a source gives when times are measured from its input, and with those around each. */
#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "cli/arguments/wrong_use.h"
#include "cli/dumps/input.h"
#include "cli/reports/source.h"
#include "host/error.h"
#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/reports/dumps.h"

using cli::AfterFirstReport;
using cli::BeforeLastReport;
using cli::FirmwareTime;
using cli::ReportSource;
using cli::Selection;
using cli::SequenceNumber;
using cli_tests::as_report;
using cli_tests::DumpPipe;
using cli_tests::kAccelData;
using cli_tests::kGyroData;
using cli_tests::numbered_reports;
using cli_tests::report;
using cli_tests::SelectedDump;
using cli_tests::TemporaryFolder;

namespace {

/** What a source gives: sequence numbers, and the places among them that separators are in front of. */
struct Given {
    std::vector<std::uint32_t> numbers;
    std::vector<std::size_t> separators;

    friend bool operator==(const Given &a, const Given &b) {
        return a.numbers == b.numbers && a.separators == b.separators;
    }
};

Given read_all(ReportSource &source) {
    Given given;
    for (cli::ReportBlock block; source.next(block);) {
        EXPECT_LE(block.size(), ReportSource::kBlockReports);
        for (const std::size_t separator : block.separators) {
            given.separators.push_back(given.numbers.size() + separator);
        }
        for (const _QorProfileReport &report : block.reports) {
            given.numbers.push_back(report.sequence_num());
        }
    }
    return given;
}

Given read_file(const std::string &dump, const Selection &selection) {
    const TemporaryFolder folder;
    SelectedDump source(folder.file("dump", dump), selection);
    return read_all(source);
}

/** @param dump  at most 64 KiB. */
Given read_pipe(const std::string &dump, const Selection &selection) {
    DumpPipe pipe(dump);
    pipe.close_writer();
    SelectedDump source(pipe.name(), selection);
    return read_all(source);
}

/** The sequence numbers that both a file and a pipe give. */
std::vector<std::uint32_t> numbers_of(const std::string &dump, const Selection &selection) {
    const Given of_file = read_file(dump, selection);
    EXPECT_EQ(read_pipe(dump, selection).numbers, of_file.numbers);
    return of_file.numbers;
}

/** Numbered from 1 on; those that are hits are of the gyroscope. */
std::string dump_of(const std::vector<bool> &is_hit) {
    std::string dump;
    for (std::uint32_t i = 0; i < is_hit.size(); ++i) {
        dump += report(is_hit[i] ? kGyroData : kAccelData, i + 1, 100 * std::uint64_t{i + 1});
    }
    return dump;
}

Selection gyro() {
    Selection selection;
    selection.filter.components = {"gyro"};
    return selection;
}

/** The numbers around any of the hits, and the places where one does not follow the one before it. */
Given expect_around(const std::vector<std::uint32_t> &hits, std::uint32_t context, std::size_t count) {
    Given given;
    for (std::uint32_t number = 1; number <= count; ++number) {
        const bool is_shown = std::any_of(hits.begin(), hits.end(), [&](std::uint32_t hit) {
            return std::max(hit, number) - std::min(hit, number) <= context;
        });
        if (is_shown && !given.numbers.empty() && given.numbers.back() + 1 != number) {
            given.separators.push_back(given.numbers.size());
        }
        if (is_shown) {
            given.numbers.push_back(number);
        }
    }
    return given;
}

std::vector<std::uint32_t> hits_in(const std::vector<bool> &is_hit) {
    std::vector<std::uint32_t> hits;
    for (std::uint32_t i = 0; i < is_hit.size(); ++i) {
        if (is_hit[i]) {
            hits.push_back(i + 1);
        }
    }
    return hits;
}

RC_GTEST_PROP(ContextTest, OfEachHitIsGivenInGroups, ()) {
    const auto roll = rc::gen::inRange(0, 6);
    const auto is_hit =
        *rc::gen::container<std::vector<bool>>(rc::gen::map(roll, [](int value) { return value == 0; }));
    const auto context = *rc::gen::inRange<std::uint32_t>(0, 9);
    const auto wanted = *rc::gen::inRange<std::size_t>(0, 5);
    const auto kind = *rc::gen::inRange(0, 3);
    std::vector<std::uint32_t> hits = hits_in(is_hit);
    Selection selection = gyro();
    selection.context = context;
    const auto count = static_cast<std::ptrdiff_t>(std::min(wanted, hits.size()));
    if (kind == 1) {
        selection.first = wanted;
        hits.erase(hits.begin() + count, hits.end());
    } else if (kind == 2) {
        selection.last = wanted;
        hits.erase(hits.begin(), hits.end() - count);
    }

    const Given expected = expect_around(hits, context, is_hit.size());

    RC_ASSERT(read_file(dump_of(is_hit), selection) == expected);
    RC_ASSERT(read_pipe(dump_of(is_hit), selection) == expected);
}

TEST(ContextTest, MayBeLongerThanABlock) {
    std::string dump = numbered_reports(6000);
    dump += report(kGyroData, 6001, 0) + numbered_reports(4000);
    Selection selection = gyro();
    selection.context = 3000;

    const Given given = read_file(dump, selection);

    ASSERT_EQ(given.numbers.size(), 6001u);
    EXPECT_EQ(given.numbers.front(), 3001u);
    EXPECT_EQ(given.numbers[3000], 6001u);
    EXPECT_EQ(given.numbers.back(), 3000u);
    EXPECT_EQ(given.separators, std::vector<std::size_t>{});
}

TEST(ContextTest, BehindTheLastOfTheFirstNothingIsRead) {
    Selection selection = gyro();
    selection.context = 1;
    selection.first = 1;
    // Its writer stays: another read would not return.
    DumpPipe pipe(dump_of({false, true, false, false}) + "123");
    SelectedDump source(pipe.name(), selection);

    EXPECT_EQ(read_all(source).numbers, (std::vector<std::uint32_t>{1, 2, 3}));
    EXPECT_FALSE(source.trailing_bytes());
}

TEST(ContextTest, IsGivenAsSoonAsItIsThere) {
    Selection selection = gyro();
    selection.context = 2;
    DumpPipe pipe(dump_of({false, true, false})); // its writer stays
    SelectedDump source(pipe.name(), selection);
    cli::ReportBlock block;

    ASSERT_TRUE(source.next(block));

    EXPECT_EQ(block.size(), 3u);
}

Selection around(const cli::Around &what, std::optional<std::uint64_t> context) {
    Selection selection;
    selection.around = what;
    selection.context = context;
    return selection;
}

TEST(AroundTest, TheNearestReportStandsInTheMiddle) {
    const std::string dump = numbered_reports(40);
    EXPECT_EQ(numbers_of(dump, around(SequenceNumber{20}, 1)), (std::vector<std::uint32_t>{19, 20, 21}));
    EXPECT_EQ(numbers_of(dump, around(SequenceNumber{20}, std::nullopt)).size(), 21u) << "ten on each side";
    EXPECT_EQ(numbers_of(dump, around(SequenceNumber{90}, 1)), (std::vector<std::uint32_t>{39, 40}));
    EXPECT_EQ(numbers_of(dump, around(SequenceNumber{4294967295}, 0)), std::vector<std::uint32_t>{1}) << "they wrap";
    EXPECT_EQ(numbers_of(dump, around(FirmwareTime{1949}, 0)), std::vector<std::uint32_t>{19});
    EXPECT_EQ(numbers_of(dump, around(FirmwareTime{1951}, 0)), std::vector<std::uint32_t>{20});
    EXPECT_EQ(numbers_of(dump, around(FirmwareTime{1950}, 0)), std::vector<std::uint32_t>{19}) << "the first of both";
    EXPECT_EQ(numbers_of(dump, around(AfterFirstReport{500}, 1)), (std::vector<std::uint32_t>{5, 6, 7}));
    EXPECT_EQ(read_file(dump, around(BeforeLastReport{500}, 0)).numbers, std::vector<std::uint32_t>{35});
}

TEST(AroundTest, IsTheNearestOfThoseThatPass) {
    Selection selection = around(SequenceNumber{5}, 1);
    selection.filter.components = {"gyro"};

    EXPECT_EQ(numbers_of(dump_of({false, true, false, false, false, false, true, false}), selection),
              (std::vector<std::uint32_t>{6, 7, 8}));
    EXPECT_EQ(numbers_of(dump_of({false, false}), selection), std::vector<std::uint32_t>{});
}

TEST(AroundTest, BehindTheReportItselfAndItsContextNothingIsRead) {
    DumpPipe pipe(numbered_reports(8)); // its writer stays
    SelectedDump source(pipe.name(), around(SequenceNumber{5}, 3));

    EXPECT_EQ(read_all(source).numbers, (std::vector<std::uint32_t>{2, 3, 4, 5, 6, 7, 8}));
}

Selection between(std::optional<cli::SaidTime> since, std::optional<cli::SaidTime> until) {
    Selection selection;
    selection.filter.since = since;
    selection.filter.until = until;
    return selection;
}

TEST(RelativeTimeTest, IsMeasuredFromTheFirstAndTheLastReport) {
    const std::string dump = numbered_reports(9);
    const auto all = numbers_of(dump, {});
    EXPECT_EQ(numbers_of(dump, between(AfterFirstReport{600}, {})), (std::vector<std::uint32_t>{7, 8, 9}));
    EXPECT_EQ(numbers_of(dump, between({}, AfterFirstReport{199})), (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(read_file(dump, between(BeforeLastReport{100}, {})).numbers, (std::vector<std::uint32_t>{8, 9}));
    EXPECT_EQ(read_file(dump, between(AfterFirstReport{200}, BeforeLastReport{400})).numbers,
              (std::vector<std::uint32_t>{3, 4, 5}));
    EXPECT_EQ(read_file(dump, between(BeforeLastReport{100'000}, {})).numbers, all) << "before all";
    EXPECT_EQ(numbers_of(dump, between({}, AfterFirstReport{~std::uint64_t{0}})), all) << "behind all";
}

TEST(RelativeTimeTest, BeyondTheClockThereIsNoReport) {
    const std::string dump =
        report(kAccelData, 1, 0) + report(kAccelData, 2, ~std::uint64_t{0}) + report(kAccelData, 3, 5);
    EXPECT_EQ(read_file(dump, between({}, BeforeLastReport{6})).numbers, std::vector<std::uint32_t>{});
    EXPECT_EQ(read_file(dump, between({}, BeforeLastReport{5})).numbers, std::vector<std::uint32_t>{1});
    const std::string late = report(kAccelData, 1, 2) + report(kAccelData, 2, ~std::uint64_t{0});
    EXPECT_EQ(numbers_of(late, between(AfterFirstReport{~std::uint64_t{0} - 2}, {})), std::vector<std::uint32_t>{2});
    EXPECT_EQ(numbers_of(late, between(AfterFirstReport{~std::uint64_t{0} - 1}, {})), std::vector<std::uint32_t>{});
}

TEST(RelativeTimeTest, LimitsTheLastAndTheStatistics) {
    Selection selection = between(AfterFirstReport{200}, AfterFirstReport{600});
    selection.last = 2;
    EXPECT_EQ(numbers_of(numbered_reports(9), selection), (std::vector<std::uint32_t>{6, 7}));

    DumpPipe pipe(numbered_reports(9));
    pipe.close_writer();
    SelectedDump source(pipe.name(), between(AfterFirstReport{700}, {}));
    cli::ReportBlock room;
    EXPECT_EQ(source.next_in_place(room).count(), 2u);
}

template <typename Read>
std::string error_of(const Read &read) {
    try {
        read();
    } catch (const host::Error &error) {
        return error.what();
    } catch (const cli::WrongUse &error) {
        return std::string("wrong use: ") + error.what();
    }
    return "";
}

TEST(RelativeTimeTest, FromTheEndOfAPackedFileReadsIt) {
    const Selection selection = between(BeforeLastReport{100}, {});
    const std::vector<std::uint32_t> kLastTwo = {2999, 3000};
    const std::string dump = numbered_reports(3000) + "123";
    EXPECT_EQ(read_file(cli_tests::gzip(dump), selection).numbers, kLastTwo);
    EXPECT_EQ(read_file(cli_tests::zstd(dump), selection).numbers, kLastTwo);
}

TEST(RelativeTimeTest, FromTheEndOfAPackedFileThatIsCutOffIsFromItsWholePart) {
    const std::string packed = cli_tests::gzip(numbered_reports(3000));
    const TemporaryFolder folder;
    SelectedDump source(folder.file("dump", packed.substr(0, packed.size() / 2)), between(BeforeLastReport{100}, {}));
    std::vector<std::uint32_t> numbers;

    const std::string error = error_of([&] {
        for (cli::ReportBlock block; source.next(block);) {
            for (const _QorProfileReport &report : block.reports) {
                numbers.push_back(report.sequence_num());
            }
        }
    });

    EXPECT_NE(error, "");
    ASSERT_EQ(numbers.size(), 2u);
    EXPECT_EQ(numbers[0] + 1, numbers[1]);
}

TEST(RelativeTimeTest, FromTheEndOfAPipeIsAnError) {
    DumpPipe pipe(numbered_reports(1));
    EXPECT_EQ(error_of([&] { SelectedDump(pipe.name(), between(BeforeLastReport{1}, {})); }),
              pipe.name() + ": a time from the end, such as -10m, needs a file: a pipe cannot be read backwards");
}

TEST(WallTimeChoiceTest, NeedsAClock) {
    Selection selection = between(cli::WallTime{1'000'000, 0}, cli::WallTime{3'000'000, 0});
    const std::string dump = numbered_reports(9);
    EXPECT_NE(error_of([&] { read_file(dump, selection); }).find("give --time-sync or --live"), std::string::npos);

    selection.sync = decoder::time_sync{500'000, 1'000'300'000}; // 500 us on the one, 1,000,300 us on the other

    EXPECT_EQ(numbers_of(dump, selection), (std::vector<std::uint32_t>{2, 3, 4, 5, 6, 7, 8, 9}));
    selection.filter.until = cli::WallTime{1'000'300, 0};
    EXPECT_EQ(numbers_of(dump, selection), (std::vector<std::uint32_t>{2, 3, 4, 5}));
    selection.last = 2;
    EXPECT_EQ(numbers_of(dump, selection), (std::vector<std::uint32_t>{4, 5}));
    selection.last.reset();
    selection.around = cli::SaidTime(cli::WallTime{1'000'249, 0});
    selection.context = 0;
    EXPECT_EQ(numbers_of(dump, selection), std::vector<std::uint32_t>{4}) << "1,000,200 is nearer than 1,000,300";
}

/** Nine reports at the same firmware time; the wall-clock time of each is its number, in microseconds. */
class ClockedInput : public cli::ReportInput {
public:
    ClockedInput() {
        for (std::uint32_t number = 1; number <= 9; ++number) {
            _reports.push_back(as_report(report(kAccelData, number, 700)));
            _clocks.push_back({decoder::time_sync{700'000, std::uint64_t{number} * 1000}, std::nullopt});
        }
    }
    void fail_after_lost_piece(std::uint64_t) override { throw host::Error(_name, "", "lost"); }
    bool is_read_in_place() const override { return false; }
    bool has_clocks() const override { return true; }
    bool can_be_read_backwards() const override { return true; }
    void start_at(std::uint64_t offset) override { _next = static_cast<std::size_t>(offset / 48); }
    void find_backwards(
        const std::function<bool(const _QorProfileReport &report, std::uint64_t offset)> &is_wanted) const override {
        for (std::size_t i = _reports.size(); i != 0 && !is_wanted(_reports[i - 1], (i - 1) * 48); --i) {
        }
    }
    std::uint64_t end_of_reports() const override { return _reports.size() * 48; }
    std::uint64_t size() const override { return 0; }
    std::uint64_t bytes_read() const override { return 0; }
    cli::TrailingBytes trailing_bytes() const override { return {0, 0}; }
    std::span<const std::byte> trailing_content() const override { return {}; }
    const std::string &name() const override { return _name; }

protected:
    std::optional<cli::ReportPiece> read_piece(std::size_t) override {
        if (_next == _reports.size()) {
            return std::nullopt;
        }
        const std::size_t first = std::exchange(_next, _reports.size());
        return cli::ReportPiece{first * 48, std::span(_reports).subspan(first), std::span(_clocks).subspan(first)};
    }

private:
    std::string _name = "clocked";
    std::vector<_QorProfileReport> _reports;
    std::vector<decoder::device_clock> _clocks;
    std::size_t _next = 0;
};

/** The numbers that are given, each with its own clock. */
std::vector<std::uint32_t> numbers_with_clocks(const Selection &selection) {
    cli::ReportSelector selector(selection);
    ReportSource source(std::make_unique<ClockedInput>(), selector, {.last = selection.last});
    std::vector<std::uint32_t> numbers;
    for (cli::ReportBlock block; source.next(block);) {
        EXPECT_EQ(block.clocks.size(), block.size());
        EXPECT_TRUE(block.separators.empty());
        for (std::size_t i = 0; i < block.clocks.size(); ++i) {
            numbers.push_back(block.reports[i].sequence_num());
            EXPECT_EQ(block.clocks[i].sync->calendar, 1000 * std::uint64_t{numbers.back()});
        }
    }
    return numbers;
}

TEST(WallTimeChoiceTest, EachReportKeepsTheClockThatItBrings) {
    EXPECT_EQ(numbers_with_clocks({}), (std::vector<std::uint32_t>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(WallTimeChoiceTest, MeasuresEachReportByTheClockThatItBrings) {
    Selection selection = between(cli::WallTime{3, 0}, cli::WallTime{6, 0});
    EXPECT_EQ(numbers_with_clocks(selection), (std::vector<std::uint32_t>{3, 4, 5, 6}));
    selection.last = 3;
    EXPECT_EQ(numbers_with_clocks(selection), (std::vector<std::uint32_t>{4, 5, 6}));
    EXPECT_EQ(numbers_with_clocks(around(cli::SaidTime(cli::WallTime{4, 0}), 1)),
              (std::vector<std::uint32_t>{3, 4, 5}));
}

TEST(ChoosingTest, WhatExcludesEachOtherIsWrongUse) {
    const auto refusal = [](const std::function<void(Selection & selection)> &choose) {
        Selection selection;
        choose(selection);
        return error_of([&] { const cli::ReportSelector selector(selection); });
    };
    const auto around_one = [](Selection &selection) { selection.around = SequenceNumber{1}; };

    EXPECT_EQ(refusal([&](Selection &selection) {
                  around_one(selection);
                  selection.first = 1;
              }),
              "wrong use: --around excludes --first");
    EXPECT_EQ(refusal([&](Selection &selection) {
                  around_one(selection);
                  selection.last = 1;
              }),
              "wrong use: --around excludes --last");
    EXPECT_EQ(refusal([&](Selection &selection) {
                  around_one(selection);
                  selection.follow = cli::Follow::Name;
              }),
              "wrong use: --around excludes --follow");
    EXPECT_EQ(refusal([](Selection &selection) {
                  selection.follow = cli::Follow::Descriptor;
                  selection.last = 1;
                  selection.context = 0;
              }),
              "wrong use: --follow excludes --last with --context");
    EXPECT_EQ(refusal([](Selection &selection) { selection.context = 100'001; }),
              "wrong use: invalid value \"100001\" for --context: expected at most 100000");
    EXPECT_EQ(refusal([](Selection &selection) {
                  selection.context = 1;
                  selection.last = 333'334;
              }),
              "wrong use: invalid value \"333334\" for --last: expected at most 333333 with that --context");
    EXPECT_EQ(refusal([](Selection &selection) {
                  selection.context = 100'000;
                  selection.last = 4;
              }),
              "");
}

} // namespace
