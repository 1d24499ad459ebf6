#include "decoder/payload_walk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "decoder/ZELLogDecoder.h"
#include "tests/decoder/report_builder.h"

namespace {

/** A value as the walk gave it to the notation. */
struct payload_value {
    enum class kind { number, hexadecimal, real, text, name, bytes };

    std::string key;
    kind type = kind::number;
    std::size_t occurrence = 0;
    std::uint64_t number = 0;
    double real = 0;
    std::string text = {};
    std::vector<std::uint8_t> bytes = {};
};

/** Notes every value and writes one character for it. */
struct recorder {
    std::vector<payload_value> &values;

    template <typename Field>
    static constexpr std::size_t kRoom = 1;

    template <typename Field, typename Value>
    char *put(char *out, const Value &value) const {
        payload_value noted;
        note(noted, value);
        noted.key = Field::row.name;
        noted.occurrence = Field::occurrence;
        values.push_back(noted);
        *out = '.';
        return out + 1;
    }

private:
    using kind = payload_value::kind;

    static void note(payload_value &noted, decoder::number_value value) { noted.number = value.number; }
    static void note(payload_value &noted, decoder::hexadecimal_value value) {
        noted.type = kind::hexadecimal;
        noted.number = value.number;
    }
    static void note(payload_value &noted, decoder::real_value value) {
        noted.type = kind::real;
        noted.real = value.number;
    }
    static void note(payload_value &noted, decoder::text_value value) {
        noted.type = kind::text;
        noted.text = value.text;
    }
    static void note(payload_value &noted, const decoder::name_value &value) {
        noted.type = kind::name;
        noted.number = value.id;
        if (const decoder::short_text *name = value.names.find(value.id)) {
            noted.text = decoder::strip_apostrophes(*name);
        }
    }
    static void note(payload_value &noted, decoder::bytes_value value) {
        noted.type = kind::bytes;
        noted.bytes.assign(value.bytes.begin(), value.bytes.end());
    }
};

std::vector<payload_value> values_of(const _QorProfileReport &report) {
    std::vector<payload_value> values;
    const std::size_t payload = decoder::payload_index(report);
    std::vector<char> text(decoder::kPayloadRooms<recorder>[payload]);
    const recorder notation{values};
    const char *end = decoder::put_payload_fields(text.data(), report, payload, notation);
    EXPECT_EQ(end, text.data() + values.size()) << "every field takes up where the one before ended";
    return values;
}

std::vector<std::string> keys_of(const _QorProfileReport &report) {
    std::vector<std::string> keys;
    for (const payload_value &value : values_of(report)) {
        keys.emplace_back(value.key);
    }
    return keys;
}

/** The keys in a payload text; texts in it must hold no apostrophe. */
std::vector<std::string> keys_in(const std::string &text) {
    std::vector<std::string> keys;
    for (std::size_t at = text.find(" '"); at != std::string::npos; at = text.find(" '", at + 1)) {
        const std::size_t end = text.find('\'', at + 2);
        if (end != std::string::npos && text.compare(end, 2, "':") == 0) {
            keys.push_back(text.substr(at + 2, end - at - 2));
        }
    }
    return keys;
}

TEST(PayloadWalk, VisitsTheFieldsOfTheTextInItsOrder) {
    for (unsigned category = 0; category < 12; ++category) {
        for (unsigned type = 0; type < 16; ++type) {
            for (const std::uint8_t selector : std::initializer_list<std::uint8_t>{0, 1, 2, 3, 4, 5, 7}) {
                const _QorProfileReport report =
                    ReportBuilder(static_cast<std::uint8_t>(type), selector, 0, static_cast<std::uint8_t>(category))
                        .u16(16, selector)
                        .u32(20, 2);
                const profile_decoder *own = ZELLogDecoder::decoder_of(category);

                EXPECT_EQ(keys_of(report),
                          keys_in(payload_text(own != nullptr ? *own : ZELLogDecoder::_default, report)));
            }
        }
    }
}

/** The texts behind the keys of a payload text, without their padding; texts in it must hold no apostrophe. */
std::vector<std::string> value_texts_in(const std::string &text) {
    std::vector<std::string> values;
    for (std::size_t at = text.find("':"); at != std::string::npos; at = text.find("':", at + 2)) {
        const std::size_t begin = text.find_first_not_of(' ', at + 2);
        const std::size_t end = text.find(", '", begin);
        values.push_back(text.substr(begin, end == std::string::npos ? text.size() - 1 - begin : end - begin));
    }
    return values;
}

/** `value` as a line prints it, without padding. */
std::string text_of(const payload_value &value) {
    std::ostringstream text;
    switch (value.type) {
    case payload_value::kind::number:
        text << value.number;
        break;
    case payload_value::kind::hexadecimal:
        text << "'" << std::hex << value.number << "'";
        break;
    case payload_value::kind::real:
        text << value.real;
        break;
    case payload_value::kind::text:
        text << "'" << value.text << "'";
        break;
    case payload_value::kind::name:
        text << "'" << (value.text.empty() ? std::to_string(value.number) : std::string(value.text)) << "'";
        break;
    case payload_value::kind::bytes:
        text << '[';
        for (std::size_t i = 0; i < value.bytes.size(); ++i) {
            text << (i == 0 ? "" : ",") << unsigned{value.bytes[i]};
        }
        text << ']';
        break;
    }
    return text.str();
}

TEST(PayloadWalk, GivesTheValuesOfTheTextInEveryLayout) {
    for (unsigned category = 0; category < 12; ++category) {
        for (unsigned type = 0; type < 16; ++type) {
            for (const std::uint8_t selector : std::initializer_list<std::uint8_t>{0, 1, 2, 3, 4, 5, 7}) {
                ReportBuilder builder(static_cast<std::uint8_t>(type), selector, 0,
                                      static_cast<std::uint8_t>(category));
                for (std::size_t offset = 16; offset < 48; ++offset) {
                    // All different, most of them letters, and no apostrophe.
                    builder.u8(offset, static_cast<std::uint8_t>('0' + offset));
                }
                const _QorProfileReport report = builder.u16(16, selector).u16(20, 3 + selector);
                const profile_decoder *own = ZELLogDecoder::decoder_of(category);
                std::vector<std::string> texts;
                for (const payload_value &value : values_of(report)) {
                    texts.push_back(text_of(value));
                }

                EXPECT_EQ(texts, value_texts_in(payload_text(own != nullptr ? *own : ZELLogDecoder::_default, report)))
                    << "category " << category << ", type " << type << ", selector " << unsigned{selector};
            }
        }
    }
}

TEST(PayloadWalk, KeysThatAppearTwiceAreGivenTwice) {
    EXPECT_THAT(keys_of(ReportBuilder(3, 0, 0, 7)),
                testing::ElementsAre("trace", "thread", "arg1", "arg2", "arg3", "arg4", "arg1", "arg2", "arg3", "arg4",
                                     "arg5", "arg6", "xarg1", "xarg2", "xarg3", "xarg4", "xarg5", "xarg6"));
    EXPECT_THAT(keys_of(ReportBuilder(2, 9, 0, 7)),
                testing::ElementsAre("subtype", "packet-size", "data-length", "data-offset", "raw-data", "subtype",
                                     "packet-size", "data-length", "data-offset", "raw-data"));
}

TEST(PayloadWalk, FieldsOfOneNameAreCounted) {
    std::vector<std::size_t> occurrences;
    for (const payload_value &value : values_of(ReportBuilder(3, 0, 0, 7))) {
        occurrences.push_back(value.occurrence);
    }

    EXPECT_THAT(occurrences, testing::ElementsAre(1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1));
}

/** A fixed number of characters for a field of each kind. */
template <std::size_t of_number, std::size_t of_text>
struct room_of_kinds {
    template <typename Field>
    static constexpr std::size_t kRoom = Field::row.how == qor::How::Text ? of_text : of_number;

