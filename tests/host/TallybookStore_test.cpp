#include "host/TallybookStore.h"

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "platform/Owned.h"
#include "platform/TallybookStore.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostWaiting = 100'000;

class TallybookStore : public ::testing::Test {
protected:
    void SetUp() override { host::clear_store(); }
    void TearDown() override { host::clear_store(); }

    platform::OwnedValue key{TvStringCreateWithCString("key", kTvStringEncodingUTF8)};
};

TEST_F(TallybookStore, DistinctValuesAreKeptWithTheirCounts) {
    for (const double value : {0.5, -3.0, 0.5, 0.5}) {
        TallybookDistributionPush(key.get(), value);
    }

    EXPECT_EQ(host::store_contents().distributions.at("key"), (host::Distribution{{-3.0, 1}, {0.5, 3}}));
}

TEST_F(TallybookStore, ABatchIsWrittenWhenItEnds) {
    {
        const host::StoreBatch batch;
        TallybookScalarSet(key.get(), 1);
        TallybookDistributionPush(key.get(), 2);

        EXPECT_EQ(host::store_contents(), host::StoreContents{});
    }

    EXPECT_EQ(host::store_contents(), (host::StoreContents{{{"key", 1}}, {{"key", {{2.0, 1}}}}}));
}

TEST_F(TallybookStore, ContentsAreThoseOfTheMomentTheyWereAskedFor) {
    TallybookScalarSet(key.get(), 1);
    const host::StoreContents before = host::store_contents();

    TallybookScalarSet(key.get(), 2);

    EXPECT_EQ(before.scalars.at("key"), 1);
    EXPECT_EQ(host::store_contents().scalars.at("key"), 2);
}

TEST_F(TallybookStore, ClearingRemovesEverything) {
    TallybookScalarSet(key.get(), 1);
    TallybookDistributionPush(key.get(), 1);

    host::clear_store();

    EXPECT_TRUE(host::store_contents().scalars.empty());
    EXPECT_TRUE(host::store_contents().distributions.empty());
}

TEST_F(TallybookStore, ABatchInsideAnotherIsPartOfIt) {
    const host::StoreBatch outer;
    {
        const host::StoreBatch inner;
        TallybookScalarSet(key.get(), 1);
    }

    EXPECT_EQ(host::store_contents(), host::StoreContents{});
}

TEST_F(TallybookStore, OperationsOfOtherThreadsAreNotPartOfABatch) {
    const host::StoreBatch batch;
    TallybookScalarSet(key.get(), 1);

    std::thread([&] { TallybookScalarAdd(key.get(), 5); }).join();

    EXPECT_EQ(host::store_contents().scalars.at("key"), 5);
}

TEST_F(TallybookStore, BatchesOfSeveralThreadsAddUp) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int batch = 0; batch < 50; ++batch) {
                const host::StoreBatch whole;
                TallybookScalarAdd(key.get(), 1);
                TallybookDistributionPush(key.get(), batch % 2);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }

    EXPECT_EQ(host::store_contents(), (host::StoreContents{{{"key", 200}}, {{"key", {{0.0, 100}, {1.0, 100}}}}}));
}

/** The process's store in a file that a test can make unwritable, and the failures reported. */
class TallybookStoreInAFile : public TallybookStore {
protected:
    void SetUp() override {
        std::string name = testing::TempDir() + "tallybook-store-XXXXXX";
        folder = mkdtemp(name.data());
        file = folder / "store";
        host::open_store(file);
        host::on_store_failure(
            [this](const host::Error &failure, host::Fate) { reported.emplace_back(failure.what()); });
    }
    void TearDown() override {
        host::on_store_failure({});
        EXPECT_NO_THROW(host::close_store());
        fs::remove_all(folder);
    }

    /** Makes every write fail from now on. */
    void take_away() const { fs::rename(file, folder / "away"); }
    void bring_back() const { fs::rename(folder / "away", file); }

