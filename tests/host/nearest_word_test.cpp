#include "host/nearest_word.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::string_view> kWords = {"run", "notify", "capture", "show", "decode"};

TEST(NearestWordTest, FindsTheWordOneSlipAway) {
    EXPECT_EQ(host::nearest_word("captur", kWords), "capture"); // left out
    EXPECT_EQ(host::nearest_word("showw", kWords), "show");     // added
    EXPECT_EQ(host::nearest_word("natify", kWords), "notify");  // replaced
    EXPECT_EQ(host::nearest_word("dceode", kWords), "decode");  // swapped
    EXPECT_EQ(host::nearest_word("rnu", kWords), "run");
}

TEST(NearestWordTest, FindsTheWordTwoSlipsAwayOfAShortWordToo) {
    EXPECT_EQ(host::nearest_word("val", {"key", "value"}), "value");
}

TEST(NearestWordTest, AWordIsNearestToItself) { EXPECT_EQ(host::nearest_word("show", {"shown", "show"}), "show"); }

TEST(NearestWordTest, TheFirstOfSeveralWins) { EXPECT_EQ(host::nearest_word("cat", {"bat", "hat"}), "bat"); }

TEST(NearestWordTest, SuggestsNothingForAWordUnlikeAll) {
    EXPECT_EQ(host::nearest_word("publish", kWords), std::nullopt);
    EXPECT_EQ(host::nearest_word("", kWords), std::nullopt);
    EXPECT_EQ(host::suggestion("publish", kWords), "");
}

TEST(NearestWordTest, AWordOfMoreThan128BytesIsComparedWithNone) {
    const std::string longest(128, 'a');
    const std::string too_long(129, 'a');

    EXPECT_EQ(host::nearest_word(longest, {too_long}), too_long);
    EXPECT_EQ(host::nearest_word(too_long, {longest}), std::nullopt);
}

TEST(NearestWordTest, WordsOfMegabytesAreNotCompared) {
    const std::string key(4'000'000, 'k');
    const std::string other = key + "x";

    EXPECT_EQ(host::nearest_word(key, {other}), std::nullopt);
    EXPECT_EQ(host::nearest_word("kk", {other, "kkk"}), "kkk");
    EXPECT_EQ(host::nearest_word(std::string(64, 'k'), {std::string(65, 'k')}), std::string(65, 'k'));
}

TEST(NearestWordTest, TheSuggestionAsks) { EXPECT_EQ(host::suggestion("shw", kWords), "; did you mean \"show\"?"); }

} // namespace
