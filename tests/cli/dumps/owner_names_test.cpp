// The owner's names: how a file of them is read, and how each form shows them.

#include "cli/dumps/owner_names.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cli/reports/csv.h"
#include "cli/reports/json.h"
#include "cli/reports/named_line.h"
#include "cli/reports/named_payload.h"
#include "cli/reports/payload_json.h"
#include "cli/reports/trace.h"
#include "decoder/payload_choice.h"
#include "decoder/report_line.h"
#include "host/error.h"
#include "tests/cli/reports.h"
#include "tests/decoder/report_generator.h"

namespace cli_tests {
namespace {

cli::OwnerNames names_in(const std::string &toml) {
    return {host::parse_toml_texts(toml, "names.toml", "a file of names", cli::OwnerNames::kSections), "names.toml"};
}

/** The plain name; "" for none. */
std::string text_of(const cli::OwnerName *name) { return name != nullptr ? name->plain : ""; }

TEST(OwnerNamesTest, IdsAreDecimalOrHexadecimalAndPlacesAreNamesOrIds) {
    const cli::OwnerNames names = names_in(R"([category]
11 = "radio"
[type]
0x0D = "wake-request"
[component.radio]
2 = "tuner"
[component.0x0C]
1 = "other"
[event.radio]
7 = "any"
[event_of.11.tuner]
7 = "tuned"
[subject]
60 = "Calibrate"
[subject_of.6]
60 = "Listen")");

    EXPECT_EQ(text_of(names.category(11)), "radio");
    EXPECT_EQ(text_of(names.category(12)), "");
    EXPECT_EQ(text_of(names.type(13)), "wake-request");
    EXPECT_EQ(text_of(names.component(11, 2)), "tuner");
    EXPECT_EQ(text_of(names.component(12, 2)), "");
    EXPECT_EQ(text_of(names.component(12, 1)), "other");
    EXPECT_EQ(text_of(names.event(11, 1, 7)), "any");
    EXPECT_EQ(text_of(names.event(11, 2, 7)), "tuned");
    EXPECT_EQ(text_of(names.event(11, 2, 8)), "");
    EXPECT_EQ(text_of(names.subject(0, 60)), "Calibrate");
    EXPECT_EQ(text_of(names.subject(6, 60)), "Listen");
    EXPECT_EQ(text_of(names.subject(6, 61)), "");
}

TEST(OwnerNamesTest, AFieldIsNamedInEveryLayoutUnlessOneHasNamesOfItsOwn) {
    const cli::OwnerNames names = names_in(R"([field.thread-id]
7 = "idle"
8 = "scan"
[field_of.trigger.thread-id]
7 = "none"
[field.endpoint_ref]
18446744073709551615 = "last")");
    const std::size_t of_function = cli::field_number(qor::kFunction, "thread-id");
    const std::size_t of_trigger = cli::field_number(qor::kTrigger, "thread-id");

    EXPECT_EQ(text_of(names.value(of_function, 7)), "idle");
    EXPECT_EQ(text_of(names.value(of_trigger, 7)), "none");
    EXPECT_EQ(text_of(names.value(of_trigger, 8)), "scan");
    EXPECT_EQ(text_of(names.value(of_function, 9)), "");
    EXPECT_EQ(text_of(names.value(cli::field_number(qor::kFunction, "function-id"), 7)), "");
    EXPECT_EQ(text_of(names.value(cli::field_number(qor::kWakeRequest, "endpoint_ref"), ~std::uint64_t{0})), "last");
}

TEST(OwnerNamesTest, ANameOfTheSystemStays) {
    const cli::OwnerNames names = names_in("[event.exec]\n0 = \"general\"\n[type]\n13 = \"request\"");

    EXPECT_EQ(names.event_name(0, 0, 0), "context-switch");
    EXPECT_EQ(names.event_name(0, 5, 0), "general");
    EXPECT_EQ(names.event_name(0, 5, 1), "1");
    EXPECT_EQ(names.type_name(13), "request");
    EXPECT_EQ(names.type_name(3), "event");
    EXPECT_EQ(names.type_name(14), "14");
}

struct BadNames {
    std::string toml;
    std::string message; ///< behind the file
};

class BadNamesTest : public testing::TestWithParam<BadNames> {};

TEST_P(BadNamesTest, GiveOneErrorWithPlaceAndReason) {
    try {
        names_in(GetParam().toml);
        FAIL() << "the names are taken: " << GetParam().toml;
    } catch (const host::Error &error) {
        EXPECT_EQ(std::string(error.what()), "names.toml: " + GetParam().message);
    }
}

const std::string kSixtyFive(65, 'n');

INSTANTIATE_TEST_SUITE_P(
    Each, BadNamesTest,
    testing::Values(
        BadNames{"[typ]\n", "line 1, column 2: unknown key \"typ\" of a file of names; did you mean \"type\"?"},
        BadNames{"type = \"x\"", "line 1, column 8: type: names are written as type.ID = \"NAME\""},
        BadNames{"[type.x]\n1 = \"y\"", "line 2, column 5: type.x.1: names are written as type.ID = \"NAME\""},
        BadNames{"[event.exec.timing]\n1 = \"y\"",
                 "line 2, column 5: event.exec.timing.1: names are written as event.CATEGORY.ID = \"NAME\""},
        BadNames{"[type]\n13 = 5", "line 2, column 6: \"13\" must be a text, not an integer"},
        BadNames{"[type]\n13 = [\"x\"]", "line 2, column 6: \"13\" must be a text, not an array"},
        BadNames{"[type]\n13 = \"x\"\n0xD = \"y\"",
                 "line 3, column 7: type.0xD: this id has a name in the file already"},
        BadNames{"[type]\n3 = \"x\"", "line 2, column 5: type.3: 3 has a name already: \"event\""},
        BadNames{"[event.sensor]\n9 = \"x\"",
                 "line 2, column 5: event.sensor.9: 9 has a name already: \"sensor-info\""},
        BadNames{"[event_of.sshb.latency]\n3 = \"x\"",
                 "line 2, column 5: event_of.sshb.latency.3: 3 has a name already: \"ckp_SSHBButtonUp\""},
        BadNames{"[subject_of.amp]\n409 = \"x\"",
                 "line 2, column 7: subject_of.amp.409: 409 has a name already: \"SimulatedEvent\""},
        BadNames{"[type]\n256 = \"x\"",
                 "line 2, column 7: type.256: \"256\" is no id: expected 0 to 255, in decimal or "
                 "behind 0x in hexadecimal"},
        BadNames{"[field.speed]\n256 = \"x\"",
                 "line 2, column 7: field.speed.256: \"256\" is no id: expected 0 to 255, "
                 "in decimal or behind 0x in hexadecimal"},
        BadNames{"[subject]\n4294967296 = \"x\"", "line 2, column 14: subject.4294967296: \"4294967296\" is no id: "
                                                  "expected 0 to 4294967295, in decimal or behind 0x in hexadecimal"},
        BadNames{"[type]\n\"-1\" = \"x\"",
                 "line 2, column 8: type.-1: \"-1\" is no id: expected 0 to 255, in decimal or "
                 "behind 0x in hexadecimal"},
        BadNames{"[type]\n\"\" = \"x\"", "line 2, column 6: type.: \"\" is no id: expected 0 to 255, in decimal or "
                                         "behind 0x in hexadecimal"},
        BadNames{"[component.sensr]\n9 = \"x\"",
                 "line 2, column 5: component.sensr.9: no category \"sensr\"; did you mean \"sensor\"?"},
        BadNames{"[event_of.sshb.lateny]\n9 = \"x\"",
                 "line 2, column 5: event_of.sshb.lateny.9: no component \"lateny\"; did you mean \"latency\"?"},
        BadNames{"[field.function-di]\n9 = \"x\"",
                 "line 2, column 5: field.function-di.9: no field \"function-di\" with "
                 "numbers; did you mean \"function-id\"?"},
        BadNames{"[field.entry]\n9 = \"x\"", "line 2, column 5: field.entry.9: no field \"entry\" with numbers"},
        BadNames{"[field_of.functio.depth]\n9 = \"x\"",
                 "line 2, column 5: field_of.functio.depth.9: no layout \"functio\"; did you mean \"function\"?"},
        BadNames{"[field_of.function.speed]\n9 = \"x\"",
                 "line 2, column 5: field_of.function.speed.9: no field \"speed\" with numbers in this layout"},
        BadNames{"[type]\n13 = \"\"", "line 2, column 6: type.13: a name cannot be empty"},
        BadNames{"[type]\n13 = \"" + kSixtyFive + "\"",
                 "line 2, column 6: type.13: a name has at most 64 bytes, not 65"},
        BadNames{"[type]\n13 = \"a\\u0000\"", "line 2, column 6: type.13: a name cannot hold control characters"},
        BadNames{"[type]\n13 = \"a\\u009Bm\"", "line 2, column 6: type.13: a name cannot hold control characters"},
        BadNames{"[type]\n13 = \"it's\"",
                 "line 2, column 6: type.13: a name cannot hold an apostrophe, which ends it in a line"},
        BadNames{"[type]\n13 = \"12\"", "line 2, column 6: type.13: a name of digits alone would read as an id"}));

/** Every field that may have names has one for 0, for 1 and for 12. */
cli::OwnerNames names_of_every_field(const std::string &name) {
    std::string toml;
    for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
        for (const qor::Field &field : row.layout->fields) {
            if (cli::may_have_names(field)) {
                toml += "[field_of." + std::string(row.view) + "." + std::string(field.name) + "]\n";
                for (const std::string id : {"0", "1", "12"}) {
                    toml += id + " = '" + name + "'\n";
                }
            }
        }
    }
    return names_in(toml);
}

template <typename Put>
std::string payload(const Put &put) {
    std::vector<char> text(cli::kNamedPayloadJsonRoom);
    return {text.data(), put(text.data())};
}

TEST(NamedFormsTest, WithoutANameEveryFormIsThatOfTheSystem) {
    const auto none = std::make_shared<const cli::OwnerNames>();
    oracle::ReportGenerator generator(13);
    cli::TraceEvents trace;
    cli::TraceEvents named_trace(none.get());
    for (int i = 0; i < 5'000; ++i) {
        const oracle::Report bytes = generator.report(generator.header());
        const _QorProfileReport report = _QorProfileReport::copied_from(bytes.data());
        text_buffer plain;
        text_buffer named;
        cli::append_json_line(plain, report, {});
        cli::append_csv_line(plain, report, {});
        trace.append(plain, report);
        decoder::append_line(plain, report, {});
        cli::append_json_line(named, report, {}, *none, false);
        cli::append_csv_line(named, report, {}, *none, false);
        named_trace.append(named, report);
        cli::append_named_line(named, report, {}, *none);

        ASSERT_EQ(named.text(), plain.text());
    }
}

/** Removes each member whose key ends in `suffix` and whose value is `value`, with the separator before it. */
std::string without_names(std::string text, const std::string &suffix, const std::string &value, char separator) {
    const std::string member = suffix + value;
    for (std::size_t at = text.find(member); at != std::string::npos; at = text.find(member)) {
        const std::size_t begin = text.rfind(separator, at);
        text.erase(begin, at + member.size() - begin);
    }
    return text;
}

TEST(NamedFormsTest, NamesAreTheOnlyDifference) {
    const cli::OwnerNames names = names_of_every_field(R"(a "b" \ , ü)");
    oracle::ReportGenerator generator(17);
    std::size_t named_fields = 0;
    for (int i = 0; i < 5'000; ++i) {
        const oracle::Report bytes = generator.report(generator.header());
        const _QorProfileReport report = _QorProfileReport::copied_from(bytes.data());
        const std::size_t index = decoder::payload_index(report);
        const std::string json =
            payload([&](char *out) { return cli::put_named_payload_json(out, report, index, names); });
        const std::string csv =
            payload([&](char *out) { return cli::put_named_payload_json_in_csv(out, report, index, names); });
        named_fields += json.find("_name\":\"a \\\"b\\\" \\\\ , ü\"") != std::string::npos ? 1 : 0;

        ASSERT_EQ(without_names(json, "_name\"", R"(:"a \"b\" \\ , ü")", ','),
                  payload([&](char *out) { return cli::put_payload_json(out, report, index); }));
        ASSERT_EQ(without_names(csv, "_name\"\"", R"(:""a \""b\"" \\ , ü"")", ','),
                  payload([&](char *out) { return cli::put_payload_json_in_csv(out, report, index); }));
    }
    EXPECT_GT(named_fields, 500U);
}

const std::string kNames = R"([category]
42 = "radio, \"new\""
[type]
13 = "wake-request"
[component.control]
1 = "motor"
[event.control]
3 = "spin"
[subject_of.zelaudio]
5 = "Play"
[field.function-id]
12 = "scan_finger"
[field.thread-id]
7 = "id\"le"
[field.thread]
8 = "main")";

