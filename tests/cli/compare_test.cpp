/** `compare`, the built program. */
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "bench/fleet.h"
#include "host/store/analytics_store.h"
#include "tests/cli/program.h"
#include "tests/cli/reports.h"

using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace cli_tests {
namespace {

/** A report of function 77 that took `duration`. */
std::string function_report(std::uint32_t number, std::uint64_t time, std::uint32_t duration) {
    return report(kFunction, number, time,
                  little_endian(77, 4) + little_endian(0, 4) + little_endian(3, 4) + little_endian(duration, 4));
}

class CompareTest : public testing::Test {
protected:
    /** A dump of four calls of a function. */
    void write_device(const std::string &name, std::uint32_t duration) const {
        std::filesystem::create_directories((folder.path() / name).parent_path());
        std::string dump;
        for (std::uint32_t number = 0; number < 4; ++number) {
            dump += function_report(number + 1, 10'000 + 1'000 * number, duration + number);
        }
        folder.file(name, dump);
    }

    /** Eight devices of one side, the functions of each a little slower than those of the one before. */
    void write_side(const std::string &name, std::uint32_t duration) const {
        for (std::uint32_t device = 0; device < 8; ++device) {
            write_device(name + "/" + name + std::to_string(device) + ".bin", duration + device);
        }
    }

    Outcome compare(std::vector<std::string> arguments, std::string input = {}) const {
        arguments.insert(arguments.begin(), "compare");
        Surroundings surroundings;
        surroundings.folder = folder.path();
        surroundings.standard_input = std::move(input);
        return qorstat(arguments, surroundings);
    }

    json compared(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "--json");
        const Outcome outcome = compare(arguments);
        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.err, "");
        return json::parse(outcome.out);
    }

    TemporaryFolder folder;
};

json finding_of(const json &result, const std::string &what) {
    for (const json &finding : result["findings"]) {
        if (finding["what"] == what) {
            return finding;
        }
    }
    return nullptr;
}

