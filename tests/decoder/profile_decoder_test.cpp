#include "decoder/profile_decoder.h"

#include <gtest/gtest.h>

#include <array>
#include <type_traits>

#include "decoder/ZELLogDecoder.h"

namespace {

constexpr profile_decoder::entry kTable[] = {{7, "seven"}, {0, "zero"}, {7, "seven again"}, {4294967295, "last"}};

TEST(FindInTable, ReturnsTheNameOfTheFirstEntryWithTheId) {
    EXPECT_EQ(profile_decoder::find_in_table(kTable, 4, 0), "zero");
    EXPECT_EQ(profile_decoder::find_in_table(kTable, 4, 7), "seven");
    EXPECT_EQ(profile_decoder::find_in_table(kTable, 4, 4294967295), "last");
}

TEST(FindInTable, ReturnsDecimalTextForAnIdThatIsNotInTheTable) {
    EXPECT_EQ(profile_decoder::find_in_table(kTable, 4, 1), "1");
    EXPECT_EQ(profile_decoder::find_in_table(kTable, 4, 4294967294), "4294967294");
}

TEST(FindInTable, NeverLooksPastTheCount) {
    EXPECT_EQ(profile_decoder::find_in_table(kTable, 1, 0), "0");
    EXPECT_EQ(profile_decoder::find_in_table(kTable, 0, 7), "7");
    EXPECT_EQ(profile_decoder::find_in_table(nullptr, 0, 0), "0");
}

TEST(Key, IsABlankTheNameInApostrophesAndAColon) {
    EXPECT_EQ(profile_decoder::key("x"), " 'x':");
    EXPECT_EQ(profile_decoder::key(""), " '':");
    EXPECT_EQ(profile_decoder::key("a name longer than any that a line holds"),
              " 'a name longer than any that a line holds':");
}

TEST(Str, IsTheValueInApostrophes) {
    EXPECT_EQ(profile_decoder::str(""), "''");
    EXPECT_EQ(profile_decoder::str("it's"), "'it's'");
    EXPECT_EQ(profile_decoder::str("a value longer than any name that a line holds"),
              "'a value longer than any name that a line holds'");
}

TEST(Dump, ListsTheBytesInDecimal) {
    constexpr std::array<unsigned char, 3> kBytes = {0, 255, 16};

    EXPECT_EQ(profile_decoder::dump(kBytes.data(), 3), "[0,255,16]");
    EXPECT_EQ(profile_decoder::dump(kBytes.data(), 1), "[0]");
}

TEST(Dump, OfNoBytesIsTwoBrackets) {
    EXPECT_EQ(profile_decoder::dump("x", 0), "[]");
    EXPECT_EQ(profile_decoder::dump(nullptr, 0), "[]");
}

TEST(Dump, ListsMoreBytesThanAReportHas) {
    const std::array<unsigned char, 1000> ones = [] {
        std::array<unsigned char, 1000> bytes{};
        bytes.fill(100);
        return bytes;
    }();
    std::string expected = "[100";
    for (int i = 1; i < 1000; ++i) {
        expected += ",100";
    }

    EXPECT_EQ(profile_decoder::dump(ones.data(), 1000), expected + "]");
}

TEST(TypeName, NamesThirteenTypesAndNumbersTheRest) {
    constexpr const char *kNames[] = {"stop",         "long-data",     "short-data",     "event",      "trigger",
                                      "function",     "sshb-context1", "sshb-context2",  "sensorinfo", "extfunction",
                                      "sshb-context", "annotation",    "decimationinfo", "13"};
    for (unsigned type = 0; type < std::size(kNames); ++type) {
        EXPECT_EQ(profile_decoder::type_name(type), kNames[type]);
    }
    EXPECT_EQ(profile_decoder::type_name(300), "300");
}

TEST(CategoryName, NamesElevenCategoriesAndNumbersTheRestInEveryDecoder) {
    constexpr const char *kNames[] = {"exec", "trace", "sensor",  "quoril", "vastrel", "interrupt",
                                      "uart", "sshb",  "control", "scm",    "wake",    "11"};
    for (unsigned category = 0; category < std::size(kNames); ++category) {
        EXPECT_EQ(ZELLogDecoder::_default.category_name(category), kNames[category]);
        EXPECT_EQ(ZELLogDecoder::_sshb.category_name(category), kNames[category]);
    }
}

TEST(ProfileDecoder, NumbersComponentsAndEvents) {
    EXPECT_EQ(ZELLogDecoder::_control.component_name(0), "0");
    EXPECT_EQ(ZELLogDecoder::_control.component_name(4294967295), "4294967295");
    EXPECT_EQ(ZELLogDecoder::_control.event_name(3, 17), "17");
}

TEST(ProfileDecoder, HasNoDataAndNoVirtualDestructor) {
    static_assert(sizeof(profile_decoder) == sizeof(void *));
    static_assert(sizeof(sshb_decoder) == sizeof(void *));
    static_assert(!std::has_virtual_destructor_v<profile_decoder>);
    static_assert(std::is_polymorphic_v<profile_decoder>);
}

TEST(ZELLogDecoder, HasADecoderForEachOfElevenCategories) {
    const profile_decoder *const expected[] = {
        &ZELLogDecoder::_exec,    &ZELLogDecoder::_trace,     &ZELLogDecoder::_sensor, &ZELLogDecoder::_quoril,
        &ZELLogDecoder::_vastrel, &ZELLogDecoder::_interrupt, &ZELLogDecoder::_uart,   &ZELLogDecoder::_sshb,
        &ZELLogDecoder::_control, &ZELLogDecoder::_scm,       &ZELLogDecoder::_wake};

    ASSERT_EQ(ZELLogDecoder::_decoders.size(), std::size(expected));
    for (std::size_t category = 0; category < std::size(expected); ++category) {
        EXPECT_EQ(ZELLogDecoder::_decoders[category], expected[category]) << category;
    }
}

TEST(ZELLogDecoder, NamesACategory) {
    EXPECT_EQ(ZELLogDecoder::category_to_string(0), "exec");
    EXPECT_EQ(ZELLogDecoder::category_to_string(8), "control");
    EXPECT_EQ(ZELLogDecoder::category_to_string(10), "wake");
    EXPECT_EQ(ZELLogDecoder::category_to_string(11), "11");
    EXPECT_EQ(ZELLogDecoder::category_to_string(4294967295), "4294967295");
}

TEST(ZELLogDecoder, NamesAComponentByItsCategorysDecoder) {
    EXPECT_EQ(ZELLogDecoder::component_to_string(2, 3), "pressure");
    EXPECT_EQ(ZELLogDecoder::component_to_string(3, 1), "1");
    EXPECT_EQ(ZELLogDecoder::component_to_string(8, 3), "3");
}

TEST(ZELLogDecoder, ReturnsTheCategorysNumberForAComponentOfAnUnknownCategoryOnPurpose) {
    EXPECT_EQ(ZELLogDecoder::component_to_string(42, 3), "42");
    EXPECT_EQ(ZELLogDecoder::component_to_string(11, 0), "11");
}

TEST(SubtypeName, DependsOnTheKind) {
    for (const unsigned kind : {0u, 1u, 2u, 4u}) {
        EXPECT_EQ(ZELLogDecoder::_sshb.subtype_name(kind, 4), "SendAmpRequest") << kind;
    }
    EXPECT_EQ(ZELLogDecoder::_sshb.subtype_name(3, 4), "ckp_RIVTurnOn");
    for (const unsigned kind : {5u, 6u, 7u, 4294967295u}) {
        EXPECT_EQ(ZELLogDecoder::_sshb.subtype_name(kind, 0), "0") << kind;
    }
}

TEST(SubtypeName, HasOneNameForTwoIdsAndNoneForAGap) {
    EXPECT_EQ(ZELLogDecoder::_sshb.subtype_name(0, 215), "AmpPowerUpPhase1");
    EXPECT_EQ(ZELLogDecoder::_sshb.subtype_name(0, 224), "AmpPowerUpPhase1");
    for (const unsigned id : {52u, 99u, 109u, 199u, 233u, 299u, 307u, 310u, 399u, 410u, 4294967295u}) {
        EXPECT_EQ(ZELLogDecoder::_sshb.subtype_name(0, id), std::to_string(id));
    }
}

TEST(EventName, OfTheSshbDecoderIsACheckpointForTheLatencyComponentOnly) {
    EXPECT_EQ(ZELLogDecoder::_sshb.event_name(3, 4), "ckp_RIVTurnOn");
    EXPECT_EQ(ZELLogDecoder::_sshb.event_name(0, 4), "4");
    EXPECT_EQ(ZELLogDecoder::_sshb.event_name(7, 16), "trigger-fingeron");
}

TEST(EventName, OfAnExecutionComponentWithoutEventsIsItsNumber) {
    EXPECT_EQ(ZELLogDecoder::_exec.component_name(5), "timing");
    EXPECT_EQ(ZELLogDecoder::_exec.event_name(5, 0), "0");
    EXPECT_EQ(ZELLogDecoder::_exec.event_name(4294967295, 0), "0");
}

TEST(EventName, OfASensorDoesNotDependOnTheComponent) {
    EXPECT_EQ(ZELLogDecoder::_sensor.event_name(0, 11), "11");
    EXPECT_EQ(ZELLogDecoder::_sensor.event_name(99, 16), "trigger-magnitude");
}

} // namespace
