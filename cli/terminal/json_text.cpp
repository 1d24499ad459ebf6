#include "cli/terminal/json_text.h"

#include <algorithm>
#include <cmath>

#include "cli/terminal/hex.h"
#include "host/utf8.h"

namespace cli {
namespace {

/** Beyond it not every whole number is a double. */
constexpr std::int64_t kGreatestExact = std::int64_t{1} << 53;

} // namespace

void put_text(Json &object, const std::string &key, std::string_view text) {
    if (host::is_utf8(text)) {
        object[key] = text;
    } else {
        object[key + "_hex"] = hex(text);
    }
}

Json number_for_scripts(std::uint64_t number) {
    return number <= std::uint64_t{kGreatestExact} ? Json(number) : Json(std::to_string(number));
}

Json number_for_scripts(std::int64_t number) {
    return number <= kGreatestExact && number >= -kGreatestExact ? Json(number) : Json(std::to_string(number));
}

Json number_for_scripts(double number) {
    if (std::isnan(number)) {
        return "nan";
    }
    return std::isfinite(number) ? Json(number) : Json(number > 0 ? "inf" : "-inf");
}

std::string json_lines(const Json &json) {
    const std::string dumped = json.dump(); // escapes what is below U+0020
    std::string text;
    text.reserve(dumped.size() + 1);
    std::string_view left = dumped;
    while (!left.empty()) {
        const std::size_t length = left.front() == '\n' ? 0 : host::control_character_length(left);
        if (length != 0) {
            text += "\\u00" + hex(left.substr(length - 1, 1));
        } else {
            text += left.front();
        }
        left.remove_prefix(std::max<std::size_t>(1, length));
    }
    return text + "\n";
}

std::string json_line(const Json &json) {
    std::string text;
    bool is_between_lines = false; // texts have no newlines, which are escaped
    for (const char character : json_lines(json)) {
        is_between_lines = character == '\n' || (is_between_lines && character == ' ');
        if (!is_between_lines) {
            text += character;
        }
    }
    return text;
}

} // namespace cli
