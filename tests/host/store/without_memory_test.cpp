#include "host/TallybookStore.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "platform/Owned.h"
#include "platform/TallybookStore.h"

namespace {

constexpr int kNoLimit = std::numeric_limits<int>::max();

/** The number of allocations of this thread that succeed before memory is exhausted. */
thread_local int allocations_left = kNoLimit;

void *allocate(std::size_t size) {
    if (allocations_left == 0) {
        throw std::bad_alloc();
    }
    allocations_left -= allocations_left == kNoLimit ? 0 : 1;
    void *const memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

// Not inlined: the compiler would warn about mixing them with the functions of the C library.
[[gnu::noinline]] void *operator new(std::size_t size) { return allocate(size); }
[[gnu::noinline]] void *operator new[](std::size_t size) { return allocate(size); }
[[gnu::noinline]] void operator delete(void *memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void *memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void *memory, std::size_t) noexcept { std::free(memory); }

namespace {

namespace fs = std::filesystem;

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
