#include "cli/utf8.h"

#include <algorithm>
#include <array>

namespace cli {
namespace {

/** One row of the table of well-formed sequences: the range of the first byte and that of the second. */
struct SequenceRow {
    unsigned char first_low;
    unsigned char first_high;
    unsigned char second_low;
    unsigned char second_high;
    std::size_t length;
};

constexpr std::array<SequenceRow, 9> kSequences{{
    {0x00, 0x7F, 0x00, 0x00, 1},
    {0xC2, 0xDF, 0x80, 0xBF, 2},
    {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3},
    {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4},
    {0xF4, 0xF4, 0x80, 0x8F, 4},
}};

bool is_within(char byte, unsigned char low, unsigned char high) {
    const auto value = static_cast<unsigned char>(byte);
    return low <= value && value <= high;
}

} // namespace

std::size_t utf8_sequence_length(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    const auto row = std::find_if(kSequences.begin(), kSequences.end(), [&](const SequenceRow &candidate) {
        return is_within(text[0], candidate.first_low, candidate.first_high);
    });
    if (row == kSequences.end() || text.size() < row->length) {
        return 0;
    }
    if (row->length > 1 && !is_within(text[1], row->second_low, row->second_high)) {
        return 0;
    }
    for (std::size_t i = 2; i < row->length; ++i) {
        if (!is_within(text[i], 0x80, 0xBF)) {
            return 0;
        }
    }
    return row->length;
}

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = utf8_sequence_length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
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

} // namespace cli
