#include "cli/questions/engine_names.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"

namespace cli {
namespace {

constexpr std::size_t kLongest = 64;

bool is_letter(char c) { return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || c == '_'; }

bool is_letter_or_digit(char c) { return is_letter(c) || ('0' <= c && c <= '9'); }

} // namespace

ValueReader database_reader(std::string &name) {
    return [&name](const std::string &option, const std::string &text) {
        if (text.empty() || text.size() > kLongest || !is_letter(text.front()) ||
            !std::ranges::all_of(text, is_letter_or_digit)) {
            throw WrongUse(invalid_value(option, text) +
                           ": expected a letter or '_', then letters, digits and '_', at most 64");
        }
        name = text;
    };
}

ValueReader cluster_reader(std::string &name) {
    return [&name](const std::string &option, const std::string &text) {
        const auto is_allowed = [](char c) { return is_letter_or_digit(c) || c == '-' || c == '.'; };
        if (text.empty() || text.size() > kLongest || !std::ranges::all_of(text, is_allowed)) {
            throw WrongUse(invalid_value(option, text) + ": expected letters, digits, '_', '-' and '.', at most 64");
        }
        name = text;
    };
}

} // namespace cli
