#include "decoder/short_text.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <stdexcept>
#include <string_view>

namespace {

using Four = decoder::text_of_at_most<4>;

TEST(ShortText, HoldsPiecesUpToItsCapacity) {
    EXPECT_EQ(Four({"a", "", "bcd"}).view(), "abcd");
    EXPECT_EQ(Four(std::initializer_list<std::string_view>{}).view(), "");
}

TEST(ShortText, PiecesBeyondItsCapacityAreRefused) {
    EXPECT_THROW(Four({"abcde"}), std::length_error);
    EXPECT_THROW(Four({"abc", "de"}), std::length_error);
}

} // namespace
