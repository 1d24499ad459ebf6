#include "decoder/word_runs.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "decoder/fastest_function.h"
#include "decoder/word_look.h"

namespace {

using decoder::shown_word;
using decoder::word_digits;
using decoder::word_look;

constexpr std::size_t kWords = 8;

constexpr word_look look(std::string_view before, word_digits digits, std::string_view after) {
    return {decoder::text_of_at_most<48>{{before}}, digits, decoder::text_of_at_most<8>{{after}}};
}

constexpr word_look kDecimal = look(",\"key\":", word_digits::decimal, "");
constexpr word_look kTenPlaces = look(" 'key':", word_digits::ten_places, ",");
constexpr word_look kHexadecimal = look(" 'xkey':         '", word_digits::hexadecimal, "',");

/** All eight words in one look. */
template <const word_look &of_all>
constexpr std::array<shown_word, kWords> kAll{
    {{of_all, 0}, {of_all, 1}, {of_all, 2}, {of_all, 3}, {of_all, 4}, {of_all, 5}, {of_all, 6}, {of_all, 7}}};

constexpr std::array<shown_word, 1> kLastAlone{{{kTenPlaces, 7}}};
constexpr std::array<shown_word, 1> kNothingBeside{{{look("", word_digits::decimal, ""), 3}}};

/** Words out of their order, some twice, in every look and between long and short texts. */
constexpr std::array<shown_word, 10> kMixed{{
    {kHexadecimal, 6},
    {kHexadecimal, 0},
    {kDecimal, 6},
    {kTenPlaces, 6},
    {look("a text that takes nearly all of its room, 46 ch", word_digits::decimal, "8 places"), 1},
    {kTenPlaces, 2},
    {look("", word_digits::hexadecimal, ""), 2},
    {look("", word_digits::decimal, " "), 2},
    {kTenPlaces, 7},
    {kHexadecimal, 7},
}};

using PutWords = char *(*)(char *out, const std::uint8_t *words);

/** By the C library. */
std::string expected_text(const word_look &of_word, std::uint32_t word) {
    const char *const format = of_word.digits == word_digits::decimal      ? "%u"
                               : of_word.digits == word_digits::ten_places ? "%10u"
                                                                           : "%x";
    char digits[16];
    std::snprintf(digits, sizeof digits, format, word);
    return std::string(of_word.before.view()) + digits + std::string(of_word.after.view());
}

/** Zero, the greatest, those beside the powers of 10 and of 2, every digit before zeros, and many others. */
std::vector<std::uint32_t> numbers() {
    std::vector<std::uint32_t> all{0, ~0U};
    for (std::uint64_t power = 1; power <= ~0U; power *= 10) {
        all.insert(all.end(), {static_cast<std::uint32_t>(power - 1), static_cast<std::uint32_t>(power + 1)});
        for (std::uint64_t number = power; number < 10 * power && number <= ~0U; number += power) {
            all.push_back(static_cast<std::uint32_t>(number));
        }
    }
    for (unsigned bit = 0; bit < 32; ++bit) {
        all.insert(all.end(), {(1U << bit) - 1, 1U << bit, (1U << bit) + 1});
    }
    std::mt19937 random(20); // NOLINT(cert-msc51-cpp,cert-msc32-c): the same numbers every time
    for (int count = 0; count < 30'000; ++count) {
        all.push_back(static_cast<std::uint32_t>(random()) >> (count % 32));
    }
    return all;
}

/** Each number is each word once, beside others. The room ends where the run says, and nothing behind it changes. */
template <const auto &run>
void expect_right_words() {
    std::size_t room = decoder::kRoomBehindRun;
    for (const shown_word &word : run) {
        room += word.look.size_at_most();
    }
    const std::vector<std::uint32_t> all = numbers();
    for (std::size_t first = 0; first < all.size(); ++first) {
        std::uint8_t words[kWords * sizeof(std::uint32_t)];
        for (std::size_t word = 0; word < kWords; ++word) {
            qor::store_little_endian(words + 4 * word, all[(first + word) % all.size()], 4);
        }
        std::string expected;
        for (const shown_word &word : run) {
            expected += expected_text(word.look, all[(first + word.number) % all.size()]);
        }
        for (const PutWords put : {decoder::put_words<run>, decoder::put_words_portably<run>}) {
            std::vector<char> memory(room + 1, '?');
            const char *const begin = memory.data();
            ASSERT_EQ(std::string_view(begin, static_cast<std::size_t>(put(memory.data(), words) - begin)), expected);
            ASSERT_EQ(memory.back(), '?');
        }
    }
}

TEST(WordRuns, DecimalsHaveTheirDigitsAlone) { expect_right_words<kAll<kDecimal>>(); }

TEST(WordRuns, DecimalsInTenPlacesStandAtTheRight) { expect_right_words<kAll<kTenPlaces>>(); }

TEST(WordRuns, HexadecimalsHaveTheirDigitsAlone) { expect_right_words<kAll<kHexadecimal>>(); }

TEST(WordRuns, MixAllLooksInAnyOrder) { expect_right_words<kMixed>(); }

TEST(WordRuns, CanBeASingleWord) {
    expect_right_words<kLastAlone>();
    expect_right_words<kNothingBeside>();
}

// A function stays chosen for the rest of the process, so these are counted from its start, and by one test.
int calls_of_portable = 0;
int questions = 0; ///< what the processor has
int with_vectors(int number) { return number + 1; }
int portable(int number) {
    ++calls_of_portable;
    return number + 1;
}
bool has_them() {
    ++questions;
    return true;
}
bool lacks_them() {
    ++questions;
    return false;
}

TEST(FastestFunction, IsThatOfTheProcessorWhichIsAskedOnce) {
    for (int number : {1, 2}) {
        EXPECT_EQ((decoder::fastest_function<with_vectors, portable, has_them>::call(number)), number + 1);
    }
    EXPECT_EQ(questions, 1);
    EXPECT_EQ(calls_of_portable, 0);

    for (int number : {1, 2}) {
        EXPECT_EQ((decoder::fastest_function<with_vectors, portable, lacks_them>::call(number)), number + 1);
    }
    EXPECT_EQ(questions, 2);
    EXPECT_EQ(calls_of_portable, 2);
}

} // namespace