    template <typename Field, typename Value>
    char *put(char *out, const Value &) const {
        return out;
    }
};

/** The index of the payload that a report of `type` has in every category without a rule. */
constexpr std::size_t payload_of_type(std::size_t type) { return 1 + type; }

static_assert(decoder::kPayloadRooms<room_of_kinds<1, 100>>[0] == 0, "no field, no room");
static_assert(decoder::kPayloadRooms<room_of_kinds<1, 100>>[payload_of_type(9)] == 104, "a text and four numbers");
static_assert(decoder::kPayloadRoom<room_of_kinds<1, 1>> == 29, "the longest payload has 29 fields");

/** A notation that says how words look. */
struct words_in_brackets {
    template <typename Field>
    static constexpr std::size_t kRoom = 10;

    template <typename Field>
    static constexpr decoder::word_look kWord{decoder::text_of_at_most<48>{{"["}}, decoder::word_digits::hexadecimal,
                                              decoder::text_of_at_most<8>{{"]"}}};

    template <typename Field, typename Value>
    char *put(char *out, const Value &) const {
        *out = '.';
        return out + 1;
    }
};

static_assert(decoder::kPayloadRooms<words_in_brackets>[0] == 0, "no field, no room");
static_assert(decoder::kPayloadRooms<words_in_brackets>[payload_of_type(5)] == 60 + decoder::kRoomBehindRun,
              "six words");

std::string in_brackets(const _QorProfileReport &report) {
    const std::size_t payload = decoder::payload_index(report);
    std::vector<char> text(decoder::kPayloadRooms<words_in_brackets>[payload]);
    return {text.data(), decoder::put_payload_fields(text.data(), report, payload, words_in_brackets())};
}

TEST(PayloadWalk, WordsLookAsTheNotationSays) {
    ReportBuilder words(5, 0, 0, 0);
    for (std::uint16_t word = 0; word < 8; ++word) {
        words.u32(static_cast<std::uint16_t>(16 + 4 * word), 0x10u + word);
    }
    EXPECT_EQ(in_brackets(words), "[10][11][12][13][14][15]");
    // A trace's subject, its words and those of the generic layout behind it.
    EXPECT_EQ(in_brackets(words.u8(0, 3).u8(3, 7)), ".[11][12][13][14][15]"
                                                    "[10][11][12][13][14][15][10][11][12][13][14][15]");
    // Two numbers of 64 bits and a text before them; a text behind which there are four; a constant.
    EXPECT_EQ(in_brackets(words.u8(0, 11).u8(3, 0)), "...[14][15]");
    EXPECT_EQ(in_brackets(words.u8(0, 9)), ".[13][10][11][12]");
    EXPECT_EQ(in_brackets(words.u8(0, 4)), ".[11][11]");
    // The last two of a button's ten numbers have 32 bits, but are no words. Behind them, short data.
    EXPECT_EQ(in_brackets(words.u8(0, 2).u8(1, 2).u8(3, 7)), std::string(10, '.') + std::string(5, '.'));
}

TEST(PayloadWalk, NumbersHaveTheirWidth) {
    const _QorProfileReport report = ReportBuilder(11, 0, 0, 2).u64(16, 0xFFFFFFFFFFFFFFFF).u32(32, 0xFFFFFFFF);
    const std::vector<payload_value> values = values_of(report);

    EXPECT_EQ(values[0].type, payload_value::kind::number);
    EXPECT_EQ(values[0].number, 0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(values[3].number, 0xFFFFFFFFu);
    EXPECT_EQ(values[4].number, 0u);
}

TEST(PayloadWalk, ConstantsAreNumbers) {
    const std::vector<payload_value> values = values_of(ReportBuilder(4, 0, 0, 8).u32(20, 6));

    EXPECT_EQ(values[0].key, "trigger");
    EXPECT_EQ(values[0].type, payload_value::kind::number);
    EXPECT_EQ(values[0].number, 1u);
    EXPECT_EQ(values[2].number, 6u);
}

TEST(PayloadWalk, HexadecimalWordsAreMarked) {
    const std::vector<payload_value> values = values_of(ReportBuilder(3, 0, 0, 8).u32(36, 0xABCD));

    EXPECT_EQ(values[11].key, "xarg6");
    EXPECT_EQ(values[11].type, payload_value::kind::hexadecimal);
    EXPECT_EQ(values[11].number, 0xABCDu);
}

TEST(PayloadWalk, TextsAreRawUpToTheFirstZero) {
    const _QorProfileReport report = ReportBuilder(9, 0, 0, 0).bytes(32, {0xFF, 'a', 0, 'b'});
    const std::vector<payload_value> values = values_of(report);

    EXPECT_EQ(values[0].type, payload_value::kind::text);
    EXPECT_EQ(values[0].text, "\xFF"
                              "a");
}

TEST(PayloadWalk, BytesHaveTheLengthThatTheTextShows) {
    const _QorProfileReport three = ReportBuilder(1, 0, 0, 0).u16(20, 3).counting(24, 47);
    const _QorProfileReport many = ReportBuilder(1, 0, 0, 0).u16(20, 256).counting(24, 47);

    EXPECT_EQ(values_of(three)[4].type, payload_value::kind::bytes);
    EXPECT_THAT(values_of(three)[4].bytes, testing::ElementsAre(1, 2, 3));
    EXPECT_EQ(values_of(many)[4].bytes.size(), 24u);
}

TEST(PayloadWalk, VectorsAreReals) {
    const _QorProfileReport report = ReportBuilder(3, 0, 0, 4).u32(16, 0xFFFF0000).u32(20, 1);
    const std::vector<payload_value> values = values_of(report);

    EXPECT_EQ(values[6].type, payload_value::kind::real);
    EXPECT_EQ(values[6].real, -1.0);
    EXPECT_EQ(values[7].real, 1.52587890625e-05);
}

TEST(PayloadWalk, SubjectsHaveANameOrANumber) {
    const _QorProfileReport named = ReportBuilder(3, 0, 3, 7).u32(16, 4);
    const _QorProfileReport unnamed = ReportBuilder(3, 0, 5, 7).u32(16, 70000);

    EXPECT_EQ(values_of(named)[0].type, payload_value::kind::name);
    EXPECT_EQ(values_of(named)[0].text, "ckp_RIVTurnOn");
    EXPECT_EQ(values_of(unnamed)[0].text, "");
    EXPECT_EQ(values_of(unnamed)[0].number, 70000u);
}

} // namespace
