/** What may stand beside a store, and what is done to it: nothing. */
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/error.h"
#include "host/store/analytics_store.h"
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

INSTANTIATE_TEST_SUITE_P(Any, StoreSideFiles, testing::ValuesIn(hostile_surroundings()),
                         [](const testing::TestParamInfo<Surroundings> &made) { return made.param.name; });

/** What a killed host has left, with other bytes in the index. */
TEST(StoreOfAKilledHost, IsReadAndLeftAsItIs) {
    std::string name = testing::TempDir() + "store-side-files-XXXXXX";
    const fs::path folder = mkdtemp(name.data());
    const fs::path file = folder / "store.db";
    const pid_t child = fork();
    if (child == 0) {
        (new AnalyticsStore(file))->apply(addition());
        raise(SIGKILL);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    for (const std::size_t size : {std::size_t{32 * 1024}, std::size_t{100}, std::size_t{0}}) {
        store_tests::write_text(folder / "store.db-shm", std::string(size, 'x'));
        const auto before = store_tests::state_of_folder(folder);
        ASSERT_EQ(before.size(), 3u);

        EXPECT_EQ(host::read_analytics_store(file), (host::StoreContents{{{"a", 1}}, {}}));

        EXPECT_EQ(store_tests::state_of_folder(folder), before);
    }
    fs::remove_all(folder);
}

} // namespace
