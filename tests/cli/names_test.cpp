/** The names of the system and the owner's: `names`, and `decode` with `--names` and `--raw`; the built program. */
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/cli/program.h"
#include "tests/cli/reports.h"

using nlohmann::json;

namespace cli_tests {
namespace {

const std::string kExamples = QOR_SOURCE_FOLDER "/examples/";

/** The output of a success. */
std::string output_of(const std::vector<std::string> &arguments, const std::string &input = {}) {
    Surroundings surroundings;
    surroundings.standard_input = input;
    const Outcome outcome = qorstat(arguments, surroundings);
    EXPECT_EQ(outcome.exit_code, 0) << testing::PrintToString(arguments);
    EXPECT_EQ(outcome.err, "") << testing::PrintToString(arguments);
    return outcome.out;
}

/** The element of an array of objects whose `key` is `value`; null without one. */
json find(const json &array, const std::string &key, const json &value) {
    for (const json &element : array) {
        if (element.at(key) == value) {
            return element;
        }
    }
    return nullptr;
}

TEST(NamesTest, TheTableHasARowForEachNameAndField) {
    const std::vector<std::string> lines = split_lines(output_of({"names"}));
    const std::set<std::string> rows(lines.begin(), lines.end());
    const auto has_row = [&lines](const std::vector<std::string> &cells) {
        for (const std::string &line : lines) {
            std::istringstream words(line);
            std::vector<std::string> found;
            for (std::string word; found.size() < cells.size() && words >> word;) {
                found.push_back(word);
            }
            if (found == cells) {
                return true;
            }
        }
        return false;
    };

    EXPECT_EQ(rows.size(), lines.size());
    EXPECT_TRUE(has_row({"kind", "of", "id", "name", "offset", "bytes", "read", "as", "unit", "meaning"}));
    EXPECT_TRUE(has_row({"header", "timestamp", "8", "8", "unsigned", "microseconds", "when"}));
    EXPECT_TRUE(has_row({"category", "10", "wake", "Why", "the", "coprocessor"}));
    EXPECT_TRUE(has_row({"component", "sensor", "4", "norvat", "not", "stated"}));
    EXPECT_TRUE(has_row({"event", "exec.scheduler", "0", "context-switch"}));
    EXPECT_TRUE(has_row({"event", "wake", "2", "wake-event-info", "a", "wake", "event"}));
    EXPECT_TRUE(has_row({"subject", "sshb.sshb,pellox,amp,kiru", "409", "SimulatedEvent"}));
    EXPECT_TRUE(has_row({"type", "8", "sensorinfo", "The", "configuration"}));
    EXPECT_TRUE(has_row({"payload", "sshb", "type", "10", "version", "7", "sshb_context_7"}));
    EXPECT_TRUE(has_row({"layout", "sshb_button", "An", "input", "packet"}));
    EXPECT_TRUE(has_row({"field", "sshb_button", "force", "31", "4", "unsigned", "not", "stated", "not", "stated"}));
    EXPECT_TRUE(has_row({"field", "short_data", "packet-size", "constant", "30"}));
    EXPECT_TRUE(has_row({"field", "vastrel_data_out", "x", "16", "4", "fixed-point", "12"}));
}

TEST(NamesTest, ACategoryIsChosenByNameOrIdWithWhatItsReportsShow) {
    const json wake = json::parse(output_of({"names", "wake", "--json"}));
    const json vastrel = json::parse(output_of({"names", "4", "--json"}));

    EXPECT_EQ(output_of({"names", "10", "--json"}), output_of({"names", "wake", "--json"}));
    EXPECT_EQ(output_of({"names", "0xA", "--json"}), output_of({"names", "wake", "--json"}));
    ASSERT_EQ(wake["categories"].size(), 1U);
    EXPECT_EQ(wake["categories"][0]["name"], "wake");
    EXPECT_EQ(wake["types"].size(), 13U);
    EXPECT_FALSE(find(wake["layouts"], "name", "wake_event").is_null());
    EXPECT_FALSE(find(wake["layouts"], "name", "function").is_null());
    EXPECT_TRUE(find(wake["layouts"], "name", "vastrel_data_in").is_null());
    EXPECT_FALSE(find(vastrel["layouts"], "name", "vastrel_data_in").is_null());
    EXPECT_EQ(vastrel["payloads"].size(), 2U);
}

TEST(NamesTest, JsonSaysWhatIsStatedAndNullForTheRest) {
    const json names = json::parse(output_of({"names", "--json"}));
    const json function = find(names["layouts"], "name", "function");
    const json duration = find(function["fields"], "name", "duration");
    const json button = find(names["categories"], "name", "sshb");

    EXPECT_EQ(duration, (json{{"name", "duration"},
                              {"kind", "unsigned"},
                              {"offset", 28},
                              {"bytes", 4},
                              {"unit", nullptr},
                              {"meaning", nullptr}}));
    EXPECT_EQ(find(names["header"], "name", "timestamp")["unit"], "microseconds");
    EXPECT_EQ(find(find(names["layouts"], "name", "short_data")["fields"], "name", "packet-size")["value"], 30);
    EXPECT_EQ(names["categories"].size(), 11U);
    EXPECT_EQ(names["layouts"].size(), 20U);
    EXPECT_EQ(button["events"][0]["components"], json::array({3}));
    EXPECT_EQ(find(button["events"][0]["names"], "id", 4)["name"], "ckp_RIVTurnOn");
    EXPECT_EQ(button["events"][1]["components"], nullptr);
    EXPECT_EQ(find(button["events"][1]["names"], "id", 19)["name"], "trigger-clickoff");
    EXPECT_EQ(button["subjects"][0]["components"], json::array({0, 1, 2, 4}));
    EXPECT_EQ(button["subjects"][0]["names"].size(), 113U);
    EXPECT_EQ(find(names["types"], "id", 5)["layout"], "function");
    EXPECT_EQ(find(names["types"], "id", 0)["layout"], nullptr);
    EXPECT_EQ(names["payloads"][0], (json{{"category", 4},
                                          {"type", 3},
                                          {"event", 0},
                                          {"component", 0},
                                          {"version", nullptr},
                                          {"layouts", {"vastrel_data_in", "event"}}}));
}

TEST(NamesTest, TheListingIsWrittenToAFile) {
    const TemporaryFolder folder;
    const std::string file = folder.path() / "names";

    EXPECT_EQ(output_of({"names", "uart", "-o", file}), "");
    EXPECT_EQ(content_of(file), output_of({"names", "uart"}));
}

TEST(NamesTest, AnUnknownCategoryIsWrongUse) {
    for (const auto &[word, reason] :
         {std::pair("sensr", "\"sensr\"; did you mean \"sensor\"?"), std::pair("11", "\"11\"")}) {
        const Outcome outcome = qorstat({"names", word});

        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "qorstat: names: unknown category " + std::string(reason) + "\n");
    }
}

TEST(OwnersNamesTest, TheExampleNamesTheExampleDumpsInEveryForm) {
    const std::string names = kExamples + "names.toml";
    const std::string firmware = kExamples + "reports/fw.bin";
    const std::string driver = kExamples + "reports/drvx.bin";

    const std::string line = output_of({"decode", firmware, "--type", "function", "--first", "1", "--names", names});
    EXPECT_NE(line.find(" 'function-id':      8448, 'function-id-name':'scan_finger',"), std::string::npos) << line;
    const std::string brief =
        output_of({"decode", driver, "--category", "wake", "-n", "1", "-f", "brief", "--names", names});
    EXPECT_NE(brief.find("[wake-request] wake_reason=timer "), std::string::npos) << brief;
    const json object = json::parse(
        output_of({"decode", driver, "--category", "wake", "--first", "1", "--format", "jsonl", "--names", names}));
    EXPECT_EQ(object["type"], "wake-request");
    EXPECT_EQ(object["payload"]["wake_reason"], 2);
    EXPECT_EQ(object["payload"]["wake_reason_name"], "timer");
    const std::string csv =
        output_of({"decode", driver, "--category", "control", "--first", "1", "--format", "csv", "--names", names});
    EXPECT_NE(csv.find("\r\ncontrol,8,power,1,power-state,3,event,3,"), std::string::npos) << csv;
    const json trace = json::parse(output_of({"decode", firmware, "--format", "chrome-trace", "--names", names}));
    std::set<std::string> slices;
    std::set<std::string> tracks;
    for (const json &event : trace["traceEvents"]) {
        if (event["ph"] == "X") {
            slices.insert(event["name"]);
        } else if (event["ph"] == "M") {
            tracks.insert(event["args"]["name"]);
        }
    }
    EXPECT_TRUE(slices.contains("scan_finger") && slices.contains("play_asset")) << testing::PrintToString(slices);
    EXPECT_TRUE(tracks.contains("scan") && tracks.contains("haptics")) << testing::PrintToString(tracks);
    const json statistics = json::parse(output_of({"decode", driver, "--stats", "--json", "--names", names}));
    EXPECT_FALSE(find(statistics["types"], "type", "wake-request").is_null());
    EXPECT_FALSE(find(statistics["components"], "component", "power").is_null());
    EXPECT_FALSE(find(statistics["events"], "event", "power-state").is_null());
}

/** The sequence numbers of the reports that pass. */
std::vector<int> chosen(const std::string &dump, std::vector<std::string> options) {
    options.insert(options.begin(), {"decode", "-", "--format", "jsonl"});
    std::vector<int> numbers;
    for (const std::string &line : split_lines(output_of(options, dump))) {
        numbers.push_back(json::parse(line)["sequence_num"]);
    }
    return numbers;
}

TEST(OwnersNamesTest, ReportsAreChosenByThem) {
    const TemporaryFolder folder;
    const std::string names =
        folder.file("names.toml", "[category]\n42 = \"radio\"\n[type]\n13 = \"request\"\n[component.radio]\n1 = "
                                  "\"tuner\"\n[event_of.11.1]\n2 = \"tuned\"\n[component.control]\n1 = \"tuner\"");
    const std::string dump = report({42, 1, 2, 13}, 1, 1) + report({42, 2, 2, 3}, 2, 2) + report({11, 1, 2, 3}, 3, 3) +
                             report({201, 1, 2, 3}, 4, 4) + report({8, 1, 2, 3}, 5, 5);

    EXPECT_EQ(chosen(dump, {"--names", names, "--category", "radio"}), (std::vector<int>{1, 2}));
    EXPECT_EQ(chosen(dump, {"--names", names, "--component", "tuner"}), (std::vector<int>{1, 5}));
    EXPECT_EQ(chosen(dump, {"--names", names, "--not-component", "tuner"}), (std::vector<int>{2, 3, 4}));
    EXPECT_EQ(chosen(dump, {"--names", names, "--event", "tuned"}), (std::vector<int>{3}));
    EXPECT_EQ(chosen(dump, {"--names", names, "--event", "2"}), (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_EQ(chosen(dump, {"--names", names, "--type", "request"}), (std::vector<int>{1}));
    const Outcome unnamed = qorstat({"decode", "-", "--type", "request"});
    EXPECT_EQ(unnamed.exit_code, 2);
}

TEST(OwnersNamesTest, HostileNamesLeaveEveryFormWhole) {
    const TemporaryFolder folder;
    const std::string hostile = R"(\u2028 \"],}\\ <b> \uFEFF,)";
    const std::string names =
        folder.file("names.toml", "[category]\n99 = \"" + hostile + "\"\n[component.99]\n1 = \"" + hostile +
                                      "\"\n[event.99]\n2 = \"" + hostile + "\"\n[field.thread-id]\n7 = \"" + hostile +
                                      "\"\n[field.function-id]\n1 = \"" + hostile + "\"\n");
    const std::string expected = "\xE2\x80\xA8 \"],}\\ <b> \xEF\xBB\xBF,";
    const std::string dump =
        report({99, 1, 2, 5}, 1, 1, little_endian(1, 4) + little_endian(0, 4) + little_endian(7, 4)) +
        report({99, 1, 2, 3}, 2, 2);

    std::vector<std::string> lines =
        split_lines(output_of({"decode", "-", "--format", "jsonl", "--names", names}, dump));
    ASSERT_EQ(lines.size(), 2U);
    const json object = json::parse(lines[0]);
    EXPECT_EQ(object["category"], expected);
    EXPECT_EQ(object["component"], expected);
    EXPECT_EQ(object["event"], expected);
    EXPECT_EQ(object["payload"]["thread-id_name"], expected);
    const json trace = json::parse(output_of({"decode", "-", "--format", "chrome-trace", "--names", names}, dump));
    EXPECT_EQ(find(trace["traceEvents"], "ph", "X")["name"], expected);
    EXPECT_EQ(find(trace["traceEvents"], "ph", "i")["name"], expected);
    lines = split_lines(output_of({"decode", "-", "--format", "csv", "--names", names}, dump));
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(lines[2].starts_with("\"\xE2\x80\xA8 \"\"],}\\ <b> \xEF\xBB\xBF,\",99,")) << lines[2];
}

TEST(OwnersNamesTest, AFileWithAFaultIsOneErrorAndNothingIsPrinted) {
    const TemporaryFolder folder;
    const std::string bad = folder.file("bad.toml", "[type]\n3 = \"x\"\n");
    for (const std::string form : {"text", "brief", "jsonl", "csv", "chrome-trace"}) {
        const Outcome outcome = qorstat({"decode", kExamples + "reports/fw.bin", "--format", form, "--names", bad});

        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "qorstat: " + bad + ": line 2, column 5: type.3: 3 has a name already: \"event\"\n");
    }
    const Outcome counted = qorstat({"decode", kExamples + "reports/fw.bin", "--stats", "--names", bad});
    EXPECT_EQ(counted.exit_code, 1);
    EXPECT_EQ(counted.out, "");
}

TEST(RawTest, RowsForProgramsEndWithAllBytes) {
    const std::string dump = report(kFunction, 1, 1) + report({6, 0, 4, 0}, 2, 2);
    const std::string json_lines = output_of({"decode", "-", "--format", "jsonl", "--raw"}, dump);
    const std::string csv = output_of({"decode", "-", "--format", "csv", "--raw"}, dump);

    const std::vector<std::string> lines = split_lines(json_lines);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(json::parse(lines[0])["raw"], "05000100010000000100000000000000" + std::string(64, '0'));
    EXPECT_EQ(json::parse(lines[1])["raw"], "00040006020000000200000000000000" + std::string(64, '0'));
    EXPECT_EQ(split_lines(csv)[0], "category,category_id,component,component_id,event,event_id,type,type_id,"
                                   "sequence_num,timestamp,wall_time,boot_timestamp,payload,raw\r");
    EXPECT_TRUE(split_lines(csv)[1].ends_with("}\",05000100010000000100000000000000" + std::string(64, '0') + "\r"));
}

TEST(RawTest, APayloadWithoutALayoutIsKeptByFormsForPrograms) {
    const std::string dump = report({6, 0, 4, 0}, 1, 1, "\x01\xFF");
    const std::string payload = "01ff" + std::string(60, '0');

    EXPECT_EQ(json::parse(output_of({"decode", "-", "--format", "jsonl"}, dump))["payload"], (json{{"raw", payload}}));
    EXPECT_NE(output_of({"decode", "-", "--format", "csv"}, dump).find("\"{\"\"raw\"\":\"\"" + payload + "\"\"}\"\r\n"),
              std::string::npos);
    const json trace = json::parse(output_of({"decode", "-", "--format", "chrome-trace"}, dump));
    EXPECT_EQ(trace["traceEvents"].back()["args"], (json{{"raw", payload}}));
}

TEST(RawTest, OtherFormsRefuseIt) {
    for (const std::string form : {"text", "brief", "chrome-trace"}) {
        const Outcome outcome = qorstat({"decode", "-", "--format", form, "--raw"});

        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_EQ(outcome.err, "qorstat: decode: --raw requires --format jsonl or csv\n");
    }
}

} // namespace
} // namespace cli_tests
