#include "cli/inputs/input_sequence.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "cli/arguments/wrong_use.h"
#include "host/store/analytics_store.h"
#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports/dumps.h"

using cli::ContentKind;
using cli::Input;
using cli::InputSequence;
using cli::WantedContent;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

const WantedContent kDumps{{ContentKind::Dump, ContentKind::Records, ContentKind::Empty},
                           {ContentKind::Dump, ContentKind::Records, ContentKind::Empty},
                           "a dump"};
const WantedContent kRecords{
    {ContentKind::Dump, ContentKind::Records, ContentKind::Empty}, {ContentKind::Records}, "a record"};
const WantedContent kStores{{ContentKind::Store, ContentKind::Dump}, {ContentKind::Store}, "an analytics store"};

class InputSequenceTest : public testing::Test {
protected:
    InputSequenceTest() {
        fs::create_directories(folder.path() / "mixed/below");
        fs::create_directories(folder.path() / "stores");
        folder.file("mixed/a.bin", cli_tests::numbered_reports(2));
        folder.file("mixed/below/b.qorstate", cli_tests::record("Title", cli_tests::kTwoLines));
        folder.file("mixed/below/c.bin.gz", cli_tests::gzip(cli_tests::numbered_reports(1)));
        host::write_new_analytics_store(folder.path() / "mixed/day.db", {{{"key", 2}}, {}});
        folder.file("mixed/day.db-wal", "");
        host::write_new_analytics_store(folder.path() / "stores/day.db", {{{"key", 2}}, {}});
        folder.file("image.png", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16));
    }

    std::string path(const std::string &name) const { return folder.path() / name; }

    /** The names of what is read, without the folder. Standard error goes to `messages`. */
    std::vector<std::string> read(const std::vector<std::string> &names, const WantedContent &wanted,
                                  const std::optional<std::string> &files_from = std::nullopt) {
        std::vector<std::string> arguments;
        for (const std::string &name : names) {
            arguments.push_back(path(name));
        }
        InputSequence inputs(arguments, files_from, wanted);
        is_one_file = inputs.is_one_file();
        std::vector<std::string> all;
        testing::internal::CaptureStderr();
        while (const std::optional<Input> input = inputs.next()) {
            all.push_back(fs::path(input->stream->name()).lexically_relative(folder.path()).string());
            if (passes_over && input->is_in_folder()) {
                inputs.pass_over(*input);
            }
        }
        messages = testing::internal::GetCapturedStderr();
        has_failed = inputs.has_failed();
        return all;
    }

    const cli_tests::TemporaryFolder folder;
    bool passes_over = false;
    bool is_one_file = false;
    bool has_failed = false;
    std::string messages;
};

TEST_F(InputSequenceTest, AFolderGivesWhatTheVerbReadsAndIsSilentAboutOurOtherFiles) {
    EXPECT_THAT(read({"mixed"}, kDumps), ElementsAre("mixed/a.bin", "mixed/below/b.qorstate", "mixed/below/c.bin.gz"));
    EXPECT_THAT(read({"mixed"}, kRecords), ElementsAre("mixed/below/b.qorstate"));
    EXPECT_THAT(read({"mixed"}, kStores), ElementsAre("mixed/day.db"));
    EXPECT_EQ(messages, "");
    EXPECT_FALSE(has_failed);
    EXPECT_FALSE(is_one_file);
}

TEST_F(InputSequenceTest, ArgumentsComeInTheirOrderAndAgain) {
    EXPECT_THAT(read({"mixed/below", "mixed/a.bin", "mixed/a.bin"}, kDumps),
                ElementsAre("mixed/below/b.qorstate", "mixed/below/c.bin.gz", "mixed/a.bin", "mixed/a.bin"));
    EXPECT_THAT(read({"mixed/a.bin"}, kDumps), ElementsAre("mixed/a.bin"));
    EXPECT_TRUE(is_one_file);
    EXPECT_THAT(read({}, kDumps), IsEmpty());
    EXPECT_FALSE(is_one_file);
}

