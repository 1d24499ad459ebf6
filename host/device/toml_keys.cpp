#include "host/device/toml_keys.h"

#include <algorithm>

#include "host/error.h"

namespace host {
namespace {

/** The length of the string that begins `text`, with its quotes; if it does not end, that of its line or of all. */
std::size_t string_length(std::string_view text) {
    const char quote = text.front();
    const std::string three(3, quote);
    const bool may_have_lines = text.starts_with(three);
    const std::string_view end = std::string_view(three).substr(0, may_have_lines ? 3 : 1);
    std::size_t at = end.size();
    while (at < text.size() && !text.substr(at).starts_with(end) && (may_have_lines || text[at] != '\n')) {
        at += quote == '"' && text[at] == '\\' ? 2 : 1;
    }
    at += end.size();
    // A string of several lines may itself end with quotes.
    while (may_have_lines && at < text.size() && text[at] == quote) {
        ++at;
    }
    return std::min(at, text.size());
}

std::string place_text(std::string_view text_before) {
    const auto line = std::count(text_before.begin(), text_before.end(), '\n') + 1;
    const std::size_t line_start = text_before.rfind('\n') + 1; // 0 on the first line
    return "line " + std::to_string(line) + ", column " + std::to_string(text_before.size() - line_start + 1);
}

} // namespace

void require_short_keys(std::string_view toml, const std::string &name) {
    constexpr std::string_view kNotWithinKeys = "=,[]{}\n"; // apart from strings
    std::size_t parts = 1;
    for (std::size_t at = 0; at < toml.size();) {
        const char c = toml[at];
        if (c == '"' || c == '\'') {
            at += string_length(toml.substr(at));
            continue;
        }
        if (c == '#') {
            at = std::min(toml.find('\n', at), toml.size());
            continue;
        }
        if (kNotWithinKeys.find(c) != std::string_view::npos) {
            parts = 1;
        } else if (c == '.' && ++parts > kMostKeyParts) {
            throw Error(name, place_text(toml.substr(0, at)),
                        "a key has more than " + std::to_string(kMostKeyParts) + " parts");
        }
        ++at;
    }
}

} // namespace host
