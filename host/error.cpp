#include "host/error.h"

#include <utility>

namespace host {
namespace {

/** `what()` ends at the first zero character, so a zero is written as messages show control characters. */
std::string escape_zeros(const std::string &text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\0') {
            escaped += "\\x00";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::string join(const std::string &file, const std::string &place, const std::string &reason) {
    std::string text;
    for (const std::string *part : {&file, &place, &reason}) {
        if (part->empty()) {
            continue;
        }
        if (!text.empty()) {
            text += ": ";
        }
        text += *part;
    }
    return escape_zeros(text);
}

} // namespace

Error::Error(std::string file, std::string place, std::string reason)
    : std::runtime_error(join(file, place, reason)), _file(std::move(file)), _place(std::move(place)),
      _reason(std::move(reason)) {}

std::string in_quotes(std::string_view name) {
    std::string text = "\"";
    text.append(name);
    text += '"';
    return text;
}

} // namespace host
