/** Stores locked by another program. Waiting is observed through the calls that would have slept. */
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include "host/TallybookStore.h"
#include "host/store/analytics_store.h"
#include "host/store/sqlite_database.h"
#include "platform/Owned.h"
#include "platform/TallybookStore.h"

namespace {

namespace fs = std::filesystem;

const std::string kLocked = "is locked by another program for more than 5 seconds";

/** Called by the database library instead of sleeping. */
std::function<void()> wait_for_lock;

int do_not_sleep(sqlite3_vfs *, int microseconds) {
    wait_for_lock();
    return microseconds;
}

/** Replaces the waiting of database connections opened while this object lives. */
class Waiting {
public:
    Waiting() {
        _system = *sqlite3_vfs_find(nullptr);
        _system.zName = "waiting";
        _system.xSleep = do_not_sleep;
        sqlite3_vfs_register(&_system, 1);
    }
    ~Waiting() { sqlite3_vfs_unregister(&_system); }
    Waiting(const Waiting &) = delete;
    Waiting &operator=(const Waiting &) = delete;

private:
    sqlite3_vfs _system{};
};

class StoreLocksTest : public testing::Test {
protected:
    StoreLocksTest() {
        std::string name = testing::TempDir() + "store-locks-XXXXXX";
        folder = mkdtemp(name.data());
        file = folder / "store";
        host::write_new_analytics_store(file, {});
        EXPECT_EQ(sqlite3_open(file.c_str(), &other), SQLITE_OK);
        wait_for_lock = [this] { ++waits; };
    }
    ~StoreLocksTest() override {
        sqlite3_close(other);
        fs::remove_all(folder);
    }

    void lock() const { EXPECT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK); }
    void unlock() const { EXPECT_EQ(sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr), SQLITE_OK); }

    /** Whether the work waited for a lock. */
    bool waits_during(const std::function<void()> &work) {
        waits = 0;
        work();
        return waits > 0;
    }

    const Waiting waiting;
    fs::path folder;
    fs::path file;
    sqlite3 *other = nullptr; ///< another program's connection
    int waits = 0;
};

