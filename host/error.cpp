#include "host/error.h"

#include <utility>

namespace host {
namespace {

/** A zero character would end `what()` early: it becomes `\x00`. */
void append_without_zeros(std::string &text, std::string_view part) {
    for (const char character : part) {
        text += character == '\0' ? "\\x00" : std::string(1, character);
    }
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
        append_without_zeros(text, *part);
    }
    return text;
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
