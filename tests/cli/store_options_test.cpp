/** `--store` and `--on-store-error` of the verbs that host the plug-in. */
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "host/store/analytics_store.h"
#include "tests/cli/hosting.h"
#include "tests/cli/program.h"

using cli_tests::content_of;
using cli_tests::kSmall;
using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::RunningProgram;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;

namespace {

namespace fs = std::filesystem;

class StoreOptionsTest : public testing::Test {
protected:
    StoreOptionsTest() {
        surroundings.environment["XDG_RUNTIME_DIR"] = runtime_folder.path();
        surroundings.environment["HOME"] = folder.path();
    }

    /** A run that ends at once. */
    Outcome run(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"run", kSmall, "--for", "0"});
        return qorstat(options, surroundings);
    }

    bool is_store(const fs::path &path) const {
        return fs::exists(path) && host::read_analytics_store(path) == host::StoreContents{};
    }

    TemporaryFolder runtime_folder;
    TemporaryFolder folder;
    Surroundings surroundings = cli_tests::isolate_in(folder);
};

TEST_F(StoreOptionsTest, ARunKeepsItsStoreInTheStateFolder) {
    EXPECT_EQ(run().exit_code, 0);

    EXPECT_TRUE(is_store(folder.path() / "state/qorstat/analytics.db"));
    EXPECT_EQ(fs::status(folder.path() / "state/qorstat").permissions(), fs::perms::owner_all);
}

TEST_F(StoreOptionsTest, WithoutAStateFolderTheHomeFolderHasOne) {
    for (const char *none : {"", "relative/folder"}) {
        surroundings.environment["XDG_STATE_HOME"] = none;

        EXPECT_EQ(run().exit_code, 0);
        EXPECT_TRUE(is_store(folder.path() / ".local/state/qorstat/analytics.db"));
        EXPECT_FALSE(fs::exists(folder.path() / "relative"));
        fs::remove_all(folder.path() / ".local");
    }
}

TEST_F(StoreOptionsTest, WithoutAnyFolderARunSaysWhatHelps) {
    surroundings.environment["XDG_STATE_HOME"] = "";
    surroundings.environment["HOME"] = "";

    const Outcome outcome = run();

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(
        outcome.err,
        "qorstat: no default store: neither XDG_STATE_HOME nor HOME is an absolute path; give one with --store\n");
    EXPECT_EQ(run({"--store", "mine.db"}).exit_code, 0);
}

TEST_F(StoreOptionsTest, AStateFolderThatCannotBeMadeIsNamed) {
    folder.file("state", "a file");

    const Outcome outcome = run();

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: " + (folder.path() / "state").string() + ": File exists\n");
}

TEST_F(StoreOptionsTest, ARunKeepsItsStoreWhereItIsTold) {
    EXPECT_EQ(run({"--store", "mine.db"}).exit_code, 0);
    EXPECT_EQ(run({"--store", "mine.db"}).exit_code, 0);

    EXPECT_EQ(folder.names(), std::vector<std::string>{"mine.db"});
    EXPECT_TRUE(is_store(folder.path() / "mine.db"));
}

TEST_F(StoreOptionsTest, AStoreInMemoryLeavesNoFile) {
    EXPECT_EQ(run({"--store", ":memory:"}).exit_code, 0);

    EXPECT_EQ(folder.names(), std::vector<std::string>{});
}

TEST_F(StoreOptionsTest, ACaptureKeepsNoStoreUnlessItIsTold) {
    EXPECT_EQ(qorstat({"capture", kSmall, "-o", "records"}, surroundings).exit_code, 0);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"records"});

    EXPECT_EQ(qorstat({"capture", kSmall, "-o", "more", "--store", "mine.db"}, surroundings).exit_code, 0);
    EXPECT_TRUE(is_store(folder.path() / "mine.db"));
}

TEST_F(StoreOptionsTest, AFileThatIsNoStoreEndsBothVerbsAndStaysAsItWas) {
    const std::string file = folder.file("notes.txt", "not a store");
    const std::string wanted = "qorstat: " + file + ": is not an analytics store\n";

    const Outcome run_outcome = run({"--store", file});
    const Outcome capture_outcome = qorstat({"capture", kSmall, "-o", "records", "--store", file}, surroundings);

    for (const Outcome &outcome : {run_outcome, capture_outcome}) {
        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, wanted);
    }
    EXPECT_EQ(content_of(file), "not a store");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"notes.txt"});
}

