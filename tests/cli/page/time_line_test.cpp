/** What a page keeps of recordings: columns, slices, and what is left out when there is much. */
#include "cli/page/time_line.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <zlib.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

using Reports = std::vector<_QorProfileReport>;

constexpr std::uint32_t kUartEvent = 0x06'00'00'03;
constexpr std::uint32_t kAccelData = 0x02'00'02'03;
constexpr std::uint32_t kFunction = 0x00'01'00'05;

_QorProfileReport report(std::uint32_t header, std::uint32_t number, std::uint64_t time,
                         const std::vector<std::uint32_t> &words = {}) {
    _QorProfileReport made{};
    qor::store_little_endian(made.bytes, header, 4);
    qor::store_little_endian(made.bytes + 4, number, 4);
    qor::store_little_endian(made.bytes + 8, time, 8);
    for (std::size_t i = 0; i < words.size(); ++i) {
        qor::store_little_endian(made.bytes + 16 + 4 * i, words[i], 4);
    }
    return made;
}

_QorProfileReport function(std::uint32_t number, std::uint64_t time, std::uint32_t thread, std::uint32_t duration) {
    return report(kFunction, number, time, {77, 0, thread, duration});
}

std::string unpacked(const std::string &bytes) {
    std::string out(std::size_t{1} << 24, '\0');
    uLongf size = out.size();
    EXPECT_EQ(uncompress(static_cast<Bytef *>(static_cast<void *>(out.data())), &size,
                         static_cast<const Bytef *>(static_cast<const void *>(bytes.data())), bytes.size()),
              Z_OK);
    out.resize(size);
    return out;
}

/** The blocks of the page of these recordings, packed. */
std::map<std::string, std::string> blocks_of(const std::vector<Reports> &recordings, cli::TimeLineLimits limits) {
    const cli::OwnerNames names;
    cli::TimeLine time_line(names, limits);
    for (const Reports &reports : recordings) {
        time_line.begin({.kind = cli::RecordingKind::Dump,
                         .device = "phone",
                         .file = "phone.bin",
                         .name = "phone.bin",
                         .argument = "phone.bin",
                         .has_reports = true,
                         .taken = 0,
                         .size = 0,
                         .kept = nullptr});
        // In pieces, as inputs give them.
        for (std::size_t begin = 0; begin < reports.size(); begin += 100) {
            cli::ReportPiece piece;
            piece.reports = std::span(reports).subspan(begin, std::min<std::size_t>(100, reports.size() - begin));
            time_line.add(piece);
        }
        time_line.end({});
    }
    cli::Page page;
    time_line.finish(page);
    std::map<std::string, std::string> blocks;
    for (const cli::PageBlock &block : page.blocks) {
        blocks[block.name] = block.bytes;
    }
    return blocks;
}

json facts_of(const std::map<std::string, std::string> &blocks, std::size_t number = 0) {
    return json::parse(unpacked(blocks.at("time-line-" + std::to_string(number) + "-facts")));
}

json facts_of(const Reports &reports) { return facts_of(blocks_of({reports}, {})); }

Reports steady(std::size_t count) {
    Reports reports;
    for (std::uint32_t i = 0; i < count; ++i) {
        reports.push_back(report(kUartEvent, i, 1000 + 10 * std::uint64_t{i}, {i}));
    }
    return reports;
}

TEST(TimeLineTest, KeepsEveryReportWhileTheyAreFew) {
    const json facts = facts_of(steady(100));
    EXPECT_EQ(facts["reports"], 100);
    EXPECT_EQ(facts["kept"], 100);
    EXPECT_EQ(facts["stride"], 1);
    EXPECT_EQ(facts["length"], 990);
    EXPECT_EQ(facts["kinds"][0]["payloads"], 100);
    EXPECT_EQ(facts["kinds"][0]["component"], "uart0");
}

TEST(TimeLineTest, KeepsEverySecondPowerOfTwoBeyondItsLimit) {
    const auto blocks = blocks_of({steady(1000), steady(300)}, {.reports = 100});
    const json first = facts_of(blocks, 0);
    const json second = facts_of(blocks, 1);
    EXPECT_EQ(first["reports"], 1000);
    EXPECT_EQ(first["stride"], 16);
    EXPECT_EQ(first["kept"], 63); // 0, 16, 32 up to 992
    EXPECT_EQ(second["reports"], 300);
    EXPECT_EQ(second["kept"], 19);
    EXPECT_EQ(first["length"], 9990) << "of all reports, not of those that are kept";
    // Distances of 160 microseconds, a kind, numbers and indexes as expected.
    const std::string columns = unpacked(blocks.at("time-line-0-reports"));
    std::string expected(1, '\0');
    for (int i = 1; i < 63; ++i) {
        expected += "\xA0\x01";
    }
    expected += std::string(63 + 2 * 63, '\0');
    EXPECT_EQ(columns, expected);
}

