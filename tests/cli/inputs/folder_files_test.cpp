#include "cli/inputs/folder_files.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "host/store/analytics_store.h"
#include "tests/cli/program.h"

using cli::files_below;
using cli::FolderEntry;
using cli_tests::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

class FolderFilesTest : public testing::Test {
protected:
    /** Paths within the folder, each with its error. */
    std::vector<std::string> found() const {
        std::vector<std::string> all;
        for (const FolderEntry &entry : files_below(folder.path())) {
            all.push_back(fs::path(entry.path).lexically_relative(folder.path()).string() +
                          (entry.error.empty() ? "" : ": " + entry.error));
        }
        return all;
    }

    void make_folder(const std::string &name) const { fs::create_directories(folder.path() / name); }

    const TemporaryFolder folder;
};

TEST_F(FolderFilesTest, ComeInTheByteOrderOfTheirPaths) {
    make_folder("b");
    make_folder("a/deep/er");
    for (const char *name : {"b/1", "b-1", "b.1", "b0", "a/deep/er/x", "a/z", "\xC3\xA4", "Z"}) {
        folder.file(name, "");
    }
    EXPECT_THAT(found(), ElementsAre("Z", "a/deep/er/x", "a/z", "b-1", "b.1", "b/1", "b0", "\xC3\xA4"));
}

TEST_F(FolderFilesTest, HiddenNamesLinksToFoldersAndDevicesAreLeftOut) {
    make_folder(".hidden");
    make_folder("folder");
    folder.file(".hidden/file", "");
    folder.file(".file", "");
    folder.file("folder/file", "");
    fs::create_directory_symlink(folder.path() / "folder", folder.path() / "link-to-folder");
    fs::create_symlink(folder.path(), folder.path() / "folder/loop");
    fs::create_symlink("itself", folder.path() / "itself");
    fs::create_symlink(folder.path() / "folder/file", folder.path() / "link-to-file");
    fs::create_symlink(folder.path() / ".file", folder.path() / "link-to-hidden");
    fs::create_symlink("/dev/null", folder.path() / "link-to-device");
    ASSERT_EQ(mkfifo((folder.path() / "fifo").c_str(), 0600), 0);
    EXPECT_THAT(found(), ElementsAre("folder/file", "itself", "link-to-file", "link-to-hidden"));
}

TEST_F(FolderFilesTest, AFolderThatIsNamedMayItselfBeHiddenOrALink) {
    make_folder(".hidden");
    folder.file(".hidden/file", "");
    fs::create_directory_symlink(folder.path() / ".hidden", folder.path() / "link");
    const std::string hidden = folder.path() / ".hidden";
    const std::string link = folder.path() / "link";
    ASSERT_EQ(files_below(hidden).size(), 1u);
    EXPECT_EQ(files_below(hidden)[0].path, hidden + "/file");
    EXPECT_EQ(files_below(hidden + "/")[0].path, hidden + "/file");
    EXPECT_EQ(files_below(link)[0].path, link + "/file");
}

TEST_F(FolderFilesTest, WhatStandsBesideAStoreIsLeftOut) {
    host::write_new_analytics_store(folder.path() / "day.db", {{{"key", 2}}, {}});
    for (const char *name : {"day.db-wal", "day.db-shm", "day.db-journal", "day.db-other", "dump", "dump-wal"}) {
        folder.file(name, "x");
    }
    EXPECT_THAT(found(), ElementsAre("day.db", "day.db-other", "dump", "dump-wal"));
}

TEST_F(FolderFilesTest, AnEmptyFolderHasNone) {
    make_folder("folder");
    EXPECT_THAT(found(), IsEmpty());
}

TEST_F(FolderFilesTest, AFolderThatCannotBeReadIsNamedAmongTheOthers) {
    make_folder("b");
    folder.file("a", "");
    folder.file("c", "");
    // Root may read every folder, so the unreadable one is one that has gone.
    EXPECT_EQ(files_below("/nowhere").at(0).error, "No such file or directory");
    EXPECT_EQ(files_below("/nowhere").at(0).path, "/nowhere");
    if (geteuid() != 0) {
        fs::permissions(folder.path() / "b", fs::perms::none);
        EXPECT_THAT(found(), ElementsAre("a", "b: Permission denied", "c"));
        fs::permissions(folder.path() / "b", fs::perms::owner_all);
    }
}

TEST_F(FolderFilesTest, DeepFoldersAreWalkedAndTooDeepOnesNamed) {
    // A path that is longer than the system takes: made step by step.
    const fs::path former = fs::current_path();
    fs::current_path(folder.path());
    const std::string name(200, 'd');
    for (int depth = 0; depth < 25; ++depth) {
        fs::create_directory(name);
        fs::current_path(name);
    }
    fs::current_path(former);
    folder.file("file", "");

    const std::vector<std::string> all = found();

    ASSERT_EQ(all.size(), 2u);
    EXPECT_TRUE(all[0].ends_with("/" + name + ": File name too long")) << all[0];
    EXPECT_EQ(all[1], "file");
}

} // namespace