TEST_F(StoreOptionsTest, AFolderThatIsMissingIsAnError) {
    const Outcome outcome = run({"--store", "nowhere/mine.db"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: nowhere/mine.db: No such file or directory\n");
}

TEST_F(StoreOptionsTest, WhatToDoOnAStoreErrorIsOneOfTwoWords) {
    EXPECT_EQ(run({"--on-store-error", "go-on"}).exit_code, 0);
    EXPECT_EQ(run({"--on-store-error", "stop"}).exit_code, 0);

    const Outcome outcome = run({"--on-store-error", "stpo"});

    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_THAT(outcome.err, testing::HasSubstr("did you mean \"stop\"?"));
}

/** A run that delivers a batch every few milliseconds, and whose store file can be moved away. */
class StoreFailureTest : public StoreOptionsTest {
protected:
    /** @param word  what to do on a store error. */
    void start(const std::string &word) {
        const std::string description = folder.file(
            "device.toml", content_of(kSmall) + "[[analytics]]\ndevice = 'qor'\nevery = 0.005\ncount = 1000000\n"
                                                "entry = [{ operation = 'add_to_scalar', key = 57, value = 1 },\n"
                                                "         { operation = 'push', key = 57, value = 0.5 }]\n");
        host =
            std::make_unique<RunningProgram>(std::vector<std::string>{"run", description, "--store", "store.db",
                                                                      "--on-store-error", word, "--log-level", "error"},
                                             surroundings);
        ASSERT_TRUE(host->waits_for_message("publishTBData"));
    }

    void take_away() const { fs::rename(folder.path() / "store.db", folder.path() / "away.db"); }
    void bring_back() const { fs::rename(folder.path() / "away.db", folder.path() / "store.db"); }

    /** Batches in the store; they must be whole. */
    std::int64_t batches() const {
        host::StoreContents contents = host::read_analytics_store(folder.path() / "store.db");
        const std::int64_t sum = contents.scalars["com.ondre.zel.test"];
        EXPECT_EQ(contents.distributions["com.ondre.zel.test"][0.5], static_cast<std::uint64_t>(sum));
        return sum;
    }

    const std::string kReason = "qorstat: store.db: was moved or deleted while it was open";
    const std::string kFailure = kReason + "; analytics are kept and will be written when possible\n";
    std::unique_ptr<RunningProgram> host;
};

/** The number of published entries in the log. */
std::int64_t count_published(const std::string &log) {
    return static_cast<std::int64_t>(cli_tests::occurrences(log, "publishTBData op=0x3"));
}

TEST_F(StoreFailureTest, GoingOnLosesNothingWhenTheStoreCanBeWrittenAgain) {
    start("go-on");
    take_away();
    ASSERT_TRUE(host->waits_for_message(kFailure));
    bring_back();
    host->send(SIGINT);

    const Outcome outcome = host->wait_for_end();

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(batches(), count_published(outcome.err));
    EXPECT_EQ(outcome.err.find(kFailure), outcome.err.rfind(kFailure)) << outcome.err;
}

TEST_F(StoreFailureTest, WhatIsLostAtTheEndIsSaidOnceAndAFailure) {
    start("go-on");
    take_away();
    ASSERT_TRUE(host->waits_for_message(kFailure));
    host->send(SIGINT);

    const Outcome outcome = host->wait_for_end();

    bring_back();
    const std::int64_t lost = 2 * (count_published(outcome.err) - batches());
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_GT(lost, 0);
    EXPECT_THAT(outcome.err, testing::EndsWith("qorstat: store.db: was moved or deleted while it was open; " +
                                               std::to_string(lost) + " operations are lost\n"));
}

TEST_F(StoreFailureTest, StoppingEndsTheRunWithAFailure) {
    start("stop");
    take_away();

    const Outcome outcome = host->wait_for_end();

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.err, testing::HasSubstr("\n" + kReason + "\n"));
    EXPECT_THAT(outcome.err, testing::ContainsRegex("\n" + kReason + "; [0-9]+ operations are lost\n$"));
}

} // namespace
