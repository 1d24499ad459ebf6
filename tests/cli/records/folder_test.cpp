#include "cli/records/folder.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/error.h"
#include "tests/cli/program.h"

using namespace std::string_view_literals;
using cli_tests::content_of;
using cli_tests::TemporaryFolder;

namespace {

host::RecordBytes bytes(std::string_view text) {
    const auto view = std::as_bytes(std::span(text.data(), text.size()));
    return {view.begin(), view.end()};
}

const std::vector<host::RecordBytes> kTwoRecords = {bytes("first\0\xFF"sv), bytes("second"sv)};
const std::vector<std::string> kTwoTitles = {"SensorInfo", "a/b"};

/** The reason why writing to `folder` failed; empty when it did not. */
std::string failure_of_writing(const std::string &folder) {
    try {
        cli::write_folder(folder, kTwoRecords, kTwoTitles);
    } catch (const host::Error &error) {
        EXPECT_EQ(error.file(), folder);
        return error.reason();
    }
    return {};
}

TEST(RecordFileNameTest, KeepsWhatAFileNameCanHold) {
    EXPECT_EQ(cli::file_name_of(1, 1, "ZEL Profile 5 ;count=2 ;type=drvx"),
              "001-ZEL Profile 5 ;count=2 ;type=drvx.qorstate");
    EXPECT_EQ(cli::file_name_of(1, 1, "gr\xC3\xBC\xC3\x9F"), "001-gr\xC3\xBC\xC3\x9F.qorstate");
}

TEST(RecordFileNameTest, ReplacesWhatSomeFileSystemCannotHold) {
    EXPECT_EQ(cli::file_name_of(1, 1, "a/b\\c:d*e?f\"g<h>i|j"), "001-a_b_c_d_e_f_g_h_i_j.qorstate");
    EXPECT_EQ(cli::file_name_of(1, 1, "\x01\x1F\x7F\n"), "001-____.qorstate");
    EXPECT_EQ(cli::file_name_of(1, 1, "x\xFFy\xC3"), "001-x_y_.qorstate");
    EXPECT_EQ(cli::file_name_of(1, 1, "../../x"), "001-.._.._x.qorstate");
}

TEST(RecordFileNameTest, AnEmptyTitleHasAName) { EXPECT_EQ(cli::file_name_of(1, 1, ""), "001-untitled.qorstate"); }

TEST(RecordFileNameTest, PadsNumbersSoThatNamesSortInOrder) {
    EXPECT_EQ(cli::file_name_of(7, 104, "t"), "007-t.qorstate");
    EXPECT_EQ(cli::file_name_of(104, 104, "t"), "104-t.qorstate");
    EXPECT_EQ(cli::file_name_of(7, 1000, "t"), "0007-t.qorstate");
}

TEST(RecordFolderTest, WritesEachRecordByteForByte) {
    const TemporaryFolder temporary;
    const std::string folder = temporary.path() / "new";

    cli::write_folder(folder, kTwoRecords, kTwoTitles);

    EXPECT_EQ(content_of(folder + "/001-SensorInfo.qorstate"), "first\0\xFF"sv);
    EXPECT_EQ(content_of(folder + "/002-a_b.qorstate"), "second");
    EXPECT_EQ(temporary.names(), std::vector<std::string>{"new"});
}

TEST(RecordFolderTest, TakesAnEmptyFolder) {
    const TemporaryFolder temporary;
    const std::string folder = temporary.path() / "empty";
    std::filesystem::create_directory(folder);

    cli::write_folder(folder + "/", kTwoRecords, kTwoTitles);

    EXPECT_EQ(content_of(folder + "/002-a_b.qorstate"), "second");
}

TEST(RecordFolderTest, FollowsALinkToAnEmptyFolder) {
    const TemporaryFolder temporary;
    std::filesystem::create_directory(temporary.path() / "empty");
    std::filesystem::create_directory_symlink("empty", temporary.path() / "link");

    cli::write_folder(temporary.path() / "link", kTwoRecords, kTwoTitles);

    EXPECT_EQ(content_of(temporary.path() / "empty/002-a_b.qorstate"), "second");
}

TEST(RecordFolderTest, NoRecordsMakeAnEmptyFolder) {
    const TemporaryFolder temporary;

    cli::write_folder(temporary.path() / "new", {}, {});

    EXPECT_TRUE(std::filesystem::is_empty(temporary.path() / "new"));
}

TEST(RecordFolderTest, RefusesAFolderThatHoldsSomething) {
    const TemporaryFolder temporary;
    temporary.file("old", "content");

    EXPECT_EQ(failure_of_writing(temporary.path()), "exists and is not empty");
    EXPECT_EQ(temporary.names(), std::vector<std::string>{"old"});
}

TEST(RecordFolderTest, RefusesAFile) {
    const TemporaryFolder temporary;

    EXPECT_EQ(failure_of_writing(temporary.file("old", "content")), "exists and is not a directory");
    EXPECT_EQ(content_of(temporary.path() / "old"), "content");
}

TEST(RecordFolderTest, AMissingParentIsAnError) {
    const TemporaryFolder temporary;

    EXPECT_EQ(failure_of_writing(temporary.path() / "missing/new"), "No such file or directory");
    EXPECT_TRUE(temporary.names().empty());
}

TEST(RecordFolderTest, AFileThatCannotBeWrittenLeavesNothing) {
    const TemporaryFolder temporary;
    const std::string name(300, 'x'); // longer than a file's name can be

    EXPECT_THROW(cli::write_folder(temporary.path() / "new", kTwoRecords, {"fine", name}), host::Error);

    EXPECT_TRUE(temporary.names().empty());
}

TEST(RecordFolderTest, PassesOverALeftoverOfTheSameProcessNumber) {
    const TemporaryFolder temporary;
    const std::string leftover = "new.partial-" + std::to_string(getpid()) + "-0";
    std::filesystem::create_directory(temporary.path() / leftover);

    cli::write_folder(temporary.path() / "new", kTwoRecords, kTwoTitles);

    EXPECT_EQ(temporary.names(), (std::vector<std::string>{"new", leftover}));
}

} // namespace
