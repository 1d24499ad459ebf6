#include "cli/reports/brief.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "cli/dumps/owner_names.h"
#include "cli/terminal/display_width.h"
#include "decoder/remembered_second.h"
#include "host/device/toml_texts.h"
#include "tests/cli/reports.h"
#include "tests/cli/reports/generated_reports.h"
#include "tests/cli/reports/plain_forms.h"

namespace {

using cli_tests::as_report;
using cli_tests::little_endian;
using cli_tests::report;

const cli::BriefLines kForAFile{cli::TextStyle()};

std::string line_of(const cli::BriefLines &lines, std::string_view bytes, std::uint64_t since = 0) {
    text_buffer out;
    lines.append(out, "", as_report(bytes), {}, since);
    return std::string(out.text());
}

/** On a terminal of so many columns, without colours, that draws characters beyond ASCII. */
cli::BriefLines on_a_terminal(std::size_t columns) { return cli::BriefLines({true, false, columns, true}); }

TEST(BriefTest, ALineIsThatOfThePlainFormulation) {
    const decoder::unchanging_zone zone;
    cli_tests::for_each_generated_report([](const _QorProfileReport &report, const decoder::device_clock &clock) {
        for (const std::uint64_t since : {std::uint64_t{0}, report.timestamp(), report.timestamp() + 1'000'001,
                                          std::numeric_limits<std::uint64_t>::max()}) {
            text_buffer line;
            kForAFile.append(line, "", report, clock, since);
            EXPECT_EQ(line.text(), plain::brief_line(report, clock, since));
        }
    });
}

TEST(BriefTest, WhatIsZeroOrShownTwiceStandsOnceOrNotAtAll) {
    const std::string words = little_endian(0, 4) + little_endian(253, 4) + little_endian(0, 8) + little_endian(7, 4);
    EXPECT_EQ(line_of(kForAFile, report({1, 1, 0, 3}, 1, 15, words)),
              "    +0.000015s  trace.endpoint.0               arg2=253 arg5=7\n");
    EXPECT_EQ(line_of(kForAFile, report(cli_tests::kTrigger, 1, 0, little_endian(5, 4) + little_endian(6, 4))),
              "    +0.000000s  sensor.accel.trigger-magnitude thread-id=6\n");
    EXPECT_EQ(line_of(kForAFile, report(cli_tests::kAccelData, 1, 7'200'000'000), 7'199'999'999),
              "    +0.000001s  sensor.accel.data\n");
}

TEST(BriefTest, ATypeStandsWhereThePlaceDoesNotSayIt) {
    EXPECT_EQ(line_of(kForAFile, report({2, 0, 9, 8}, 1, 0)), "    +0.000000s  sensor.accel.sensor-info\n");
    EXPECT_EQ(line_of(kForAFile, report({6, 0, 4, 1}, 1, 0, little_endian(1, 2))),
              "    +0.000000s  uart.uart0.packet              [long-data] subtype=1\n");
    EXPECT_EQ(line_of(kForAFile, report({8, 1, 3, 77}, 1, 0, std::string("\0\x10\0", 3))),
              "    +0.000000s  control.1.3                    [type 77] raw=0010\n");
}

TEST(BriefTest, ATagThatIsNoTextIsItsNumber) {
    const auto line = [](std::string_view tag) {
        const std::string text =
            line_of(kForAFile, report({2, 0, 10, 11}, 1, 0, little_endian(0, 8) + std::string(tag)));
        return text.substr(text.find("annotation") + 10);
    };
    EXPECT_EQ(line("pickup"), "        entry='pickup'\n");
    EXPECT_EQ(line("A"), "        entry-id=65\n");
    EXPECT_EQ(line(std::string_view("AB\0\1", 4)), "        entry-id=16794177\n");
    EXPECT_EQ(line("A\x07"), "        entry-id=1857\n");
    EXPECT_EQ(line(""), "\n");
}

TEST(BriefTest, TextsAreEscapedInFilesToo) {
    const std::string line =
        line_of(kForAFile, report(cli_tests::kExtFunction, 1, 0, std::string(16, '\0') + "\x1b[31m\xC2\x9B\xFF"));
    EXPECT_NE(line.find("function='\\x1b[31m\\u009b\\xff'"), std::string::npos) << line;
}

TEST(BriefTest, ALineIsCutAtTheWidthOfATerminal) {
    const std::string bytes = report({6, 0, 4, 1}, 1, 0, little_endian(1, 2) + little_endian(40, 2));
    const std::string whole = line_of(kForAFile, bytes);
    const std::size_t width = whole.size() - 1;

    EXPECT_EQ(line_of(on_a_terminal(width), bytes), whole);
    EXPECT_EQ(line_of(on_a_terminal(width - 1), bytes), whole.substr(0, width - 2) + "…\n");
    EXPECT_EQ(line_of(on_a_terminal(1), bytes), "…\n");
    EXPECT_EQ(line_of(cli::BriefLines({true, false, 40, false}), bytes), whole.substr(0, 37) + "...\n");
    EXPECT_EQ(line_of(cli::BriefLines({true, false, 2, false}), bytes), "..\n");
}

TEST(BriefTest, NoLineIsWiderThanItsTerminal) {
    cli_tests::for_each_generated_report([](const _QorProfileReport &report, const decoder::device_clock &clock) {
        for (const std::size_t columns : {1U, 15U, 17U, 46U, 80U}) {
            text_buffer line;
            on_a_terminal(columns).append(line, "", report, clock, 0);
            ASSERT_LE(cli::display_width(line.text().substr(0, line.size() - 1)), columns);
        }
    });
}

/** A cut anywhere leaves whole characters and colours that end. */
TEST(BriefTest, ThePlaceHasTheColourOfItsCategoryWhereverItIsCut) {
    const std::string bytes = report({10, 0, 1, 13}, 1, 0, little_endian(3, 4));
    const auto coloured = [&](std::size_t columns) {
        return line_of(cli::BriefLines({true, true, columns, true}), bytes);
    };
    EXPECT_EQ(coloured(80), "    +0.000000s  \x1b[96mwake.wake.wake-req-info\x1b[0m        wake_reason=3\n");
    EXPECT_EQ(coloured(39), "    +0.000000s  \x1b[96mwake.wake.wake-req-inf\x1b[0m…\n");
    EXPECT_EQ(coloured(38), "    +0.000000s  \x1b[96mwake.wake.wake-req-in\x1b[0m…\n");
    EXPECT_EQ(coloured(17), "    +0.000000s  …\n");
    EXPECT_EQ(coloured(12), "    +0.0000…\n");
    EXPECT_EQ(line_of(cli::BriefLines({true, true, 80, true}), report({200, 1, 1, 3}, 1, 0)),
              "    +0.000000s  200.1.1\n");
}

TEST(BriefTest, AStartStandsBeforeALineAndIsCutWithIt) {
    const std::string bytes = report({10, 0, 1, 13}, 1, 0, little_endian(3, 4));
    text_buffer out;
    kForAFile.append(out, "a.bin: ", as_report(bytes), {}, 0);
    cli::BriefLines({true, true, 30, true}).append(out, "a.bin: ", as_report(bytes), {}, 0);
    cli::BriefLines({true, true, 4, true}).append(out, "a.bin: ", as_report(bytes), {}, 0);

    EXPECT_EQ(out.text(), "a.bin:     +0.000000s  wake.wake.wake-req-info        wake_reason=3\n"
                          "a.bin:     +0.000000s  \x1b[96mwake.w\x1b[0m…\n"
                          "a.b…\n");
}

TEST(BriefTest, NamesOfTheOwnersStandInPlaceOfNumbers) {
    const cli::OwnerNames names(host::parse_toml_texts(R"([type]
77 = "boot-stage"
[component.control]
1 = "größe"
[subject]
60 = "Calibrate"
[field.function-id]
0 = "idle"
36864 = "main"
)",
                                                       "names.toml", "a file of names", cli::OwnerNames::kSections),
                                "names.toml");
    const cli::BriefLines lines({}, &names);

    EXPECT_EQ(line_of(lines, report(cli_tests::kFunction, 1, 0, little_endian(36'864, 4) + little_endian(5, 4))),
              "    +0.000000s  exec.function.function         function-id=main extra-id=5\n");
    EXPECT_EQ(line_of(lines, report(cli_tests::kFunction, 1, 0)),
              "    +0.000000s  exec.function.function         function-id=idle\n");
    EXPECT_EQ(line_of(lines, report({8, 1, 3, 77}, 1, 0, "\x10")),
              "    +0.000000s  control.größe.3                [boot-stage] raw=10\n");
    EXPECT_EQ(line_of(lines, report(cli_tests::kTrace, 1, 0, little_endian(60, 4))),
              "    +0.000000s  sshb.sshb.trace                trace=Calibrate\n");
}

TEST(BriefTest, ARemarkStandsBetweenDashesAndIsCutToo) {
    const auto remark = [](const cli::TextStyle &style) {
        text_buffer out;
        cli::BriefLines(style).append_remark(out, "", "gap: 3 missing");
        return std::string(out.text());
    };
    EXPECT_EQ(remark({}), "-- gap: 3 missing --\n");
    EXPECT_EQ(remark({true, true, 80, true}), "\x1b[1m-- gap: 3 missing --\x1b[0m\n");
    EXPECT_EQ(remark({true, false, 10, true}), "-- gap: 3…\n");
}

} // namespace
