/** What may stand beside a store, and what is done to it: nothing. */
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/error.h"
#include "host/store/analytics_store.h"
#include "host/store/sqlite_database.h"
#include "tests/host/store/watched_files.h"
#include "tests/hostile_store.h"

namespace {

namespace fs = std::filesystem;

using host::AnalyticsStore;
using store_tests::FileCall;
using store_tests::hostile_surroundings;
using store_tests::Surroundings;
using store_tests::WatchedFiles;

host::StoreChanges addition() {
    host::StoreChanges changes;
    changes.add_to_scalar("a", 1);
    return changes;
}

class StoreSideFiles : public testing::TestWithParam<Surroundings> {
protected:
    StoreSideFiles() {
        std::string name = testing::TempDir() + "store-side-files-XXXXXX";
        folder = mkdtemp(name.data());
        file = folder / "store.db";
        host::write_new_analytics_store(file, {{{"a", 1}}, {}});
        GetParam().make(folder);
    }
    ~StoreSideFiles() override { fs::remove_all(folder); }

    /** Does the work, and expects an error unless the surroundings are harmless. @return the calls that it made. */
    std::vector<FileCall> calls_of(const std::function<void()> &work) const {
        std::vector<FileCall> calls;
        const WatchedFiles watched([&](const FileCall &call) {
            calls.push_back(call);
            return SQLITE_OK;
        });
        try {
            work();
            EXPECT_EQ(GetParam().reason, "");
        } catch (const host::Error &error) {
            EXPECT_EQ(error.file(), file.string());
            EXPECT_EQ(error.reason(), GetParam().reason);
        }
        return calls;
    }

    fs::path folder;
    fs::path file;
};

TEST_P(StoreSideFiles, AReaderOpensNothingForWritingAndChangesNothing) {
    const auto before = store_tests::state_of_folder(folder);

    const std::vector<FileCall> calls = calls_of([&] { host::read_analytics_store(file); });

    for (const FileCall &call : calls) {
        EXPECT_TRUE(call.kind == FileCall::kOpen || call.kind == FileCall::kMapIndex) << call.kind << call.path;
        EXPECT_FALSE(call.may_write) << call.path;
    }
    EXPECT_EQ(store_tests::state_of_folder(folder), before);
}

TEST_P(StoreSideFiles, AHostChangesOnlyTheStoreAndItsOwnLog) {
    auto before = store_tests::state_of_folder(folder);

    const std::vector<FileCall> calls = calls_of([&] {
        AnalyticsStore store(file);
        store.apply(addition());
    });

    for (const FileCall &call : calls) {
        if (call.kind != FileCall::kOpen || call.may_write) {
            EXPECT_THAT(call.path, testing::AnyOf(file.string(), file.string() + "-wal"));
        }
    }
    auto after = store_tests::state_of_folder(folder);
    if (GetParam().reason.empty()) {
        before.erase("store.db");
        after.erase("store.db");
    }
    EXPECT_EQ(after, before);
}

/** Who made a log beside a store of the user 1 and the group 60, and whether it is used. */
struct Maker {
    uid_t user;
    gid_t group; ///< of the log
    mode_t store_mode;
    bool is_accepted;

    friend void PrintTo(const Maker &maker, std::ostream *out) {
        *out << "user " << maker.user << ", group " << maker.group << ", store " << std::oct << maker.store_mode;
    }
};

class StoreLogOfAnotherUser : public testing::TestWithParam<Maker> {};

TEST_P(StoreLogOfAnotherUser, IsUsedWhenThatUserMayWriteToTheStore) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can make files of other users";
    }
    const Maker &maker = GetParam();
    std::string name = testing::TempDir() + "store-of-a-group-XXXXXX";
    const fs::path folder = mkdtemp(name.data());
    const std::string store = folder / "store.db";
    const std::string log = store + "-wal";
    host::write_new_analytics_store(store, {{{"a", 1}}, {}});
    ASSERT_EQ(::chown(store.c_str(), 1, 60), 0);
    fs::permissions(store, static_cast<fs::perms>(maker.store_mode));
    store_tests::write_text(log, "");
    ASSERT_EQ(::chown(log.c_str(), maker.user, maker.group), 0);

    std::string reason;
    try {
        EXPECT_EQ(host::read_analytics_store(store).scalars.at("a"), 1);
    } catch (const host::Error &error) {
        reason = error.reason();
    }

    EXPECT_EQ(reason, maker.is_accepted ? "" : "\"store.db-wal\" beside it belongs to another user");
    fs::remove_all(folder);
}

/** By Debian's own users: 5 (games) is in the group 60, and 2 (bin) is not. Nobody is 54321. */
INSTANTIATE_TEST_SUITE_P(Any, StoreLogOfAnotherUser,
                         testing::Values(Maker{1, 60, 0600, true}, Maker{0, 0, 0600, true}, // the owner, and the reader
                                         Maker{5, 60, 0660, true}, Maker{5, 5, 0660, true}, Maker{5, 60, 0640, false},
                                         Maker{5, 60, 0606, false}, Maker{2, 60, 0660, false}, Maker{2, 2, 0606, true},
                                         Maker{54321, 60, 0660, false}, Maker{54321, 60, 0666, true}));

