#include "host/tallybook_store.h"

#include <gtest/gtest.h>

#include "platform/Owned.h"
#include "platform/TallybookStore.h"

namespace {

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

} // namespace
