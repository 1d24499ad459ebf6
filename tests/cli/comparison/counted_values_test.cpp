#include "cli/comparison/counted_values.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using cli::CountedValue;
using cli::CountedValues;
using cli::ValueForm;

using Pairs = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

constexpr std::uint64_t kGreatest = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t kMostCount = std::numeric_limits<std::int64_t>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

Pairs pairs_of(const std::vector<CountedValue> &values) {
    Pairs pairs;
    for (const CountedValue &value : values) {
        pairs.emplace_back(value.key, value.count);
    }
    return pairs;
}

CountedValues counted(const Pairs &pairs) {
    std::vector<CountedValue> values;
    for (const auto &[key, count] : pairs) {
        values.push_back({key, count});
    }
    return CountedValues(values);
}

TEST(CountedValues, KeepWhatTheyWereGiven) {
    for (const Pairs &pairs :
         {Pairs{}, Pairs{{0, 1}}, Pairs{{0, 5}, {1, 1}, {2, 2}}, Pairs{{63, 1}, {64, 1}, {128, 127}, {192, 128}},
          Pairs{{8191, 2}, {std::uint64_t{1} << 40, 129}, {std::uint64_t{1} << 62, kMostCount}, {kGreatest, 1}},
          Pairs{{kGreatest, kMostCount}}}) {
        EXPECT_EQ(pairs_of(counted(pairs).decoded()), pairs);
    }
}

TEST(CountedValues, TakeOneByteForAValueThatIsNear) {
    Pairs pairs;
    for (std::uint64_t key = 10; key < 1000; key += 10) {
        pairs.emplace_back(key, 1);
    }
    EXPECT_EQ(counted(pairs).bytes().size(), pairs.size());
}

TEST(CountedValues, AreReadFromTheirBytes) {
    const Pairs pairs = {{0, 3}, {7, 1}, {100'000, 2}, {0xFFFF'FFFF, kMostCount}};
    for (const ValueForm form : {ValueForm::Whole, ValueForm::Fixed}) {
        const std::optional<CountedValues> read = CountedValues::from_bytes(counted(pairs).bytes(), form);
        ASSERT_TRUE(read);
        EXPECT_EQ(pairs_of(read->decoded()), pairs);
    }
}

TEST(CountedValues, RefuseBytesThatWouldNotBeWritten) {
    const auto is_read = [](const std::string &bytes) {
        return CountedValues::from_bytes(bytes, ValueForm::Whole).has_value();
    };
    using namespace std::string_literals;

    EXPECT_TRUE(is_read("\x02"s)); // 1, once
    EXPECT_FALSE(is_read(""s));
    EXPECT_FALSE(is_read("\x02\x00"s));                                     // the same value again
    EXPECT_FALSE(is_read("\x03"s));                                         // the count is cut off
    EXPECT_FALSE(is_read("\x82"s));                                         // the value is cut off
    EXPECT_FALSE(is_read("\x82\x00"s));                                     // a difference with an empty byte
    EXPECT_FALSE(is_read("\x03\x00"s));                                     // a count of one that is written out
    EXPECT_FALSE(is_read("\x03\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F"s));     // a count of 2^63
    EXPECT_FALSE(is_read("\x03\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"s)); // a count that wraps to 0
    EXPECT_FALSE(is_read("\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F"s));     // more than 64 bits
}

