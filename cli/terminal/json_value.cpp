#include "cli/terminal/json_value.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace cli {
namespace {

constexpr std::size_t kSpacesPerLevel = 2;

/** Appends the elements, each on a line of its own, between the brackets. */
template <typename Elements, typename Append>
void append_lines(std::string &text, const Elements &elements, std::size_t level, std::string_view brackets,
                  const Append &append) {
    text += brackets.front();
    for (const auto &element : elements) {
        text += &element == &elements.front() ? "\n" : ",\n";
        text.append((level + 1) * kSpacesPerLevel, ' ');
        append(element);
    }
    if (!elements.empty()) {
        text += '\n';
        text.append(level * kSpacesPerLevel, ' ');
    }
    text += brackets.back();
}

} // namespace

Json::Json() = default;
Json::Json(double number) : _value(number) {}
Json::Json(std::string text) : _value(std::move(text)) {}
Json::Json(std::string_view text) : _value(std::string(text)) {}
Json::Json(const char *text) : _value(std::string(text)) {}
Json::Json(const Json &other) = default;
Json::Json(Json &&other) noexcept = default;
Json &Json::operator=(const Json &other) = default;
Json &Json::operator=(Json &&other) noexcept = default;
Json::~Json() = default;

void Json::set(bool truth) { _value = truth; }
void Json::set(std::uint64_t number) { _value = number; }
void Json::set(std::int64_t number) { _value = number; }

Json Json::array() {
    Json array;
    array._value = std::vector<Json>();
    return array;
}

Json Json::object(Members members) {
    Json object;
    object._value = std::move(members);
    return object;
}

Json Json::object() { return object(Members()); }

Json &Json::operator[](std::string_view key) {
    if (std::holds_alternative<std::nullptr_t>(_value)) {
        _value = Members();
    }
    auto &members = std::get<Members>(_value);
    const auto found =
        std::find_if(members.begin(), members.end(), [key](const JsonMember &member) { return member.key == key; });
    return found != members.end() ? found->value : members.emplace_back(JsonMember{std::string(key), {}}).value;
}

void Json::push_back(Json element) {
    if (std::holds_alternative<std::nullptr_t>(_value)) {
        _value = std::vector<Json>();
    }
    std::get<std::vector<Json>>(_value).push_back(std::move(element));
}

void Json::append_to(std::string &text, std::size_t level) const {
    if (const auto *const elements = std::get_if<std::vector<Json>>(&_value)) {
        append_lines(text, *elements, level, "[]", [&](const Json &element) { element.append_to(text, level + 1); });
    } else if (const auto *const members = std::get_if<Members>(&_value)) {
        append_lines(text, *members, level, "{}", [&](const JsonMember &member) {
            text += nlohmann::json(member.key).dump() + ": ";
            member.value.append_to(text, level + 1);
        });
    } else if (const auto *const string = std::get_if<std::string>(&_value)) {
        text += nlohmann::json(*string).dump();
    } else if (const auto *const number = std::get_if<double>(&_value)) {
        text += nlohmann::json(*number).dump();
    } else if (const auto *const truth = std::get_if<bool>(&_value)) {
        text += *truth ? "true" : "false";
    } else if (const auto *const integer = std::get_if<std::int64_t>(&_value)) {
        text += std::to_string(*integer);
    } else if (const auto *const natural = std::get_if<std::uint64_t>(&_value)) {
        text += std::to_string(*natural);
    } else {
        text += "null";
    }
}

std::string Json::dump() const {
    std::string text;
    append_to(text, 0);
    return text;
}

} // namespace cli