TEST_F(InputSequenceTest, EachBadOneIsNamedAndTheOthersAreRead) {
    EXPECT_THAT(read({"nowhere", "image.png", "mixed/a.bin", "stores/day.db", "stores"}, kDumps),
                ElementsAre("mixed/a.bin"));
    EXPECT_EQ(messages, "qorstat: " + path("nowhere") + ": No such file or directory\n" +        //
                            "qorstat: " + path("image.png") + ": is a PNG image, not a dump\n" + //
                            "qorstat: " + path("stores/day.db") + ": is an analytics store: use qorstat metrics\n" +
                            "qorstat: " + path("stores") + ": has no file that holds a dump\n");
    EXPECT_TRUE(has_failed);
}

TEST_F(InputSequenceTest, ARecordIsNoStore) {
    EXPECT_THAT(read({"mixed/below/b.qorstate"}, kStores), IsEmpty());
    EXPECT_EQ(messages,
              "qorstat: " + path("mixed/below/b.qorstate") + ": is a state-capture record: use qorstat show\n");
}

TEST_F(InputSequenceTest, ForeignFilesInAFolderAreNamed) {
    folder.file("stores/notes.txt", std::string(100, 'n'));
    fs::create_symlink("nowhere", folder.path() / "stores/broken");
    EXPECT_THAT(read({"stores"}, kStores), ElementsAre("stores/day.db"));
    EXPECT_EQ(messages, "qorstat: " + path("stores/broken") + ": No such file or directory\n" + //
                            "qorstat: " + path("stores/notes.txt") + ": is a text file, not an analytics store\n");
}

TEST_F(InputSequenceTest, AFolderOfWhichAllWasPassedOverHasNothing) {
    passes_over = true;
    EXPECT_EQ(read({"mixed"}, kDumps).size(), 3u);
    EXPECT_EQ(messages, "qorstat: " + path("mixed") + ": has no file that holds a dump\n");
    EXPECT_TRUE(has_failed);
}

TEST_F(InputSequenceTest, TheNamesOfAListFollowTheArguments) {
    const std::string list = folder.file("list", path("mixed/a.bin") + "\n\n" + path("mixed/below") + "\n");
    EXPECT_THAT(read({"mixed/below/b.qorstate"}, kDumps, list),
                ElementsAre("mixed/below/b.qorstate", "mixed/a.bin", "mixed/below/b.qorstate", "mixed/below/c.bin.gz"));
    EXPECT_THROW(read({}, kDumps, path("nowhere")), host::Error);
}

/** With nothing to read there is no result, and an exit code of 0 would promise one. */
TEST_F(InputSequenceTest, AListMustNameSomething) {
    const std::string list = folder.file("list", "\n\n");
    for (const std::vector<std::string> &others : {std::vector<std::string>{}, {"mixed/a.bin"}}) {
        try {
            read(others, kDumps, list);
            ADD_FAILURE() << "read";
        } catch (const host::Error &error) {
            EXPECT_EQ(error.what(), list + ": names no files");
        }
    }
}

TEST_F(InputSequenceTest, StandardInputIsNamedOnce) {
    EXPECT_THROW(InputSequence({"-", "-"}, std::nullopt, kDumps), cli::WrongUse);
    const std::string list = folder.file("list", "-\n");
    EXPECT_THROW(InputSequence({"-"}, list, kDumps), cli::WrongUse);
    EXPECT_NO_THROW(InputSequence({}, list, kDumps));
}

TEST_F(InputSequenceTest, WhatTurnsOutBadWhileItIsReadCounts) {
    InputSequence inputs({path("mixed/a.bin")}, std::nullopt, kDumps);
    ASSERT_TRUE(inputs.next());
    EXPECT_FALSE(inputs.has_failed());
    testing::internal::CaptureStderr();
    inputs.report(host::Error("a.bin", "byte 3", "is bad"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "qorstat: a.bin: byte 3: is bad\n");
    EXPECT_TRUE(inputs.has_failed());
}

} // namespace
