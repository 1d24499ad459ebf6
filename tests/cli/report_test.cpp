/** `qorstat report`, as far as it shows without a browser. */
#include <cstdint>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/reports.h"

using cli_tests::content_of;
using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;

namespace {

/** The data of the page's sections, by kind. */
nlohmann::json sections_of(const std::string &page) {
    const std::string start = "<script type=\"application/json\" id=\"contents\">";
    const std::size_t begin = page.find(start) + start.size();
    nlohmann::json sections;
    const nlohmann::json contents = nlohmann::json::parse(page.substr(begin, page.find("</script>", begin) - begin));
    for (const nlohmann::json &section : contents["sections"]) {
        sections[section["kind"].get<std::string>()] = section["data"];
    }
    return sections;
}

TEST(ReportTest, ListsWhatItReadAndNamesWhatItCouldNot) {
    const TemporaryFolder folder;
    const std::string dump = folder.file("phone.bin", std::string(96, '\0'));
    const std::string missing = folder.path() / "missing.bin";
    const std::string page = folder.path() / "page.html";
    const Outcome outcome = qorstat({"report", dump, missing, "-o", page});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: " + missing + ": No such file or directory\n");
    EXPECT_EQ(sections_of(content_of(page))["recordings"]["recordings"],
              nlohmann::json::array({{{"file", dump}, {"device", "phone"}, {"kind", "dump"}, {"reports", 2}}}));
}

TEST(ReportTest, LeavesNoPageWhenNothingCouldBeRead) {
    const TemporaryFolder folder;
    const std::string missing = folder.path() / "missing.bin";
    EXPECT_EQ(qorstat({"report", missing, "-o", folder.path() / "page.html"}).exit_code, 1);
    EXPECT_EQ(folder.names(), std::vector<std::string>{});
}

TEST(ReportTest, ReadsStandardInput) {
    Surroundings surroundings;
    surroundings.standard_input = std::string(48, '\0');
    const Outcome outcome = qorstat({"report", "-"}, surroundings);
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(sections_of(outcome.out)["recordings"]["recordings"][0]["file"], "standard input");
}

TEST(ReportTest, JsonHasTheFiguresOfThePage) {
    const cli_tests::Ids wake{10, 0, 1, 13};
    const cli_tests::Ids function{0, 1, 0, 5};
    const auto call = [&](std::uint32_t number, std::uint64_t time, std::uint32_t duration) {
        std::string payload;
        for (const std::uint32_t word : {9001U, 0U, 1U, duration}) {
            payload += cli_tests::little_endian(word, 4);
        }
        return cli_tests::report(function, number, time, payload);
    };
    const TemporaryFolder folder;
    const std::string dump =
        folder.file("phone.bin", call(1, 100, 30) + call(2, 200, 10) + call(3, 300, 20) +
                                     cli_tests::report(wake, 6, 400, cli_tests::little_endian(7, 4)) + "tail");
    const std::string page = folder.path() / "page.html";
    const Outcome outcome = qorstat({"report", dump, "--json"});

    EXPECT_EQ(outcome.exit_code, 0);
    const nlohmann::json figures = nlohmann::json::parse(outcome.out);
    const nlohmann::json &device = figures["summary"]["devices"][0];
    EXPECT_EQ(device["reports"], 4);
    EXPECT_EQ(device["time"], 300);
    EXPECT_EQ(device["gaps"], 1);
    EXPECT_EQ(device["missing"], 2);
    EXPECT_EQ(device["trailing_bytes"], 4);
    EXPECT_EQ(device["wakes"], 1);
    EXPECT_EQ(figures["summary"]["wakes"][0]["reason"], 7);
    const nlohmann::json &row = figures["summary"]["functions"][0];
    EXPECT_EQ(row["function_id"], 9001);
    EXPECT_EQ(row["median"], 20);
    EXPECT_EQ(row["longest"], 30);
    // 8 to below 16 has one of them, 16 to below 32 two.
    EXPECT_EQ(row["histogram"][0]["count"], 1);
    EXPECT_EQ(row["histogram"][1]["count"], 2);
    EXPECT_EQ(figures["recordings"]["recordings"][0]["reports"], 4);

    EXPECT_EQ(qorstat({"report", dump, "-o", page}).exit_code, 0);
    nlohmann::json sections = sections_of(content_of(page));
    sections.erase("time-line");
    EXPECT_EQ(sections, figures);
}

TEST(ReportTest, ARecordingThatEndsTooEarlyIsReadToThere) {
    const TemporaryFolder folder;
    const std::string packed = cli_tests::gzip(std::string(48 * 10, '\0'));
    const std::string dump = folder.file("cut.bin.gz", packed.substr(0, packed.size() - 8));
    const Outcome outcome = qorstat({"report", dump, "--json"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(cli_tests::occurrences(outcome.err, "qorstat: "), 1u) << outcome.err;
    const nlohmann::json figures = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(figures["summary"]["devices"][0]["recordings"], 1);
    EXPECT_EQ(figures["summary"]["devices"][0]["damaged"], 1);
    EXPECT_EQ(figures["summary"]["devices"][0]["reports"], 10);
}

TEST(ReportTest, WrongUseIsSaid) {
    EXPECT_EQ(qorstat({"report"}).err, "qorstat: report: INPUT is required\n");
    EXPECT_EQ(qorstat({"report"}).exit_code, 2);
    EXPECT_EQ(qorstat({"report", "x", "--time-sync", "nonsense"}).exit_code, 2);
}

} // namespace
