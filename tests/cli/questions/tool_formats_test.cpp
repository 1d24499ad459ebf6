// What `qorstat schema` prints for programs that are no engines. `scripts/engines` and
// `Schema.LnavShowsWhatDecodePrints` run these programs.

#include <string>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "cli/questions/tool_formats.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(KaitaiLayoutTest, HasTheHeaderInItsOrder) {
    const std::string layout = cli::kaitai_layout();

    std::size_t place = layout.find("\n  report:\n");
    for (const char *field : {"type_id", "event_id", "component_id", "category_id", "sequence_num", "timestamp"}) {
        place = layout.find("\n      - id: " + std::string(field) + "\n", place);
        ASSERT_NE(place, std::string::npos) << field;
    }
    EXPECT_THAT(layout.substr(place), HasSubstr("        type: u8\n"
                                                "        doc: \"when it happened, by the coprocessor's clock "
                                                "(microseconds)\"\n"));
}

TEST(KaitaiLayoutTest, TriesRulesBeforeTypes) {
    EXPECT_THAT(
        cli::kaitai_layout(),
        AllOf(HasSubstr("        value: >-\n"
                        "          category_id == 4 and component_id == 0 and event_id == 0 and type_id == 3 ? 1 :\n"),
              HasSubstr("          category_id == 7 and type_id == 10 and payload_version == 7 ? 10 :\n"),
              HasSubstr("          type_id == 12 ? 21 :\n"
                        "          0\n"),
              HasSubstr("            1: vastrel_data_in_payload\n"), HasSubstr("            1: event_payload\n")));
}

TEST(KaitaiLayoutTest, SaysHowEachKindOfFieldIsRead) {
    EXPECT_THAT(
        cli::kaitai_layout(),
        AllOf(HasSubstr("      raw_data_count:\n"
                        "        pos: 20\n"
                        "        type: u2\n"
                        "      raw_data:\n"
                        "        pos: 24\n"
                        "        size: \"raw_data_count > 24 ? 24 : raw_data_count\"\n"
                        "        -orig-id: \"raw-data\"\n"),
              HasSubstr("      packet_size:\n"
                        "        value: 30\n"),
              HasSubstr("      y:\n"
                        "        value: y_scaled / 4096.0\n"),
              HasSubstr("      gyro_power_mode:\n"
                        "        pos: 34\n"
                        "        type: u1\n"
                        "        -orig-id: \"gyroPowerMode\"\n"),
              HasSubstr("      name:\n"
                        "        pos: 35\n"
                        "        size: 12\n"
                        "        terminator: 0\n"
                        "        type: str\n"
                        "        encoding: UTF-8\n"),
              HasSubstr("      trace_of_latency:\n"
                        "        value: trace\n"
                        "        enum: sshb_latency_subject\n"
                        "        if: _parent.component_id == 3\n"),
              HasSubstr("        doc: \"the number of bytes in raw-data; more than 24 count as 24 (bytes)\"\n")));
}

TEST(KaitaiLayoutTest, EventsHaveNamesOfTheirComponentWhereItHasAny) {
    EXPECT_THAT(cli::kaitai_layout(), AllOf(HasSubstr("      sshb_latency_event:\n"
                                                      "        value: event_id\n"
                                                      "        enum: sshb_latency_event\n"
                                                      "        if: category_id == 7 and component_id == 3\n"),
                                            HasSubstr("      sshb_event:\n"
                                                      "        value: event_id\n"
                                                      "        enum: sshb_event\n"
                                                      "        if: category_id == 7 and component_id != 3\n")));
}

TEST(KaitaiLayoutTest, IdentifiersHaveTheWordsOfNames) {
    EXPECT_THAT(cli::kaitai_layout(), AllOf(HasSubstr("      id: ckp_sshb_finger_on\n"
                                                      "      -orig-id: \"ckp_SSHBFingerON\"\n"),
                                            HasSubstr("      gyro_power_mode:\n")));
}

TEST(KaitaiLayoutTest, NamesAreDistinctInTheirEnumAndEqualEnumsAreOne) {
    const std::string layout = cli::kaitai_layout();

    EXPECT_THAT(layout, AllOf(HasSubstr("    215:\n      id: amp_power_up_phase1\n"),
                              HasSubstr("    224:\n      id: amp_power_up_phase1_2\n"
                                        "      -orig-id: \"AmpPowerUpPhase1\"\n")));
    EXPECT_THAT(layout, HasSubstr("\n  sshb_sshb_subject:\n"));
    EXPECT_THAT(layout, Not(HasSubstr("\n  sshb_pellox_subject:\n")));
}

TEST(LnavFormatsTest, HaveTheSameFieldsAndOtherTimes) {
    const auto formats = nlohmann::json::parse(cli::lnav_formats());

    const auto &by_day = formats.at("qor_reports");
    const auto &by_clock = formats.at("qor_reports_uptime");
    EXPECT_EQ(by_day.at("timestamp-field"), "wall_time");
    EXPECT_EQ(by_clock.at("timestamp-field"), "timestamp");
    EXPECT_EQ(by_clock.at("timestamp-divisor"), 1'000'000);
    EXPECT_EQ(by_day.at("value"), by_clock.at("value"));
}

TEST(LnavFormatsTest, HaveEveryKeyOfAPayloadWithItsKind) {
    const auto formats = nlohmann::json::parse(cli::lnav_formats());
    const auto kind = [&formats](const char *key) { return formats.at("qor_reports").at("value").at(key).at("kind"); };

    EXPECT_EQ(kind("payload/report-interval"), "integer");
    EXPECT_EQ(kind("payload/x"), "float");
    EXPECT_EQ(kind("payload/trace"), "string");
    EXPECT_EQ(kind("payload/raw-data_2"), "string") << "short data that is shown twice";
    EXPECT_EQ(kind("payload/arg1_2"), "integer");
    EXPECT_EQ(kind("payload/name_hex"), "string");
    EXPECT_EQ(kind("payload/raw"), "string");
    EXPECT_EQ(formats.at("qor_reports").at("value").at("payload/wake_reason").at("description"),
              "why the coprocessor woke the application processor; the values are the firmware's");
    EXPECT_FALSE(formats.at("qor_reports").at("value").at("payload/data-length").contains("description"))
        << "it has different meanings in different layouts";
    EXPECT_EQ(formats.at("qor_reports").at("value").at("timestamp").at("description"),
              "when it happened, by the coprocessor's clock (microseconds)");
}

} // namespace
