#include "cli/questions/tab_choices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using cli::common_start;
using cli::find_choices;
using cli::OfferedNames;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

const OfferedNames kNames = {
    {{"reports", {"device", "category", "category_id", "timestamp"}}, {"wake_event", {"device", "wake_reason"}}},
    {".format", ".help", ".schema", ".tables"},
    {"csv", "jsonl"}};

std::vector<std::string> choices(std::string_view before) { return find_choices(before, kNames).choices; }

TEST(TabChoicesTest, AWordBecomesATableAColumnAKeywordOrAFunction) {
    EXPECT_THAT(choices("SELECT * FROM rep"), ElementsAre("reports"));
    EXPECT_THAT(choices("SELECT categ"), ElementsAre("category", "category_id"));
    EXPECT_THAT(choices("SELECT DISTI"), ElementsAre("DISTINCT"));
    EXPECT_THAT(choices("SELECT quant"), ElementsAre("quantile("));
    EXPECT_THAT(choices("SELECT wak"), ElementsAre("wake_event", "wake_reason"));
    EXPECT_EQ(find_choices("SELECT categ", kNames).typed, 5U);
}

TEST(TabChoicesTest, TheCaseOfAWordDoesNotMatterAndAKeywordTakesIt) {
    EXPECT_THAT(choices("SELECT * FROM REP"), ElementsAre("reports"));
    EXPECT_THAT(choices("select disti"), ElementsAre("distinct"));
    EXPECT_THAT(choices("sel"), ElementsAre("select"));
    EXPECT_THAT(choices("SEL"), ElementsAre("SELECT"));
}

TEST(TabChoicesTest, ColumnsAreThoseOfTheTablesThatTheStatementNames) {
    EXPECT_THAT(choices("SELECT wake_reason FROM wake_event WHERE "),
                AllOf(Contains("wake_reason"), Contains("device"), Not(Contains("timestamp"))));
    EXPECT_THAT(choices("SELECT 1 FROM Wake_Event\nWHERE "), Not(Contains("timestamp")));
    EXPECT_THAT(choices("SELECT 1 FROM wake_event, reports WHERE "),
                AllOf(Contains("wake_reason"), Contains("timestamp")));
    EXPECT_THAT(choices("SELECT "), AllOf(Contains("wake_reason"), Contains("timestamp")));
}

TEST(TabChoicesTest, BehindADotStandColumnsOfTheTableBeforeIt) {
    EXPECT_THAT(choices("SELECT reports."), ElementsAre("category", "category_id", "device", "timestamp"));
    EXPECT_THAT(choices("SELECT reports.t"), ElementsAre("timestamp"));
    EXPECT_THAT(choices("SELECT w.wake"), ElementsAre("wake_reason")); // w may be an alias of any table
}

TEST(TabChoicesTest, NothingIsOfferedWithinQuotesAndComments) {
    EXPECT_THAT(choices("SELECT 'rep"), IsEmpty());
    EXPECT_THAT(choices("SELECT \"rep"), IsEmpty());
    EXPECT_THAT(choices("SELECT 1 -- rep"), IsEmpty());
    EXPECT_THAT(choices("SELECT 1 /* x\nrep"), IsEmpty());
    EXPECT_THAT(choices("SELECT 'it''s', rep"), ElementsAre("reports"));
    EXPECT_THAT(choices("SELECT 1 -- x\n, rep"), ElementsAre("reports"));
    EXPECT_THAT(choices("SELECT 1 /* x */, rep"), ElementsAre("reports"));
    EXPECT_THAT(choices("SELECT 'reports', wake_r FROM 'wake_event', ti"), ElementsAre("timestamp"));
}

TEST(TabChoicesTest, ALineWithADotIsACommand) {
    EXPECT_THAT(choices("."), ElementsAre(".format", ".help", ".schema", ".tables"));
    EXPECT_THAT(choices(".s"), ElementsAre(".schema"));
    EXPECT_EQ(find_choices(".s", kNames).typed, 2U);
    EXPECT_THAT(choices(".schema w"), ElementsAre("wake_event"));
    EXPECT_THAT(choices(".format "), ElementsAre("csv", "jsonl"));
    EXPECT_THAT(choices(".help x"), IsEmpty());
}

TEST(TabChoicesTest, TheCommonStartIgnoresCase) {
    EXPECT_EQ(common_start({"category", "category_id"}), "category");
    EXPECT_EQ(common_start({"FROM", "function"}), "F");
    EXPECT_EQ(common_start({"a", "b"}), "");
    EXPECT_EQ(common_start({"alone"}), "alone");
}

} // namespace
