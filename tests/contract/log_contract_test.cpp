#include <string>

#include <gtest/gtest.h>

#include "platform/RvLog.h"
#include "tests/contract/port.h"

namespace {

using Message = contract::LogPort::Message;

constexpr RvLogLevel kLevels[] = {kRvLogLevelDefault, kRvLogLevelError, kRvLogLevelFault};

class LogContract : public ::testing::Test {
protected:
    void SetUp() override { sink().listen(); }
    void TearDown() override {
        for (const RvLogLevel level : kLevels) {
            sink().enable(level, true);
        }
        sink().stop_listening();
    }

    static contract::LogPort &sink() { return contract::port().log(); }

    RvLogRef log = RvLogCreate("subsystem", "category");
};

TEST_F(LogContract, MessageArrivesAsItWasWrittenUnderItsLevelSubsystemAndCategory) {
    for (const RvLogLevel level : kLevels) {
        RvLogWrite(log, level, "one line");
    }

    EXPECT_EQ(sink().messages(), (std::vector<Message>{{kRvLogLevelDefault, "subsystem", "category", "one line"},
                                                       {kRvLogLevelError, "subsystem", "category", "one line"},
                                                       {kRvLogLevelFault, "subsystem", "category", "one line"}}));
}

TEST_F(LogContract, TextIsNotAFormatAndKeepsItsNewline) {
    RvLogWrite(log, kRvLogLevelDefault, "100 %s {} \xC3\xA9\n");

    ASSERT_EQ(sink().messages().size(), 1u);
    EXPECT_EQ(sink().messages()[0].text, "100 %s {} \xC3\xA9\n");
}

TEST_F(LogContract, NamesAreCopied) {
    std::string subsystem = "before";
    std::string category = "earlier";
    RvLogRef copied = RvLogCreate(subsystem.c_str(), category.c_str());
    subsystem = "after!";
    category = "later!!";

    RvLogWrite(copied, kRvLogLevelDefault, "x");

    ASSERT_EQ(sink().messages().size(), 1u);
    EXPECT_EQ(sink().messages()[0].subsystem, "before");
    EXPECT_EQ(sink().messages()[0].category, "earlier");
}

TEST_F(LogContract, EveryLevelIsEnabledWhenSomebodyListens) {
    for (const RvLogLevel level : kLevels) {
        EXPECT_TRUE(RvLogIsEnabled(log, level)) << level;
    }
}

TEST_F(LogContract, NoLevelIsEnabledWhenNobodyListens) {
    sink().stop_listening();

    for (const RvLogLevel level : kLevels) {
        EXPECT_FALSE(RvLogIsEnabled(log, level)) << level;
    }
}

TEST_F(LogContract, DisabledLevelWritesNothingAndTheOthersGoOn) {
    sink().enable(kRvLogLevelDefault, false);

    EXPECT_FALSE(RvLogIsEnabled(log, kRvLogLevelDefault));
    EXPECT_TRUE(RvLogIsEnabled(log, kRvLogLevelError));
    RvLogWrite(log, kRvLogLevelDefault, "unheard");
    RvLogWrite(log, kRvLogLevelError, "heard");

    ASSERT_EQ(sink().messages().size(), 1u);
    EXPECT_EQ(sink().messages()[0].text, "heard");
}

TEST_F(LogContract, ReleasedLogStaysUsable) {
    RvLogRelease(log);
    RvLogRelease(log);

    RvLogWrite(log, kRvLogLevelDefault, "still here");

    ASSERT_EQ(sink().messages().size(), 1u);
    EXPECT_EQ(sink().messages()[0].category, "category");
}

TEST_F(LogContract, NullLogIsNotEnabledAndWritesNothing) {
    EXPECT_FALSE(RvLogIsEnabled(nullptr, kRvLogLevelFault));
    RvLogWrite(nullptr, kRvLogLevelFault, "x");
    RvLogRelease(nullptr);

    EXPECT_TRUE(sink().messages().empty());
}

TEST_F(LogContract, NullTextWritesNothing) {
    RvLogWrite(log, kRvLogLevelDefault, nullptr);

    EXPECT_TRUE(sink().messages().empty());
}

TEST_F(LogContract, NullNamesMakeNoLog) {
    EXPECT_EQ(RvLogCreate(nullptr, "category"), nullptr);
    EXPECT_EQ(RvLogCreate("subsystem", nullptr), nullptr);
}

} // namespace