/** exec function function, with function-id 12 on thread 7 and a duration of 30. */
const _QorProfileReport kNamedFunction = as_report(
    report(kFunction, 1, 100, little_endian(12, 4) + little_endian(0, 4) + little_endian(7, 4) + little_endian(30, 4)));

TEST(NamedFormsTest, ANumberKeepsItsPlaceAndTheNameStandsBehindIt) {
    const cli::OwnerNames names = names_in(kNames);
    text_buffer json;
    text_buffer csv;
    text_buffer line;
    cli::append_json_line(json, kNamedFunction, {}, names, false);
    cli::append_csv_line(csv, kNamedFunction, {}, names, false);
    cli::append_named_line(line, kNamedFunction, {}, names);

    EXPECT_NE(json.text().find(R"({"function-id":12,"function-id_name":"scan_finger","extra-id":0,"thread-id":7,)"
                               R"("thread-id_name":"id\"le","duration":30,)"),
              std::string::npos)
        << json.text();
    EXPECT_NE(csv.text().find(R"({""function-id"":12,""function-id_name"":""scan_finger"",""extra-id"":0,)"
                              R"(""thread-id"":7,""thread-id_name"":""id\""le"",""duration"":30,)"),
              std::string::npos)
        << csv.text();
    EXPECT_NE(line.text().find(" 'function-id':        12, 'function-id-name':'scan_finger', 'extra-id':         0, "
                               "'thread-id':         7, 'thread-id-name':'id\"le', 'duration':        30,"),
              std::string::npos)
        << line.text();
}