    void add_in_a_batch(std::int64_t delta) const {
        const host::StoreBatch batch;
        TallybookScalarAdd(key.get(), delta);
        TallybookScalarAdd(key.get(), delta);
    }

    /** What closing the store throws. */
    static std::string close_failure() {
        try {
            host::close_store();
        } catch (const host::Error &error) {
            return error.what();
        }
        return "no error";
    }

    std::int64_t sum_in_file() const { return host::read_analytics_store(file).scalars.at("key"); }

    fs::path folder;
    fs::path file;
    std::vector<std::string> reported;
    std::string failure() const { return file.string() + ": was moved or deleted while it was open"; }
};

TEST_F(TallybookStoreInAFile, HoldsEveryBatchAndEveryOperationOutsideOfOnes) {
    add_in_a_batch(1);
    TallybookScalarAdd(key.get(), 10);

    EXPECT_EQ(sum_in_file(), 12);
    EXPECT_TRUE(reported.empty());
}

TEST_F(TallybookStoreInAFile, WhatCannotBeWrittenIsWrittenTogetherWithWhatComesNext) {
    add_in_a_batch(1);
    take_away();
    add_in_a_batch(10);
    TallybookScalarAdd(key.get(), 100);
    TallybookDistributionPush(key.get(), 0.5);
    bring_back();
    EXPECT_EQ(sum_in_file(), 2);

    add_in_a_batch(1000);

    EXPECT_EQ(host::read_analytics_store(file), (host::StoreContents{{{"key", 2122}}, {{"key", {{0.5, 1}}}}}));
}

TEST_F(TallybookStoreInAFile, EqualFailuresInARowAreReportedOnce) {
    take_away();
    add_in_a_batch(1);
    add_in_a_batch(1);
    EXPECT_EQ(reported, std::vector<std::string>{failure()});

    bring_back();
    add_in_a_batch(1);
    take_away();
    add_in_a_batch(1);
    bring_back();

    EXPECT_EQ(reported, (std::vector<std::string>{failure(), failure()}));
}

TEST_F(TallybookStoreInAFile, AMovedOrReplacedFileIsNotReadAsTheStore) {
    const auto read_failure = [] {
        try {
            host::store_contents();
        } catch (const host::Error &error) {
            return std::string(error.what());
        }
        return std::string("no error");
    };
    add_in_a_batch(1);
    take_away();
    EXPECT_EQ(read_failure(), failure());

    fs::copy(folder / "away", file);
    EXPECT_EQ(read_failure(), failure());

    fs::remove(file);
    bring_back();
    EXPECT_EQ(host::store_contents().scalars.at("key"), 2);
}

TEST_F(TallybookStoreInAFile, OperationsThatWaitAndThoseThatAreLostAreCounted) {
    const std::uint64_t lost_before = host::unwritten_operations().lost;
    add_in_a_batch(1);
    EXPECT_EQ(host::unwritten_operations().waiting, 0u);
    take_away();
    add_in_a_batch(1);
    TallybookScalarAdd(key.get(), 1);
    EXPECT_EQ(host::unwritten_operations().waiting, 3u);

    bring_back();
    add_in_a_batch(1);
    EXPECT_EQ(host::unwritten_operations().waiting, 0u);
    EXPECT_EQ(host::unwritten_operations().lost, lost_before);

    take_away();
    add_in_a_batch(1);
    EXPECT_THROW(host::close_store(), host::Error);
    EXPECT_EQ(host::unwritten_operations().waiting, 0u);
    EXPECT_EQ(host::unwritten_operations().lost, lost_before + 2);
}

/** Pushes `count` distinct values. */
void push_in_a_batch(TvStringRef key, std::size_t count) {
    const host::StoreBatch batch;
    for (std::size_t i = 0; i < count; ++i) {
        TallybookDistributionPush(key, static_cast<double>(i));
    }
}

