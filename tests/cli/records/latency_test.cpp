#include <cstdint>
#include <string>

#include <gmock/gmock.h>

#include "cli/records/latency.h"
#include "tests/cli/records/known_payloads.h"

using cli_tests::array;
using cli_tests::Dictionary;
using cli_tests::OwnedValue;
using cli_tests::press_statistics;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string show(const OwnedValue &payload, const cli::TextStyle &style = {}) {
    return cli::latency_text(payload.get(), style).value_or("(another shape)");
}

OwnedValue statistics_of(Dictionary &press) { return Dictionary().with("last button press", press).take(); }

OwnedValue latency_of(Dictionary &latency) { return Dictionary().with("latency", latency).take(); }

/** The rest of the line that contains `name`, from the name on. */
std::string line_of(const std::string &text, const std::string &name) {
    const std::size_t begin = text.find(name);
    return begin == std::string::npos ? "(none)" : text.substr(begin, text.find('\n', begin) - begin);
}

TEST(LatencyTextTest, ShowsATimeLineToScale) {
    Dictionary press;
    press.with("finger on ts", 1000).with("start haptic ts", 1050).with("finger off ts", 1100);

    // The track takes the rest of 51 columns: 21 characters, one for every 5 ticks.
    EXPECT_EQ(show(statistics_of(press), {false, false, 51}),
              "last button press\n"
              "\n"
              "  time line, in ticks: time stamp, offset from the earliest\n"
              "  finger on     1000    +0  |*                    |\n"
              "  start haptic  1050   +50  |          *          |\n"
              "  finger off    1100  +100  |                    *|\n");
}

TEST(LatencyTextTest, OrdersByTimeStamp) {
    Dictionary press;
    Dictionary click;
    click.with("button down ts", 30).with("button up ts", 20).with("play asset ts", 25);
    press.with("finger on ts", 40).with("click 2", click).with("finger off ts", 20);

    const std::string text = show(statistics_of(press));

    // Equal stamps keep the order of the press.
    EXPECT_LT(text.find("click 2 up"), text.find("finger off"));
    EXPECT_LT(text.find("finger off"), text.find("click 2 play asset"));
    EXPECT_LT(text.find("click 2 play asset"), text.find("click 2 down"));
    EXPECT_LT(text.find("click 2 down"), text.find("finger on"));
    EXPECT_THAT(line_of(text, "finger on"), HasSubstr("40  +20  |"));
}

TEST(LatencyTextTest, NoLineIsWiderThanTheTerminal) {
    for (const std::size_t columns : {72u, 80u, 200u}) {
        const std::string text = show(press_statistics().take(), {false, false, columns});
        std::size_t widest = 0;
        for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
            widest = std::max(widest, text.find('\n', at) - at);
        }
        EXPECT_EQ(widest, columns);
    }
}

TEST(LatencyTextTest, ANarrowTerminalStillGetsATrack) {
    Dictionary press;
    press.with("finger on ts", 1).with("finger off ts", 2);

    const std::string text = show(statistics_of(press), {false, false, 1});

    EXPECT_THAT(text, HasSubstr("  finger on   1  +0  |*         |\n"));
    EXPECT_THAT(text, HasSubstr("  finger off  2  +1  |         *|\n"));
}

TEST(LatencyTextTest, StampsOfZeroAreListedAsAbsent) {
    Dictionary press;
    Dictionary click;
    click.with("button down ts", 7).with("button up ts", 0).with("play asset ts", 0);
    press.with("finger on ts", 0).with("click 1", click);

    EXPECT_THAT(show(statistics_of(press)), HasSubstr("|\n  no time stamp (0): finger on, click 1 up, click 1 play "
                                                      "asset\n"));
}

TEST(LatencyTextTest, APressWithoutStampsHasAnEmptyTimeLine) {
    Dictionary press;
    press.with("finger on ts", 0);

    EXPECT_EQ(show(statistics_of(press)), "last button press\n"
                                          "\n"
                                          "  time line, in ticks: time stamp, offset from the earliest\n"
                                          "  no time stamp (0): finger on\n");
}

TEST(LatencyTextTest, StampsAreUnsignedCounts) {
    Dictionary press;
    press.with("finger on ts", 1).with("second scan ts", INT64_MIN).with("finger off ts", -1);

    const std::string text = show(statistics_of(press));

    EXPECT_THAT(line_of(text, "finger on"), HasSubstr(" 1  ")) << "the earliest";
    EXPECT_THAT(line_of(text, "second scan"), HasSubstr("9223372036854775808   +9223372036854775807  |"));
    EXPECT_THAT(line_of(text, "finger off"), HasSubstr("18446744073709551615  +18446744073709551614  |"));
    EXPECT_THAT(line_of(text, "finger off"), HasSubstr("*|"));
}

