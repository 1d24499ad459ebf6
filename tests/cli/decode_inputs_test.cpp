/** `decode` with several inputs and with inputs that are no plain dumps, the built program. */
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/cli/program.h"
#include "tests/cli/reports.h"

using nlohmann::json;

namespace cli_tests {
namespace {

const std::string kPhone = QOR_SOURCE_FOLDER "/examples/phone.toml";
const std::string kReportsOfDriver = QOR_SOURCE_FOLDER "/examples/reports/drvx.bin";
const std::string kUnreadable = "/proc/self/mem";

std::vector<json> parse_lines(const std::string &text) {
    std::vector<json> objects;
    for (const std::string &line : split_lines(text)) {
        objects.push_back(json::parse(line));
    }
    return objects;
}

/** Reports of the accelerometer with these numbers, each at a hundred times its number. */
std::string dump_of(const std::vector<std::uint32_t> &numbers) {
    std::string dump;
    for (const std::uint32_t number : numbers) {
        dump += report(kAccelData, number, 100 * std::uint64_t{number});
    }
    return dump;
}

/** Files in a folder, which is the program's working directory. */
class DecodeInputsTest : public testing::Test {
protected:
    Outcome decode(std::vector<std::string> arguments, std::string input = {}) const {
        arguments.insert(arguments.begin(), "decode");
        Surroundings surroundings;
        surroundings.folder = folder.path();
        surroundings.standard_input = std::move(input);
        surroundings.environment["TZ"] = "Europe/Berlin";
        return qorstat(arguments, surroundings);
    }

    /** "FILE@OFFSET: NUMBER" of each report of JSON Lines. */
    static std::vector<std::string> places(const std::string &out) {
        std::vector<std::string> all;
        for (const json &object : parse_lines(out)) {
            all.push_back(object.at("file").get<std::string>() + "@" + object.at("offset").dump() + ": " +
                          object.at("sequence_num").dump());
        }
        return all;
    }

    const TemporaryFolder folder;
};

TEST_F(DecodeInputsTest, RowsOfSeveralHaveTheirFileAndOffset) {
    folder.file("a", dump_of({1, 2}));
    folder.file("b", dump_of({7}));

    const Outcome rows = decode({"a", "b", "--format", "jsonl"});
    const Outcome alone = decode({"b", "--format", "jsonl"});
    const Outcome wanted = decode({"b", "--format", "jsonl", "--with-file"});

    EXPECT_EQ(rows.exit_code, 0);
    EXPECT_EQ(rows.err, "");
    EXPECT_EQ(places(rows.out), (std::vector<std::string>{"a@0: 1", "a@48: 2", "b@0: 7"}));
    // A single file has the columns only when they are wanted; then they come first.
    EXPECT_EQ(alone.out.rfind("{\"category\":", 0), 0u);
    EXPECT_EQ(wanted.out, "{\"file\":\"b\",\"offset\":0," + alone.out.substr(1));
}

TEST_F(DecodeInputsTest, CsvOfSeveralHasTheColumnsFirst) {
    folder.file("a", dump_of({1}));
    folder.file("b,\"x\"", dump_of({7}));
    const std::vector<std::string> alone = split_lines(decode({"a", "--format", "csv"}).out);

    const std::vector<std::string> rows = split_lines(decode({"a", "b,\"x\"", "--format", "csv"}).out);

    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0], "file,offset," + alone[0]);
    EXPECT_EQ(rows[1], "a,0," + alone[1]);
    EXPECT_EQ(rows[2].rfind("\"b,\"\"x\"\"\",0,sensor,", 0), 0u) << rows[2];
}

TEST_F(DecodeInputsTest, LinesHaveTheirFileWhenThatIsWanted) {
    folder.file("a", dump_of({1}));
    folder.file("b", dump_of({2}));
    const std::string a = decode({"a"}).out;
    const std::string b = decode({"b"}).out;

    EXPECT_EQ(decode({"a", "b"}).out, a + b);
    EXPECT_EQ(decode({"a", "b", "--with-file"}).out, "a: " + a + "b: " + b);
    EXPECT_EQ(decode({"a", "-", "--with-file"}, dump_of({2})).out, "a: " + a + "standard input: " + b);
    EXPECT_EQ(decode({"a", "b", "--with-file", "--category", "sensor", "--context", "0"}).out,
              "a: " + a + "--\nb: " + b);
}