TEST_F(TallybookStoreInAFile, WhatWaitsHasALimit) {
    const std::uint64_t lost_before = host::unwritten_operations().lost;
    take_away();
    push_in_a_batch(key.get(), kMostWaiting - 1); // and their key
    EXPECT_EQ(host::unwritten_operations().waiting, kMostWaiting - 1);
    EXPECT_EQ(reported, std::vector<std::string>{failure()});

    add_in_a_batch(1);
    add_in_a_batch(1);
    EXPECT_EQ(host::unwritten_operations().waiting, kMostWaiting - 1);
    EXPECT_EQ(host::unwritten_operations().lost, lost_before + 4);
    const std::string loss = file.string() + ": too many operations wait to be written; 2 operations are lost";
    EXPECT_EQ(reported, (std::vector<std::string>{failure(), loss}));

    bring_back();
    add_in_a_batch(10);
    EXPECT_EQ(host::unwritten_operations().waiting, 0u);
    EXPECT_EQ(host::unwritten_operations().lost, lost_before + 4);
    EXPECT_EQ(sum_in_file(), 20);
    EXPECT_EQ(host::read_analytics_store(file).distributions.at("key").size(), 10'000u);
    EXPECT_EQ(close_failure(), file.string() + ": too many operations wait to be written; 4 operations are lost");
}

TEST_F(TallybookStoreInAFile, ABatchBeyondTheLimitIsWrittenOrLostAsAWhole) {
    push_in_a_batch(key.get(), kMostWaiting);
    EXPECT_TRUE(reported.empty());
    host::clear_store();
    take_away();

    push_in_a_batch(key.get(), kMostWaiting);

    EXPECT_EQ(host::unwritten_operations().waiting, 0u);
    EXPECT_EQ(reported, std::vector<std::string>{
                            file.string() + ": too many operations wait to be written; 100000 operations are lost"});
    bring_back();
    EXPECT_EQ(host::store_contents(), host::StoreContents{});
    EXPECT_THROW(host::close_store(), host::Error);
}

TEST_F(TallybookStoreInAFile, ClosingTriesOnceMore) {
    take_away();
    add_in_a_batch(1);
    bring_back();

    host::close_store();

    EXPECT_EQ(sum_in_file(), 2);
}

TEST_F(TallybookStoreInAFile, ClosingSaysHowManyOperationsAreLost) {
    take_away();
    add_in_a_batch(1);
    TallybookScalarAdd(key.get(), 1);

    EXPECT_EQ(close_failure(), file.string() + ": was moved or deleted while it was open; 3 operations are lost");
    EXPECT_EQ(host::store_contents(), host::StoreContents{});
}

TEST_F(TallybookStoreInAFile, ClosingLeavesAnEmptyStoreInMemory) {
    add_in_a_batch(1);

    host::close_store();
    add_in_a_batch(5);

    EXPECT_EQ(sum_in_file(), 2);
    EXPECT_EQ(host::store_contents().scalars.at("key"), 10);
}

TEST_F(TallybookStoreInAFile, AStoreThatCannotBeOpenedLeavesTheOneThatIsOpen) {
    EXPECT_THROW(host::open_store(folder), host::Error);
    add_in_a_batch(1);

    EXPECT_EQ(sum_in_file(), 2);
}

TEST_F(TallybookStoreInAFile, OpeningAnotherStoreClosesTheOneBefore) {
    take_away();
    add_in_a_batch(1);
    bring_back();

    host::open_store(host::kStoreInMemory);

    EXPECT_EQ(sum_in_file(), 2);
    EXPECT_EQ(host::store_contents(), host::StoreContents{});
}

TEST_F(TallybookStoreInAFile, ClearingForgetsWhatWaits) {
    add_in_a_batch(1);
    take_away();
    add_in_a_batch(1);
    bring_back();

    host::clear_store();
    host::close_store();

    EXPECT_EQ(host::read_analytics_store(file), host::StoreContents{});
}

} // namespace
