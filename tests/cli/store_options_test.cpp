/** `--store` and `--on-store-error` of the verbs that host the plug-in. */
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "host/analytics_store.h"
#include "tests/cli/program.h"

using cli_tests::content_of;
using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;

namespace {

namespace fs = std::filesystem;

const std::string kSmall = QOR_SOURCE_FOLDER "/tests/data/small.toml";

class StoreOptionsTest : public testing::Test {
protected:
    StoreOptionsTest() {
        surroundings.folder = folder.path();
        surroundings.environment = {{"XDG_RUNTIME_DIR", runtime_folder.path()},
                                    {"XDG_STATE_HOME", folder.path() / "state"},
                                    {"HOME", folder.path()}};
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
    Surroundings surroundings;
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
    EXPECT_EQ(outcome.err, "qorstat: neither XDG_STATE_HOME nor HOME says where analytics go; --store does\n");
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

} // namespace
