#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Owned.h"
#include "platform/TallybookStore.h"
#include "tests/contract/port.h"

namespace {

using Scalars = std::map<std::string, std::int64_t>;
using Distributions = std::map<std::string, std::vector<double>>;

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

platform::OwnedValue key_of(const char *text) {
    return platform::OwnedValue(TvStringCreateWithCString(text, kTvStringEncodingASCII));
}

class StoreContract : public ::testing::Test {
protected:
    void SetUp() override { store().clear(); }
    void TearDown() override { store().clear(); }

    static contract::StorePort &store() { return contract::port().store(); }

    platform::OwnedValue key = key_of("com.example.key");
    platform::OwnedValue other = key_of("com.example.other");
};

TEST_F(StoreContract, SetScalarHoldsItsValue) {
    TallybookScalarSet(key.get(), 7);
    TallybookScalarSet(other.get(), kSmallest);
    TallybookScalarSet(key.get(), -8);

    EXPECT_EQ(store().scalars(), (Scalars{{"com.example.key", -8}, {"com.example.other", kSmallest}}));
}

TEST_F(StoreContract, AddingToAScalarThatIsNotThereStartsAtZero) {
    TallybookScalarAdd(key.get(), -5);

    EXPECT_EQ(store().scalars(), (Scalars{{"com.example.key", -5}}));
}

TEST_F(StoreContract, AddingAddsToWhatIsThere) {
    TallybookScalarSet(key.get(), 40);
    TallybookScalarAdd(key.get(), 5);
    TallybookScalarAdd(key.get(), -3);

    EXPECT_EQ(store().scalars(), (Scalars{{"com.example.key", 42}}));
}

TEST_F(StoreContract, SumWrapsAt64Bits) {
    TallybookScalarSet(key.get(), kLargest);
    TallybookScalarAdd(key.get(), 1);
    TallybookScalarSet(other.get(), kSmallest);
    TallybookScalarAdd(other.get(), -1);

    EXPECT_EQ(store().scalars(), (Scalars{{"com.example.key", kSmallest}, {"com.example.other", kLargest}}));
}

TEST_F(StoreContract, ClearingRemovesTheScalarAndNoOther) {
    TallybookScalarSet(key.get(), 1);
    TallybookScalarSet(other.get(), 2);

    TallybookScalarClear(key.get());

    EXPECT_EQ(store().scalars(), (Scalars{{"com.example.other", 2}}));
}

TEST_F(StoreContract, PushedValuesAreAllKept) {
    TallybookDistributionPush(key.get(), 2.5);
    TallybookDistributionPush(key.get(), -1.25);
    TallybookDistributionPush(key.get(), 2.5);

    EXPECT_EQ(store().distributions(), (Distributions{{"com.example.key", {-1.25, 2.5, 2.5}}}));
}

TEST_F(StoreContract, SettingLeavesExactlyTheOneValue) {
    TallybookDistributionPush(key.get(), 1);
    TallybookDistributionPush(key.get(), 2);
    TallybookDistributionPush(other.get(), 4);

    TallybookDistributionSet(key.get(), 3);

    EXPECT_EQ(store().distributions(), (Distributions{{"com.example.key", {3}}, {"com.example.other", {4}}}));
}

TEST_F(StoreContract, ClearingADistributionRemovesItsValuesAndNoOther) {
    TallybookDistributionPush(key.get(), 1);
    TallybookDistributionPush(other.get(), 4);

    TallybookDistributionClear(key.get());

    EXPECT_EQ(store().distributions(), (Distributions{{"com.example.other", {4}}}));
}

TEST_F(StoreContract, ScalarAndDistributionOfOneNameAreTwoThings) {
    TallybookScalarSet(key.get(), 1);
    TallybookDistributionPush(key.get(), 2);
    TallybookScalarClear(key.get());

    EXPECT_EQ(store().scalars(), Scalars{});
    EXPECT_EQ(store().distributions(), (Distributions{{"com.example.key", {2}}}));

    TallybookScalarSet(key.get(), 3);
    TallybookDistributionClear(key.get());

    EXPECT_EQ(store().scalars(), (Scalars{{"com.example.key", 3}}));
    EXPECT_EQ(store().distributions(), Distributions{});
}

TEST_F(StoreContract, KeysAreComparedByTheirText) {
    const platform::OwnedValue same_text = key_of("com.example.key");

    TallybookScalarSet(key.get(), 1);
    TallybookScalarAdd(same_text.get(), 1);

    EXPECT_EQ(store().scalars(), (Scalars{{"com.example.key", 2}}));
}

TEST_F(StoreContract, KeyMayGoAfterTheCall) {
    TallybookScalarSet(key_of("short-lived").get(), 9);

    EXPECT_EQ(store().scalars(), (Scalars{{"short-lived", 9}}));
}

TEST_F(StoreContract, NullKeyAndKeyThatIsNoStringDoNothing) {
    const platform::OwnedValue number(TvNumberCreateSInt32(1));
    for (TvRef bad : {TvRef{nullptr}, number.get()}) {
        TallybookScalarSet(bad, 1);
        TallybookScalarAdd(bad, 1);
        TallybookScalarClear(bad);
        TallybookDistributionSet(bad, 1);
        TallybookDistributionPush(bad, 1);
        TallybookDistributionClear(bad);
    }

    EXPECT_EQ(store().scalars(), Scalars{});
    EXPECT_EQ(store().distributions(), Distributions{});
}

TEST_F(StoreContract, NotANumberIsNoValue) {
    TallybookDistributionPush(key.get(), 1);

    TallybookDistributionPush(key.get(), kNotANumber);
    TallybookDistributionSet(key.get(), kNotANumber);
    TallybookDistributionSet(other.get(), -kNotANumber);

    EXPECT_EQ(store().distributions(), (Distributions{{"com.example.key", {1}}}));
}

TEST_F(StoreContract, NegativeZeroIsZero) {
    TallybookDistributionPush(key.get(), -0.0);
    TallybookDistributionPush(key.get(), 0.0);
    TallybookDistributionSet(other.get(), -0.0);

    const Distributions distributions = store().distributions();
    EXPECT_EQ(distributions, (Distributions{{"com.example.key", {0, 0}}, {"com.example.other", {0}}}));
    EXPECT_FALSE(std::signbit(distributions.at("com.example.key").front()));
    EXPECT_FALSE(std::signbit(distributions.at("com.example.other").front()));
}

TEST_F(StoreContract, InfinitiesAreValues) {
    TallybookDistributionPush(key.get(), kInfinity);
    TallybookDistributionPush(key.get(), 1);
    TallybookDistributionPush(key.get(), -kInfinity);

    EXPECT_EQ(store().distributions(), (Distributions{{"com.example.key", {-kInfinity, 1, kInfinity}}}));
}

TEST_F(StoreContract, ValuesAreKeptToTheLastBit) {
    const std::vector<double> values = {-std::numeric_limits<double>::max(), std::numeric_limits<double>::denorm_min(),
                                        0.1, std::nextafter(0.1, 1.0), 9007199254740993.0};
    for (const double value : values) {
        TallybookDistributionPush(key.get(), value);
    }

    EXPECT_EQ(store().distributions(), (Distributions{{"com.example.key", values}}));
}

} // namespace
