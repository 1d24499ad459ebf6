/** `decode --format brief` and the marks of other forms, the built program. */
#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/cli/program.h"
#include "tests/cli/reports.h"

using nlohmann::json;

namespace cli_tests {
namespace {

Outcome decode(const std::string &dump, std::vector<std::string> options, Surroundings surroundings = {}) {
    options.insert(options.begin(), {"decode", "-"});
    surroundings.standard_input = dump;
    return qorstat(options, surroundings);
}

/** Of an accelerometer and a gyroscope: three are missing, the clock goes back, and the coprocessor starts anew. */
std::string broken_dump() {
    return report(kAccelData, 70'000, 7'200'000'000) + report(kGyroData, 70'001, 7'200'000'050) +
           report(kAccelData, 70'005, 7'200'000'100) + report(kGyroData, 70'006, 7'200'000'080) +
           report(kAccelData, 2, 300) + report(kGyroData, 3, 320);
}

const std::string kBroken = "    +0.000000s  sensor.accel.data\n"
                            "    +0.000050s  sensor.gyro.data\n"
                            "-- gap: 3 missing --\n"
                            "    +0.000100s  sensor.accel.data\n"
                            "-- clock goes back 0.000020s --\n"
                            "    +0.000080s  sensor.gyro.data\n"
                            "-- restart: number 2 after 70006 --\n"
                            "    +0.000000s  sensor.accel.data\n"
                            "    +0.000020s  sensor.gyro.data\n";

TEST(BriefFormatTest, BreaksStandAsLinesOfTheirOwnAndTimesBeginAnewAtARestart) {
    const Outcome outcome = decode(broken_dump(), {"--format", "brief"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, kBroken);
}

TEST(BriefFormatTest, AFilterMakesNoGaps) {
    EXPECT_EQ(decode(broken_dump(), {"--format", "brief", "--component", "gyro"}).out,
              "    +0.000000s  sensor.gyro.data\n"
              "-- gap: 3 missing --\n"
              "-- clock goes back 0.000020s --\n"
              "    +0.000030s  sensor.gyro.data\n"
              "-- restart: number 2 after 70006 --\n"
              "    +0.000000s  sensor.gyro.data\n");
}

/** What lies between the last reports of a pipe that pass is not known. */
TEST(BriefFormatTest, TheLastOfAPipeThatPassHaveNoMarks) {
    EXPECT_EQ(decode(broken_dump(), {"--format", "brief", "--component", "gyro", "--last", "2"}).out,
              "    +0.000000s  sensor.gyro.data\n"
              " -7199.999760s  sensor.gyro.data\n");
}

TEST(BriefFormatTest, MoreBreaksThanAreToldApartAreCounted) {
    std::string dump = report(kGyroData, 0, 0);
    for (std::uint32_t i = 1; i <= 10; ++i) {
        dump += report(kAccelData, 2 * i, 0);
    }
    const std::string out = decode(dump + report(kGyroData, 21, 0), {"--format", "brief", "--component", "gyro"}).out;

    EXPECT_EQ(occurrences(out, "-- gap: 1 missing --\n"), 8U);
    EXPECT_EQ(occurrences(out, "-- and 2 more breaks here --\n    +0.000000s"), 1U) << out;
}

TEST(BriefFormatTest, WallClockTimeStandsWhereAClockIsGiven) {
    const Outcome outcome = decode(report(kAccelData, 1, 7'200'000'000),
                                   {"--format", "brief", "--time-sync",
                                    "qor=7200000000000,calendar=1795256648209505000", "--time-zone", "Europe/Berlin"});

    EXPECT_EQ(outcome.out, "Nov 21 11:24:08.209505  sensor.accel.data\n");
}

TEST(BriefFormatTest, IsTheDefaultOnATerminalAlone) {
    SKIP_WITHOUT_TERMINALS();
    const std::string dump = report(kAccelData, 1, 50);
    Surroundings terminal;
    terminal.output_is_terminal = true;
    const Surroundings pipe;

    EXPECT_EQ(decode(dump, {}, terminal).out, "    +0.000000s  \x1b[32msensor.accel.data\x1b[0m\r\n");
    EXPECT_EQ(decode(dump, {}, pipe).out.substr(0, 26), "{  'category':'sensor', 'c");
    EXPECT_EQ(decode(dump, {"--format", "text"}, terminal).out.substr(0, 26), "{  'category':'sensor', 'c");
}

TEST(BriefFormatTest, LinesAreCutAtTheWidthOfATerminalAlone) {
    SKIP_WITHOUT_TERMINALS();
    std::string payload;
    for (std::uint32_t argument = 100'000; argument < 600'001; argument += 100'000) {
        payload += little_endian(argument, 4);
    }
    const std::string dump = report(kAccelData, 1, 50, payload);
    Surroundings terminal;
    terminal.output_is_terminal = true;
    terminal.environment = {{"NO_COLOR", "1"}, {"LC_ALL", "C"}};

    EXPECT_EQ(decode(dump, {}, terminal).out,
              "    +0.000000s  sensor.accel.data              arg1=100000 arg2=200000 arg3=3...\r\n");
    EXPECT_EQ(decode(dump, {"--format", "brief"}).out,
              "    +0.000000s  sensor.accel.data              arg1=100000 arg2=200000 arg3=300000 arg4=400000 "
              "arg5=500000 arg6=600000\n");
}

TEST(MarksOfFormsTest, ATraceHasInstantsAcrossAllTracks) {
    const Outcome outcome = decode(broken_dump(), {"--format", "chrome-trace", "--component", "gyro"});

    const json trace = json::parse(outcome.out);
    std::vector<json> marks;
    for (const json &event : trace["traceEvents"]) {
        if (event.value("s", "") == "g") {
            marks.push_back(event);
        }
    }
    ASSERT_EQ(marks.size(), 3U);
    EXPECT_EQ(marks[0], json::parse(R"({"ph":"i","name":"gap: 3 missing","ts":7200000100,"s":"g","pid":1,"tid":0,
        "args":{"sequence_num":70005,"sequence_num_before":70001,"timestamp_before":7200000050,"further_breaks":0}})"));
    EXPECT_EQ(marks[1]["name"], "clock goes back 0.000020s");
    EXPECT_EQ(marks[2]["name"], "restart: number 2 after 70006");
    EXPECT_EQ(marks[2]["ts"], 300);
}

TEST(MarksOfFormsTest, StatisticsCountThem) {
    const Outcome text = decode(broken_dump(), {"--stats", "--component", "gyro"});
    const json counts = json::parse(decode(broken_dump(), {"--stats", "--json", "--component", "gyro"}).out);

    EXPECT_NE(text.out.find("sequence numbers: 2 gaps, 3 missing\n"
                            "  byte 96: 70005 after 70001\n"
                            "  byte 192: 2 after 70006\n"
                            "time stamps that go back: 2, restarts: 1\n"),
              std::string::npos)
        << text.out;
    EXPECT_EQ(counts["gaps"], 2);
    EXPECT_EQ(counts["missing"], 3);
    EXPECT_EQ(counts["times_back"], 2);
    EXPECT_EQ(counts["restarts"], 1);
}

TEST(MarksOfFormsTest, FormsForProgramsHaveNone) {
    for (const std::string format : {"text", "jsonl"}) {
        const std::string out = decode(broken_dump(), {"--format", format}).out;
        EXPECT_EQ(occurrences(out, "\n"), 6U) << out;
    }
    EXPECT_EQ(occurrences(decode(broken_dump(), {"--format", "csv"}).out, "\r\n"), 7U);
}

} // namespace
} // namespace cli_tests