TEST(LatencyTextTest, CountsAreUnsigned) {
    Dictionary press;
    press.with("click count", 3).with("turtle scans", -1);

    EXPECT_THAT(show(statistics_of(press)), HasSubstr("  click count: 3, turtle scans: 4294967295\n"));
}

TEST(LatencyTextTest, LatenciesOfThePressStandBelow) {
    Dictionary press;
    Dictionary click;
    click.with("button down to play asset", 310).with("button up to play asset", -2);
    press.with("finger detect to button down", 19000).with("click 3", click);

    EXPECT_THAT(show(statistics_of(press)), HasSubstr("\n"
                                                      "  latencies, in ticks\n"
                                                      "  finger detect to button down                      19000\n"
                                                      "  click 3 button down to play asset                   310\n"
                                                      "  click 3 button up to play asset    18446744073709551614\n"));
}

TEST(LatencyTextTest, BarsShareOneScale) {
    Dictionary latency;
    latency.with("min_nz_latency_FD_to_BD", 50).with("max_latency_FD_to_BD", 100);
    latency.with("min_nz_latency_BC_to_PlayAsset", 0).with("max_latency_BC_to_PlayAsset", 20);
    latency.with("min_latency_Total", 60).with("max_latency_Total", 200);

    // 21 characters for 0 to 200: one for every 10 ticks.
    EXPECT_EQ(show(latency_of(latency), {false, false, 68}),
              "latency, minimum to maximum, in ticks\n"
              "  finger detect to button down  50  to  100  |     ======          |\n"
              "  button click to play asset     0  to   20  |===                  |\n"
              "  total                         60  to  200  |      ===============|\n");
}

TEST(LatencyTextTest, AMinimumAboveItsMaximumHasNoBarAndNoPartInTheScale) {
    Dictionary latency;
    latency.with("min_nz_latency_FD_to_BD", -1).with("max_latency_FD_to_BD", 0);
    latency.with("min_latency_Total", 0).with("max_latency_Total", 5);

    const std::string text = show(latency_of(latency));

    EXPECT_THAT(text, HasSubstr("18446744073709551615  to  0  (the minimum is above the maximum)\n"));
    EXPECT_THAT(line_of(text, "total"), HasSubstr("0  to  5  |="));
    EXPECT_THAT(line_of(text, "total"), HasSubstr("=|"));
}

TEST(LatencyTextTest, AMaximumOfZeroHasNoBar) {
    Dictionary latency;
    latency.with("min_latency_Total", 0).with("max_latency_Total", 0);

    EXPECT_THAT(show(latency_of(latency)), Not(HasSubstr("=")));
}

TEST(LatencyTextTest, WhatIsMissingIsLeftOut) {
    Dictionary empty_press;
    Dictionary empty_latency;

    EXPECT_EQ(show(latency_of(empty_latency)), "latency, minimum to maximum, in ticks\n");
    EXPECT_THAT(show(statistics_of(empty_press)), Not(HasSubstr("click")));
}

TEST(LatencyTextTest, UnknownEntriesComeLast) {
    Dictionary click;
    click.with("button down ts", "soon").with("button up ts", 5);
    Dictionary press;
    press.with("click count", INT64_MAX).with("click 1", click).with("click 2", 2).with("new", true);
    Dictionary latency;
    latency.with("min_latency_Total", 7).with("max_latency_Total", "high");
    const OwnedValue payload =
        Dictionary().with("last button press", press).with("latency", latency).with("other", 1).take();

    EXPECT_EQ(show(payload), "last button press\n"
                             "\n"
                             "  time line, in ticks: time stamp, offset from the earliest\n"
                             "  click 1 up  5  +0  |*" +
                                 std::string(56, ' ') +
                                 "|\n"
                                 "\n"
                                 "  click 2:     2\n"
                                 "  click count: 9223372036854775807\n"
                                 "  new:         1\n"
                                 "  click 1:\n"
                                 "    button down ts: soon\n"
                                 "\n"
                                 "latency, minimum to maximum, in ticks\n"
                                 "  max_latency_Total: high\n"
                                 "  min_latency_Total: 7\n"
                                 "other: 1\n");
}

TEST(LatencyTextTest, TextsOfOthersAreEscapedForATerminal) {
    Dictionary press;
    press.with("k\x1b", "v\x1b");

    EXPECT_THAT(show(statistics_of(press), {true, false}), HasSubstr("  k\\x1b: v\\x1b\n"));
}

TEST(LatencyTextTest, APayloadWithoutEitherPartIsAnotherShape) {
    EXPECT_EQ(cli::latency_text(nullptr, {}), std::nullopt);
    EXPECT_EQ(cli::latency_text(array().get(), {}), std::nullopt);
    EXPECT_EQ(cli::latency_text(Dictionary().with("latency", 5).take().get(), {}), std::nullopt);
    EXPECT_EQ(cli::latency_text(Dictionary().with("last button press", array()).take().get(), {}), std::nullopt);
}

} // namespace
