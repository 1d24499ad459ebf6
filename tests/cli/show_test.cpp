#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/store/analytics_store.h"
#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/records/known_payloads.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports/dumps.h"

using cli_tests::encode;
using cli_tests::expect_golden;
using cli_tests::haptic_assets;
using cli_tests::kDictionary;
using cli_tests::kEmptyDictionary;
using cli_tests::kRedLine;
using cli_tests::kTwoLines;
using cli_tests::Outcome;
using cli_tests::press_statistics;
using cli_tests::qorstat;
using cli_tests::record;
using cli_tests::RunningProgram;
using cli_tests::sensor_information;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;

namespace {

const std::string kLinesTitle = "ZEL Profile 0 ;count=2 ;type=fw";

Surroundings with_input(std::string input) {
    Surroundings surroundings;
    surroundings.standard_input = std::move(input);
    return surroundings;
}

Surroundings on_a_terminal(std::string input) {
    Surroundings surroundings = with_input(std::move(input));
    surroundings.output_is_terminal = true;
    return surroundings;
}

/** `show` of a damaged file prints one line with file, place and reason, and nothing of the file; others are shown. */
void expect_refused(const std::string &bytes, const std::string &place_and_reason) {
    const TemporaryFolder folder;
    folder.file("good", record("Good", kTwoLines));
    folder.file("bad", bytes);
    Surroundings in_folder;
    in_folder.folder = folder.path();

    const Outcome outcome = qorstat({"show", "good", "bad", "good"}, in_folder);

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "Good\n{ 'a':1,}\n{ 'b':2,}\n\nGood\n{ 'a':1,}\n{ 'b':2,}\n");
    EXPECT_EQ(outcome.err, "qorstat: bad: " + place_and_reason + "\n");
    EXPECT_EQ(qorstat({"show", "bad"}, in_folder).out, "");
    EXPECT_EQ(qorstat({"show", "bad", "--json"}, in_folder).out, "");
}

/** One record for each title that has its own rendering. */
std::string known_records() {
    return record("SSHB Statistics", encode(press_statistics().take())) +
           record("SSHB assets", encode(haptic_assets().take())) +
           record("SensorInfo", encode(sensor_information().take())) +
           record(kLinesTitle,
                  encode(cli_tests::array(cli_tests::text("{  'category':  'exec', 'component': 'command',}"),
                                          cli_tests::text("{  'category':   '200', 'component':       '3',}"))));
}

TEST(ShowTest, ShowsOneRecord) {
    const Outcome outcome = qorstat({"show", "-"}, with_input(record(kLinesTitle, kTwoLines)));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "ZEL Profile 0 ;count=2 ;type=fw\n{ 'a':1,}\n{ 'b':2,}\n");
    EXPECT_EQ(outcome.err, "");
}

TEST(ShowTest, ShowsManyRecordsOfManyFiles) {
    const TemporaryFolder folder;
    const std::string first = folder.file("first", record(kLinesTitle, kTwoLines) + record("SensorInfo", kDictionary));
    const std::string second = folder.file("second", record("SSHB assets", kEmptyDictionary));

    const Outcome outcome = qorstat({"show", first, second});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    expect_golden("show-text.txt", outcome.out);
}

TEST(ShowTest, DrawsKnownTitlesInTheirForms) {
    const Outcome outcome = qorstat({"show", "-"}, with_input(known_records()));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    expect_golden("show-known-titles.txt", outcome.out);
}

TEST(ShowTest, DrawsKnownTitlesForATerminal) {
    SKIP_WITHOUT_TERMINALS();
    const Outcome outcome = qorstat({"show", "-"}, on_a_terminal(known_records()));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    expect_golden("show-known-titles-terminal.txt", outcome.out);
}

TEST(ShowTest, WithoutColoursATerminalShowsWhatAPipeGets) {
    SKIP_WITHOUT_TERMINALS();
    Surroundings surroundings = on_a_terminal(known_records());
    surroundings.environment = {{"NO_COLOR", "1"}};
    std::string out = qorstat({"show", "-"}, surroundings).out;
    out.erase(std::remove(out.begin(), out.end(), '\r'), out.end());

    EXPECT_EQ(out, qorstat({"show", "-"}, with_input(known_records())).out);
}

TEST(ShowTest, KnownTitlesAreThePayloadAsItIsInJson) {
    const Outcome outcome = qorstat({"show", "--json", "-"}, with_input(known_records()));

    const auto json = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(json[0]["payload"]["last button press"]["click 1"]["button up ts"], 1090000);
    EXPECT_EQ(json[1]["payload"]["Fast-(null)"], "enable=0 slot=16 gain=-0.500000 min=0 max=120");
    EXPECT_EQ(json[2]["payload"]["orientationMatrix"], "1 0 0, 0 -1 0, 0 0 -128");
    EXPECT_EQ(json[3]["payload"][0], "{  'category':  'exec', 'component': 'command',}");
}