TEST(NamedFormsTest, AnIdOfTheHeaderTakesTheNameInPlaceOfTheNumber) {
    const cli::OwnerNames names = names_in(kNames);
    const _QorProfileReport control = as_report(report({8, 1, 3, 3}, 1, 100));
    const _QorProfileReport radio = as_report(report({42, 1, 3, 13}, 1, 100));
    text_buffer json;
    text_buffer csv;
    text_buffer line;
    cli::append_json_line(json, control, {}, names, false);
    cli::append_csv_line(csv, radio, {}, names, false);
    cli::append_named_line(line, control, {}, names);
    cli::append_named_line(line, radio, {}, names);

    EXPECT_TRUE(json.text().starts_with(R"({"category":"control","category_id":8,"component":"motor","component_id":1,)"
                                        R"("event":"spin","event_id":3,"type":"event","type_id":3,)"))
        << json.text();
    EXPECT_TRUE(csv.text().starts_with(R"("radio, ""new""",42,1,1,3,3,wake-request,13,)")) << csv.text();
    EXPECT_TRUE(line.text().starts_with(
        "{  'category':'control', 'component': 'motor', 'event':      'spin', 'type':     'event', "))
        << line.text();
    EXPECT_NE(line.text().find("{  'category':'radio, \"new\"', 'component':     '1', 'event':         '3', "
                               "'type':'wake-request', "),
              std::string::npos)
        << line.text();
}

TEST(NamedFormsTest, ASubjectThatOnlyTheOwnerNamesHasThatName) {
    const cli::OwnerNames names = names_in(kNames);
    const _QorProfileReport trace = as_report(report({7, 5, 0, 3}, 1, 100, little_endian(5, 4)));
    text_buffer json;
    text_buffer line;
    text_buffer events;
    cli::append_json_line(json, trace, {}, names, false);
    cli::append_named_line(line, trace, {}, names);
    cli::TraceEvents(&names).append(events, trace);

    EXPECT_NE(json.text().find(R"({"trace":"Play","thread":0,)"), std::string::npos) << json.text();
    EXPECT_NE(line.text().find(" 'trace':                   'Play', 'thread':"), std::string::npos) << line.text();
    EXPECT_NE(events.text().find(R"({"ph":"i","name":"Play","ts":100,)"), std::string::npos) << events.text();
}

TEST(NamedFormsTest, SlicesAndTracksOfATraceHaveTheNames) {
    const cli::OwnerNames names = names_in(kNames);
    text_buffer events;
    cli::TraceEvents trace(&names);
    trace.append(events, kNamedFunction);
    trace.append(events, as_report(report(kExtFunction, 2, 200, little_endian(0, 4) + little_endian(8, 4))));
    trace.append(events, as_report(report({42, 1, 3, 13}, 3, 300)));
    trace.append(events, as_report(report({8, 1, 3, 4}, 4, 400)));

    const std::string_view text = events.text();
    for (
        const std::string part :
        {R"({"ph":"M","name":"thread_name","pid":1,"tid":7,"args":{"name":"id\"le"}})",
         R"({"ph":"X","name":"scan_finger","ts":70,"dur":30,"pid":1,"tid":7,"args":{"function-id":12,"function-id_name":)",
         R"({"ph":"M","name":"thread_name","pid":1,"tid":8,"args":{"name":"main"}})",
         R"({"ph":"M","name":"process_name","pid":52,"tid":0,"args":{"name":"radio, \"new\""}})",
         R"({"ph":"M","name":"thread_name","pid":18,"tid":1,"args":{"name":"motor"}})",
         R"({"ph":"i","name":"motor spin","ts":400,"s":"p")"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    }
}

TEST(NamedFormsTest, TheLongestNamesFitEverywhere) {
    const std::string name(64, '"');
    const cli::OwnerNames values = names_of_every_field(name);
    std::string toml = "[category]\n42 = '" + name + "'\n[type]\n13 = '" + name + "'\n[component.42]\n0 = '" + name +
                       "'\n[event.42]\n0 = '" + name + "'\n[component.sensor]\n9 = '" + name +
                       "'\n[event.sensor]\n11 = '" + name + "'";
    const cli::OwnerNames ids = names_in(toml);
    cli::TraceEvents trace(&ids);
    for (const Ids &header : {Ids{42, 0, 0, 13}, Ids{2, 9, 11, 3}, Ids{2, 9, 11, 4}}) {
        text_buffer text;
        cli::append_json_line(text, as_report(report(header, 1, 1)), {}, ids, true);
        cli::append_csv_line(text, as_report(report(header, 1, 1)), {}, ids, true);
        cli::append_named_line(text, as_report(report(header, 1, 1)), {}, ids);
        trace.append(text, as_report(report(header, 1, 1)));
        EXPECT_NE(text.text().find(name), std::string_view::npos);
    }
    for (std::size_t index = 0; index < decoder::kPayloads.size(); ++index) {
        const _QorProfileReport zeros = as_report(std::string(48, '\0'));
        std::vector<char> text(cli::kNamedPayloadJsonRoom);
        EXPECT_LE(cli::put_named_payload_json_in_csv(text.data(), zeros, index, values), text.data() + text.size());
        EXPECT_LE(cli::put_named_payload_line(text.data(), zeros, index, values),
                  text.data() + cli::kNamedPayloadLineRoom);
    }
}

TEST(RawFormsTest, EveryRowEndsWithAllBytes) {
    const cli::OwnerNames none;
    const _QorProfileReport report = as_report("\x0D\x01\x02\x03" + std::string(43, '\xFF') + "\x10");
    text_buffer json;
    text_buffer csv;
    cli::append_json_line(json, report, {}, none, true);
    cli::append_csv_line(csv, report, {}, none, true);
    std::string bytes = "0d010203";
    for (int i = 0; i < 43; ++i) {
        bytes += "ff";
    }
    bytes += "10";

    EXPECT_TRUE(json.text().ends_with(R"("payload":{"raw":")" + bytes.substr(32) + R"("},"raw":")" + bytes + "\"}\n"))
        << json.text();
    EXPECT_TRUE(csv.text().ends_with(R"("{""raw"":"")" + bytes.substr(32) + R"(""}",)" + bytes + "\r\n")) << csv.text();
}

TEST(RawFormsTest, WithoutALayoutTheArgumentsOfAnInstantAreThePayloadsBytes) {
    text_buffer events;
    cli::TraceEvents().append(events, as_report(report({6, 0, 4, 0}, 1, 100, "\x01\x80")));

    EXPECT_TRUE(events.text().ends_with(R"("args":{"raw":"0180)" + std::string(60, '0') + "\"}}")) << events.text();
}

} // namespace
} // namespace cli_tests
