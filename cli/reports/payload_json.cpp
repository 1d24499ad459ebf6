#include "cli/reports/payload_json.h"

#include "cli/reports/json_notation.h"

namespace cli {
namespace {

template <typename Style>
char *put_object(char *out, const _QorProfileReport &report, std::size_t index) {
    static_assert(decoder::kPayloadRoom<JsonMembers<Style>> + 2 <= kPayloadJsonRoom);
    return put_json_object<Style>(out, report, index, JsonMembers<Style>());
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