TEST_F(DecodeInputsTest, AFolderStandsForItsFilesInTheOrderOfTheirPaths) {
    std::filesystem::create_directories(folder.path() / "day/one");
    folder.file("day/b", dump_of({3}));
    folder.file("day/one/z", dump_of({4}));
    folder.file("day/a", dump_of({1, 2}));

    EXPECT_EQ(places(decode({"day", "--format", "jsonl"}).out),
              (std::vector<std::string>{"day/a@0: 1", "day/a@48: 2", "day/b@0: 3", "day/one/z@0: 4"}));
}

TEST_F(DecodeInputsTest, AListNamesInputs) {
    folder.file("a", dump_of({1}));
    folder.file("b", dump_of({2}));
    folder.file("c", dump_of({3}));

    const Outcome outcome = decode({"c", "--files-from", "-", "--format", "jsonl"}, "b\na\n");

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(places(outcome.out), (std::vector<std::string>{"c@0: 3", "b@0: 2", "a@0: 1"}));
}

TEST_F(DecodeInputsTest, OneThatIsBadIsNamedOnceAndTheOthersAreDone) {
    folder.file("a", dump_of({1}));
    folder.file("b", dump_of({2}));
    folder.file("image", "\x89PNG\r\n\x1A\n" + std::string(100, 'x'));

    for (const std::vector<std::string> &form : std::vector<std::vector<std::string>>{
             {}, {"--last", "5"}, {"--merge-by", "time"}, {"--merge-by", "time", "--last", "5"}}) {
        std::vector<std::string> arguments = {"nowhere", "a", "image", "b", kUnreadable, "--format", "jsonl"};
        arguments.insert(arguments.end(), form.begin(), form.end());

        const Outcome outcome = decode(arguments);

        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_EQ(places(outcome.out), (std::vector<std::string>{"a@0: 1", "b@0: 2"}));
        EXPECT_EQ(outcome.err, "qorstat: nowhere: No such file or directory\n"
                               "qorstat: image: is a PNG image, not a dump\n"
                               "qorstat: " +
                                   kUnreadable + ": Input/output error\n");
    }
}

TEST_F(DecodeInputsTest, ATraceIsWholeWhateverInputsAreBad) {
    folder.file("a", dump_of({1}));
    folder.file("b\"", dump_of({2}));

    const Outcome outcome = decode({"nowhere", "a", "b\"", "--format", "chrome-trace"});

    EXPECT_EQ(outcome.exit_code, 1);
    std::vector<std::string> processes;
    const json trace = json::parse(outcome.out);
    for (const json &event : trace.at("traceEvents")) {
        if (event.at("name") == "process_name") {
            processes.push_back(event.at("pid").dump() + " " + event.at("args").at("name").get<std::string>());
        }
    }
    EXPECT_EQ(processes,
              (std::vector<std::string>{"1001 a: threads", "1012 a: sensor", "2001 b\": threads", "2012 b\": sensor"}));
}

TEST_F(DecodeInputsTest, TheEventsOfEachInputAreThoseOfItsOwnTrace) {
    folder.file("a", dump_of({1, 2}) + report(kFunction, 3, 300));
    folder.file("b", report(kTrigger, 4, 50) + report(kFunction, 5, 100));
    const auto events_of = [&](const std::vector<std::string> &files, std::uint64_t process) {
        std::vector<std::string> arguments = files;
        arguments.insert(arguments.end(), {"--format", "chrome-trace"});
        std::vector<json> events;
        const json trace = json::parse(decode(arguments).out);
        for (json event : trace.at("traceEvents")) {
            const std::uint64_t pid = event.at("pid");
            if (event.at("ph") != "M" && pid / 1000 == process) {
                event["pid"] = pid % 1000;
                events.push_back(event);
            }
        }
        return events;
    };

    EXPECT_EQ(events_of({"a", "b"}, 1), events_of({"a"}, 0));
    EXPECT_EQ(events_of({"a", "b"}, 2), events_of({"b"}, 0));
    EXPECT_FALSE(events_of({"b"}, 0).empty());
}

TEST_F(DecodeInputsTest, FirstAndLastCountOverAllInputs) {
    folder.file("a", dump_of({1, 2}));
    folder.file("b", dump_of({3, 4}));
    folder.file("c", dump_of({5}));
    const auto places_with = [&](const std::string &option, const std::string &count) {
        return places(decode({"a", "b", "c", "--format", "jsonl", option, count}).out);
    };

    EXPECT_EQ(places_with("--first", "3"), (std::vector<std::string>{"a@0: 1", "a@48: 2", "b@0: 3"}));
    EXPECT_EQ(places_with("--last", "2"), (std::vector<std::string>{"b@48: 4", "c@0: 5"}));
}

