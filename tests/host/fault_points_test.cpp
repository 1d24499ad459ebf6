#include "host/fault_points.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "host/error.h"

namespace {

host::FaultPoint first_point("FaultPointsTestFirst");
host::FaultPoint second_point("FaultPointsTestSecond");

host::FaultCount count_of(const std::string &operation) {
    const std::vector<host::FaultCount> counts = host::fault_counts();
    const auto found = std::find_if(counts.begin(), counts.end(),
                                    [&](const host::FaultCount &count) { return count.operation == operation; });
    return found == counts.end() ? host::FaultCount{"", 0, 0} : *found;
}

class FaultPoints : public ::testing::Test {
protected:
    void TearDown() override { host::disarm_faults(); }
};

TEST_F(FaultPoints, UnarmedNeverStrike) {
    EXPECT_FALSE(first_point.strikes());
    EXPECT_FALSE(second_point.strikes());
}

TEST_F(FaultPoints, ArmedOnceStrikesOnlyTheNamedCallOfTheNamedOperation) {
    host::arm_fault("FaultPointsTestFirst", 2, host::Strikes::Once);

    EXPECT_FALSE(first_point.strikes());
    EXPECT_FALSE(first_point.strikes());
    EXPECT_FALSE(second_point.strikes());
    EXPECT_TRUE(first_point.strikes());
    EXPECT_FALSE(first_point.strikes());
}

TEST_F(FaultPoints, ArmedForGoodStrikesFromTheNamedCallOn) {
    host::arm_fault("FaultPointsTestFirst", 1, host::Strikes::ForGood);

    EXPECT_FALSE(first_point.strikes());
    EXPECT_TRUE(first_point.strikes());
    EXPECT_TRUE(first_point.strikes());
}

TEST_F(FaultPoints, TwoOperationsAreArmedAtTheSameTime) {
    host::arm_fault("FaultPointsTestFirst", 0, host::Strikes::Once);
    host::arm_fault("FaultPointsTestSecond", 0, host::Strikes::Once);

    EXPECT_TRUE(first_point.strikes());
    EXPECT_TRUE(second_point.strikes());
}

TEST_F(FaultPoints, CallsAndStrikesAreCounted) {
    host::arm_fault("FaultPointsTestFirst", 1, host::Strikes::Once);

    (void)first_point.strikes();
    (void)first_point.strikes();
    (void)first_point.strikes();
    (void)second_point.strikes();

    EXPECT_EQ(count_of("FaultPointsTestFirst").calls, 3u);
    EXPECT_EQ(count_of("FaultPointsTestFirst").strikes, 1u);
    EXPECT_EQ(count_of("FaultPointsTestSecond").calls, 1u);
    EXPECT_EQ(count_of("FaultPointsTestSecond").strikes, 0u);
}

TEST_F(FaultPoints, CountsStayReadableAfterDisarming) {
    host::arm_fault("FaultPointsTestFirst", 0, host::Strikes::Once);
    (void)first_point.strikes();

    host::disarm_faults();
    (void)first_point.strikes();

    EXPECT_EQ(count_of("FaultPointsTestFirst").calls, 1u);
    EXPECT_EQ(count_of("FaultPointsTestFirst").strikes, 1u);
}

TEST_F(FaultPoints, CountingStrikesNothingAndForgetsEarlierArming) {
    host::arm_fault("FaultPointsTestFirst", 0, host::Strikes::ForGood);

    host::count_fault_calls();

    EXPECT_FALSE(first_point.strikes());
    EXPECT_EQ(count_of("FaultPointsTestFirst").calls, 1u);
    EXPECT_EQ(count_of("FaultPointsTestFirst").strikes, 0u);
}

TEST_F(FaultPoints, ArmingAnUnknownOperationIsAnErrorThatNamesIt) {
    try {
        host::arm_fault("NoSuchOperation", 0, host::Strikes::Once);
        FAIL() << "armed";
    } catch (const host::Error &error) {
        EXPECT_STREQ(error.what(), "fault point \"NoSuchOperation\": no operation of this name can fail");
    }
}

TEST_F(FaultPoints, OperationsAreListedByName) {
    const std::vector<host::FaultCount> counts = host::fault_counts();

    EXPECT_TRUE(std::is_sorted(counts.begin(), counts.end(),
                               [](const auto &a, const auto &b) { return a.operation < b.operation; }));
    EXPECT_EQ(count_of("FaultPointsTestFirst").operation, "FaultPointsTestFirst");
}

} // namespace
