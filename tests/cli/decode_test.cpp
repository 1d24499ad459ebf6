/** `decode`, the built program. */
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "tests/cli/program.h"
#include "tests/cli/reports.h"
#include "tests/decoder/oracle.h"
#include "tests/decoder/report_generator.h"

using nlohmann::json;

namespace cli_tests {
namespace {

const std::string kPhone = QOR_SOURCE_FOLDER "/examples/phone.toml";
const std::string kReportsOfDriver = QOR_SOURCE_FOLDER "/examples/reports/drvx.bin";

constexpr std::size_t kReportSize = 48;

Surroundings with_input(std::string input) {
    Surroundings surroundings;
    surroundings.standard_input = std::move(input);
    return surroundings;
}

Outcome decode(std::string dump, std::vector<std::string> options = {}) {
    std::vector<std::string> arguments = {"decode", "-"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return qorstat(arguments, with_input(std::move(dump)));
}

/** The sequence numbers of the reports in JSON lines. */
std::vector<int> parse_sequence(const std::string &json_lines) {
    std::vector<int> numbers;
    for (const std::string &line : split_lines(json_lines)) {
        numbers.push_back(json::parse(line)["sequence_num"]);
    }
    return numbers;
}

std::vector<int> decode_sequence(const std::string &dump, std::vector<std::string> options) {
    options.insert(options.end(), {"--format", "jsonl"});
    const Outcome outcome = decode(dump, options);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return parse_sequence(outcome.out);
}

/** Many blocks of generated reports, and the oracle's lines for them. */
struct GeneratedDump {
    std::string bytes;
    std::string lines;

    explicit GeneratedDump(const oracle::Clock &clock = {}) {
        oracle::ReportGenerator generator(7);
        for (int i = 0; i < 20'000; ++i) {
            oracle::Report made = generator.report(generator.header());
            // Numbers that follow, as in any dump.
            made[4] = static_cast<unsigned char>(i & 0xFF);
            made[5] = static_cast<unsigned char>(i >> 8);
            made[6] = made[7] = 0;
            bytes.append(static_cast<const char *>(static_cast<const void *>(made.data())), made.size());
            lines += oracle::describe(made.data(), clock) + "\n";
        }
    }
};

/** Five reports, numbers 1 to 5, at 100 to 500 microseconds. */
std::string five_reports() {
    return report(kAccelData, 1, 100) + report(kGyroData, 2, 200) + report(kFunction, 3, 300) + report(kTrace, 4, 400) +
           report(kAccelData, 5, 500);
}

void expect_wrong_use(const std::vector<std::string> &options, const std::string &message) {
    const Outcome outcome = decode(five_reports(), options);

    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: decode: " + message + "\n");
}

TEST(DecodeTextTest, LinesAreThoseOfTheOracleInOrder) {
    const GeneratedDump dump;

    const Outcome outcome = decode(dump.bytes);

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(outcome.out == dump.lines);
}

TEST(DecodeTextTest, AFileGivesTheSameLinesAsAPipe) {
    const TemporaryFolder folder;
    const GeneratedDump dump;

    const Outcome outcome = qorstat({"decode", folder.file("dump", dump.bytes)});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_TRUE(outcome.out == dump.lines);
}

TEST(DecodeTextTest, ABootTimeThatIsGivenIsInEveryLine) {
    const GeneratedDump dump({std::nullopt, 1'700'000'000'123'456});

    const Outcome outcome = decode(dump.bytes, {"--boot-time", "1700000000123456"});

    EXPECT_TRUE(outcome.out == dump.lines);
}

TEST(DecodeTextTest, AnEmptyDumpHasNoLines) {
    const Outcome outcome = decode("");

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
}

/** Firmware time 1 s is 1,700,000,001.25 s of calendar time: 2023-11-14 22:13:21.25 UTC. */
const std::vector<std::string> kClock = {"--time-sync", "qor=500000000,calendar=1700000000750000000"};

std::vector<std::string> clock_in(const std::string &zone) {
    std::vector<std::string> options = kClock;
    options.insert(options.end(), {"--time-zone", zone});
    return options;
}

TEST(DecodeClockTest, WallClockTimeIsThatOfTheZone) {
    const std::string dump = report(kAccelData, 1, 1'000'000);

    EXPECT_NE(decode(dump, clock_in("UTC")).out.find(", 'calendar-time':'Nov 14 22:13:21.250000'}"), std::string::npos);
    EXPECT_NE(decode(dump, clock_in("Asia/Tokyo")).out.find(", 'calendar-time':'Nov 15 07:13:21.250000'}"),
              std::string::npos);
}

TEST(DecodeClockTest, JsonHasTheZonesDistanceFromUtc) {
    const auto wall_time = [](const std::string &zone) {
        std::vector<std::string> options = clock_in(zone);
        options.insert(options.end(), {"--format", "jsonl"});
        return json::parse(decode(report(kAccelData, 1, 1'000'000), options).out)["wall_time"];
    };

    EXPECT_EQ(wall_time("UTC"), "2023-11-14T22:13:21.250000+00:00");
    EXPECT_EQ(wall_time("Asia/Kolkata"), "2023-11-15T03:43:21.250000+05:30");
    EXPECT_EQ(wall_time("America/St_Johns"), "2023-11-14T18:43:21.250000-03:30");
}

TEST(DecodeClockTest, WithoutAClockThereAreNoTimes) {
    const Outcome text = decode(five_reports());
    const Outcome objects = decode(five_reports(), {"--format", "jsonl"});

    EXPECT_EQ(text.out.find("calendar-time"), std::string::npos);
    EXPECT_EQ(text.out.find("boot-timestamp"), std::string::npos);
    EXPECT_EQ(objects.out.find("wall_time"), std::string::npos);
    EXPECT_EQ(objects.out.find("boot_timestamp"), std::string::npos);
}

TEST(DecodeClockTest, WhatCanBeNoZonesNameIsWrongUse) {
    for (const std::string zone : {"", "../../../etc/passwd", "/usr/share/zoneinfo/UTC"}) {
        expect_wrong_use({"--time-zone", zone},
                         "invalid value \"" + zone + "\" for --time-zone: expected a name such as Europe/Berlin");
    }
}

TEST(DecodeClockTest, AZoneWhoseFileIsMissingIsAnError) {
    for (const std::string zone : {"Nowhere/City", "Europe"}) {
        const Outcome outcome = decode(five_reports(), {"--time-zone", zone});

        EXPECT_EQ(outcome.exit_code, 1) << zone;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.rfind("qorstat: ", 0), 0u);
        EXPECT_NE(outcome.err.find(": not a time zone file\n"), std::string::npos) << outcome.err;
    }
}

TEST(DecodeClockTest, AZoneOfTheEnvironmentThatIsNoneIsSaid) {
    const std::string dump = report(kAccelData, 1, 1'000'000);
    const auto in_zone = [&](const std::string &zone, std::vector<std::string> options) {
        Surroundings surroundings = with_input(dump);
        surroundings.environment["TZ"] = zone;
        options.insert(options.begin(), {"decode", "-"});
        return qorstat(options, surroundings);
    };

    for (const std::string zone : {":/etc/passwd", "Nowhere/City", "Europe", "X"}) {
        const Outcome outcome = in_zone(zone, kClock);

        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_NE(outcome.out.find("'Nov 14 22:13:21.250000'"), std::string::npos) << outcome.out;
        EXPECT_EQ(outcome.err, "qorstat: TZ is \"" + zone + "\", which is no time zone: wall-clock times are in UTC\n");
        EXPECT_EQ(in_zone(zone, {}).err, "") << "no time is printed";
        EXPECT_EQ(in_zone(zone, {"--boot-time", "2025-10-09 08:53:21"}).err, outcome.err);
        EXPECT_EQ(in_zone(zone, {"--boot-time", "2025-10-09 08:53:21Z"}).err, "");
        EXPECT_EQ(in_zone(zone, clock_in("Asia/Tokyo")).err, "") << "it is not used";
    }
    for (const std::string zone : {"", ":", "UTC", "Asia/Tokyo", ":Asia/Tokyo", "/usr/share/zoneinfo/Asia/Tokyo",
                                   "CET-1CEST", ":CET-1", "<+03>-3", "JST-9"}) {
        EXPECT_EQ(in_zone(zone, kClock).err, "") << zone;
    }
}

TEST(DecodeClockTest, ASynchronisationOfAnotherFormIsWrongUse) {
    for (const std::string text :
         {"qor=1", "calendar=1,qor=2", "qor=1,calendar=2x", "qor=,calendar=1", "qor=-,calendar=1", "qor=--1,calendar=1",
          "qor=1, calendar=2", "", "qor=1,calendar=2,", "qor=18446744073709551616,calendar=0",
          "qor=0,calendar=-9223372036854775809"}) {
        const Outcome outcome = decode("", {"--time-sync", text});
        EXPECT_EQ(outcome.exit_code, 2) << text;
        EXPECT_TRUE(outcome.err.starts_with("qorstat: decode: invalid value \"" + text + "\" for --time-sync: it "))
            << outcome.err;
        EXPECT_TRUE(outcome.err.ends_with("; expected times such as qor=7200000000000,calendar=1795256648209505000 "
                                          "(nanoseconds), qor=7200s,calendar=2026-11-21T10:24:08Z or "
                                          "qor=2h,calendar=2026-11-21T11:24:08.25+01:00\n"))
            << outcome.err;
    }
}

TEST(DecodeClockTest, MayBeSaidInDatesAndDurations) {
    const std::string dump = report(kAccelData, 1, 7'200'000'000);
    const std::vector<std::string> kDates = {"--time-sync", "qor=2h,calendar=2026-11-21 11:24:08.25",
                                             "--boot-time", "2026-11-21T09:24:08.5+01:00",
                                             "--time-zone", "Europe/Berlin"};
    const std::vector<std::string> kNumbers = {"--time-sync", "qor=7200000000000,calendar=1795256648250000000",
                                               "--boot-time", "1795249448500000",
                                               "--time-zone", "Europe/Berlin"};

    EXPECT_EQ(decode(dump, kDates).out, decode(dump, kNumbers).out);
    EXPECT_NE(
        decode(dump, kDates).out.find("'calendar-time':'Nov 21 11:24:08.250000', 'boot-timestamp':1795249448500000}"),
        std::string::npos);
    expect_wrong_use(
        {"--boot-time", "yesterday"},
        "invalid value \"yesterday\" for --boot-time: it is not of the form YYYY-MM-DD HH:MM:SS; expected a "
        "time such as 1795256648209505 (microseconds), 2026-11-21T10:24:08Z or "
        "2026-11-21T11:24:08.209505+01:00");
}

TEST(DecodeClockTest, SynchronisationMayBeNegative) {
    const std::string dump = report(kAccelData, 1, 1'000'000);

    const Outcome outcome = decode(dump, {"--time-sync", "qor=-500000000,calendar=-500000000", "--time-zone", "UTC"});

    // 1 s + 0.5 s - 0.5 s after the epoch.
    EXPECT_NE(outcome.out.find(", 'calendar-time':'Jan 01 00:00:01.000000'}"), std::string::npos) << outcome.out;
}

TEST(DecodeClockTest, ALiveDeviceIsAskedAsThePlugInAsksIt) {
    const TemporaryFolder folder;
    const std::string captured = folder.path() / "captured";
    ASSERT_EQ(qorstat({"capture", kPhone, "--kind", "fault", "-o", captured}).exit_code, 0);
    const std::vector<std::string> shown =
        split_lines(qorstat({"show", captured + "/049-ZEL Profile 0 ;count=32 ;type=drvx.qorstate"}).out);

    const Outcome outcome = qorstat({"decode", kReportsOfDriver, "--live", kPhone, "--first", "32"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    ASSERT_EQ(shown.size(), 33u); // the title is the first
    EXPECT_EQ(split_lines(outcome.out), std::vector<std::string>(shown.begin() + 1, shown.end()));
    EXPECT_NE(shown[1].find("calendar-time"), std::string::npos);
    EXPECT_NE(shown[1].find("boot-timestamp"), std::string::npos);
}

TEST(DecodeClockTest, ALiveDeviceExcludesTimesThatAreGiven) {
    const Outcome outcome = decode(five_reports(), {"--live", kPhone, "--boot-time", "1"});

    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: decode: --live excludes --boot-time\n");
}

TEST(DecodeJsonTest, FieldsAreTyped) {
    const std::string payload = little_endian(11, 4) + little_endian(12, 4) + little_endian(13, 4) +
                                little_endian(4294967295, 4) + little_endian(2, 4) + little_endian(99, 4);

    const Outcome outcome =
        decode(report(kFunction, 4294967295, 18446744073709551615U, payload), {"--format", "jsonl"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "{\"category\":\"exec\",\"category_id\":0,\"component\":\"function\",\"component_id\":1,"
                           "\"event\":\"function\",\"event_id\":0,\"type\":\"function\",\"type_id\":5,"
                           "\"sequence_num\":4294967295,\"timestamp\":18446744073709551615,"
                           "\"payload\":{\"function-id\":11,\"extra-id\":12,\"thread-id\":13,\"duration\":4294967295,"
                           "\"depth\":2,\"thread_duration\":99}}\n");
}

TEST(DecodeJsonTest, BytesAreHexAndVectorsAreNumbers) {
    const std::string long_data =
        report({6, 0, 4, 1}, 1, 1,
               little_endian(7, 2) + little_endian(9, 2) + little_endian(3, 2) + little_endian(0, 2) + "\x01\xAB\xFF");
    const std::string vector =
        report(kVastrelIn, 1, 1, little_endian(0x18000, 4) + little_endian(0xFFFF0000, 4) + little_endian(1, 4));

    EXPECT_EQ(json::parse(decode(long_data, {"--format", "jsonl"}).out)["payload"]["raw-data"], "01abff");
    const json payload = json::parse(decode(vector, {"--format", "jsonl"}).out)["payload"];
    EXPECT_EQ(payload["x"], 1.5);
    EXPECT_EQ(payload["y"], -1.0);
    EXPECT_EQ(payload["z"], 1.0 / 65536);
}

TEST(DecodeJsonTest, ASubjectIsAStringWithOrWithoutAName) {
    const auto subject = [](std::uint32_t id) {
        const Outcome outcome = decode(report(kTrace, 1, 1, little_endian(id, 4)), {"--format", "jsonl"});
        return json::parse(outcome.out)["payload"]["trace"];
    };

    EXPECT_EQ(subject(7), "EnableSshb");
    EXPECT_EQ(subject(307), "307");
}

TEST(DecodeJsonTest, KeysThatComeTwiceAreToldApart) {
    // The generic fields come twice in short data of an sshb event that has no layout of its own.
    const std::string twice = report({7, 0, 9, 2}, 1, 1, little_endian(5, 2));

    const Outcome outcome = decode(twice, {"--format", "jsonl"});

    const std::string zeros(60, '0');
    const json payload = json::parse(outcome.out)["payload"];
    EXPECT_EQ(payload.size(), 10u);
    EXPECT_EQ(payload["subtype"], 5);
    EXPECT_EQ(payload["subtype_2"], 5);
    EXPECT_EQ(payload["raw-data"], zeros);
    EXPECT_EQ(payload["raw-data_2"], zeros);
}

TEST(DecodeJsonTest, ATextThatIsNoUtf8IsHexUnderAnotherKey) {
    const auto named = [](const std::string &name) { return report(kForeignInfo, 1, 1, std::string(19, '\0') + name); };

    const json whole = json::parse(decode(named("a\"\\\n\x7F\xC3\xBC"), {"--format", "jsonl"}).out)["payload"];
    const json broken = json::parse(decode(named("a\xC3"), {"--format", "jsonl"}).out)["payload"];

    EXPECT_EQ(whole["name"], "a\"\\\n\x7F\xC3\xBC");
    EXPECT_EQ(broken["name_hex"], "61c3");
    EXPECT_FALSE(broken.contains("name"));
}

TEST(DecodeJsonTest, EveryGeneratedReportIsAnObjectALine) {
    const GeneratedDump dump;

    const std::vector<std::string> lines = split_lines(decode(dump.bytes, {"--format", "jsonl"}).out);

    ASSERT_EQ(lines.size(), dump.bytes.size() / kReportSize);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto *const bytes = dump.bytes.data() + i * kReportSize;
        const json object = json::parse(lines[i]);
        ASSERT_EQ(object["type_id"], static_cast<unsigned char>(bytes[0]));
        ASSERT_EQ(object["category_id"], static_cast<unsigned char>(bytes[3]));
    }
}

/** The fields of RFC 4180 lines. */
std::vector<std::vector<std::string>> parse_csv(const std::string &text) {
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> row(1);
    bool is_quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (is_quoted && text.compare(i, 2, "\"\"") == 0) {
            row.back() += text[i++];
        } else if (text[i] == '"') {
            is_quoted = !is_quoted;
        } else if (!is_quoted && text[i] == ',') {
            row.emplace_back();
        } else if (!is_quoted && text.compare(i, 2, "\r\n") == 0) {
            rows.push_back(row);
            row.assign(1, "");
            ++i;
        } else {
            row.back() += text[i];
        }
    }
    EXPECT_EQ(row, std::vector<std::string>(1)) << "the last line has no end";
    return rows;
}

TEST(DecodeCsvTest, HasFixedColumnsAndThePayloadAsJson) {
    std::vector<std::string> options = clock_in("UTC");
    options.insert(options.end(), {"--boot-time", "77", "--format", "csv"});

    const auto rows =
        parse_csv(decode(report(kTrigger, 9, 1'000'000, little_endian(0, 4) + little_endian(6, 4)), options).out);

    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0], (std::vector<std::string>{"category", "category_id", "component", "component_id", "event",
                                                 "event_id", "type", "type_id", "sequence_num", "timestamp",
                                                 "wall_time", "boot_timestamp", "payload"}));
    EXPECT_EQ(rows[1], (std::vector<std::string>{"sensor", "2", "accel", "0", "trigger-magnitude", "16", "trigger", "4",
                                                 "9", "1000000", "2023-11-14T22:13:21.250000+00:00", "77",
                                                 "{\"trigger\":1,\"thread-id\":6,\"arg\":6}"}));
}

TEST(DecodeCsvTest, EveryGeneratedReportIsALineOfThirteenFields) {
    const GeneratedDump dump;

    const auto rows = parse_csv(decode(dump.bytes, {"--format", "csv"}).out);

    ASSERT_EQ(rows.size(), 1 + dump.bytes.size() / kReportSize);
    for (const std::vector<std::string> &row : rows) {
        ASSERT_EQ(row.size(), 13u);
    }
}

/** The events of a trace without the names of tracks. */
std::vector<json> trace_events(const std::string &dump) {
    const Outcome outcome = decode(dump, {"--format", "chrome-trace"});
    EXPECT_EQ(outcome.exit_code, 0);
    const json file = json::parse(outcome.out);
    std::vector<json> events;
    for (const json &event : file["traceEvents"]) {
        if (event["ph"] != "M") {
            events.push_back(event);
        }
    }
    return events;
}

json only_event(const std::string &dump) {
    const std::vector<json> events = trace_events(dump);
    EXPECT_EQ(events.size(), 1u);
    return events.empty() ? json() : events.front();
}

TEST(DecodeTraceTest, AFunctionIsASliceOfItsThreadThatEndsAtItsTimeStamp) {
    const std::string payload =
        little_endian(11, 4) + little_endian(0, 4) + little_endian(13, 4) + little_endian(400, 4);

    const json event = only_event(report(kFunction, 1, 1000, payload));

    EXPECT_EQ(event["ph"], "X");
    EXPECT_EQ(event["name"], "function 11");
    EXPECT_EQ(event["ts"], 600);
    EXPECT_EQ(event["dur"], 400);
    EXPECT_EQ(event["tid"], 13);
    EXPECT_EQ(event["args"]["duration"], 400);
}

TEST(DecodeTraceTest, AFunctionWithANameIsNamedByIt) {
    const std::string payload =
        little_endian(0, 4) + little_endian(21, 4) + little_endian(5, 4) + little_endian(0, 4) + "doIt";

    const json event = only_event(report(kExtFunction, 1, 1000, payload));

    EXPECT_EQ(event["ph"], "X");
    EXPECT_EQ(event["name"], "doIt");
    EXPECT_EQ(event["ts"], 995);
    EXPECT_EQ(event["tid"], 21);
}

TEST(DecodeTraceTest, ASliceDoesNotBeginBeforeTimeDoes) {
    const std::string payload = std::string(12, '\0') + little_endian(4294967295, 4);

    const json event = only_event(report(kFunction, 1, 1000, payload));

    EXPECT_EQ(event["ts"], 0);
    EXPECT_EQ(event["dur"], 1000);
}

TEST(DecodeTraceTest, TriggersTracesAndCheckpointsAreInstantsOnTheTrackOfTheirComponent) {
    const json trigger = only_event(report(kTrigger, 1, 10));
    const json trace = only_event(report(kTrace, 1, 20, little_endian(7, 4)));
    const json checkpoint = only_event(report(kCheckpoint, 1, 30));

    EXPECT_EQ(trigger["ph"], "i");
    EXPECT_EQ(trigger["tid"], 0);
    EXPECT_EQ(trace["ph"], "i");
    EXPECT_EQ(trace["name"], "EnableSshb");
    EXPECT_EQ(trace["ts"], 20);
    EXPECT_EQ(checkpoint["ph"], "i");
    EXPECT_EQ(checkpoint["name"], "ckp_SSHBButtonDown");
    EXPECT_EQ(checkpoint["pid"], trace["pid"]);
    EXPECT_EQ(checkpoint["tid"], 3);
    EXPECT_NE(trigger["pid"], trace["pid"]);
}

TEST(DecodeTraceTest, ATriggerIsDrawnAcrossItsCategoryAndNamesItsComponent) {
    const json trigger = only_event(report(kTrigger, 1, 10));

    EXPECT_EQ(trigger["s"], "p");
    EXPECT_EQ(trigger["name"], "accel trigger-magnitude");
}

/** The values of a trace's counters by their names; each must be alone in its event. */
std::map<std::string, json> counters_of(const std::string &dump) {
    std::map<std::string, json> values;
    for (const json &event : trace_events(dump)) {
        EXPECT_EQ(event["ph"], "C");
        EXPECT_EQ(event["args"].size(), 1u);
        values[event["name"]] = event["args"].front();
    }
    return values;
}

TEST(DecodeTraceTest, EachNumberOfASensorIsACounter) {
    const std::string payload = little_endian(5, 4) + little_endian(6, 4);

    const std::map<std::string, json> expected = {{"accel data arg1", 5}, {"accel data arg2", 6},
                                                  {"accel data arg3", 0}, {"accel data arg4", 0},
                                                  {"accel data arg5", 0}, {"accel data arg6", 0}};
    EXPECT_EQ(counters_of(report(kAccelData, 1, 10, payload)), expected);
}

TEST(DecodeTraceTest, WordsOfASensorAreSigned) {
    const std::string payload =
        little_endian(0xFFFFFFFF, 4) + little_endian(0x80000000, 4) + little_endian(0x7FFFFFFF, 4);

    const std::map<std::string, json> counters = counters_of(report(kAccelData, 1, 10, payload));

    EXPECT_EQ(counters.at("accel data arg1"), -1);
    EXPECT_EQ(counters.at("accel data arg2"), -2147483648);
    EXPECT_EQ(counters.at("accel data arg3"), 2147483647);
}

TEST(DecodeTraceTest, EachAxisOfAVectorIsACounter) {
    const std::string payload = little_endian(0x18000, 4) + little_endian(0xFFFF0000, 4);

    const std::map<std::string, json> expected = {
        {"vastrel data-in x", 1.5}, {"vastrel data-in y", -1.0}, {"vastrel data-in z", 0.0}};
    EXPECT_EQ(counters_of(report(kVastrelIn, 1, 10, payload)), expected);
}

/** The names in a trace by {process, thread}; a process's own stand under thread -1. */
std::map<std::pair<int, long>, std::string> names_in(const json &events) {
    std::map<std::pair<int, long>, std::string> names;
    for (const json &event : events) {
        if (event["ph"] == "M") {
            const long thread = event["name"] == "thread_name" ? event["tid"].get<long>() : -1;
            const bool is_new = names.emplace(std::pair(event["pid"].get<int>(), thread), event["args"]["name"]).second;
            EXPECT_TRUE(is_new) << event;
        }
    }
    return names;
}

TEST(DecodeTraceTest, TracksHaveNames) {
    const std::string thread_7 = std::string(8, '\0') + little_endian(7, 4);
    const std::string dump = report(kCheckpoint, 1, 20) + report(kCheckpoint, 2, 30) + report(kForeignInfo, 3, 40) +
                             report(kFunction, 4, 50, thread_7) + report(kFunction, 5, 60, thread_7);

    const json file = json::parse(decode(dump, {"--format", "chrome-trace"}).out);

    const std::map<std::pair<int, long>, std::string> expected = {
        {{1, -1}, "threads"}, {{1, 7}, "thread 7"}, {{17, -1}, "sshb"},
        {{17, 3}, "latency"}, {{210, -1}, "200"},   {{210, 7}, "7"},
    };
    EXPECT_EQ(names_in(file["traceEvents"]), expected);
}

TEST(DecodeTraceTest, ASliceThatBeginsInAnEarlierOneOfItsThreadBeginsAfterIt) {
    const auto function = [](unsigned thread, unsigned duration) {
        return std::string(8, '\0') + little_endian(thread, 4) + little_endian(duration, 4);
    };
    const std::string dump = report(kFunction, 1, 2000, function(5, 100)) +
                             report(kFunction, 2, 2010, function(6, 50)) + report(kFunction, 3, 2020, function(5, 60)) +
                             report(kFunction, 4, 2030, function(5, 200));

    const std::vector<json> slices = trace_events(dump);

    ASSERT_EQ(slices.size(), 4u);
    EXPECT_EQ(slices[1]["ts"], 1960) << "of another thread";
    EXPECT_EQ(slices[2]["ts"], 2000);
    EXPECT_EQ(slices[2]["dur"], 20);
    EXPECT_EQ(slices[2]["args"]["duration"], 60) << "as it was reported";
    EXPECT_EQ(slices[3]["ts"], 1830) << "around the others";
}

TEST(DecodeTraceTest, NumbersThatViewersWouldRoundAreStrings) {
    const std::string payload = little_endian(9007199254740993, 8) + little_endian(9007199254740992, 8);

    const json checkpoint = only_event(report(kCheckpoint, 1, 30, payload));

    EXPECT_EQ(checkpoint["args"]["global-id"], "9007199254740993");
    EXPECT_EQ(checkpoint["args"]["entry-id"], 9007199254740992);
}

TEST(DecodeTraceTest, EveryGeneratedReportHasItsEvents) {
    const GeneratedDump dump;

    std::size_t reports = 0;
    for (const json &event : trace_events(dump.bytes)) {
        const bool is_mark = event["ph"] == "i" && event["s"] == "g";
        const bool is_first_of_report =
            event["ph"] != "C" || event["args"].contains("arg1") || event["args"].contains("x");
        reports += is_first_of_report && !is_mark ? 1 : 0;
    }
    EXPECT_EQ(reports, dump.bytes.size() / kReportSize);
}

TEST(DecodeFilterTest, NamesAndIdsChooseReports) {
    EXPECT_EQ(decode_sequence(five_reports(), {"--category", "sensor"}), (std::vector<int>{1, 2, 5}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--category", "7"}), (std::vector<int>{4}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--category", "sshb", "--category", "exec"}), (std::vector<int>{3, 4}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--component", "accel"}), (std::vector<int>{1, 5}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--event", "data"}), (std::vector<int>{1, 2, 5}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--type", "function"}), (std::vector<int>{3}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--category", "sensor", "--component", "gyro"}), (std::vector<int>{2}));
}

TEST(DecodeFilterTest, TimesAreIncluded) {
    EXPECT_EQ(decode_sequence(five_reports(), {"--since", "200", "--until", "400"}), (std::vector<int>{2, 3, 4}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--since", "201"}), (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--until", "199"}), (std::vector<int>{1}));
}

