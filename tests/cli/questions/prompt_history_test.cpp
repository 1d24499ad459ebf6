#include "cli/questions/prompt_history.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/error.h"
#include "tests/cli/program.h"

using cli::PromptHistory;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

class PromptHistoryTest : public testing::Test {
protected:
    fs::perms mode_of(const fs::path &path) const { return fs::status(path).permissions(); }

    cli_tests::TemporaryFolder folder;
    fs::path file = folder.path() / "state" / "qorstat" / "history";
    PromptHistory history{file};
};

TEST_F(PromptHistoryTest, WhatWasAddedIsThereInTheNextSession) {
    EXPECT_THAT(history.load(), IsEmpty());
    history.add("SELECT 1;");
    history.add("SELECT '\\n', -- two lines\n'ä\t';");

    EXPECT_THAT(PromptHistory(file).load(), ElementsAre("SELECT 1;", "SELECT '\\n', -- two lines\n'ä\t';"));
    EXPECT_EQ(cli_tests::content_of(file), "SELECT 1;\nSELECT '\\\\n', -- two lines\\n'ä\t';\n");
}

TEST_F(PromptHistoryTest, OnlyItsOwnerMayReadIt) {
    history.add("SELECT 1;");
    EXPECT_EQ(mode_of(file), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(mode_of(file.parent_path()), fs::perms::owner_all);

    fs::permissions(file, fs::perms::all);
    history.load();
    EXPECT_EQ(mode_of(file), fs::perms::owner_read | fs::perms::owner_write);
    fs::permissions(file, fs::perms::all);
    history.add("SELECT 2;");
    EXPECT_EQ(mode_of(file), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(PromptHistoryTest, TheNewestEntriesAreKept) {
    fs::create_directories(file.parent_path());
    std::ofstream lines(file);
    for (int i = 1; i <= 2001; ++i) {
        lines << "SELECT " << i << ";\n";
    }
    lines.close();

    const std::vector<std::string> loaded = history.load();

    ASSERT_EQ(loaded.size(), PromptHistory::kMostEntries);
    EXPECT_EQ(loaded.front(), "SELECT 1002;");
    EXPECT_EQ(loaded.back(), "SELECT 2001;");
    EXPECT_EQ(cli_tests::split_lines(cli_tests::content_of(file)), loaded);
    EXPECT_EQ(mode_of(file), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), {}), 1);
}

TEST_F(PromptHistoryTest, AHostileFileIsReadInPart) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << "SELECT 1;\n\x1B[2J\n\xFF\xFE\n\n" + std::string(20'000, 'x') + "\n\\\nSELECT 2;\\";
    EXPECT_THAT(history.load(), ElementsAre("SELECT 1;", "\\", "SELECT 2;\\"));

    std::ofstream(file) << std::string(5'000'000, 'x') + "\nSELECT 3;\n";
    EXPECT_THAT(history.load(), ElementsAre("SELECT 3;"));
    EXPECT_EQ(cli_tests::content_of(file), "SELECT 3;\n");
}

TEST_F(PromptHistoryTest, WhatCannotBeReadAgainIsNotAdded) {
    history.add("SELECT 1;");
    for (const std::string &entry :
         {std::string(), std::string(20'000, 'x'), std::string("\x1B[2J"), std::string("\xFF")}) {
        history.add(entry);
    }
    EXPECT_EQ(cli_tests::content_of(file), "SELECT 1;\n");
}

TEST_F(PromptHistoryTest, WithoutAPlaceNothingIsKept) {
    const PromptHistory none{fs::path()};
    none.add("SELECT 1;");
    EXPECT_THAT(none.load(), IsEmpty());
}

TEST_F(PromptHistoryTest, WhatIsNoRegularFileIsAnError) {
    fs::create_directories(file.parent_path());
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_THROW(history.load(), host::Error);
    EXPECT_THROW(history.add("SELECT 1;"), host::Error);
    fs::remove(file);
    fs::create_directory(file);
    EXPECT_THROW(history.load(), host::Error);
    EXPECT_THROW(history.add("SELECT 1;"), host::Error);
}

} // namespace