TEST_F(DecodeInputsTest, TheLastOfPackedAndPipedInputsAreThoseOfAll) {
    folder.file("a", dump_of({1, 2}));
    folder.file("c", dump_of({5}));

    EXPECT_EQ(places(decode({"a", "-", "c", "--format", "jsonl", "--last", "3"}, dump_of({3, 4})).out),
              (std::vector<std::string>{"standard input@0: 3", "standard input@48: 4", "c@0: 5"}));
    EXPECT_EQ(places(decode({"a", "-", "c", "--format", "jsonl", "--last", "2"}, dump_of({3, 4})).out),
              (std::vector<std::string>{"standard input@48: 4", "c@0: 5"}));
}

TEST_F(DecodeInputsTest, MergedByTimeTheyAreInOneOrder) {
    folder.file("a", dump_of({1, 4, 5}));
    folder.file("b", dump_of({2, 3, 6}));

    EXPECT_EQ(places(decode({"a", "b", "--format", "jsonl", "--merge-by", "time"}).out),
              (std::vector<std::string>{"a@0: 1", "b@0: 2", "b@48: 3", "a@48: 4", "a@96: 5", "b@96: 6"}));
    EXPECT_EQ(places(decode({"a", "b", "--format", "jsonl", "--merge-by", "time", "--last", "2"}).out),
              (std::vector<std::string>{"a@96: 5", "b@96: 6"}));
}

TEST_F(DecodeInputsTest, StatisticsHaveARowPerInputAndASum) {
    folder.file("a", dump_of({1, 2, 5}));
    folder.file("b", dump_of({9, 8}));
    folder.file("empty", "");

    const Outcome text = decode({"a", "b", "empty", "--stats"});
    const json object = json::parse(decode({"a", "b", "empty", "--stats", "--json"}).out);

    EXPECT_EQ(text.exit_code, 0);
    const std::vector<std::string> lines = split_lines(text.out);
    ASSERT_GT(lines.size(), 9u);
    EXPECT_EQ(lines[0], "inputs   reports  gaps  missing  earliest  latest");
    EXPECT_EQ(lines[1], "  a            3     1        2       100     500");
    EXPECT_EQ(lines[2], "  b            2     1        0       800     900");
    EXPECT_EQ(lines[3], "  empty        0     0        0");
    EXPECT_EQ(lines[4], "reports: 5");
    EXPECT_EQ(lines[6], "sequence numbers: 2 gaps, 2 missing"); // from one input to the next there is none
    EXPECT_EQ(lines[7], "  a: byte 96: 5 after 2");
    EXPECT_EQ(lines[8], "  b: byte 48: 8 after 9");
    EXPECT_EQ(object.at("reports"), 5);
    EXPECT_EQ(object.at("gaps"), 2);
    EXPECT_EQ(object.at("inputs"),
              json::parse(R"([{"file":"a","reports":3,"earliest":100,"latest":500,"gaps":1,"missing":2},
                              {"file":"b","reports":2,"earliest":800,"latest":900,"gaps":1,"missing":0},
                              {"file":"empty","reports":0,"gaps":0,"missing":0}])"));
    EXPECT_EQ(object.at("first_gaps"), json::parse(R"([{"file":"a","offset":96,"before":2,"after":5},
                                                       {"file":"b","offset":48,"before":9,"after":8}])"));
}

TEST_F(DecodeInputsTest, SkippedBytesAreNoReports) {
    folder.file("a", "1234567" + dump_of({1, 2, 3}) + "12");

    const Outcome outcome = decode({"a", "--skip", "7", "--format", "jsonl", "--with-file"});
    const Outcome piped =
        decode({"-", "--skip", "7", "--format", "jsonl", "--with-file"}, "1234567" + dump_of({1, 2, 3}) + "12");

    EXPECT_EQ(places(outcome.out), (std::vector<std::string>{"a@0: 1", "a@48: 2", "a@96: 3"}));
    EXPECT_EQ(outcome.err, "qorstat: a: byte 144: 2 trailing bytes are not a whole report\n");
    EXPECT_EQ(places(piped.out).size(), 3u);
    EXPECT_EQ(decode({"a", "--skip", "1000"}).out, "");
    EXPECT_EQ(places(decode({"a", "--skip", "7", "--format", "jsonl", "--with-file", "--last", "1"}).out),
              (std::vector<std::string>{"a@96: 3"}));
}

