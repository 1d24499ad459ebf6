#include "cli/reports/ordered_workers.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/cli/reports.h"

using cli::Block;
using cli_tests::as_report;
using cli_tests::kAccelData;
using cli_tests::report;

namespace {

/** Fills `count` blocks of one report each, whose sequence numbers are 0, 1, 2 and so on. */
class Numbers {
public:
    explicit Numbers(std::uint32_t count) : _count(count) {}

    bool fill(Block &block) {
        block.reports.clear();
        if (_next < _count) {
            block.reports.push_back(as_report(report(kAccelData, _next++, 0)));
        }
        return !block.reports.empty();
    }

private:
    std::uint32_t _count;
    std::uint32_t _next = 0;
};

constexpr std::size_t kBlocksUnderWay = 16;

std::uint32_t number_of(const Block &block) { return block.reports.front().sequence_num(); }

std::string numbers_up_to(std::uint32_t end) {
    std::string text;
    for (std::uint32_t i = 0; i < end; ++i) {
        text += std::to_string(i) + " ";
    }
    return text;
}

void work(Block &block) {
    // Every other block takes longer, so that threads finish out of order.
    if (number_of(block) % 2 == 0) {
        std::this_thread::yield();
    }
    block.text.append(std::to_string(number_of(block)) + " ");
}

class OrderedWorkersTest : public testing::TestWithParam<unsigned> {};

TEST_P(OrderedWorkersTest, DeliversInTheOrderOfFilling) {
    Numbers numbers(2000);
    std::string delivered;

    cli::work_in_order(GetParam(), {[&](Block &block) { return numbers.fill(block); }, work,
                                    [&](const Block &block) { delivered += block.text.text(); }});

    EXPECT_EQ(delivered, numbers_up_to(2000));
}

TEST_P(OrderedWorkersTest, AFailureOfWorkDeliversWhatCameBeforeAndNothingAfter) {
    Numbers numbers(2000);
    std::string delivered;
    const auto fail_at_50 = [](Block &block) {
        work(block);
        if (number_of(block) >= 50) {
            throw std::runtime_error(std::to_string(number_of(block)));
        }
    };

    try {
        cli::work_in_order(GetParam(), {[&](Block &block) { return numbers.fill(block); }, fail_at_50,
                                        [&](const Block &block) { delivered += block.text.text(); }});
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error &error) {
        EXPECT_STREQ(error.what(), "50");
    }
    EXPECT_EQ(delivered, numbers_up_to(50));
}

TEST_P(OrderedWorkersTest, AFailureOfFillingDeliversWhatCameBefore) {
    Numbers numbers(2000);
    std::string delivered;
    const auto fail_after_30 = [&](Block &block) {
        const bool is_filled = numbers.fill(block);
        if (number_of(block) == 30) {
            throw std::runtime_error("filling");
        }
        return is_filled;
    };

    EXPECT_THROW(cli::work_in_order(GetParam(),
                                    {fail_after_30, work, [&](const Block &block) { delivered += block.text.text(); }}),
                 std::runtime_error);
    EXPECT_EQ(delivered, numbers_up_to(30));
}

TEST_P(OrderedWorkersTest, AFailureOfDeliveringStopsFilling) {
    std::uint32_t filled = 0;
    const auto fill_for_ever = [&](Block &block) {
        block.reports.assign(1, as_report(report(kAccelData, filled++, 0)));
        return true;
    };

    EXPECT_THROW(cli::work_in_order(
                     GetParam(), {fill_for_ever, work, [](const Block &) { throw std::runtime_error("delivering"); }}),
                 std::runtime_error);
    EXPECT_LE(filled, kBlocksUnderWay);
}

TEST_P(OrderedWorkersTest, BlocksAreUsedAgain) {
    Numbers numbers(2000);
    std::set<const Block *> blocks;
    const auto fill = [&](Block &block) {
        blocks.insert(&block);
        return numbers.fill(block);
    };

    cli::work_in_order(GetParam(), {fill, work, [](const Block &) {}});

    EXPECT_LE(blocks.size(), kBlocksUnderWay);
}

TEST_P(OrderedWorkersTest, NoBlocksAreNoWork) {
    const auto never = [](const Block &) { FAIL(); };

    cli::work_in_order(GetParam(), {[](Block &) { return false; }, never, never});
}

TEST(OrderedWorkers, AThreadThatIsHeldUpHoldsUpNoOther) {
    Numbers numbers(100);
    std::atomic<std::uint32_t> worked = 0;
    std::string delivered;
    const auto hold_up_the_first = [&](Block &block) {
        const bool is_first = number_of(block) == 0;
        while (is_first && worked < kBlocksUnderWay - 1) {
            std::this_thread::yield();
        }
        ++worked;
        work(block);
    };

    cli::work_in_order(2, {[&](Block &block) { return numbers.fill(block); }, hold_up_the_first,
                           [&](const Block &block) { delivered += block.text.text(); }});

    EXPECT_EQ(delivered, numbers_up_to(100));
}

INSTANTIATE_TEST_SUITE_P(OneOrMoreThreads, OrderedWorkersTest, testing::Values(1U, 2U, 5U));

} // namespace
