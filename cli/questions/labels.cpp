#include "cli/questions/labels.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"
#include "host/utf8.h"

namespace cli {
namespace {

constexpr std::size_t kLongestKey = 64;
constexpr std::size_t kLongestValue = 256;
constexpr std::array<std::string_view, 4> kWordsOfConditions = {"AND", "OR", "NOT", "IN"};

bool is_letter(char c) { return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || c == '_'; }

bool is_in_key(char c) { return is_letter(c) || ('0' <= c && c <= '9') || c == '-' || c == '.'; }

} // namespace

bool is_word_of_conditions(std::string_view text, std::string_view word) {
    return std::ranges::equal(text, word, [](char letter, char capital) {
        return ('a' <= letter && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter) == capital;
    });
}

bool is_any_word_of_conditions(std::string_view text) {
    return std::ranges::any_of(kWordsOfConditions,
                               [text](std::string_view word) { return is_word_of_conditions(text, word); });
}

bool is_label_key(std::string_view text) {
    return !text.empty() && text.size() <= kLongestKey && is_letter(text.front()) &&
           std::ranges::all_of(text, is_in_key) && !is_any_word_of_conditions(text);
}

std::string label_key_rule() {
    return "a letter or '_', then letters, digits, '_', '-' and '.', at most 64, and not AND, OR, NOT or IN";
}

bool is_label_value(std::string_view text) {
    if (text.empty() || text.size() > kLongestValue || !host::is_utf8(text)) {
        return false;
    }
    for (std::size_t place = 0; place < text.size(); ++place) {
        if (host::control_character_length(text.substr(place)) != 0) {
            return false;
        }
    }
    return true;
}

Labels read_labels(const std::string &option, const std::vector<std::string> &texts) {
    Labels labels;
    for (const std::string &text : texts) {
        const std::size_t sign = text.find('=');
        if (sign == std::string::npos) {
            throw WrongUse(invalid_value(option, text) + ": expected KEY=VALUE");
        }
        const std::string key = text.substr(0, sign);
        const std::string value = text.substr(sign + 1);
        if (!is_label_key(key)) {
            throw WrongUse(invalid_value(option, text) + ": expected as the key " + label_key_rule());
        }
        if (!is_label_value(value)) {
            throw WrongUse(invalid_value(option, text) +
                           ": expected as the value 1 to 256 bytes of UTF-8 without control characters");
        }
        if (!labels.emplace(key, value).second) {
            throw WrongUse(std::string(option).append(" has the key ").append(key).append(" twice"));
        }
    }
    return labels;
}

} // namespace cli
