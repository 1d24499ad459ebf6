#include <cstring>

#include <gtest/gtest.h>

#include "platform/RvStatus.h"

namespace {

constexpr RvStatus kNamedStatuses[] = {kRvStatusError, kRvStatusNoMemory, kRvStatusBadArgument, kRvStatusNotFound,
                                       kRvStatusNotReady};

TEST(StatusContract, EveryNamedFailureHasAnAsciiText) {
    for (const RvStatus status : kNamedStatuses) {
        const char *text = RvStatusGetText(status);

        ASSERT_NE(text, nullptr) << std::hex << status;
        EXPECT_GT(std::strlen(text), 0u) << std::hex << status;
        for (const char *c = text; *c != '\0'; ++c) {
            EXPECT_TRUE(*c >= 0x20 && *c <= 0x7E) << std::hex << status;
        }
    }
}

TEST(StatusContract, TextsTellFailuresApart) {
    for (const RvStatus one : kNamedStatuses) {
        for (const RvStatus other : kNamedStatuses) {
            if (one != other) {
                EXPECT_STRNE(RvStatusGetText(one), RvStatusGetText(other)) << std::hex << one << " " << other;
            }
        }
    }
}

TEST(StatusContract, TextIsTheSameStorageEveryTime) {
    EXPECT_EQ(RvStatusGetText(kRvStatusError), RvStatusGetText(kRvStatusError));
}

TEST(StatusContract, StatusWithoutATextGivesNull) { EXPECT_EQ(RvStatusGetText(0xDEADBEEF), nullptr); }

} // namespace