INSTANTIATE_TEST_SUITE_P(Any, StoreSideFiles, testing::ValuesIn(hostile_surroundings()),
                         [](const testing::TestParamInfo<Surroundings> &made) { return made.param.name; });

/** Makes a store in an empty folder, with the log and the index that a killed host leaves. */
void leave_store_of_a_killed_host(const fs::path &folder) {
    const pid_t child = fork();
    if (child == 0) {
        (new AnalyticsStore(folder / "store.db"))->apply(addition());
        raise(SIGKILL);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
}

/** What a killed host has left, with other bytes in the index. */
TEST(StoreOfAKilledHost, IsReadAndLeftAsItIs) {
    std::string name = testing::TempDir() + "store-side-files-XXXXXX";
    const fs::path folder = mkdtemp(name.data());
    const fs::path file = folder / "store.db";
    leave_store_of_a_killed_host(folder);
    for (const std::size_t size : {std::size_t{32 * 1024}, std::size_t{100}, std::size_t{0}}) {
        store_tests::write_text(folder / "store.db-shm", std::string(size, 'x'));
        const auto before = store_tests::state_of_folder(folder);
        ASSERT_EQ(before.size(), 3u);

        EXPECT_EQ(host::read_analytics_store(file), (host::StoreContents{{{"a", 1}}, {}}));

        EXPECT_EQ(store_tests::state_of_folder(folder), before);
    }
    fs::remove_all(folder);
}

// ---- files that change between a check and the opening

/** Called when a file is about to be opened, after everything that is checked by its name. */
std::function<void(const std::string &path)> before_opening;

int open_after_the_checks(const char *path, int flags, int mode) {
    if (before_opening) {
        before_opening(path);
    }
    return ::open(path, flags, mode);
}

/** Takes the place of the system's function before the first use of a store, from when on the store's VFS calls it. */
[[maybe_unused]] const int kReplacement = [] {
    sqlite3_initialize();
    sqlite3_vfs *const vfs = sqlite3_vfs_find("unix");
    return vfs->xSetSystemCall(vfs, "open", reinterpret_cast<sqlite3_syscall_ptr>(open_after_the_checks));
}();

/** What takes the place of a file, from a good copy of it under another name. */
struct Swap {
    std::string name;
    std::function<void(const fs::path &copy, const fs::path &file)> make;
};

const std::vector<Swap> kSwaps = {
    {"link", [](const fs::path &copy, const fs::path &file) { fs::create_symlink(copy.filename(), file); }},
    {"fifo", [](const fs::path &, const fs::path &file) { ::mkfifo(file.c_str(), 0600); }},
    {"hard link", [](const fs::path &copy, const fs::path &file) { fs::create_hard_link(copy, file); }}};

class StoreFilesThatChange : public testing::TestWithParam<std::string> {
protected:
    StoreFilesThatChange() {
        std::string name = testing::TempDir() + "store-files-XXXXXX";
        folder = mkdtemp(name.data());
    }
    ~StoreFilesThatChange() override {
        before_opening = nullptr;
        fs::remove_all(folder);
    }

    /** Expects an error that names the store, with each swap, and that the copy stays as it was. */
    void expect_refusal(const std::function<void(const std::string &store)> &work) const {
        for (const Swap &swap : kSwaps) {
            if (GetParam().empty() && swap.name == "hard link") {
                continue; // a store may have several names
            }
            SCOPED_TRACE(swap.name);
            const fs::path own = folder / swap.name;
            fs::create_directory(own);
            leave_store_of_a_killed_host(own);
            const std::string store = own / "store.db";
            const std::string file = store + GetParam();
            const fs::path copy = own / "copy";
            fs::copy(file, copy);
            const std::string bytes = store_tests::text_of(copy);
            bool is_swapped = false;
            before_opening = [&](const std::string &path) {
                if (path == file && !std::exchange(is_swapped, true)) {
                    fs::remove(file);
                    swap.make(copy, file);
                }
            };
            try {
                work(store);
                ADD_FAILURE() << "used";
            } catch (const host::Error &error) {
                EXPECT_EQ(error.file(), store);
            }
            before_opening = nullptr;
            EXPECT_TRUE(is_swapped);
            EXPECT_TRUE(store_tests::text_of(copy) == bytes);
        }
    }

    fs::path folder;
};

TEST_P(StoreFilesThatChange, AreRefusedByAReader) { expect_refusal(host::read_analytics_store); }

/** A host's connection alone: an `AnalyticsStore` begins with a reader, which would meet the swap first. */
TEST_P(StoreFilesThatChange, AreRefusedByAHost) {
    expect_refusal([](const std::string &store) {
        host::Database(store, store, host::Database::Access::kReadAndWrite).query_number("SELECT count(*) FROM key");
    });
}

INSTANTIATE_TEST_SUITE_P(Any, StoreFilesThatChange, testing::Values("", "-wal", "-shm"),
                         [](const testing::TestParamInfo<std::string> &ending) {
                             return ending.param.empty() ? "Store" : ending.param == "-wal" ? "Log" : "Index";
                         });

} // namespace
