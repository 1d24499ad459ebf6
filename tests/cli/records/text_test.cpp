#include "cli/records/text.h"

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "cli/records/json.h"
#include "platform/RvStateCapture.h"
#include "tests/cli/typed_values.h"

using namespace std::string_view_literals;
using cli_tests::array;
using cli_tests::boolean;
using cli_tests::data;
using cli_tests::Dictionary;
using cli_tests::number;
using cli_tests::OwnedValue;
using cli_tests::text;

namespace {

OwnedValue dictionary(const std::vector<std::pair<std::string_view, TvRef>> &entries) {
    Dictionary made;
    for (const auto &[key, value] : entries) {
        made.with(key, OwnedValue(value));
    }
    return made.take();
}

host::StateRecord record(OwnedValue payload, std::string title = "Title") {
    return {kRvStateCaptureTypeSerializedValue,
            "",
            "",
            std::move(title),
            0,
            sizeof(RvStateCaptureRecord),
            std::move(payload)};
}

nlohmann::ordered_json record_json(const host::StateRecord &record, std::span<const std::byte> file) {
    cli::Json json;
    cli::put_record(json, record, file);
    return nlohmann::ordered_json::parse(json.dump());
}

std::string show(OwnedValue payload, const cli::TextStyle &style = {}) {
    return cli::record_text(record(std::move(payload)), {}, style);
}

TEST(RecordTextTest, AnArrayOfTextsIsOneLineEach) {
    EXPECT_EQ(show(array(text("{ 'a':1,}"), text("{ 'b':2,}"))), "Title\n{ 'a':1,}\n{ 'b':2,}\n");
}

TEST(RecordTextTest, DictionaryKeysStandInAColumn) {
    EXPECT_EQ(show(dictionary({{"a", number(1).detach()},
                               {"gr\xC3\xBC\xC3\x9F", text("x y").detach()},
                               {"longest", boolean(true).detach()},
                               {"raw", data("\x00\xAB"sv).detach()}})),
              "Title\n"
              "a:       1\n"
              "gr\xC3\xBC\xC3\x9F:    x y\n"
              "longest: true\n"
              "raw:     <00ab>\n");
}

TEST(RecordTextTest, WhatAKeyContainsIsIndentedBelowIt) {
    EXPECT_EQ(
        show(dictionary(
            {{"assets",
              array(dictionary({{"gain", number(-3).detach()}}), dictionary({{"gain", number(4).detach()}})).detach()},
             {"matrix", array(number(1), number(2)).detach()},
             {"names", array(text("x"), text("y")).detach()},
             {"nothing", dictionary({}).detach()}})),
        "Title\n"
        "assets:\n"
        "  [0]:\n"
        "    gain: -3\n"
        "  [1]:\n"
        "    gain: 4\n"
        "matrix:  [1, 2]\n"
        "names:\n"
        "  x\n"
        "  y\n"
        "nothing: {}\n");
}

TEST(RecordTextTest, AnEmptyPayloadIsVisible) {
    EXPECT_EQ(show(array()), "Title\n[]\n");
    EXPECT_EQ(show(dictionary({})), "Title\n{}\n");
}

TEST(RecordTextTest, AScalarPayloadIsALine) {
    EXPECT_EQ(show(number(std::numeric_limits<std::int64_t>::min())), "Title\n-9223372036854775808\n");
}

TEST(RecordTextTest, ControlCharactersAreEscapedOnlyForATerminal) {
    const auto payload = [] { return dictionary({{"k\x1b", text("v\x1b[2J").detach()}}); };

    EXPECT_EQ(show(payload()), "Title\nk\x1b: v\x1b[2J\n");
    EXPECT_EQ(show(payload(), {true, false}), "Title\nk\\x1b: v\\x1b[2J\n");
}

TEST(RecordTextTest, ColoursStandAroundTitlesAndKeys) {
    EXPECT_EQ(show(dictionary({{"k", number(1).detach()}}), {true, true}),
              "\x1b[1mTitle\x1b[0m\n\x1b[36mk\x1b[0m: 1\n");
}

TEST(RecordTextTest, AForeignPayloadIsHex) {
    std::string file(sizeof(RvStateCaptureRecord) + 4, '\0');
    file.replace(2 + sizeof(RvStateCaptureRecord), 2, "\xC0\xDE");
    const host::StateRecord foreign{7, "", "", "Other", 2, sizeof(RvStateCaptureRecord) + 2, {}};

    EXPECT_EQ(cli::record_text(foreign, std::as_bytes(std::span(file)), {}), "Other\ntype code 7: <c0de>\n");
    EXPECT_EQ(record_json(foreign, std::as_bytes(std::span(file)))["payload"], "c0de");
}

TEST(RecordTextTest, ALongKeyPadsNoOtherLine) {
    const std::string widest(40, 'w');
    const std::string longer(41, 'l');

    EXPECT_EQ(show(dictionary({{"k", number(1).detach()}, {longer, number(2).detach()}})),
              "Title\nk: 1\n" + longer + ": 2\n");
    EXPECT_EQ(show(dictionary({{"k", number(1).detach()}, {widest, number(2).detach()}})),
              "Title\nk:" + std::string(40, ' ') + "1\n" + widest + ": 2\n");
}

TEST(RecordTextTest, TheTitleSaysHowThePayloadIsDrawn) {
    const auto sensor = [] { return dictionary({{"model", text("M").detach()}}); };

    EXPECT_EQ(cli::record_text(record(sensor(), "SensorInfo"), {}, {}), "SensorInfo\n  model:        M\n");
    EXPECT_EQ(cli::record_text(record(sensor(), "SensorInfo2"), {}, {}), "SensorInfo2\nmodel: M\n");
    EXPECT_EQ(cli::record_text(record(sensor(), "sensorinfo"), {}, {}), "sensorinfo\nmodel: M\n");
}

TEST(RecordTextTest, AnyTitleThatBeginsAsThatOfAProfileIsOne) {
    const cli::TextStyle coloured{true, true};
    const auto lines = [] { return array(text("{  'category':  'wake',}")); };

    EXPECT_EQ(cli::record_text(record(lines(), "ZEL Profile 5 ;count=1 ;type=drvx"), {}, coloured),
              "\x1b[1mZEL Profile 5 ;count=1 ;type=drvx\x1b[0m\n{  'category':  \x1b[96m'wake'\x1b[0m,}\n");
    EXPECT_EQ(cli::record_text(record(lines(), "ZEL Profile"), {}, coloured),
              "\x1b[1mZEL Profile\x1b[0m\n{  'category':  'wake',}\n");
}

TEST(RecordTextTest, APayloadOfAnotherShapeIsShownAsAnyValue) {
    for (const std::string title :
         {"SSHB Statistics", "SSHB assets", "SensorInfo", "ZEL Profile 0 ;count=1 ;type=fw"}) {
        EXPECT_EQ(cli::record_text(record(number(-5), title), {}, {}), title + "\n-5\n");
        EXPECT_EQ(cli::record_text(record(array(number(1), boolean(true)), title), {}, {}), title + "\n[1, true]\n");
        EXPECT_EQ(cli::record_text(record(array(), title), {}, {}), title + "\n[]\n");
        EXPECT_EQ(cli::record_text(record(dictionary({}), title), {}, {}), title + "\n{}\n");
        EXPECT_EQ(cli::record_text(record(dictionary({{"k", text("v").detach()}}), title), {}, {}), title + "\nk: v\n");
    }
}

TEST(RecordJsonTest, KeepsIntegersExactly) {
    const auto json = record_json(record(array(number(std::numeric_limits<std::int64_t>::min()),
                                               number(std::numeric_limits<std::int64_t>::max()))),
                                  {});

    EXPECT_EQ(json["payload"].dump(), "[-9223372036854775808,9223372036854775807]");
}

TEST(RecordJsonTest, RendersEveryKindOfValue) {
    const auto json = record_json(record(dictionary({{"boolean", boolean(false).detach()},
                                                     {"data", data("\x00\xAB"sv).detach()},
                                                     {"dictionary", dictionary({}).detach()},
                                                     {"text", text("\"\n").detach()}})),
                                  {});

    EXPECT_EQ(json["payload"].dump(), R"({"boolean":false,"data":"00ab","dictionary":{},"text":"\"\n"})");
}

TEST(RecordJsonTest, ATitleThatIsNoUtf8IsHex) {
    host::StateRecord damaged = record(array());
    damaged.title = "t\xFF";

    const auto json = record_json(damaged, {});

    EXPECT_EQ(json["title_hex"], "74ff");
    EXPECT_FALSE(json.contains("title"));
}

} // namespace