TEST(DecodeFilterTest, FirstAndLastCountWhatPasses) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", five_reports());
    const auto of_file = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {"decode", file, "--format", "jsonl"});
        return parse_sequence(qorstat(options).out);
    };

    for (const auto &[options, numbers] : std::vector<std::pair<std::vector<std::string>, std::vector<int>>>{
             {{"--first", "2"}, {1, 2}},
             {{"--first", "0"}, {}},
             {{"--first", "9"}, {1, 2, 3, 4, 5}},
             {{"--last", "2"}, {4, 5}},
             {{"--last", "0"}, {}},
             {{"--last", "9"}, {1, 2, 3, 4, 5}},
             {{"--category", "sensor", "--first", "2"}, {1, 2}},
             {{"--category", "sensor", "--last", "2"}, {2, 5}},
         }) {
        EXPECT_EQ(decode_sequence(five_reports(), options), numbers) << testing::PrintToString(options);
        EXPECT_EQ(of_file(options), numbers) << testing::PrintToString(options);
    }
}

TEST(DecodeFilterTest, TheLastOfManyBlocksAreTheLast) {
    const TemporaryFolder folder;
    const GeneratedDump dump;
    const std::string file = folder.file("dump", dump.bytes);
    const std::vector<std::string> all = split_lines(dump.lines);
    const std::vector<std::string> last(all.end() - 3000, all.end());

    EXPECT_TRUE(split_lines(qorstat({"decode", file, "--last", "3000"}).out).size() >= last.size());
    EXPECT_EQ(qorstat({"decode", file, "--last", "3000"}).out, decode(dump.bytes, {"--last", "3000"}).out);
    EXPECT_TRUE(dump.lines.ends_with(decode(dump.bytes, {"--last", "3000"}).out));
}

