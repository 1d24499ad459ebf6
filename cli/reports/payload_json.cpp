#include "cli/reports/payload_json.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "cli/reports/json_notation.h"

namespace cli {
namespace {

/** In JSON Lines. */
struct PlainJson {
    static constexpr std::string_view kMark = "\"";
    static constexpr bool kKeepsBigNumbers = true;
};

/** Inside a quoted CSV field. */
struct QuotedJson {
    static constexpr std::string_view kMark = "\"\"";
    static constexpr bool kKeepsBigNumbers = true;
};

/** For readers that store numbers as doubles. */
struct JsonForDoubles {
    static constexpr std::string_view kMark = "\"";
    static constexpr bool kKeepsBigNumbers = false;
};

/** The walk's members, each after a comma; the first comma becomes the opening brace. */
template <typename Style>
char *put_object(char *out, const _QorProfileReport &report, std::size_t index) {
    static_assert(decoder::kPayloadRoom<JsonMembers<Style>> + 2 <= kPayloadJsonRoom);
    char *const end = decoder::put_payload_fields<JsonMembers<Style>>(out, report, index);
    *out = '{';
    char *const close = end == out ? out + 1 : end;
    *close = '}';
    return close + 1;
}

} // namespace

char *put_payload_json(char *out, const _QorProfileReport &report, std::size_t index) {
    return put_object<PlainJson>(out, report, index);
}

char *put_payload_json_in_csv(char *out, const _QorProfileReport &report, std::size_t index) {
    return put_object<QuotedJson>(out, report, index);
}

char *put_payload_json_for_doubles(char *out, const _QorProfileReport &report, std::size_t index) {
    return put_object<JsonForDoubles>(out, report, index);
}

} // namespace cli
