#include "cli/records/decimal_fields.h"

#include <array>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST(DecimalTest, DigitsWithOrWithoutASignAndAFraction) {
    for (const char *const text : {"0", "-1", "12.5", "-0.000001", "-9223372036854775808", "18446744073709551615"}) {
        EXPECT_TRUE(cli::is_decimal(text)) << text;
    }
    for (const char *const text : {"", "-", ".", "1.", ".5", "--1", "+1", "1e5", "0x1", "1 ", " 1", "1.2.3", "-.5"}) {
        EXPECT_FALSE(cli::is_decimal(text)) << text;
    }
}

TEST(DecimalTest, HasTwentyCharactersAtMost) {
    EXPECT_TRUE(cli::is_decimal(std::string(20, '9')));
    EXPECT_FALSE(cli::is_decimal(std::string(21, '9')));
}

TEST(DecimalFieldsTest, AreSplitAtTheirNames) {
    constexpr qor::Field kFields[] = {qor::s32("a", 0), qor::s32("b", 4)};
    std::array<std::string_view, 2> values;

    ASSERT_TRUE(cli::take_decimal_fields("a=1 b=-2.5", kFields, values));

    EXPECT_EQ(values[0], "1");
    EXPECT_EQ(values[1], "-2.5");
}

TEST(DecimalFieldsTest, ATextOfAnotherFormIsRefused) {
    constexpr qor::Field kFields[] = {qor::s32("a", 0), qor::s32("b", 4)};
    std::array<std::string_view, 2> values;
    for (const char *const text :
         {"", "a=", "a=1", "a=1 ", "a=1 b=", "a=1 b=2 ", "a=1 b=2 c=3", "b=2 a=1", "a=x b=2", "xa=1 b=2", "a=1  b=2"}) {
        EXPECT_FALSE(cli::take_decimal_fields(text, kFields, values)) << text;
    }
}

} // namespace
