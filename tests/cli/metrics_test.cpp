/** `metrics`: showing stores and adding them up. */
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "host/store/analytics_store.h"
#include "qor/analytics.h"
#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports/dumps.h"

using cli_tests::expect_golden;
using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::RunningProgram;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;
using host::StoreContents;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

namespace fs = std::filesystem;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/** A day of a phone, made by simple rules. No two keys have the same values. */
StoreContents a_day() {
    StoreContents day;
    for (std::size_t i = 0; i < qor::analytics::kKeyCount; ++i) {
        const std::string key = qor::analytics::kKeys[i];
        if (key.find("count") != std::string::npos) {
            day.scalars[key] = static_cast<std::int64_t>(i * i);
            continue;
        }
        for (std::size_t value = 0; value < 24; ++value) {
            const std::size_t distance = value < i % 24 ? i % 24 - value : value - i % 24;
            day.distributions[key][static_cast<double>(value) / 4] = 1 + 600 / (1 + distance * distance);
        }
    }
    day.scalars["com.ondre.zel.unknown"] = 3;
    return day;
}

class MetricsTest : public testing::Test {
protected:
    MetricsTest() {
        surroundings.folder = folder.path();
        surroundings.environment = {{"XDG_STATE_HOME", folder.path() / "state"}, {"LC_ALL", "C.UTF-8"}};
    }

    Outcome metrics(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "metrics");
        return qorstat(arguments, surroundings);
    }

    std::string store(const std::string &name, const StoreContents &contents) const {
        const fs::path path = folder.path() / name;
        fs::create_directories(path.parent_path());
        host::write_new_analytics_store(path, contents);
        return path;
    }

    void expect_error(const std::vector<std::string> &arguments, int exit_code, const std::string &message) const {
        const Outcome outcome = metrics(arguments);

        EXPECT_EQ(outcome.exit_code, exit_code);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "qorstat: " + message + "\n");
    }

    /** By promtool, without a word. */
    void expect_accepted(const std::string &exposition) const {
        const std::string promtool = QOR_PROMETHEUS_FOLDER "/promtool";
        ASSERT_TRUE(fs::exists(promtool)) << promtool << " is not there: scripts/setup test puts it there";
        const TemporaryFolder elsewhere;
        const std::string metrics_file = elsewhere.file("metrics.txt", exposition);
        const std::string complaints = elsewhere.path() / "complaints.txt";

        const int status = std::system(
            ("'" + promtool + "' check metrics <'" + metrics_file + "' >'" + complaints + "' 2>&1").c_str());

        EXPECT_EQ(status, 0);
        EXPECT_EQ(cli_tests::content_of(complaints), "");
    }

    TemporaryFolder folder;
    Surroundings surroundings;
};

TEST_F(MetricsTest, AStoreIsShownAsATable) {
    const Outcome outcome = metrics({store("day.db", a_day())});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    expect_golden("metrics.txt", outcome.out);
}

TEST_F(MetricsTest, ATerminalGetsColoursAndWhereTheLocaleHasNoBlocksOtherSigns) {
    SKIP_WITHOUT_TERMINALS();
    surroundings.output_is_terminal = true;
    surroundings.environment["LC_ALL"] = "C";
    surroundings.environment["TERM"] = "xterm";

    const Outcome outcome = metrics({store("day.db", a_day())});

    EXPECT_EQ(outcome.exit_code, 0);
    expect_golden("metrics-terminal.txt", outcome.out);
}

TEST_F(MetricsTest, APipeGetsNameAndFiguresOnOneLineAndATerminalWhatFitsItsColumns) {
    SKIP_WITHOUT_TERMINALS();
    const std::string name = "com.ondre.zel.prox.num_frames_for_high_ambient_baseline_capture_target_approched.dist";
    const std::string file = store("long.db", {{}, {{name, {{1, 1}}}}});
    surroundings.environment["LC_ALL"] = "C";
    surroundings.environment["NO_COLOR"] = "1";
    const std::string shown = "  num_frames_for_high_ambient_baseline_capture_target_approched.dist";
    const std::string figures = "      1    1     1    1    1    1    1  @";

    EXPECT_THAT(metrics({file}).out, testing::HasSubstr(shown + figures + "\n"));
    surroundings.output_is_terminal = true;
    EXPECT_THAT(metrics({file}).out, testing::HasSubstr(shown + "\r\n  " + figures));
    surroundings.environment["COLUMNS"] = "200";
    EXPECT_THAT(metrics({file}).out, testing::HasSubstr(shown + figures + "\r\n"));
}

