#include "state/DecimalText.h"

#include <gtest/gtest.h>

namespace {

struct Row {
    double value;
    const char *text;
};

const Row kRows[] = {
    {0, "0.000000"},
    {-1.5, "-1.500000"},
    {0x1p-16, "0.000015"},
    // Exactly halfway between two texts: rounds to the even digit.
    {0x1p-7, "0.007812"},
    {3 * 0x1p-7, "0.023438"},
    {-999'999'999'999.75, "-999999999999.750000"},
};

TEST(DecimalText, HasSixRoundedDecimals) {
    for (const Row &row : kRows) {
        EXPECT_STREQ(DecimalText(row.value).get(), row.text);
    }
}

TEST(DecimalText, IsEmptyForANumberThatDoesNotFit) {
    EXPECT_STREQ(DecimalText(1e300).get(), "");
    EXPECT_STREQ(DecimalText(-1e300).get(), "");
}

} // namespace
