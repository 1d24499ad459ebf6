#include "cli/reports/context_window.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

using cli::ContextWindow;
using cli::LastWindows;
using cli::NearestWindow;
using cli::Shown;

namespace {

using Numbers = std::vector<std::uint64_t>;

/** The items are the numbers of their places times ten, so that the two cannot be mistaken for each other. */
constexpr int kTimes = 10;

/** Appends the number, and checks that it is the item's. */
auto append_to(Numbers &numbers) {
    return [&numbers](const Shown<int> &shown) {
        RC_ASSERT(static_cast<std::uint64_t>(shown.item) == shown.number * kTimes);
        numbers.push_back(shown.number);
    };
}

int item_of(std::size_t number) { return static_cast<int>(number) * kTimes; }

/** The numbers that stand around any of `hits`. */
Numbers around(const Numbers &hits, std::uint64_t context, std::size_t count) {
    Numbers numbers;
    for (std::uint64_t number = 0; number < count; ++number) {
        if (std::any_of(hits.begin(), hits.end(),
                        [&](std::uint64_t hit) { return std::max(hit, number) - std::min(hit, number) <= context; })) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

Numbers hits_in(const std::vector<bool> &is_hit) {
    Numbers hits;
    for (std::size_t number = 0; number < is_hit.size(); ++number) {
        if (is_hit[number]) {
            hits.push_back(number);
        }
    }
    return hits;
}

/** Mostly no hits, so that windows lie apart as well as in one another. */
rc::Gen<std::vector<bool>> sparse_hits() {
    return rc::gen::container<std::vector<bool>>(
        rc::gen::map(rc::gen::inRange(0, 6), [](int roll) { return roll == 0; }));
}

Numbers shown_by_window(const std::vector<bool> &is_hit, std::uint64_t context) {
    ContextWindow<int> window(context);
    Numbers shown;
    for (std::size_t number = 0; number < is_hit.size(); ++number) {
        window.add(item_of(number), is_hit[number], append_to(shown));
    }
    return shown;
}

TEST(ContextWindowTest, ShowsWhatStandsAroundEachHitOnce) {
    const std::vector<bool> kHits = {false, false, false, true, false, true, false, false, false, false, true};

    EXPECT_EQ(shown_by_window(kHits, 0), (Numbers{3, 5, 10}));
    EXPECT_EQ(shown_by_window(kHits, 1), (Numbers{2, 3, 4, 5, 6, 9, 10}));
    EXPECT_EQ(shown_by_window(kHits, 2), (Numbers{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_EQ(shown_by_window({false, false}, 5), Numbers{});
}

TEST(ContextWindowTest, ShowsAHitAtOnceAndWhatFollowsAsItComes) {
    ContextWindow<int> window(2);
    Numbers shown;
    window.add(0, false, append_to(shown));
    EXPECT_FALSE(window.shows_next());

    window.add(10, true, append_to(shown));

    EXPECT_EQ(shown, (Numbers{0, 1}));
    EXPECT_TRUE(window.shows_next());
    window.add(20, false, append_to(shown));
    EXPECT_EQ(shown, (Numbers{0, 1, 2}));
    EXPECT_TRUE(window.shows_next());
    window.add(30, false, append_to(shown));
    EXPECT_FALSE(window.shows_next());
}

RC_GTEST_PROP(ContextWindowTest, ShowsExactlyWhatStandsAroundAHit, ()) {
    const std::vector<bool> is_hit = *sparse_hits();
    const auto context = *rc::gen::inRange<std::uint64_t>(0, 12);

    RC_ASSERT(shown_by_window(is_hit, context) == around(hits_in(is_hit), context, is_hit.size()));
}

RC_GTEST_PROP(LastWindowsTest, KeepsExactlyWhatStandsAroundTheLastHits, ()) {
    const std::vector<bool> is_hit = *sparse_hits();
    const auto context = *rc::gen::inRange<std::uint64_t>(0, 12);
    const std::size_t most = *rc::gen::inRange<std::size_t>(0, 6);
    LastWindows<int> windows(most, context);

    for (std::size_t number = 0; number < is_hit.size(); ++number) {
        windows.add(item_of(number), is_hit[number]);
    }

    Numbers shown;
    windows.show_all(append_to(shown));
    Numbers hits = hits_in(is_hit);
    hits.erase(hits.begin(), hits.end() - static_cast<std::ptrdiff_t>(std::min(most, hits.size())));
    RC_ASSERT(shown == around(hits, context, is_hit.size()));
}

using Distances = std::vector<std::optional<std::uint64_t>>;

Numbers shown_by_nearest(const Distances &distances, std::uint64_t context) {
    NearestWindow<int> window(context);
    for (std::size_t number = 0; number < distances.size(); ++number) {
        window.add(item_of(number), distances[number]);
    }
    Numbers shown;
    window.show_all(append_to(shown));
    return shown;
}

RC_GTEST_PROP(NearestWindowTest, ShowsExactlyWhatStandsAroundTheFirstOfTheNearest, ()) {
    const auto distance = rc::gen::map(rc::gen::inRange<std::uint64_t>(0, 30), [](std::uint64_t value) {
        return value < 20 ? std::optional(value) : std::nullopt;
    });
    const Distances distances = *rc::gen::container<Distances>(distance);
    const auto context = *rc::gen::inRange<std::uint64_t>(0, 12);

    Numbers nearest;
    for (std::size_t number = 0; number < distances.size(); ++number) {
        if (distances[number] && (nearest.empty() || *distances[number] < *distances[nearest.front()])) {
            nearest = {number};
        }
    }
    RC_ASSERT(shown_by_nearest(distances, context) == around(nearest, context, distances.size()));
}

RC_GTEST_PROP(NearestWindowTest, FollowsWhatComesNearerAndNearer, ()) {
    const auto count = *rc::gen::inRange<std::size_t>(1, 60);
    const auto context = *rc::gen::inRange<std::uint64_t>(0, 12);
    Distances distances;
    for (std::size_t left = count; left != 0; --left) {
        distances.emplace_back(left);
    }

    RC_ASSERT(shown_by_nearest(distances, context) == around({count - 1}, context, count));
}

TEST(NearestWindowTest, IsSettledWhenNothingCanBeNearer) {
    NearestWindow<int> window(2);
    window.add(0, 1);
    window.add(10, std::nullopt);
    window.add(20, std::nullopt);
    EXPECT_FALSE(window.is_settled()) << "another may be nearer";
    window.add(30, 0);
    window.add(40, 5);
    EXPECT_FALSE(window.is_settled()) << "one is missing behind it";

    window.add(50, 0);

    EXPECT_TRUE(window.is_settled());
    Numbers shown;
    window.show_all(append_to(shown));
    EXPECT_EQ(shown, (Numbers{1, 2, 3, 4, 5}));
}

} // namespace