TEST(ShowTest, ShowsRecordsAsJson) {
    const TemporaryFolder folder;
    folder.file("records", record(kLinesTitle, kTwoLines) + record("SensorInfo", kDictionary));
    Surroundings in_folder;
    in_folder.folder = folder.path();

    const Outcome outcome = qorstat({"show", "--json", "records"}, in_folder);

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    expect_golden("show.json", outcome.out);
    const auto json = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(json[1]["payload"]["big"], INT64_MAX);
    EXPECT_EQ(json[1]["payload"]["low"], INT64_MIN);
    EXPECT_EQ(json[1]["payload"]["raw"], "00ab");
    EXPECT_EQ(json[1]["offset"], json[0]["size"]);
}

TEST(ShowTest, AnEmptyFileHasNoRecords) {
    const Outcome text = qorstat({"show", "-"});
    const Outcome json = qorstat({"show", "--json", "-"});

    EXPECT_EQ(text.exit_code, 0);
    EXPECT_EQ(text.out + text.err, "");
    EXPECT_EQ(json.exit_code, 0);
    EXPECT_EQ(json.out, "[]\n");
}

TEST(ShowTest, APipeGetsTheExactBytes) {
    const Outcome outcome = qorstat({"show", "-"}, with_input(record("T", kRedLine)));

    EXPECT_EQ(outcome.out, "T\n\x1b[31mred\n");
}

TEST(ShowTest, ATerminalGetsColouredTitlesAndEscapedTexts) {
    SKIP_WITHOUT_TERMINALS();
    const Outcome outcome = qorstat({"show", "-"}, on_a_terminal(record("T", kRedLine)));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "\x1b[1mT\x1b[0m\r\n\\x1b[31mred\r\n");
}

TEST(ShowTest, NoColorTakesTheColoursAway) {
    SKIP_WITHOUT_TERMINALS();
    Surroundings surroundings = on_a_terminal(record("T", kRedLine));
    surroundings.environment = {{"NO_COLOR", "1"}};

    EXPECT_EQ(qorstat({"show", "-"}, surroundings).out, "T\r\n\\x1b[31mred\r\n");
}

TEST(ShowTest, AnEmptyNoColorMeansNothing) {
    SKIP_WITHOUT_TERMINALS();
    Surroundings surroundings = on_a_terminal(record("T", kRedLine));
    surroundings.environment = {{"NO_COLOR", ""}};

    EXPECT_EQ(qorstat({"show", "-"}, surroundings).out, "\x1b[1mT\x1b[0m\r\n\\x1b[31mred\r\n");
}

TEST(ShowTest, AHeaderCutShortIsNamed) {
    expect_refused(record("T", kTwoLines).substr(0, 150),
                   "byte 0: a record header takes 200 bytes and only 150 are left");
    expect_refused(record("T", kEmptyDictionary) + "x",
                   "byte 204: a record header takes 200 bytes and only 1 are left");
}

TEST(ShowTest, ASizeWordThatLiesIsNamed) {
    expect_refused(record("T", kEmptyDictionary, 5), "byte 4: the payload size is 5 and only 4 bytes are left");
    expect_refused(record("T", kEmptyDictionary, 0xFFFFFFFF),
                   "byte 4: the payload size is 4294967295 and only 4 bytes are left");
}

TEST(ShowTest, APayloadThatIsNoValueIsNamed) {
    const TemporaryFolder folder;
    const std::string file = folder.file("bad", record("Good", kEmptyDictionary) + record("T", kTwoLines.substr(0, 9)));

    const Outcome outcome = qorstat({"show", file});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.rfind("qorstat: " + file + ": byte 4", 0), 0u) << outcome.err; // 404 to 413
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
}

