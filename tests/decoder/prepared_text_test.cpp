#include "decoder/prepared_text.h"

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "decoder/digits.h"
#include "decoder/vectors.h"
#include "qor/field.h"
#include "tests/decoder/report_builder.h"

namespace {

using decoder::prepared_text;
using kind = prepared_text::kind;
using words = prepared_text::words;

/** The pieces one behind the other, by the standard library. */
std::string expected_text(const std::vector<prepared_text::piece> &pieces, words all_words,
                          const _QorProfileReport &report, const std::array<std::uint64_t, 2> &numbers) {
    std::string text;
    for (const prepared_text::piece &piece : pieces) {
        if (piece.what == kind::text) {
            text += piece.text;
        } else if (piece.what == kind::number) {
            text += std::to_string(numbers[piece.index]);
        } else {
            const auto word = report.at<std::uint32_t>(16 + 4 * piece.index);
            text +=
                all_words == words::are_signed ? std::to_string(static_cast<std::int32_t>(word)) : std::to_string(word);
        }
    }
    return text;
}

/** Numbers of every length, from 0 to the greatest below `limit`; limits are powers of 10 or 2^32. */
std::uint64_t any_number(std::mt19937_64 &engine, std::uint64_t limit) {
    const std::uint64_t boundaries[] = {0, 1, 9, 10, 99'999'999, 100'000'000, limit / 2 - 1, limit / 2, limit - 1};
    const std::uint64_t kind_of_number = engine() % 12;
    return kind_of_number < std::size(boundaries) ? boundaries[kind_of_number] : (engine() >> engine() % 64) % limit;
}

void expect_right_texts(const std::vector<prepared_text::piece> &pieces, words all_words) {
    const prepared_text text(pieces, all_words);
    ASSERT_EQ(text.shows_anything(), decoder::vectors::are_supported() && !pieces.empty());
    if (!text.shows_anything()) {
        return;
    }
    std::mt19937_64 engine(5); // NOLINT(cert-msc51-cpp,cert-msc32-c): the same numbers every time
    for (int round = 0; round < 20'000; ++round) {
        ReportBuilder builder(5, 0, 0, 0);
        for (std::size_t word = 0; word < 8; ++word) {
            builder.u32(16 + 4 * word, static_cast<std::uint32_t>(any_number(engine, std::uint64_t{1} << 32)));
        }
        const _QorProfileReport report = builder;
        const std::array<std::uint64_t, 2> numbers{any_number(engine, decoder::kTenToThe16),
                                                   any_number(engine, decoder::kTenToThe16)};
        std::vector<char> memory(text.room() + 1, '?');
        const char *const begin = memory.data();
        const char *const end = text.put(memory.data(), report, numbers);
        ASSERT_EQ(std::string_view(begin, static_cast<std::size_t>(end - begin)),
                  expected_text(pieces, all_words, report, numbers));
        ASSERT_EQ(memory.back(), '?');
    }
}

std::vector<prepared_text::piece> pieces_of_every_kind() {
    std::vector<prepared_text::piece> pieces;
    for (std::size_t word = 0; word < 8; ++word) {
        pieces.push_back({kind::text, std::string_view("{\"a key of any length\":").substr(word)});
        pieces.push_back({kind::word, {}, 7 - word});
        pieces.push_back({kind::number, {}, word % 2});
    }
    pieces.push_back({kind::word, {}, 3});
    pieces.push_back({kind::word, {}, 3});
    return pieces;
}

TEST(PreparedText, ShowsWordsAndNumbersBetweenTexts) {
    expect_right_texts(pieces_of_every_kind(), words::are_unsigned);
}

TEST(PreparedText, ShowsWordsWithTheirSigns) { expect_right_texts(pieces_of_every_kind(), words::are_signed); }

TEST(PreparedText, CanBeOneNumberOrAText) {
    expect_right_texts({{kind::number, {}, 1}}, words::are_unsigned);
    expect_right_texts({{kind::text, std::string_view(std::string(200, 'x'))}}, words::are_signed);
}

TEST(PreparedText, WithoutPiecesShowsNothing) {
    expect_right_texts({}, words::are_unsigned);
    EXPECT_FALSE(prepared_text().shows_anything());
    EXPECT_EQ(prepared_text().room(), 0u);
}

TEST(PreparedText, CanHaveASingleNumberBesideWords) {
    const std::vector<prepared_text::piece> pieces{{kind::number, {}, 0}, {kind::text, " "}, {kind::word, {}, 0}};
    const prepared_text text(pieces, words::are_signed);
    if (text.shows_anything()) {
        std::vector<char> memory(text.room());
        const char *const end =
            text.put(memory.data(), ReportBuilder(3, 0, 0, 2).u32(16, 0x80000000), std::array<std::uint64_t, 1>{7});
        EXPECT_EQ(std::string(std::as_const(memory).data(), end), "7 -2147483648");
    }
}

TEST(PreparedText, NumbersBesideWordsHaveSixteenDigitsAtMost) {
    EXPECT_TRUE(decoder::can_be_prepared(9'999'999'999'999'999));
    EXPECT_FALSE(decoder::can_be_prepared(10'000'000'000'000'000));
}

} // namespace
