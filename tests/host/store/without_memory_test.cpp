#include "host/TallybookStore.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include "platform/Owned.h"
#include "platform/TallybookStore.h"
#include "tests/limited_memory.h"

namespace {

namespace fs = std::filesystem;

using tests::allocations_left;
using tests::kNoLimit;
using tests::may_allocate;

/** A store for which memory is exhausted at the end of a batch, after each possible number of allocations. */
class StoreWithoutMemory : public testing::Test {
protected:
    StoreWithoutMemory() {
        std::string name = testing::TempDir() + "store-without-memory-XXXXXX";
        folder = mkdtemp(name.data());
        file = folder / "store";
        host::on_store_failure(
            [this](const host::Error &failure, host::Fate) { reported.emplace_back(failure.what()); });
    }
    ~StoreWithoutMemory() override {
        host::on_store_failure({});
        fs::remove_all(folder);
    }

    /** Makes a batch of two operations. @return whether memory was sufficient. */
    bool write_batch(int allocations) {
        std::optional<host::StoreBatch> batch(std::in_place);
        TallybookScalarAdd(key.get(), 1);
        TallybookDistributionPush(key.get(), static_cast<double>(batches));
        ++batches;
        allocations_left = allocations;
        batch.reset();
        return std::exchange(allocations_left, kNoLimit) > 0;
    }

    /** Writes batches with more and more memory until one of them succeeds. */
    void write_batches_without_memory() {
        for (int allocations = 0; !write_batch(allocations);) {
            ++allocations;
        }
    }

    /** Closes the store. @return the error; empty for none. */
    static std::string close_store() {
        try {
            host::close_store();
            return "";
        } catch (const host::Error &loss) {
            return loss.what();
        }
    }

    /** Counts the batches in the store, which must be whole. */
    std::uint64_t count_written_batches() const {
        const host::StoreContents contents = host::read_analytics_store(file);
        const auto scalar = static_cast<std::uint64_t>(contents.scalars.at("key"));
        EXPECT_EQ(contents.distributions.at("key").size(), scalar);
        return scalar;
    }

    std::string loss_of(std::uint64_t lost) const {
        return file.string() + ": out of memory; " + std::to_string(2 * lost) + " operations are lost";
    }

    platform::OwnedValue key{TvStringCreateWithCString("key", kTvStringEncodingUTF8)};
    fs::path folder;
    fs::path file;
    std::vector<std::string> reported;
    std::uint64_t batches = 0;
};

/** While this object lives, the database library's allocations have the same limit. No store is open then. */
class LimitedLibrary {
public:
    LimitedLibrary() {
        sqlite3_shutdown();
        sqlite3_config(SQLITE_CONFIG_GETMALLOC, &system_methods);
        sqlite3_mem_methods methods = system_methods;
        methods.xMalloc = [](int size) { return may_allocate() ? system_methods.xMalloc(size) : nullptr; };
        methods.xRealloc = [](void *memory, int size) {
            return may_allocate() ? system_methods.xRealloc(memory, size) : nullptr;
        };
        sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
    }
    ~LimitedLibrary() {
        sqlite3_shutdown();
        sqlite3_config(SQLITE_CONFIG_MALLOC, &system_methods);
    }
    LimitedLibrary(const LimitedLibrary &) = delete;
    LimitedLibrary &operator=(const LimitedLibrary &) = delete;

private:
    static inline sqlite3_mem_methods system_methods{};
};

/** Opens a store, applies a change, reads and closes. @return whether the change was applied. */
bool uses_store(const std::string &file, int allocations) {
    host::StoreChanges changes;
    changes.add_to_scalar("key", 1);
    changes.push("key", 1);
    bool is_applied = false;
    allocations_left = allocations;
    try {
        host::AnalyticsStore store(file);
        store.apply(changes);
        is_applied = true;
        store.contents();
        store.close();
    } catch (const host::Error &) { // says why
    } catch (const std::bad_alloc &) {
    }
    return is_applied;
}

TEST_F(StoreWithoutMemory, AStoreThatIsOpenedAndWrittenIsWholeWhateverAllocationFails) {
    const LimitedLibrary library;
    host::write_new_analytics_store(file, {});
    std::int64_t applied = 0;
    bool had_enough = false;
    for (int allocations = 0; !had_enough; allocations += 1 + allocations / 40) {
        SCOPED_TRACE(allocations);
        applied += uses_store(file, allocations) ? 1 : 0;
        had_enough = std::exchange(allocations_left, kNoLimit) > 0;

        const host::StoreContents contents = host::read_analytics_store(file);
        const std::int64_t scalar = contents.scalars.empty() ? 0 : contents.scalars.at("key");
        ASSERT_EQ(scalar, applied);
        ASSERT_EQ(contents.distributions.empty() ? 0 : contents.distributions.at("key").at(1), std::uint64_t(applied));
    }
    EXPECT_GT(applied, 1) << "no allocation failed after the change";
}

std::ptrdiff_t count_open_files() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

TEST_F(StoreWithoutMemory, AFileThatIsNoStoreIsClosedWhateverAllocationFails) {
    const LimitedLibrary library;
    std::ofstream(file) << "no store";
    const std::ptrdiff_t open_before = count_open_files();
    bool had_enough = false;
    for (int allocations = 0; !had_enough; ++allocations) {
        allocations_left = allocations;
        try {
            host::read_analytics_store(file);
        } catch (const host::Error &) { // says why
        } catch (const std::bad_alloc &) {
        }
        had_enough = std::exchange(allocations_left, kNoLimit) > 0;

        ASSERT_EQ(count_open_files(), open_before) << allocations;
    }
}

TEST_F(StoreWithoutMemory, EveryBatchIsWrittenWholeOrLostWhichIsSaid) {
    host::open_store(file);

    write_batches_without_memory();

    const std::string loss = close_store();
    const std::uint64_t lost = batches - count_written_batches();
    EXPECT_EQ(loss, lost == 0 ? "" : loss_of(lost));
    EXPECT_GT(batches, 1u) << "no allocation failed";
}

/** A store that cannot be written to, so that every batch must be kept. */
class StoreWithoutMemoryToKeep : public StoreWithoutMemory {
protected:
    StoreWithoutMemoryToKeep() {
        host::open_store(file);
        fs::rename(file, folder / "away");
    }

    void expect_kept_batches_to_be_whole() {
        fs::rename(folder / "away", file);
        const std::string loss = close_store();
        const std::uint64_t lost = batches - count_written_batches();
        EXPECT_EQ(loss, loss_of(lost));
        EXPECT_GT(lost, 1u);
    }
};

TEST_F(StoreWithoutMemoryToKeep, TheFirstBatchIsKeptWholeOrLostWhichIsSaid) {
    write_batches_without_memory();

    expect_kept_batches_to_be_whole();
}

TEST_F(StoreWithoutMemoryToKeep, LaterBatchesAreKeptWholeOrLostWhichIsSaid) {
    write_batch(kNoLimit);

    write_batches_without_memory();

    expect_kept_batches_to_be_whole();
}

} // namespace