TEST(ShowTest, AFullDiskIsAnError) {
    Surroundings surroundings = with_input(record(kLinesTitle, kTwoLines));
    surroundings.output_file = "/dev/full";

    const Outcome outcome = qorstat({"show", "-"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: standard output: No space left on device\n");
}

TEST(ShowTest, AClosedPipeEndsItQuietly) {
    const std::string megabytes = [] {
        std::string records;
        while (records.size() < 4 * 1024 * 1024) {
            records += record(kLinesTitle, kTwoLines);
        }
        return records;
    }();
    RunningProgram program({"show", "-"}, with_input(megabytes));
    program.stop_reading();

    const Outcome outcome = program.wait_for_end();

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
}

// ---- inputs

/** A folder of records, with other files of ours among them. */
class ShowInputs : public testing::Test {
protected:
    ShowInputs() {
        surroundings.folder = folder.path();
        std::filesystem::create_directories(folder.path() / "captures/later");
        folder.file("captures/1.qorstate", record("One", kEmptyDictionary));
        folder.file("captures/2.qorstate.gz", cli_tests::gzip(record("Two", kEmptyDictionary)));
        folder.file("captures/later/3.qorstate", record("Three", kEmptyDictionary));
        folder.file("captures/later/4.qorstate", cli_tests::zstd(record("Four", kEmptyDictionary)));
        folder.file("captures/later/dump.bin", cli_tests::numbered_reports(2));
        host::write_new_analytics_store(folder.path() / "captures/day.db", {{{"key", 2}}, {}});
    }

    Outcome show(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "show");
        return qorstat(arguments, surroundings);
    }

    /** The titles that are shown. */
    std::vector<std::string> titles(const std::vector<std::string> &arguments) const {
        std::vector<std::string> all = arguments;
        all.emplace_back("--json");
        const Outcome outcome = show(all);
        EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        std::vector<std::string> found;
        for (const auto &entry : nlohmann::json::parse(outcome.out)) {
            found.push_back(entry["title"]);
        }
        return found;
    }

    const TemporaryFolder folder;
    Surroundings surroundings;
};

using Titles = std::vector<std::string>;

TEST_F(ShowInputs, AFolderStandsForItsRecords) {
    EXPECT_EQ(titles({"captures"}), (Titles{"One", "Two", "Three", "Four"}));
    EXPECT_EQ(titles({"captures/later", "captures/1.qorstate"}), (Titles{"Three", "Four", "One"}));
}

TEST_F(ShowInputs, AListStandsForItsNames) {
    folder.file("list", "captures/later\ncaptures/2.qorstate.gz\n");
    EXPECT_EQ(titles({"--files-from", "list"}), (Titles{"Three", "Four", "Two"}));
    surroundings.standard_input = std::string("captures/1.qorstate\0captures/1.qorstate\0", 40);
    EXPECT_EQ(titles({"captures/later/3.qorstate", "--files-from", "-"}), (Titles{"Three", "One", "One"}));
}

TEST_F(ShowInputs, APackedPipeIsUnpacked) {
    surroundings.standard_input = cli_tests::zstd(record("Piped", kEmptyDictionary));
    EXPECT_EQ(titles({"-"}), Titles{"Piped"});
    EXPECT_EQ(titles({"captures/1.qorstate", "-"}), (Titles{"One", "Piped"}));
}

TEST_F(ShowInputs, WhatIsNoRecordIsToldWithTheVerbForIt) {
    const Outcome outcome = show({"captures/day.db", "captures/later/dump.bin", "nowhere", "captures/1.qorstate"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "One\n{}\n");
    EXPECT_EQ(outcome.err,
              "qorstat: captures/day.db: is an analytics store: use qorstat metrics\n"
              "qorstat: captures/later/dump.bin: is no state-capture record; for a dump of reports use qorstat decode\n"
              "qorstat: nowhere: No such file or directory\n");
}

TEST_F(ShowInputs, WhatDoesNotBeginLikeARecordIsNotReadAtAnyLength) {
    const std::string large = folder.file("large", "");
    std::filesystem::resize_file(large, (std::uintmax_t{256} << 20) + 1); // no whole number of reports
    const Outcome outcome = show({"large", "captures/1.qorstate"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "One\n{}\n");
    EXPECT_EQ(outcome.err, "qorstat: large: is no state-capture record; for a dump of reports use qorstat decode\n");
}

TEST_F(ShowInputs, AFolderWithoutRecordsIsAnError) {
    std::filesystem::create_directory(folder.path() / "empty");
    const Outcome outcome = show({"empty"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: empty: has no file that holds a state-capture record\n");
}

TEST_F(ShowInputs, NoneIsWrongUse) {
    const Outcome outcome = show({});
    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(outcome.err, "qorstat: show: INPUT is required\n");
    EXPECT_EQ(show({"-", "-"}).err, "qorstat: show: standard input is named more than once\n");
    EXPECT_EQ(show({"-", "-o", ""}).err,
              "qorstat: show: invalid value \"\" for --output: expected the name of a file\n");
}

TEST_F(ShowInputs, AFileGetsWhatAPipeGets) {
    const Outcome outcome = show({"captures", "-o", "result"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_EQ(cli_tests::content_of(folder.path() / "result"), show({"captures"}).out);
}

TEST_F(ShowInputs, AFileIsNotMadeWhenThereIsNothingForIt) {
    folder.file("result", "former");
    EXPECT_EQ(show({"nowhere", "-o", "result"}).exit_code, 1);
    EXPECT_EQ(cli_tests::content_of(folder.path() / "result"), "former");
    EXPECT_EQ(show({"captures/1.qorstate", "nowhere", "-o", "result"}).exit_code, 1);
    EXPECT_EQ(cli_tests::content_of(folder.path() / "result"), "One\n{}\n");
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"captures", "result"}));
}

} // namespace