TEST(DecodeFilterTest, TheLastOfAFileWhoseSizeIsNotKnownAreTheLast) {
    const Outcome all = qorstat({"decode", "/proc/self/auxv", "--format", "jsonl"});
    const Outcome last = qorstat({"decode", "/proc/self/auxv", "--last", "1", "--format", "jsonl"});

    EXPECT_GT(split_lines(all.out).size(), 1u);
    EXPECT_EQ(split_lines(last.out).size(), 1u) << last.err;
}

TEST(DecodeFilterTest, WrongNamesSuggestTheRightOnes) {
    expect_wrong_use({"--category", "senser"},
                     "invalid value \"senser\" for --category: unknown name; did you mean \"sensor\"?");
    expect_wrong_use({"--component", "acel"},
                     "invalid value \"acel\" for --component: unknown name; did you mean \"accel\"?");
    expect_wrong_use({"--event", "ckp_RIVTurnOf"},
                     "invalid value \"ckp_RIVTurnOf\" for --event: unknown name; did you mean \"ckp_RIVTurnOn\"?");
    expect_wrong_use({"--type", "xyzzy"}, "invalid value \"xyzzy\" for --type: unknown name");
    expect_wrong_use({"--type", "256"}, "invalid value \"256\" for --type: expected 0 to 255 or a name");
    expect_wrong_use({"--format", "cvs"}, "invalid value \"cvs\" for --format: expected one of text, jsonl, csv, "
                                          "chrome-trace, brief; did you mean \"csv\"?");
}