TEST_F(MetricsTest, AStoreIsShownAsJson) {
    const Outcome outcome = metrics({store("day.db", a_day()), "--json"});

    EXPECT_EQ(outcome.exit_code, 0);
    StoreContents read;
    const nlohmann::json json = nlohmann::json::parse(outcome.out);
    for (const nlohmann::json &scalar : json["scalars"]) {
        read.scalars[scalar["key"]] = scalar["value"];
    }
    for (const nlohmann::json &distribution : json["distributions"]) {
        for (const nlohmann::json &entry : distribution["values"]) {
            read.distributions[distribution["key"]][entry["value"]] = entry["count"];
        }
    }
    EXPECT_EQ(read, a_day());
}

TEST_F(MetricsTest, AStoreIsShownInOpenMetrics) {
    const Outcome outcome = metrics({store("day.db", a_day()), "--openmetrics"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    expect_golden("metrics-openmetrics.txt", outcome.out);
}

/** Every key as a scalar and as a distribution, and hostile keys. */
StoreContents the_worst() {
    std::vector<std::string> keys(std::begin(qor::analytics::kKeys), std::end(qor::analytics::kKeys));
    keys.insert(keys.end(), {"",
                             " ",
                             "# EOF",
                             "\"",
                             "\\",
                             "\n",
                             "a\nb 1\n",
                             "\"} 1\n# TYPE x counter\nx 1\n",
                             "\r",
                             "\x1b[2J",
                             "\x7f",
                             "\xc2\x85",
                             "\xe2\x80\xa8",
                             "\xf0\x9f\x98\x80",
                             "a.b",
                             "a_b",
                             "com.ondre.zel.button.click_count",
                             "com.ondre.com.zel.button.click.count",
                             "com.ondre.zel.button.camelCase.ms",
                             "x.count",
                             "x.sum",
                             "x.bucket",
                             "x.total",
                             "x.info",
                             "x.created",
                             "x.gauge.histogram.summary.counter",
                             "le",
                             "quantile",
                             "__name__",
                             "com.ondre.zel.unknown",
                             std::string(100'000, 'k')});
    StoreContents worst;
    double sign = 1;
    for (const std::string &key : keys) {
        worst.scalars[key] = std::numeric_limits<std::int64_t>::min();
        worst.distributions[key] = {{sign * 0.5, 9223372036854775807}, {sign * 3, 9223372036854775807}};
        sign = -sign;
    }
    worst.distributions["infinite"] = {{-kInfinity, 1}, {kInfinity, 2}};
    return worst;
}

TEST_F(MetricsTest, PromtoolAcceptsWhateverAStoreHolds) {
    const Outcome outcome = metrics({store("worst.db", the_worst()), "--openmetrics"});
    ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
    expect_accepted(outcome.out);
}

TEST_F(MetricsTest, TheDefaultStoreIsTheOneOfRuns) {
    store("state/qorstat/analytics.db", {{{"x", 17}}, {}});

    EXPECT_EQ(metrics({}).out, "other\n  x  17\n");
}

TEST_F(MetricsTest, LookingForTheDefaultStoreMakesNoFolders) {
    const std::string file = folder.path() / "state/qorstat/analytics.db";

    expect_error({}, 1, file + ": No such file or directory");

    EXPECT_FALSE(fs::exists(folder.path() / "state"));
}

TEST_F(MetricsTest, AFileThatIsNoStoreIsAnError) {
    const std::string file = folder.file("day.db", "no store at all");

    expect_error({file}, 1, file + ": is not an analytics store");
}

TEST_F(MetricsTest, StoresAddUp) {
    store("a.db", {{{"x", 1}, {"y", 5}}, {{"d", {{0.5, 2}}}}});
    store("b.db", {{{"x", -4}}, {{"d", {{0.5, 1}, {7, 1}}}, {"e", {{1, 1}}}}});
    store("c.db", {{{"z", 1}}, {}});

    const Outcome outcome = metrics({"--merge", "a.db", "b.db", "c.db", "-o", "sum.db"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "written to sum.db: 3 scalars, 2 distributions\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(host::read_analytics_store(folder.path() / "sum.db"),
              (StoreContents{{{"x", -3}, {"y", 5}, {"z", 1}}, {{"d", {{0.5, 3}, {7, 1}}}, {"e", {{1, 1}}}}}));
}

TEST_F(MetricsTest, ASumNeverReplacesAFile) {
    store("a.db", {{{"x", 1}}, {}});
    store("b.db", {{{"x", 2}}, {}});
    const std::string there = folder.file("there", "something else");

    const Outcome outcome = metrics({"--merge", "a.db", "b.db", "-o", "there"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("qorstat: there: "));
    EXPECT_EQ(cli_tests::content_of(there), "something else");
    EXPECT_THAT(folder.names(), ElementsAre("a.db", "b.db", "there"));
}

TEST_F(MetricsTest, ASumThatCannotBeMadeLeavesNothingBehind) {
    store("a.db", {{{"x", 1}}, {}});
    folder.file("b.db", "no store at all");

    expect_error({"--merge", "a.db", "b.db", "-o", "sum.db"}, 1, "b.db: is not an analytics store");
    EXPECT_EQ(metrics({"--merge", "a.db", "-o", "nowhere/sum.db"}).exit_code, 1);

    EXPECT_THAT(folder.names(), ElementsAre("a.db", "b.db"));
}

TEST_F(MetricsTest, WhatDoesNotGoTogetherIsWrongUse) {
    expect_error({"--merge", "a.db", "b.db"}, 2, "metrics: --merge requires -o FILE for the sum");
    expect_error({"--same-twice"}, 2, "metrics: --same-twice requires --merge");
    expect_error({"--json", "--openmetrics"}, 2, "metrics: --json excludes --openmetrics");
    expect_error({"--merge", "a.db", "b.db", "-o", "sum.db", "--json"}, 2,
                 "metrics: --merge prints no store: only -o FILE can be combined with it");
}

TEST_F(MetricsTest, ASumGoesIntoAFile) {
    store("a.db", {{{"x", 1}}, {}});

    for (const std::string word : {"-", ":memory:"}) {
        expect_error({"--merge", "a.db", "a.db", "-o", word}, 2,
                     "metrics: invalid value \"" + word + "\" for -o: the sum is written to a file");
    }

    EXPECT_THAT(folder.names(), ElementsAre("a.db"));
}

TEST_F(MetricsTest, NoStoreIsAddedTwice) {
    store("a.db", {{{"x", 1}}, {}});
    store("b.db", {{{"x", 2}}, {}});
    fs::copy_file(folder.path() / "a.db", folder.path() / "copy.db");
    fs::create_symlink("a.db", folder.path() / "link.db");
    const auto expect_refused = [&](const std::vector<std::string> &stores, const std::string &message) {
        std::vector<std::string> arguments = {"--merge"};
        arguments.insert(arguments.end(), stores.begin(), stores.end());
        arguments.insert(arguments.end(), {"-o", "sum.db"});
        expect_error(arguments, 1, message + "; --same-twice adds it all the same");
        EXPECT_FALSE(fs::exists(folder.path() / "sum.db"));
    };
    expect_refused({"a.db", "b.db", "a.db"}, "a.db: is the same file as a.db");
    expect_refused({"a.db", "./link.db"}, "./link.db: is the same file as a.db");
    expect_refused({"b.db", "a.db", "copy.db"}, "copy.db: has the same contents as a.db");

    EXPECT_EQ(metrics({"--same-twice", "--merge", "a.db", "a.db", "copy.db", "-o", "sum.db"}).exit_code, 0);
    EXPECT_EQ(host::read_analytics_store(folder.path() / "sum.db"), (StoreContents{{{"x", 3}}, {}}));
}

TEST_F(MetricsTest, EmptyStoresAddNothing) {
    store("a.db", {});
    store("b.db", {});
    EXPECT_EQ(metrics({"--merge", "a.db", "b.db", "-o", "sum.db"}).exit_code, 0);
}

TEST_F(MetricsTest, AFolderAndPackedStoresAddUp) {
    store("days/a.db", {{{"x", 1}}, {}});
    folder.file("days/b.db.gz", cli_tests::gzip(cli_tests::content_of(store("b.db", {{{"x", 10}}, {}}))));
    folder.file("days/dump.bin", cli_tests::numbered_reports(2));
    surroundings.standard_input = cli_tests::content_of(store("c.db", {{{"x", 100}}, {}}));

    EXPECT_EQ(metrics({"--merge", "days", "-", "-o", "sum.db"}).err, "");
    EXPECT_EQ(host::read_analytics_store(folder.path() / "sum.db"), (StoreContents{{{"x", 111}}, {}}));
}

// ---- inputs and results

TEST_F(MetricsTest, AStoreFromAPipeOrAPackedFileIsShownAsItsFile) {
    const std::string path = store("day.db", a_day());
    const std::string image = cli_tests::content_of(path);
    folder.file("day.db.gz", cli_tests::gzip(image));
    folder.file("day.db.zst", cli_tests::zstd(image));
    const std::string expected = metrics({"day.db", "--json"}).out;
    EXPECT_EQ(metrics({"day.db.gz", "--json"}).out, expected);
    EXPECT_EQ(metrics({"day.db.zst", "--json"}).out, expected);
    for (const std::string &piped : {image, cli_tests::gzip(image)}) {
        surroundings.standard_input = piped;
        EXPECT_EQ(metrics({"-", "--json"}).out, expected);
    }
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"day.db", "day.db.gz", "day.db.zst"}));
}

TEST_F(MetricsTest, ADamagedStoreFromAPipeIsAnError) {
    surroundings.standard_input = cli_tests::content_of(store("day.db", a_day())).substr(0, 6000);
    const Outcome damaged = metrics({"-"});
    EXPECT_EQ(damaged.exit_code, 1);
    EXPECT_EQ(damaged.out, "");
    EXPECT_THAT(damaged.err, StartsWith("qorstat: standard input: is damaged: "));
    surroundings.standard_input = "no store at all";
    expect_error({"-"}, 1, "standard input: is not an analytics store");
}

TEST_F(MetricsTest, SeveralStoresAreShownSideBySide) {
    store("days/a.db", {{{"x", 1}}, {{"d", {{0.5, 2}}}}});
    store("days/b.db", {{{"y", 2}}, {}});

    const Outcome outcome = metrics({"days/a.db", "days/b.db"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    expect_golden("metrics-side-by-side.txt", outcome.out);
    EXPECT_EQ(metrics({"days"}).out, outcome.out);
    folder.file("list", "days/a.db\ndays/b.db\n");
    EXPECT_EQ(metrics({"--files-from", "list"}).out, outcome.out);
    const nlohmann::json json = nlohmann::json::parse(metrics({"days", "--json"}).out);
    EXPECT_EQ(json[1]["store"], "days/b.db");
    EXPECT_EQ(json[1]["scalars"][0]["value"], 2);
}

TEST_F(MetricsTest, AFolderOfOneStoreHasTheFormOfSeveral) {
    store("days/a.db", {{{"x", 1}}, {}});
    EXPECT_EQ(nlohmann::json::parse(metrics({"days", "--json"}).out)[0]["store"], "days/a.db");
    EXPECT_EQ(nlohmann::json::parse(metrics({"days/a.db", "--json"}).out)["scalars"][0]["value"], 1);
}

TEST_F(MetricsTest, PromtoolAcceptsSeveralStores) {
    store("a.db", the_worst());
    store("\xff \"b\\.db", a_day());
    const Outcome outcome = metrics({"a.db", "\xff \"b\\.db", "a.db", "--openmetrics"});
    ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
    expect_accepted(outcome.out);
}

TEST_F(MetricsTest, OneBadStoreDoesNotSilenceTheOthers) {
    store("a.db", {{{"x", 1}}, {}});
    folder.file("records", cli_tests::record("Title", cli_tests::kTwoLines));

    const Outcome outcome = metrics({"nowhere", "a.db", "records"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "other\n     a.db\n  x     1\n");
    EXPECT_EQ(outcome.err, "qorstat: nowhere: No such file or directory\n"
                           "qorstat: records: is a state-capture record: use qorstat show\n");
}

TEST_F(MetricsTest, AFileGetsWhatAPipeGets) {
    store("day.db", a_day());
    const Outcome outcome = metrics({"day.db", "--openmetrics", "-o", "result"});
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_EQ(cli_tests::content_of(folder.path() / "result"), metrics({"day.db", "--openmetrics"}).out);
    EXPECT_EQ(metrics({"nowhere", "-o", "other"}).exit_code, 1);
    EXPECT_THAT(folder.names(), ElementsAre("day.db", "result"));
}

/** The write lock that another SQLite process would hold. */
class LockedFile {
public:
    explicit LockedFile(const fs::path &file) : _descriptor(open(file.c_str(), O_RDWR | O_CLOEXEC)) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_start = 0x40000000; // the byte range of SQLite's locks
        lock.l_len = 512;
        EXPECT_EQ(fcntl(_descriptor, F_SETLK, &lock), 0);
    }
    ~LockedFile() { close(_descriptor); }
    LockedFile(const LockedFile &) = delete;
    LockedFile &operator=(const LockedFile &) = delete;

private:
    int _descriptor;
};

TEST_F(MetricsTest, AMergeThatIsInterruptedLeavesNothing) {
    const std::string first = store("first.db", a_day());
    folder.file("first.db-journal", ""); // with a journal, readers must lock
    store("second.db", {{{"x", 1}}, {}});
    // By another name: before exec the child has this process's files open, too.
    fs::create_hard_link(first, folder.path() / "first");
    const LockedFile lock(folder.path() / "first");
    RunningProgram merge({"metrics", "--merge", "first.db", "second.db", "-o", "sum.db"}, surroundings);

    merge.waits_for_opening(first);
    merge.send(SIGINT); // it waits for the lock, for five seconds

    const Outcome outcome = merge.wait_for_end();
    EXPECT_EQ(outcome.exit_code, 128 + SIGINT);
    EXPECT_EQ(outcome.out, "");
    for (const std::string &name : folder.names()) {
        EXPECT_NE(name.rfind("sum.db", 0), 0u) << name;
    }
}

} // namespace