TEST_F(DecodeInputsTest, WhatDoesNotLookLikeADumpIsSaidOnce) {
    const std::string shifted = content_of(kReportsOfDriver).substr(5);
    folder.file("shifted", shifted);
    const std::string doubt = "does not look like a dump: sequence numbers do not follow one another and ids have no "
                              "names; try --skip 43\n";

    for (const std::string name : {"shifted", "-"}) {
        const std::string shown = name == "-" ? "standard input" : name;
        const Outcome outcome = decode({name, "--format", "jsonl"}, shifted);
        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(split_lines(outcome.out).size(), shifted.size() / 48);
        EXPECT_EQ(outcome.err, "qorstat: " + shown + ": " + doubt + "qorstat: " + shown +
                                   ": byte 12240: 43 trailing bytes are not a whole report\n");

        const Outcome refused = decode({name, "--strict"}, shifted);
        EXPECT_EQ(refused.exit_code, 1);
        EXPECT_EQ(refused.out, "");
        EXPECT_EQ(refused.err, "qorstat: " + shown + ": " + doubt);

        const Outcome skipped = decode({name, "--skip", "43", "--strict", "--format", "jsonl"}, shifted);
        EXPECT_EQ(skipped.exit_code, 0);
        EXPECT_EQ(skipped.err, "");
        EXPECT_EQ(parse_lines(skipped.out).size(), 255u);
    }
    EXPECT_EQ(decode({"shifted", "--skip", "48", "--first", "0"}).err,
              "qorstat: shifted: does not look like a dump: sequence numbers do not follow one another and ids have no "
              "names; try --skip 91\n");
}

TEST_F(DecodeInputsTest, AStrictReaderOfADumpInAPipeGetsAllOfIt) {
    const std::string dump = content_of(kReportsOfDriver);

    const Outcome outcome = decode({"-", "--strict"}, dump);

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, decode({kReportsOfDriver}).out);
}

TEST_F(DecodeInputsTest, FollowingTakesOneFile) {
    folder.file("a", "");
    for (const std::vector<std::string> &inputs : std::vector<std::vector<std::string>>{{"a", "a"}, {"."}}) {
        std::vector<std::string> arguments = inputs;
        arguments.emplace_back("--follow");

        const Outcome outcome = decode(arguments);

        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_EQ(outcome.err, "qorstat: decode: --follow takes one file\n");
    }
}

// ---- records

/** A capture of the phone, written into the folder. */
class DecodeRecordsTest : public DecodeInputsTest {
protected:
    DecodeRecordsTest() {
        Surroundings surroundings;
        surroundings.environment["TZ"] = "Europe/Berlin";
        const Outcome captured =
            qorstat({"capture", kPhone, "--kind", "fault", "-o", (folder.path() / "fault").string()}, surroundings);
        EXPECT_EQ(captured.exit_code, 0) << captured.err;
    }

    Outcome show(const std::string &file) const {
        Surroundings surroundings;
        surroundings.folder = folder.path();
        return qorstat({"show", file}, surroundings);
    }
};

TEST_F(DecodeRecordsTest, EveryRecordGivesItsLines) {
    std::size_t records = 0;
    std::string all;
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(folder.path() / "fault")) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const std::filesystem::path &file : files) {
        const std::string shown = show(file).out;
        const std::string lines = shown.substr(shown.find('\n') + 1); // without the title

        const Outcome outcome = decode({file});

        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.err, "");
        ASSERT_EQ(outcome.out, lines) << file;
        all += lines;
        ++records;
    }
    EXPECT_EQ(records, 104u);
    EXPECT_TRUE(decode({"fault"}).out == all);
}

TEST_F(DecodeRecordsTest, JsonIsThatOfTheDumpWithTheClockOfTheLines) {
    // The first 32 reports of the driver are those of this record.
    const std::string record = "fault/049-ZEL Profile 0 ;count=32 ;type=drvx.qorstate";
    const std::vector<json> rows = parse_lines(decode({record, "--format", "jsonl"}).out);
    ASSERT_EQ(rows.size(), 32u);
    const std::string boot = rows[0].at("boot_timestamp").dump();

    // The year is not in the line: it follows from when the phone booted.
    EXPECT_EQ(rows, parse_lines(decode({kReportsOfDriver, "--first", "32", "--format", "jsonl", "--boot-time", boot,
                                        "--time-sync", "qor=7200000000000,calendar=1760000000000000000"})
                                    .out));
}