std::string no_number(const std::string &option, const std::string &text) {
    return "invalid value \"" + text + "\" for " + option + ": expected a number from 0 to 18446744073709551615";
}

TEST(DecodeFilterTest, NumbersAreDecimalAndOfSixtyFourBits) {
    for (const std::string option : {"--first", "--last", "--context"}) {
        for (const std::string text : {"-1", "+1", "1e3", "0x10", " 1", "1 ", "18446744073709551616"}) {
            std::string given = option;
            given.append("=").append(text);
            expect_wrong_use({given}, no_number(option, text));
        }
    }
    expect_wrong_use({"--first", ""}, no_number("--first", ""));
    EXPECT_EQ(decode_sequence(five_reports(), {"--last", "0004"}), (std::vector<int>{2, 3, 4, 5}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--until", "18446744073709551615"}).size(), 5u);
}

TEST(DecodeFilterTest, ListsAndNegationsChooseReports) {
    EXPECT_EQ(decode_sequence(five_reports(), {"--category", "sshb,exec"}), (std::vector<int>{3, 4}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--not-category", "0x7,exec"}), (std::vector<int>{1, 2, 5}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--not-component", "accel", "--not-component", "gyro"}),
              (std::vector<int>{3, 4}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--not-event", "data"}), (std::vector<int>{3, 4}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--not-type", "function"}), (std::vector<int>{1, 2, 4, 5}));
    EXPECT_EQ(decode_sequence(five_reports(), {"-n", "2", "--not-type", "5"}), (std::vector<int>{1, 2}));
}

