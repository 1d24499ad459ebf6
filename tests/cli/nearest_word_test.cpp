#include "cli/nearest_word.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::string> kWords = {"run", "notify", "capture", "show", "decode"};

TEST(NearestWordTest, FindsTheWordOneSlipAway) {
    EXPECT_EQ(cli::nearest_word("captur", kWords), "capture"); // left out
    EXPECT_EQ(cli::nearest_word("showw", kWords), "show");     // added
    EXPECT_EQ(cli::nearest_word("natify", kWords), "notify");  // replaced
    EXPECT_EQ(cli::nearest_word("dceode", kWords), "decode");  // swapped
    EXPECT_EQ(cli::nearest_word("rnu", kWords), "run");
}

TEST(NearestWordTest, AWordIsNearestToItself) { EXPECT_EQ(cli::nearest_word("show", {"shown", "show"}), "show"); }

TEST(NearestWordTest, TheFirstOfSeveralWins) { EXPECT_EQ(cli::nearest_word("cat", {"bat", "hat"}), "bat"); }

TEST(NearestWordTest, SuggestsNothingForAWordUnlikeAll) {
    EXPECT_EQ(cli::nearest_word("publish", kWords), std::nullopt);
    EXPECT_EQ(cli::nearest_word("", kWords), std::nullopt);
    EXPECT_EQ(cli::suggestion("publish", kWords), "");
}

TEST(NearestWordTest, TheSuggestionAsks) { EXPECT_EQ(cli::suggestion("shw", kWords), "; did you mean \"show\"?"); }

} // namespace
