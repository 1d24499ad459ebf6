#include "host/utf8.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace host {
namespace {

/** One row of the table of well-formed sequences: the range of the first byte and that of the second. */
struct SequenceRow {
    std::uint8_t first_low, first_high;
    std::uint8_t second_low, second_high;
    std::uint8_t length;
};

constexpr std::array<SequenceRow, 8> kLongSequences{{
    {0xC2, 0xDF, 0x80, 0xBF, 2}, // U+0080 to U+07FF
    {0xE0, 0xE0, 0xA0, 0xBF, 3}, // U+0800 to U+0FFF, not overlong
    {0xE1, 0xEC, 0x80, 0xBF, 3}, // U+1000 to U+CFFF
    {0xED, 0xED, 0x80, 0x9F, 3}, // U+D000 to U+D7FF, no surrogates
    {0xEE, 0xEF, 0x80, 0xBF, 3}, // U+E000 to U+FFFF
    {0xF0, 0xF0, 0x90, 0xBF, 4}, // U+10000 to U+3FFFF, not overlong
    {0xF1, 0xF3, 0x80, 0xBF, 4}, // U+40000 to U+FFFFF
    {0xF4, 0xF4, 0x80, 0x8F, 4}, // U+100000 to U+10FFFF
}};

bool is_within(char byte, std::uint8_t low, std::uint8_t high) {
    const auto value = static_cast<std::uint8_t>(byte);
    return low <= value && value <= high;
}

constexpr std::size_t kWord = sizeof(std::uint64_t);

std::uint64_t word_at(const char *bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

bool is_ascii_word(std::uint64_t word) { return (word & 0x8080808080808080) == 0; }

/** A lower bound of the number of ASCII bytes that `text` begins with, found 32 and then 8 bytes at a time. */
std::size_t ascii_length(std::string_view text) {
    const char *next = text.data();
    const char *const end = next + text.size();
    while (
        end - next >= static_cast<std::ptrdiff_t>(4 * kWord) &&
        is_ascii_word(word_at(next) | word_at(next + kWord) | word_at(next + 2 * kWord) | word_at(next + 3 * kWord))) {
        next += 4 * kWord;
    }
    while (end - next >= static_cast<std::ptrdiff_t>(kWord) && is_ascii_word(word_at(next))) {
        next += kWord;
    }
    // The rest ends with the last word of the text, part of which has been checked.
    const bool has_word = text.size() >= kWord;
    return has_word && end - next < static_cast<std::ptrdiff_t>(kWord) && is_ascii_word(word_at(end - kWord))
               ? text.size()
               : static_cast<std::size_t>(next - text.data());
}

} // namespace

std::size_t utf8_sequence_length(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    if (is_within(text[0], 0x00, 0x7F)) {
        return 1;
    }
    const auto row = std::find_if(kLongSequences.begin(), kLongSequences.end(), [&](const SequenceRow &candidate) {
        return is_within(text[0], candidate.first_low, candidate.first_high);
    });
    if (row == kLongSequences.end() || text.size() < row->length ||
        !is_within(text[1], row->second_low, row->second_high)) {
        return 0;
    }
    for (std::size_t i = 2; i < row->length; ++i) {
        if (!is_within(text[i], 0x80, 0xBF)) {
            return 0;
        }
    }
    return row->length;
}

char32_t decode_utf8(std::string_view sequence) {
    const auto first = static_cast<unsigned char>(sequence.front());
    // The first byte of a sequence of N > 1 bytes has N + 1 bits of marks, each other byte two.
    char32_t character = sequence.size() == 1 ? first : first & (0xFFU >> (sequence.size() + 1));
    for (const char byte : sequence.substr(1)) {
        character = character << 6 | (static_cast<unsigned char>(byte) & 0x3FU);
    }
    return character;
}

bool is_ascii(std::string_view text) {
    text.remove_prefix(ascii_length(text));
    return std::all_of(text.begin(), text.end(), [](char byte) { return is_within(byte, 0x00, 0x7F); });
}

bool is_utf8(std::string_view text) {
    text.remove_prefix(ascii_length(text));
    while (!text.empty()) {
        const std::size_t length = utf8_sequence_length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
        text.remove_prefix(ascii_length(text));
    }
    return true;
}

std::size_t character_count(std::string_view text) {
    std::size_t count = 0;
    while (!text.empty()) {
        text.remove_prefix(std::max<std::size_t>(1, utf8_sequence_length(text)));
        ++count;
    }
    return count;
}

} // namespace host