TEST(DecodeFilterTest, GroupsInTextAreApart) {
    const std::vector<std::string> kAccel = {"--component", "accel", "-C", "1"};
    EXPECT_EQ(decode_sequence(five_reports(), kAccel), (std::vector<int>{1, 2, 4, 5})) << "no mark in JSON";

    const std::vector<std::string> lines = split_lines(decode(five_reports(), kAccel).out);

    ASSERT_EQ(lines.size(), 5u);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i] == "--", i == 2) << lines[i];
    }
    EXPECT_EQ(decode_sequence(five_reports(), {"--around", "3", "--context", "1"}), (std::vector<int>{2, 3, 4}));
    EXPECT_EQ(decode_sequence(five_reports(), {"--around", "390us", "-C", "0"}), (std::vector<int>{4}));
    expect_wrong_use({"--stats", "-C", "1"}, "--stats excludes --context");
    expect_wrong_use({"--stats", "--around", "1"}, "--stats excludes --around");
    expect_wrong_use(
        {"--around", "4294967296"},
        "invalid value \"4294967296\" for --around: it is no sequence number, and a time needs a unit or a "
        "date; expected a sequence number such as 9251, or a time such as 7200.5s or "
        "2025-10-09T08:53:21+02:00");
}

TEST(DecodeFilterTest, TimesMayBeSaidInOtherWords) {
    EXPECT_EQ(decode_sequence(five_reports(), {"--since", "0.2ms", "--until", "+300us"}), (std::vector<int>{2, 3, 4}));
    const std::vector<std::string> kZoned = {"--since",     "1970-01-01 01:00:00.0003",
                                             "--time-sync", "qor=0,calendar=1970-01-01T00:00:00Z",
                                             "--time-zone", "Etc/GMT-1"};
    EXPECT_EQ(decode_sequence(five_reports(), kZoned), (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(decode(five_reports(), {"--since", "1970-01-01 00:00:00"}).err,
              "qorstat: standard input: a date and time of day needs the clock of the reports: give --time-sync or "
              "--live\n");
    EXPECT_EQ(decode(five_reports(), {"--until", "-1s"}).err,
              "qorstat: standard input: a time from the end, such as -10m, needs a file: a pipe cannot be read "
              "backwards\n");
    expect_wrong_use({"--until", "tomorrow"}, "invalid value \"tomorrow\" for --until: it is no time; expected a time "
                                              "such as 7200.5s, -10m or 2025-10-09T08:53:21+02:00");
    const std::vector<std::string> kSkipped = {"--until", "2025-03-30 02:30:00", "--time-zone", "Europe/Berlin"};
    expect_wrong_use(kSkipped, "the clocks of this time zone skip 2025-03-30 02:30:00: add its distance from UTC, such "
                               "as +02:00");
}

TEST(DecodeFilterTest, FirstAndLastExcludeEachOther) {
    expect_wrong_use({"--first", "1", "--last", "1"}, "--first excludes --last");
}

TEST(DecodeFilterTest, MoreOfAPipeThanMemoryHoldsIsWrongUse) {
    expect_wrong_use({"--last", "1000001"},
                     "invalid value \"1000001\" for --last: expected at most 1000000 for a pipe");
}

/** Two gaps: 3 to 6 skips two numbers, 6 to 2 goes back. */
std::string dump_with_gaps() {
    return report(kAccelData, 2, 100) + report(kAccelData, 3, 200) + report(kFunction, 6, 900) +
           report(kTrace, 2, 400) + report(kForeignInfo, 3, 500);
}

TEST(DecodeStatisticsTest, CountsAreATable) {
    std::vector<std::string> options = clock_in("UTC");
    options.emplace_back("--stats");

    const Outcome outcome = decode(dump_with_gaps(), options);

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    expect_golden("decode-stats.txt", outcome.out);
}

TEST(DecodeStatisticsTest, CountsAreJson) {
    const json statistics = json::parse(decode(dump_with_gaps(), {"--stats", "--json"}).out);

    EXPECT_EQ(statistics["reports"], 5);
    EXPECT_EQ(statistics["earliest"], 100);
    EXPECT_EQ(statistics["latest"], 900);
    EXPECT_EQ(statistics["gaps"], 2);
    EXPECT_EQ(statistics["missing"], 2);
    EXPECT_EQ(statistics["first_gaps"],
              json::parse(R"([{"offset":96,"before":3,"after":6},{"offset":144,"before":6,"after":2}])"));
    EXPECT_EQ(statistics["categories"][1], json::parse(R"({"category":"sensor","category_id":2,"count":2})"));
    EXPECT_EQ(statistics["components"][1],
              json::parse(R"({"category":"sensor","category_id":2,"component":"accel","component_id":0,"count":2})"));
    EXPECT_EQ(statistics["events"][3], json::parse(R"({"category":"200","category_id":200,"component":"7",)"
                                                   R"("component_id":7,"event":"9","event_id":9,"count":1})"));
    EXPECT_EQ(statistics["types"][1], json::parse(R"({"type":"function","type_id":5,"count":1})"));
}

TEST(DecodeStatisticsTest, AFilterChoosesWhatIsCountedButMakesNoGaps) {
    const json statistics = json::parse(decode(five_reports(), {"--stats", "--json", "--category", "sensor"}).out);

    EXPECT_EQ(statistics["reports"], 3);
    EXPECT_EQ(statistics["gaps"], 0);
    EXPECT_EQ(statistics["categories"].size(), 1u);
}

TEST(DecodeStatisticsTest, TheLastOfAPipeHaveTheGapsThatTheyHaveInAFile) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", dump_with_gaps() + "1234");

    for (const char *const count : {"0", "1", "2", "3", "4", "5", "9"}) {
        const std::vector<std::string> options = {"--stats", "--json", "--last", count};
        std::vector<std::string> of_file = {"decode", file};
        of_file.insert(of_file.end(), options.begin(), options.end());

        EXPECT_EQ(decode(dump_with_gaps() + "1234", options).out, qorstat(of_file).out) << count;
    }
    EXPECT_EQ(json::parse(decode(dump_with_gaps(), {"--stats", "--json", "--last", "3"}).out)["first_gaps"],
              json::parse(R"([{"offset":144,"before":6,"after":2}])"));
}

TEST(DecodeStatisticsTest, WhatStoodBetweenTheLastThatPassIsNotKnownOfAPipe) {
    const std::vector<std::string> options = {"--stats", "--last", "2", "--category", "sensor"};
    const TemporaryFolder folder;
    std::vector<std::string> of_file = {"decode", folder.file("dump", dump_with_gaps())};
    of_file.insert(of_file.end(), options.begin(), options.end());

    expect_wrong_use(options, "--stats with --last and a filter needs a file: a pipe cannot be read backwards");
    EXPECT_EQ(qorstat(of_file).exit_code, 0);
}

TEST(DecodeStatisticsTest, WhereFewerPassThanAreWantedGapsCountFromTheFirstThatPasses) {
    // The gap between 1 and 5 comes before the only report of the gyroscope, and 6 follows it.
    const std::string dump = report(kAccelData, 1, 100) + report(kAccelData, 5, 200) + report(kGyroData, 6, 300) +
                             report(kAccelData, 9, 400);
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", dump);
    const auto gaps = [&](const std::string &last, const std::string &component) {
        const Outcome outcome =
            qorstat({"decode", file, "--stats", "--json", "--last", last, "--component", component});
        return json::parse(outcome.out)["first_gaps"];
    };

    const json after_the_gyroscope = json::parse(R"([{"offset":144,"before":6,"after":9}])");
    EXPECT_EQ(gaps("1", "gyro"), after_the_gyroscope);
    EXPECT_EQ(gaps("2", "gyro"), after_the_gyroscope);
    EXPECT_EQ(gaps("9", "200"), json::array()) << "nothing passes";
}

TEST(DecodeStatisticsTest, AnEmptyDumpHasNothingToCount) {
    EXPECT_EQ(decode("", {"--stats"}).out,
              "reports: 0\nsequence numbers: 0 gaps, 0 missing\ntime stamps that go back: 0, restarts: 0\n"
              "categories\ncomponents\nevents\ntypes\n");
}

TEST(DecodeStatisticsTest, JsonNeedsThem) {
    const Outcome outcome = decode(five_reports(), {"--json"});

    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(outcome.err, "qorstat: decode: --json requires --stats\n");
}

TEST(DecodeDamageTest, TrailingBytesAreNamedOnceAndTheRestIsDecoded) {
    const Outcome outcome = decode(five_reports() + "0123456", {"--format", "jsonl"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(split_lines(outcome.out).size(), 5u);
    EXPECT_EQ(outcome.err, "qorstat: standard input: byte 240: 7 trailing bytes are not a whole report\n");
}

TEST(DecodeDamageTest, StrictFailsForThem) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", five_reports() + "0");

    const Outcome strict = qorstat({"decode", file, "--strict"});

    EXPECT_EQ(strict.exit_code, 1);
    EXPECT_EQ(split_lines(strict.out).size(), 5u);
    EXPECT_EQ(strict.err, "qorstat: " + file + ": byte 240: 1 trailing byte is not a whole report\n");
    EXPECT_EQ(decode(five_reports(), {"--strict"}).exit_code, 0);
}

TEST(DecodeDamageTest, WhatStopsBeforeTheEndSaysNothingAboutIt) {
    const Outcome outcome = decode(five_reports() + "0", {"--strict", "--first", "2"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST(DecodeOutputTest, AFullDiskIsAnError) {
    Surroundings surroundings = with_input(GeneratedDump().bytes);
    surroundings.output_file = "/dev/full";

    const Outcome outcome = qorstat({"decode", "-"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: standard output: No space left on device\n");
}

TEST(DecodeOutputTest, AClosedPipeEndsItQuietly) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", GeneratedDump().bytes);
    RunningProgram program({"decode", file});
    ASSERT_TRUE(program.waits_for_output("\n"));
    program.stop_reading();

    const Outcome outcome = program.wait_for_end();

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST(DecodeOutputTest, ControlCharactersAreEscapedOnATerminalOnly) {
    SKIP_WITHOUT_TERMINALS();
    const std::string dump = report(kForeignInfo, 1, 1, std::string(19, '\0') + "\x1b[31m");
    Surroundings terminal = with_input(dump);
    terminal.output_is_terminal = true;

    for (const std::string format : {"text", "brief"}) {
        EXPECT_NE(qorstat({"decode", "-", "--format", format}, terminal).out.find("'\\x1b[31m'"), std::string::npos);
    }
    EXPECT_NE(decode(dump).out.find("'\x1b[31m'"), std::string::npos);
}

TEST(DecodeOutputTest, NoFormatForProgramsHasControlCharacters) {
    // Escape, delete, U+009B, which terminals read as escape and "[", and U+00A0, which they print.
    const std::string dump = report(kForeignInfo, 1, 1, std::string(19, '\0') + "\x1b\x7f\xC2\x9B\xC2\xA0");

    for (const std::string format : {"jsonl", "csv", "chrome-trace"}) {
        const std::string text = decode(dump, {"--format", format}).out;

        EXPECT_NE(text.find("\\u001b\\u007f\\u009b\xC2\xA0"), std::string::npos) << text;
    }
}

TEST(DecodeFollowTest, ReadsOnAsTheFileGrowsUntilInterrupted) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", report(kAccelData, 1, 100) + "half of a report");
    RunningProgram program({"decode", file, "--follow", "--format", "jsonl"});
    ASSERT_TRUE(program.waits_for_output("\"sequence_num\":1,"));

    // The rest of the second report, which the file ended in, and a third.
    std::ofstream(file, std::ios::binary | std::ios::app) << std::string(32, 'x') << report(kGyroData, 3, 300);
    ASSERT_TRUE(program.waits_for_output("\"sequence_num\":3,"));
    program.send(SIGINT);
    const Outcome outcome = program.wait_for_end();

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(split_lines(outcome.out).size(), 3u);
}

TEST(DecodeFollowTest, EndsQuietlyWithItsReaderThoughTheFileDoesNotGrow) {
    const TemporaryFolder folder;
    RunningProgram program({"decode", folder.file("dump", five_reports()), "--follow", "--format", "jsonl"});
    ASSERT_TRUE(program.waits_for_output("\"sequence_num\":5,"));

    program.stop_reading();
    const Outcome outcome = program.wait_for_end();

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST(DecodeFollowTest, AFileThatIsCutIsAnError) {
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", five_reports());
    RunningProgram program({"decode", file, "--follow", "--format", "jsonl"});
    ASSERT_TRUE(program.waits_for_output("\"sequence_num\":5,"));

    std::filesystem::resize_file(file, 100);
    const Outcome outcome = program.wait_for_end();

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: " + file + ": byte 100: the file was truncated while it was being followed\n");
}

/** The program waits for the reader of its output while the file that it reads in place is cut. */
TEST(DecodeDamageTest, AFileThatIsCutWhileItIsReadIsAnErrorBehindAllThatIsWhole) {
    constexpr std::size_t kReports = 150'000;
    constexpr std::size_t kSize = 120'000 * kReportSize + 11;
    std::string dump;
    for (std::size_t i = 0; i < kReports; ++i) {
        dump += report(kAccelData, static_cast<std::uint32_t>(i), 5);
    }
    const TemporaryFolder folder;
    const std::string file = folder.file("dump", dump);
    const std::string expected = qorstat({"decode", folder.file("whole", dump.substr(0, kSize - 11))}).out;
    RunningProgram program({"decode", file});
    ASSERT_TRUE(program.waits_for_output("\n"));

    std::filesystem::resize_file(file, kSize);
    const Outcome outcome = program.wait_for_end();

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: " + file + ": byte " + std::to_string(kSize) +
                               ": the file was truncated while it was being read\n");
    EXPECT_TRUE(outcome.out == expected) << outcome.out.size() << " bytes instead of " << expected.size();
}

/** A followed file that others rotate. */
class DecodeRotationTest : public testing::Test {
protected:
    void start(const std::string &option) {
        program.emplace(std::vector<std::string>{"decode", file, option, "--format", "jsonl"});
        ASSERT_TRUE(program->waits_for_output("\"sequence_num\":5,"));
    }

    std::string message(const std::string &text) const { return "qorstat: " + file + ": " + text + "\n"; }

    /** @return the sequence numbers that were printed. */
    std::vector<int> interrupt(const std::string &messages) {
        program->send(SIGINT);
        const Outcome outcome = program->wait_for_end();
        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.err, messages);
        return parse_sequence(outcome.out);
    }

    void append(const std::string &to, const std::string &bytes) const {
        std::ofstream(to, std::ios::binary | std::ios::app) << bytes;
    }

    const TemporaryFolder folder;
    const std::string file = folder.file("dump", five_reports());
    const std::string other = folder.path() / "dump.1";
    std::optional<RunningProgram> program;
};

TEST_F(DecodeRotationTest, TheOpenFileIsFollowedOnAndItsNewNamesAreSaid) {
    start("--follow");

    std::filesystem::rename(file, other);
    ASSERT_TRUE(program->waits_for_message("the file was renamed; still following the one that is open"));
    folder.file("dump", report(kAccelData, 70, 1));
    ASSERT_TRUE(program->waits_for_message("another file has this name now; still following the one that is open"));
    append(other, report(kGyroData, 6, 600));
    ASSERT_TRUE(program->waits_for_output("\"sequence_num\":6,"));

    EXPECT_EQ(interrupt(message("the file was renamed; still following the one that is open") +
                        message("another file has this name now; still following the one that is open")),
              (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

TEST_F(DecodeRotationTest, ARemovedFileIsSaidOnce) {
    start("--follow");

    std::filesystem::remove(file);
    const std::string removed = "the file was removed; still following the one that is open";
    ASSERT_TRUE(program->waits_for_message(removed));

    EXPECT_EQ(interrupt(message(removed)), (std::vector<int>{1, 2, 3, 4, 5}));
}

TEST_F(DecodeRotationTest, TheNameIsFollowedToTheNextFile) {
    start("--follow=name");

    std::filesystem::rename(file, other);
    ASSERT_TRUE(program->waits_for_message("the file was renamed; waiting for a new one"));
    append(other, report(kGyroData, 6, 600) + "half");
    ASSERT_TRUE(program->waits_for_output("\"sequence_num\":6,"));
    folder.file("dump", report(kAccelData, 7, 700) + report(kAccelData, 8, 800));
    ASSERT_TRUE(program->waits_for_output("\"sequence_num\":8,"));
    append(file, report(kAccelData, 9, 900));
    ASSERT_TRUE(program->waits_for_output("\"sequence_num\":9,"));

    EXPECT_EQ(interrupt(message("the file was renamed; waiting for a new one") +
                        message("another file has this name now; going on with it") +
                        message("4 bytes at the end of the former content are not a whole report")),
              (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(DecodeRotationTest, AFileThatReplacesAnotherAtOnceIsFollowedByName) {
    start("--follow=name");

    std::filesystem::rename(folder.file("next", report(kAccelData, 6, 600)), file);
    ASSERT_TRUE(program->waits_for_output("\"sequence_num\":6,"));

    EXPECT_EQ(interrupt(message("another file has this name now; going on with it")),
              (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

TEST_F(DecodeRotationTest, WhatIsNoRegularFileIsNotFollowedByName) {
    const std::string pipe = folder.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    start("--follow=name");

    std::filesystem::rename(pipe, file);
    ASSERT_TRUE(program->waits_for_message(file + ": "));
    std::filesystem::rename(folder.file("next", report(kAccelData, 6, 600)), file);
    ASSERT_TRUE(program->waits_for_output("\"sequence_num\":6,"));

    EXPECT_EQ(interrupt(message("the file was removed; waiting for a new one") +
                        message("another file has this name now; going on with it")),
              (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

TEST_F(DecodeRotationTest, ACutFileIsReadFromItsStartByName) {
    start("--follow=name");

    std::filesystem::resize_file(file, 0);
    ASSERT_TRUE(program->waits_for_message("the file was truncated; going on from its start"));
    append(file, report(kAccelData, 6, 600));
    ASSERT_TRUE(program->waits_for_output("\"sequence_num\":6,"));

    EXPECT_EQ(interrupt(message("the file was truncated; going on from its start")),
              (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

TEST(DecodeFollowTest, WhatCannotBeFollowedByNameIsWrongUse) {
    expect_wrong_use({"--follow=name"}, "--follow=name requires the name of a file");
    expect_wrong_use({"--follow=inode"}, "invalid value \"inode\" for --follow: expected name or no value");
}

TEST(DecodeTextTest, ATextThatIsNoUtf8IsInALineThatThePlugInLeavesOut) {
    const std::string file = QOR_SOURCE_FOLDER "/tests/data/report-not-utf8.bin";
    const std::string bytes = content_of(file);
    ASSERT_EQ(bytes.size(), kReportSize);
    const TemporaryFolder folder;
    // The first of the two reports that the firmware gives to a capture becomes this one.
    std::string description = content_of(QOR_SOURCE_FOLDER "/tests/data/small.toml");
    const std::string first_digits = "05 00 01 00 01 00 00 00 40 42 0f 00 00 00 00 00\n"
                                     "01 01 00 00 00 00 00 00 02 00 00 00 5e 01 00 00\n"
                                     "01 00 00 00 90 01 00 00 00 00 00 00 00 00 00 00\n";
    const std::size_t place = description.find(first_digits);
    ASSERT_NE(place, std::string::npos);
    std::string digits;
    for (const char byte : bytes) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        digits += pair;
    }
    description.replace(place, first_digits.size(), digits);
    const std::string captured = folder.path() / "captured";

    const Outcome decoded = qorstat({"decode", file});
    ASSERT_EQ(qorstat({"capture", folder.file("device.toml", description), "-o", captured}).exit_code, 0);
    std::string profile;
    for (const auto &record : std::filesystem::directory_iterator(captured)) {
        const std::string name = record.path().filename();
        profile = name.find("ZEL Profile 0") != std::string::npos && name.find("type=fw") != std::string::npos
                      ? record.path().string()
                      : profile;
    }

    EXPECT_NE(decoded.out.find("'function':    'ab\xFF\x80'"), std::string::npos) << decoded.out;
    EXPECT_EQ(split_lines(decoded.out).size(), 1u);
    const std::vector<std::string> lines = split_lines(qorstat({"show", profile}).out);
    ASSERT_EQ(lines.size(), 2u) << "a title and the second report";
    EXPECT_NE(lines[1].find("'sequence_num':         2"), std::string::npos) << lines[1];
}

} // namespace
} // namespace cli_tests