TEST(CountedValues, AreNotReadWhereTheirFormHasNoSuchValue) {
    const auto is_read = [](std::uint64_t key, ValueForm form) {
        return CountedValues::from_bytes(counted({{key, 1}}).bytes(), form).has_value();
    };
    const std::uint64_t greatest_whole = cli::key_of_whole(kGreatest);

    EXPECT_TRUE(is_read(greatest_whole, ValueForm::Whole));
    // Above, bits of doubles go on with greater and infinite ones, those that are none, and negative ones.
    for (const std::uint64_t beyond :
         {std::uint64_t{1}, std::uint64_t{1} << 52, std::uint64_t{1} << 60, std::uint64_t{0x3BC} << 52,
          std::uint64_t{0x3C0} << 52, std::uint64_t{0x800} << 52, std::uint64_t{0xA00} << 52,
          kGreatest - greatest_whole}) {
        EXPECT_FALSE(is_read(greatest_whole + beyond, ValueForm::Whole)) << beyond;
    }
    EXPECT_TRUE(is_read(0xFFFF'FFFF, ValueForm::Fixed));
    EXPECT_FALSE(is_read(0x1'0000'0000, ValueForm::Fixed));
    EXPECT_TRUE(is_read(cli::key_of_real(-kInfinity), ValueForm::Real));
    EXPECT_TRUE(is_read(cli::key_of_real(kInfinity), ValueForm::Real));
    EXPECT_FALSE(is_read(cli::key_of_real(std::nan("")), ValueForm::Real));
    EXPECT_FALSE(is_read(cli::key_of_real(-std::nan("")), ValueForm::Real));
    EXPECT_FALSE(is_read(cli::key_of_real(0.0) - 1, ValueForm::Real)); // -0
}

TEST(CountedValues, KeysOrderAsTheirValuesDo) {
    std::uint64_t key_before = 0;
    for (const std::uint64_t number :
         {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{1} << 32, (std::uint64_t{1} << 53) - 1,
          std::uint64_t{1} << 53, (std::uint64_t{1} << 53) + 2, std::uint64_t{1} << 63, kGreatest}) {
        const std::uint64_t key = cli::key_of_whole(number);
        EXPECT_EQ(cli::value_of_key(key, ValueForm::Whole, 0), static_cast<double>(number));
        EXPECT_TRUE(number == 0 || key > key_before) << number;
        key_before = key;
    }
    EXPECT_EQ(cli::key_of_whole((std::uint64_t{1} << 53) + 1),
              cli::key_of_whole(std::uint64_t{1} << 53)); // one double for both

    key_before = 0;
    for (const double number : {-kInfinity, -1e300, -2.0, -1.0, -5e-324, 0.0, 5e-324, 1.0, 1.5, 1e300, kInfinity}) {
        const std::uint64_t key = cli::key_of_real(number);
        EXPECT_EQ(cli::value_of_key(key, ValueForm::Real, 0), number);
        EXPECT_GT(key, key_before);
        key_before = key;
    }
    EXPECT_EQ(cli::key_of_real(-0.0), cli::key_of_real(0.0));

    EXPECT_EQ(cli::value_of_key(0, ValueForm::Fixed, 16), -32768.0);
    EXPECT_EQ(cli::value_of_key(0x8000'0000, ValueForm::Fixed, 12), 0.0);
    EXPECT_EQ(cli::value_of_key(0x8000'0001, ValueForm::Fixed, 12), 1.0 / 4096);
}

TEST(CountedValues, AreMergedWithTheSumsOfTheirCounts) {
    const std::vector<CountedValue> a = {{1, 2}, {5, 1}, {9, kMostCount}};
    const std::vector<CountedValue> b = {{0, 1}, {5, 3}, {9, 1}, {12, 4}};
    const Pairs expected = {{0, 1}, {1, 2}, {5, 4}, {9, kMostCount}, {12, 4}};

    EXPECT_EQ(pairs_of(cli::merge_counts(a, b)), expected);
    EXPECT_EQ(pairs_of(cli::merge_counts(b, a)), expected);
    EXPECT_EQ(pairs_of(cli::merge_counts(a, {})), pairs_of(a));
}

TEST(ValueGatherer, CountsWhatItIsGivenInAnyOrder) {
    std::mt19937_64 random(7);
    cli::ValueGatherer gatherer;
    EXPECT_TRUE(gatherer.empty());
    for (const std::uint64_t values : {std::uint64_t{3}, std::uint64_t{50'000}}) {
        std::map<std::uint64_t, std::uint64_t> counts;
        for (int i = 0; i < 100'000; ++i) {
            const std::uint64_t value = random() % values;
            ++counts[value];
            gatherer.add(value);
        }
        EXPECT_FALSE(gatherer.empty());
        EXPECT_EQ(pairs_of(gatherer.take()), Pairs(counts.begin(), counts.end()));
        EXPECT_TRUE(gatherer.empty());
    }
}

} // namespace
