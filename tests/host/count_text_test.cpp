#include "host/count_text.h"

#include <cstdint>

#include <gtest/gtest.h>

namespace {

TEST(CountTextTest, OnlyOneIsSingular) {
    EXPECT_EQ(host::count_text(0, "record"), "0 records");
    EXPECT_EQ(host::count_text(1, "record"), "1 record");
    EXPECT_EQ(host::count_text(2, "record"), "2 records");
    EXPECT_EQ(host::count_text(UINT64_MAX, "record"), "18446744073709551615 records");
}

TEST(CountTextTest, BothFormsMayBeGiven) {
    EXPECT_EQ(host::count_text(1, "entry", "entries"), "1 entry");
    EXPECT_EQ(host::count_text(21, "entry", "entries"), "21 entries");
    EXPECT_EQ(host::count_text(1, "byte is left over", "bytes are left over"), "1 byte is left over");
}

} // namespace