TEST(TimeLineTest, ItsBlocksStayWithinTheirLimitWhateverTheReports) {
    std::mt19937_64 random(7); // NOLINT(cert-msc51-cpp): the same reports on every run
    Reports reports(5'000);
    for (_QorProfileReport &one : reports) {
        for (std::uint8_t &byte : one.bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
    }
    constexpr std::size_t kLimit = 80'000;
    const auto blocks = blocks_of({reports}, {.packed_bytes = kLimit});
    std::size_t size = 0;
    for (const auto &[name, bytes] : blocks) {
        size += name == "time-line-layouts" ? 0 : bytes.size();
    }
    EXPECT_LE(size, kLimit);
    EXPECT_GT(size, kLimit / 3);
    EXPECT_GT(facts_of(blocks)["stride"], 1);
}

TEST(TimeLineTest, KindsBeyondTheLimitShareOne) {
    Reports reports;
    for (std::uint32_t i = 0; i < 5000; ++i) {
        reports.push_back(report(0x20'00'00'03 + i * 256, i, i));
    }
    const json facts = facts_of(reports);
    ASSERT_EQ(facts["kinds"].size(), 4096u);
    EXPECT_EQ(facts["kinds"][4094]["others"], false);
    EXPECT_EQ(facts["kinds"][4095]["others"], true);
    EXPECT_EQ(facts["kinds"][4095]["payloads"], 0);
}

TEST(TimeLineTest, RarePayloadsAreKeptWhole) {
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same reports on every run
    Reports reports;
    for (std::uint32_t i = 0; i < 20'000; ++i) {
        const auto word = [&random] { return static_cast<std::uint32_t>(random()); };
        reports.push_back(report(i % 1000 == 0 ? kUartEvent : kAccelData, i, 10 * std::uint64_t{i},
                                 {word(), word(), word(), word(), word(), word(), word(), word()}));
    }
    const auto blocks = blocks_of({reports}, {.packed_bytes = 200'000});
    const json facts = facts_of(blocks);
    ASSERT_EQ(facts["kinds"].size(), 2u);
    EXPECT_EQ(facts["kinds"][0]["payloads"], 20);
    EXPECT_LT(facts["kinds"][1]["payloads"], 10'000);
    EXPECT_GT(facts["kinds"][1]["payloads"], 1'000);
    EXPECT_EQ(facts["overviews"], json::array({1}));
    EXPECT_EQ(unpacked(blocks.at("time-line-0-overviews")).size(), 6u * 2 * 512 * 4);
    EXPECT_EQ(unpacked(blocks.at("time-line-0-payloads")).size(),
              32 * (20 + facts["kinds"][1]["payloads"].get<std::size_t>()));
}

TEST(TimeLineTest, OverviewsHaveTheLeastAndTheGreatestOfEveryPartOfTheAxis) {
    constexpr std::uint32_t kCount = 5'000;
    const auto value = [](std::uint32_t i) { return static_cast<std::int32_t>(i * 7919 % 20'000) - 10'000; };
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same reports on every run
    const auto word = [&random] { return static_cast<std::uint32_t>(random()); };
    Reports reports;
    for (std::uint32_t i = 0; i < kCount; ++i) {
        const auto first = static_cast<std::uint32_t>(value(i)); // the other words make payloads too large to be kept
        reports.push_back(report(kAccelData, i, 10 * std::uint64_t{i},
                                 {first, word(), word(), word(), word(), word(), word(), word()}));
    }
    std::vector<float> least(512, 1e9F);
    std::vector<float> greatest(512, -1e9F);
    for (std::uint32_t i = 0; i < kCount; ++i) {
        const std::size_t bucket = std::size_t{10} * i * 512 / (10 * (kCount - 1) + 1);
        least[bucket] = std::min(least[bucket], static_cast<float>(value(i)));
        greatest[bucket] = std::max(greatest[bucket], static_cast<float>(value(i)));
    }
    const std::string overviews = unpacked(blocks_of({reports}, {.packed_bytes = 80'000}).at("time-line-0-overviews"));
    ASSERT_EQ(overviews.size(), 6u * 2 * 512 * 4);
    std::vector<float> drawn(2 * std::size_t{512});
    std::memcpy(drawn.data(), overviews.data(), drawn.size() * sizeof(float));
    least.insert(least.end(), greatest.begin(), greatest.end());
    EXPECT_EQ(drawn, least);
}

TEST(TimeLineTest, StretchesBetweenRestartsFollowOneAnother) {
    const json facts = facts_of({report(kUartEvent, 50'000, 900'000), report(kUartEvent, 50'002, 901'000),
                                 report(kUartEvent, 1, 100), report(kUartEvent, 2, 700)});
    ASSERT_EQ(facts["stretches"].size(), 2u);
    EXPECT_EQ(facts["stretches"][0]["axis"], 0);
    EXPECT_EQ(facts["stretches"][0]["time"], "900000");
    EXPECT_EQ(facts["stretches"][1]["axis"], 1000);
    EXPECT_EQ(facts["stretches"][1]["time"], "100");
    EXPECT_EQ(facts["length"], 1600);
    ASSERT_EQ(facts["breaks"].size(), 2u);
    EXPECT_EQ(facts["breaks"][0]["missing"], 1);
    EXPECT_EQ(facts["breaks"][0]["begin"], 0);
    EXPECT_EQ(facts["breaks"][0]["end"], 1000);
    EXPECT_EQ(facts["breaks"][1]["restart"], true);
}

TEST(TimeLineTest, RecordingsShareTheBreaksThatAreKept) {
    // Every second report begins a stretch.
    Reports reports;
    for (std::uint32_t i = 0; i < 100; ++i) {
        reports.push_back(report(kUartEvent, 900 >> i % 2 * 2, 1'000 + i - i % 2 * 500));
    }
    const auto blocks = blocks_of({reports, reports, reports, reports}, {.breaks = 40});
    for (std::size_t number = 0; number < 4; ++number) {
        const json facts = facts_of(blocks, number);
        EXPECT_EQ(facts["break_count"], 99);
        EXPECT_EQ(facts["breaks"].size(), 10u);
        ASSERT_EQ(facts["stretches"].size(), 10u);
        // The last one goes on to the end of the recording.
        EXPECT_EQ(facts["stretches"][9]["time"], "517");
        EXPECT_EQ(facts["length"], facts["stretches"][9]["axis"].get<int>() + 1'098 - 517);
        EXPECT_EQ(facts["kept"], 100);
    }
    EXPECT_EQ(facts_of(blocks_of({reports}, {.breaks = 1}))["stretches"].size(), 1u);
}

TEST(TimeLineTest, OneReportOfEachRecordingIsKeptBeyondAnyLimit) {
    const auto blocks = blocks_of(std::vector<Reports>(100, steady(3)), {.reports = 10});
    EXPECT_EQ(facts_of(blocks, 99)["kept"], 1);
    EXPECT_EQ(facts_of(blocks, 99)["stride"], 4);
}

TEST(TimeLineTest, SlicesLieAsDeepAsFunctionsCallOneAnother) {
    // Two calls within a third one, and another thread.
    const auto blocks =
        blocks_of({{report(kUartEvent, 0, 1'000), function(1, 3'000, 9, 500), function(2, 4'000, 9, 500),
                    function(3, 5'000, 9, 3'000), function(4, 6'000, 8, 100)}},
                  {});
    const json facts = facts_of(blocks);
    EXPECT_EQ(facts["functions"], (json{"another function", "function 77"}));
    ASSERT_EQ(facts["threads"].size(), 3u);
    EXPECT_EQ(facts["threads"][0], (json{{"name", "other threads"}, {"rows", json::array()}}));
    EXPECT_EQ(facts["threads"][1], (json{{"name", "thread 9"}, {"rows", {1, 2}}}));
    EXPECT_EQ(facts["threads"][2], (json{{"name", "thread 8"}, {"rows", {1}}}));
    // By row: the distances of places (twice, since they have signs), lengths of 3000, 500, 500 and 100, functions,
    // ends.
    EXPECT_EQ(unpacked(blocks.at("time-line-0-slices")), std::string("\x06\x03\x02\x04"
                                                                     "\xB8\x17\xF4\x03\xF4\x03\x64"
                                                                     "\x01\x01\x01\x01"
                                                                     "\0\0\0\0",
                                                                     19));
}

TEST(TimeLineTest, ASliceThatBeginsWhereAnotherEndsLiesBesideIt) {
    const json facts = facts_of({report(kUartEvent, 0, 1'000), function(1, 2'000, 9, 500), function(2, 2'500, 9, 500)});
    EXPECT_EQ(facts["threads"][1]["rows"], json{2});
}

TEST(TimeLineTest, ThreadsBeyondTheMostFrequentOnesShareATrack) {
    Reports reports;
    for (std::uint32_t i = 0; i < 70; ++i) {
        reports.push_back(function(i, 100 * i, i, 10));
    }
    reports.push_back(function(70, 7'000, 69, 10));
    const json facts = facts_of(reports);
    ASSERT_EQ(facts["threads"].size(), 64u);
    EXPECT_EQ(facts["threads"][0]["rows"], json{7});
    EXPECT_EQ(facts["threads"][1]["name"], "thread 69");
    EXPECT_EQ(facts["threads"][63]["name"], "thread 61");
}

TEST(TimeLineTest, TheButtonHasCurvesOfItsStateItsProgressAndItsForce) {
    const json facts = facts_of({report(0x07'00'02'02, 1, 10)});
    EXPECT_EQ(facts["kinds"][0]["draws"], "button");
    // buttonState, fingerDetect, stage, stageProgress and force of the layout.
    EXPECT_EQ(facts["kinds"][0]["curves"], (json{1, 2, 7, 8, 9}));
}

TEST(TimeLineTest, WithoutReportsThereIsNothingToDraw) {
    const json facts = facts_of(Reports{});
    EXPECT_EQ(facts["reports"], 0);
    EXPECT_EQ(facts["stretches"].size(), 0u);
}

} // namespace