TEST_F(CompareTest, ASlowerFunctionIsFoundWithItsSize) {
    write_side("old", 100);
    write_side("new", 500);
    const json result = compared({"old", "--", "new"});
    EXPECT_EQ(result["a"], (json{{"devices", 8}, {"recordings", 8}, {"reports", 32}}));
    const json finding = finding_of(result, "function duration");
    EXPECT_EQ(finding["kind"], "group");
    EXPECT_EQ(finding["about"], (json{{"function_id", 77}}));
    // 8 devices with durations of 100 + i to 103 + i: the 16th of 32 is 105, the last one 110.
    EXPECT_EQ(finding["a"], (json{{"devices", 8}, {"count", 32}, {"median", 105.0}, {"p99", 110.0}}));
    EXPECT_EQ(finding["b"]["median"], 505.0);
    EXPECT_EQ(finding["distance"], 1.0);
    EXPECT_DOUBLE_EQ(finding["p"], 2.0 / 12'870); // of 16 over 8 assignments, this one and its mirror image
    EXPECT_EQ(finding["devices_moved"], 8);
    EXPECT_EQ(finding["shift"]["estimate"], 400.0);
}

TEST_F(CompareTest, WhatIsTheSameIsNoFinding) {
    write_side("old", 100);
    const json result = compared({"old", "--", "old"});
    EXPECT_EQ(result["paired"], true);
    EXPECT_THAT(result["findings"], IsEmpty());
    const json all = compared({"--all", "old", "--", "old"});
    EXPECT_THAT(all["findings"], Not(IsEmpty()));
    for (const json &measure : all["findings"]) {
        EXPECT_EQ(measure["distance"], 0.0);
    }
    EXPECT_EQ(compare({"--fail-on-change", "old", "--", "old"}).exit_code, 0);
}

TEST_F(CompareTest, AChangeCanFailTheRun) {
    write_side("old", 100);
    write_side("new", 500);
    EXPECT_EQ(compare({"old", "--", "new"}).exit_code, 0);
    const Outcome outcome = compare({"--fail-on-change", "old", "--", "new"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.out, HasSubstr("function duration  77"));
}

TEST_F(CompareTest, TooFewDevicesAreSaidAndTheirDifferencesShown) {
    write_device("one.bin", 100);
    write_device("other.bin", 500);
    const json result = compared({"one.bin", "--", "other.bin"});
    EXPECT_EQ(result["tested"], 0);
    EXPECT_EQ(result["devices_needed"], 4); // 2 of 70 assignments are fewer than 5 %, 2 of 20 are not
    EXPECT_EQ(finding_of(result, "function duration")["kind"], "difference");
    EXPECT_THAT(finding_of(result, "function duration")["p"], testing::Eq(nullptr));
    EXPECT_THAT(compare({"one.bin", "--", "other.bin"}).out, HasSubstr("too few devices to tell a change from chance"));
    EXPECT_EQ(compare({"--fail-on-change", "one.bin", "--", "other.bin"}).exit_code, 0);
}

TEST_F(CompareTest, ASavedBaselineComparesAsItsRecordings) {
    write_side("old", 100);
    write_side("new", 500);
    host::write_new_analytics_store(folder.path() / "old" / "old0.db", {{{"count", 3}}, {{"time", {{2.5, 7}}}}});
    host::write_new_analytics_store(folder.path() / "new" / "new0.db", {{{"count", 4}}, {{"time", {{3.5, 9}}}}});
    const Outcome saved = compare({"old", "--save-baseline", "old.qorbase"});
    EXPECT_EQ(saved.out, "written to old.qorbase: 8 devices, 9 recordings, 32 reports\n");
    EXPECT_EQ(saved.exit_code, 0);
    EXPECT_EQ(compared({"--all", "--baseline", "old.qorbase", "new"}), compared({"--all", "old", "--", "new"}));
    const std::string bytes = content_of(folder.path() / "old.qorbase");
    EXPECT_EQ(compare({"--json", "--baseline", "-", "new"}, bytes).out, compare({"--json", "old", "--", "new"}).out);
}

TEST_F(CompareTest, EveryDamagedByteOfABaselineIsRefusedInOneLine) {
    write_side("old", 100);
    compare({"old", "--save-baseline", "old.qorbase"});
    const std::string whole = content_of(folder.path() / "old.qorbase");
    for (std::size_t byte = 0; byte < whole.size(); byte += whole.size() / 16) {
        std::string damaged = whole;
        damaged[byte] = static_cast<char>(damaged[byte] ^ 0x5A);
        folder.file("bad.qorbase", damaged);
        const Outcome outcome = compare({"--baseline", "bad.qorbase", "old"});
        EXPECT_EQ(outcome.exit_code, 1) << byte;
        EXPECT_THAT(outcome.err, StartsWith("qorstat: bad.qorbase: ")) << byte;
        EXPECT_THAT(split_lines(outcome.err), SizeIs(1)) << byte;
        EXPECT_EQ(outcome.out, "") << byte;
    }
    folder.file("short.qorbase", whole.substr(0, 12));
    EXPECT_THAT(compare({"--baseline", "short.qorbase", "old"}).err, HasSubstr("the baseline ends too early"));
}

TEST_F(CompareTest, ADeviceMayBeNamedByItsFolder) {
    write_device("a/phone1/monday.bin", 100);
    write_device("a/phone1/tuesday.bin", 100);
    write_device("a/phone2/monday.bin", 100);
    EXPECT_EQ(compared({"a", "--", "a"})["a"]["devices"], 2);
    EXPECT_EQ(compared({"--device-by", "folder", "a", "--", "a"})["a"]["devices"], 2);
    write_device("a/phone3/monday.bin", 100);
    EXPECT_EQ(compared({"a", "--", "a"})["a"]["devices"], 2); // monday and tuesday
    EXPECT_EQ(compared({"--device-by", "folder", "a", "--", "a"})["a"]["devices"], 3);
    // Standard input has no folder.
    const std::string dump = content_of(folder.path() / "a/phone1/monday.bin");
    compare({"--device-by", "folder", "--save-baseline", "piped.qorbase", "-"}, dump);
    EXPECT_THAT(content_of(folder.path() / "piped.qorbase"), HasSubstr("standard input"));
}

TEST_F(CompareTest, ADamagedInputIsNamedAndTheOthersCompared) {
    write_side("old", 100);
    write_side("new", 500);
    const Outcome outcome = compare({"old", "missing.bin", "--", "new"});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: missing.bin: No such file or directory\n");
    EXPECT_THAT(outcome.out, HasSubstr("function duration  77"));
}

TEST_F(CompareTest, WrongUseIsSaidInWords) {
    write_side("old", 100);
    const auto expect_wrong = [this](const std::vector<std::string> &arguments, const std::string &message) {
        const Outcome outcome = compare(arguments);
        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_EQ(outcome.err, "qorstat: compare: " + message + "\n");
    };
    const std::string both = "inputs are required on both sides of --, such as: before -- after";
    expect_wrong({"old"}, both);
    expect_wrong({"old", "--"}, both);
    expect_wrong({"--", "old"}, both);
    expect_wrong({"old", "--", "old", "--json"}, "what is behind -- is an input; options stand before it: \"--json\"");
    expect_wrong({"old", "--baseline", "x", "--", "old"}, "with a baseline the inputs are one side, without --");
    expect_wrong({"--baseline", "x"}, "inputs are required");
    expect_wrong({"-", "--", "-"}, "standard input is named more than once");
    expect_wrong({"--level", "1", "old", "--", "old"}, "invalid value \"1\" for --level: expected 0.000001 to 0.5");
}

TEST_F(CompareTest, OneSickDeviceIsCalledOne) {
    for (const std::string &name : {std::string("old"), std::string("new")}) {
        for (std::uint32_t device = 0; device < 8; ++device) {
            write_device(name + "/" + name + std::to_string(device) + ".bin", 100);
        }
    }
    std::string dump; // enough calls to tell its slowness from chance
    for (std::uint32_t number = 0; number < 60; ++number) {
        dump += function_report(number + 1, 10'000 + 1'000 * number, 5'000 + number);
    }
    folder.file("new/new3.bin", dump);
    const json finding = finding_of(compared({"old", "--", "new"}), "function duration");
    EXPECT_EQ(finding["kind"], "one device");
    EXPECT_EQ(finding["device"], "new3");
    EXPECT_EQ(finding["side"], "b");
    EXPECT_EQ(compare({"--fail-on-change", "old", "--", "new"}).exit_code, 1);
}

TEST_F(CompareTest, TheSameSeedGivesTheSameBytes) {
    bench::write_fleet({.seed = 3, .devices = 4, .reports = 200}, folder.path() / "a");
    bench::write_fleet({.seed = 4, .devices = 5, .reports = 200}, folder.path() / "b");
    const std::string first = compare({"--json", "--all", "a", "--", "b"}).out;
    EXPECT_EQ(compare({"--json", "--all", "a", "--", "b"}).out, first);
    const json result = json::parse(first);
    EXPECT_GT(result["tested"], 50);
    EXPECT_EQ(result["compared"], result["findings"].size());
}

} // namespace
} // namespace cli_tests