/** Two batches of a host, with a reader that begins between them and reads on after the second. */
class ReaderLocksTest : public StoreLocksTest {
protected:
    void run_on_other(const char *sql) const {
        EXPECT_EQ(sqlite3_exec(other, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    }

    /** @param before, after  what another program does before the reader begins, and after the second batch. */
    void expect_one_moment(const char *before, const char *after) const {
        host::StoreChanges changes;
        changes.add_to_scalar("key", 1);
        for (int value = 0; value < 100; ++value) {
            changes.push("key", value);
        }
        host::AnalyticsStore store(file);
        store.apply(changes);
        run_on_other(before);
        host::Database reader(file, file, host::Database::Access::kRead);
        const host::ReadTransaction reading(reader);
        EXPECT_EQ(reader.query_number("SELECT value FROM scalar"), 1);

        store.apply(changes);
        run_on_other(after);

        EXPECT_EQ(reader.query_number("SELECT sum(count) FROM distribution"), 100);
    }
};

TEST_F(ReaderLocksTest, AReaderKeepsTheLogOutOfTheFile) {
    expect_one_moment("PRAGMA wal_checkpoint(TRUNCATE)", "PRAGMA wal_checkpoint");
}

/** Everything in the log is in the file: a writer would begin the log again, over what the reader still reads. */
TEST_F(ReaderLocksTest, AReaderKeepsTheLogFromBeginningAgain) { expect_one_moment("PRAGMA wal_checkpoint", ""); }

TEST_F(StoreLocksTest, AHostWaitsForAnotherThatCloses) {
    sqlite3_close(std::exchange(other, nullptr));
    host::AnalyticsStore store(file);
    const int closing_host = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    const auto set_lock = [&](short type) {
        flock reserved{};
        reserved.l_type = type;
        reserved.l_start = 0x40000001;
        reserved.l_len = 1;
        return ::fcntl(closing_host, F_OFD_SETLK, &reserved);
    };
    EXPECT_EQ(set_lock(F_WRLCK), 0);
    wait_for_lock = [&] {
        if (++waits == 10) {
            EXPECT_EQ(set_lock(F_UNLCK), 0);
        }
    };

    EXPECT_EQ(store.close(), "");

    EXPECT_EQ(waits, 10);
    EXPECT_FALSE(fs::exists(file.string() + "-wal"));
    ::close(closing_host); // only now: it would release the locks of the process
}

/** A store that is open. */
class OpenStoreLocksTest : public StoreLocksTest {
protected:
    ~OpenStoreLocksTest() override {
        wait_for_lock = [] {}; // closing waits a moment for the other program
    }

    using Apply = void (host::AnalyticsStore::*)(const host::StoreChanges &);

    /** @return whether the change was applied. */
    bool applies(Apply apply) {
        host::StoreChanges changes;
        changes.add_to_scalar("key", 1);
        try {
            (store.*apply)(changes);
            return true;
        } catch (const host::Error &error) {
            EXPECT_EQ(error.reason(), kLocked);
            return false;
        }
    }

    bool waits_and_applies(Apply apply, bool expected_to_apply) {
        return waits_during([&] { EXPECT_EQ(applies(apply), expected_to_apply); });
    }

    const Apply kApply = &host::AnalyticsStore::apply;
    const Apply kApplyLast = &host::AnalyticsStore::apply_last;
    host::AnalyticsStore store{file};
};

TEST_F(OpenStoreLocksTest, AShortLockIsWaitedFor) {
    lock();
    wait_for_lock = [this] {
        ++waits;
        unlock();
    };

    EXPECT_TRUE(waits_and_applies(kApply, true));
    EXPECT_EQ(store.contents().scalars.at("key"), 1);
}

TEST_F(OpenStoreLocksTest, ALockIsWaitedForInVainOnlyOnce) {
    lock();

    EXPECT_TRUE(waits_and_applies(kApply, false));
    EXPECT_FALSE(waits_and_applies(kApply, false));
    EXPECT_FALSE(waits_and_applies(kApply, false));
}

TEST_F(OpenStoreLocksTest, AfterChangesThatCouldBeAppliedALockIsWaitedForAgain) {
    lock();
    EXPECT_TRUE(waits_and_applies(kApply, false));
    unlock();
    EXPECT_FALSE(waits_and_applies(kApply, true));
    lock();

    EXPECT_TRUE(waits_and_applies(kApply, false));
}

TEST_F(OpenStoreLocksTest, TheLastChangesWaitInAnyCase) {
    lock();
    EXPECT_TRUE(waits_and_applies(kApply, false));

    EXPECT_TRUE(waits_and_applies(kApplyLast, false));
}

/** The process's store. */
class TallybookLocksTest : public StoreLocksTest {
protected:
    TallybookLocksTest() {
        host::open_store(file);
        host::on_store_failure(
            [this](const host::Error &failure, host::Fate) { reported.push_back(failure.reason()); });
    }
    ~TallybookLocksTest() override {
        wait_for_lock = [] {}; // closing waits a moment for the other program
        host::on_store_failure({});
        EXPECT_NO_THROW(host::close_store());
    }

    void add_one() const { TallybookScalarAdd(key.get(), 1); }

    platform::OwnedValue key{TvStringCreateWithCString("key", kTvStringEncodingUTF8)};
    std::vector<std::string> reported;
};

TEST_F(TallybookLocksTest, OnlyTheFirstOperationWaitsAndNoneIsLost) {
    lock();

    EXPECT_TRUE(waits_during([this] { add_one(); }));
    EXPECT_FALSE(waits_during([this] { add_one(); }));
    unlock();
    EXPECT_FALSE(waits_during([this] { add_one(); }));

    EXPECT_EQ(host::store_contents().scalars.at("key"), 3);
    EXPECT_EQ(reported.size(), 1u);
}

TEST_F(TallybookLocksTest, TheEndWaits) {
    lock();
    add_one();
    wait_for_lock = [this] {
        if (++waits == 1) {
            unlock();
        }
    };

    EXPECT_TRUE(waits_during(host::close_store));

    EXPECT_EQ(host::read_analytics_store(file).scalars.at("key"), 1);
}

TEST_F(TallybookLocksTest, AReaderIsWaitedForAtTheEndAndTheFileIsLeftAlone) {
    add_one();
    auto reader = std::make_unique<host::Database>(file, file, host::Database::Access::kRead);
    auto reading = std::make_unique<host::ReadTransaction>(*reader);
    EXPECT_EQ(reader->query_number("SELECT value FROM scalar"), 1);
    sqlite3_close(std::exchange(other, nullptr));
    wait_for_lock = [&] {
        if (++waits == 100) {
            reading.reset();
            reader.reset();
        }
    };

    EXPECT_TRUE(waits_during(host::close_store));

    EXPECT_EQ(waits, 100);
    EXPECT_TRUE(reported.empty());
    EXPECT_FALSE(fs::exists(file.string() + "-wal"));
    EXPECT_EQ(host::read_analytics_store(file).scalars.at("key"), 1);
}

TEST_F(TallybookLocksTest, WhatStaysBesideTheFileAtTheEndIsSaid) {
    add_one();
    EXPECT_EQ(sqlite3_exec(other, "BEGIN; SELECT * FROM scalar", nullptr, nullptr, nullptr), SQLITE_OK);
    add_one();

    host::close_store();

    EXPECT_EQ(reported,
              std::vector<std::string>{"its last data stays in \"store-wal\" beside it: another program has it open"});
    EXPECT_EQ(host::read_analytics_store(file).scalars.at("key"), 2);
}

TEST_F(TallybookLocksTest, AForeignProgramThatDoesNotReadKeepsNothingFromTheFile) {
    add_one();
    EXPECT_EQ(sqlite3_exec(other, "SELECT * FROM scalar", nullptr, nullptr, nullptr), SQLITE_OK);

    host::close_store();

    EXPECT_TRUE(reported.empty());
    fs::copy(file, folder / "copy");
    EXPECT_EQ(host::read_analytics_store(folder / "copy").scalars.at("key"), 1);
}

TEST_F(TallybookLocksTest, WhoReadsDoesNotWaitForWhoWaitsToWrite) {
    add_one();
    lock();
    std::mutex mutex;
    std::condition_variable changed;
    bool writer_waits = false;
    bool reader_has_read = false;
    wait_for_lock = [&] {
        std::unique_lock held(mutex);
        writer_waits = true;
        changed.notify_all();
        changed.wait(held, [&] { return reader_has_read; });
    };
    std::thread writer([this] { add_one(); });
    {
        std::unique_lock held(mutex);
        changed.wait(held, [&] { return writer_waits; });
    }

    EXPECT_EQ(host::store_contents().scalars.at("key"), 1);

    {
        const std::lock_guard held(mutex);
        reader_has_read = true;
    }
    changed.notify_all();
    writer.join();
    unlock();
}

} // namespace