TEST_F(DecodeRecordsTest, AClockThatIsGivenWins) {
    const std::string record = "fault/049-ZEL Profile 0 ;count=32 ;type=drvx.qorstate";
    const std::vector<std::string> clock = {"--time-sync", "qor=0,calendar=1", "--boot-time", "7", "--first", "32"};
    std::vector<std::string> of_record = {record};
    std::vector<std::string> of_dump = {kReportsOfDriver};
    of_record.insert(of_record.end(), clock.begin(), clock.end());
    of_dump.insert(of_dump.end(), clock.begin(), clock.end());

    EXPECT_EQ(decode(of_record).out, decode(of_dump).out);
}

TEST_F(DecodeRecordsTest, AFolderOfThemIsATrace) {
    const Outcome outcome = decode({"fault", "--category", "wake", "--format", "chrome-trace"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    std::size_t events = 0;
    const json trace = json::parse(outcome.out);
    for (const json &event : trace.at("traceEvents")) {
        events += event.at("ph") == "i" ? 1 : 0;
    }
    EXPECT_EQ(events, split_lines(decode({"fault", "--category", "wake"}).out).size());
    EXPECT_GT(events, 0u);
}

TEST_F(DecodeRecordsTest, StatisticsHaveTheTimesOfTheRecord) {
    const Outcome outcome = decode({"fault/049-ZEL Profile 0 ;count=32 ;type=drvx.qorstate", "--stats"});

    EXPECT_NE(outcome.out.find("wall-clock time: "), std::string::npos) << outcome.out;
}

/** A record of these lines. */
std::string record_of(const std::vector<std::string> &lines) {
    std::string payload = "\xD9\xD9\xF7";
    payload += static_cast<char>(0x80 + lines.size());
    for (const std::string &line : lines) {
        payload += "\x79";
        payload += static_cast<char>(line.size() >> 8);
        payload += static_cast<char>(line.size() & 0xFF);
        payload += line;
    }
    std::string header = little_endian(1, 4) + little_endian(payload.size(), 4);
    for (const std::string text : {"plug-in", "type", "title"}) {
        header += text + std::string(64 - text.size(), '\0');
    }
    return header + payload;
}

TEST_F(DecodeInputsTest, ALineWithoutAReportIsNamedBehindTheOthers) {
    folder.file("dump", dump_of({1, 2}));
    const std::vector<std::string> lines = split_lines(decode({"dump"}).out);
    folder.file("x.qorstate", record_of({lines[0], "", lines[1], "nothing"}));

    const Outcome outcome = decode({"x.qorstate"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, lines[0] + "\n" + lines[1] + "\n");
    EXPECT_EQ(outcome.err, "qorstat: x.qorstate: byte 0: line 2 of the record \"title\" does not end in the bytes of a "
                           "report\n");
}

TEST_F(DecodeInputsTest, ARecordWithoutReportsIsAnErrorUnlessItIsInAFolder) {
    folder.file("dump", dump_of({1}));
    const std::vector<std::string> lines = split_lines(decode({"dump"}).out);
    std::filesystem::create_directory(folder.path() / "both");
    folder.file("both/a.qorstate", record_of({"no report"}));
    folder.file("both/b.qorstate", record_of({lines[0]}));

    const Outcome alone = decode({"both/a.qorstate"});
    const Outcome all = decode({"both"});

    EXPECT_EQ(alone.exit_code, 1);
    EXPECT_EQ(alone.err, "qorstat: both/a.qorstate: has no reports\n");
    EXPECT_EQ(all.exit_code, 0);
    EXPECT_EQ(all.err, "");
    EXPECT_EQ(all.out, lines[0] + "\n");
}

TEST_F(DecodeInputsTest, ADamagedRecordIsAnError) {
    folder.file("dump", dump_of({1}));
    const std::string record = record_of(split_lines(decode({"dump"}).out));
    folder.file("x.qorstate", record.substr(0, record.size() - 10));

    const Outcome outcome = decode({"x.qorstate", "dump", "--format", "jsonl"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(parse_lines(outcome.out).size(), 1u);
    EXPECT_EQ(outcome.err.rfind("qorstat: x.qorstate: byte 4: the payload size is ", 0), 0u) << outcome.err;
}

} // namespace
} // namespace cli_tests
