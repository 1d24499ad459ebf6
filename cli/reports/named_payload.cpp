#include "cli/reports/named_payload.h"

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <string_view>

#include "cli/reports/json_notation.h"
#include "decoder/line_notation.h"

namespace cli {
namespace {

template <typename Style>
struct NamesInJson : JsonMembers<Style> {
    static constexpr std::size_t kNameRoom = JsonMembers<Style>::Key::kCapacity + OwnerName::kEscapedBytesAtMost + 4;

    static std::string_view text_of(const OwnerName &name) {
        return Style::kMark.size() == 1 ? name.json : name.json_in_csv;
    }

    template <typename Field>
    static char *put_name(char *out, const OwnerName &name) {
        return JsonMembers<Style>::template put_name_inside<Field>(out, text_of(name));
    }

    template <typename Field>
    static char *put_named(char *out, const OwnerName &name) {
        return JsonMembers<Style>::template put_inside<Field>(out, text_of(name));
    }
};

struct NamesInLine : decoder::line_notation {
    static constexpr std::size_t kNameRoom = 64 + OwnerName::kBytesAtMost;

    template <typename Field>
    static char *put_name(char *out, const OwnerName &name) {
        static constexpr decoder::text_of_at_most<48> kKey{{" '", Field::row.name, "-name':"}};
        out = decoder::put_quoted(decoder::put_constant<kKey>(out), name.plain);
        *out++ = ',';
        return out;
    }

    template <typename Field>
    static char *put_named(char *out, const OwnerName &name) {
        static constexpr decoder::text_of_at_most<48> kKey{{" '", Field::row.name, "':"}};
        out = decoder::put_constant<kKey>(out);
        out = decoder::align_right(out, decoder::put_quoted(out, name.plain), Field::width);
        *out++ = ',';
        return out;
    }
};

/**
 * A notation with the owner's names.
 * @tparam Form  a notation; `put_name` writes a name behind its number, `put_named` a subject's name in place of it.
 */
template <typename Form>
struct WithNames {
    const OwnerNames &names;
    std::uint8_t component; ///< of the report
    Form form = {};

    template <typename Field>
    static constexpr bool kMayHaveName = may_have_names(Field::row) || Field::row.how == qor::How::Subject;

    template <typename Field>
    static constexpr std::size_t kRoom = Form::template kRoom<Field> + (kMayHaveName<Field> ? Form::kNameRoom : 0);

    template <typename Field, typename Value>
    char *put(char *out, const Value &value) const {
        if constexpr (std::same_as<Value, decoder::name_value>) {
            const OwnerName *name =
                value.names.find(value.id) == nullptr ? names.subject(component, value.id) : nullptr;
            return name != nullptr ? Form::template put_named<Field>(out, *name) : form.template put<Field>(out, value);
        } else {
            out = form.template put<Field>(out, value);
            if constexpr (may_have_names(Field::row)) {
                constexpr std::size_t kNumber = field_number(Field::layout, Field::row.name);
                static_assert(kNumber < kLayoutFieldCount);
                if (const OwnerName *name = names.value(kNumber, value.number)) {
                    out = Form::template put_name<Field>(out, *name);
                }
            }
            return out;
        }
    }
};

template <typename Style>
char *put_object(char *out, const _QorProfileReport &report, std::size_t index, const OwnerNames &names) {
    using Notation = WithNames<NamesInJson<Style>>;
    static_assert(decoder::kPayloadRoom<Notation> + 2 <= kNamedPayloadJsonRoom);
    return put_json_object<Style>(out, report, index, Notation{names, report.component_id()});
}

} // namespace

char *put_named_payload_json(char *out, const _QorProfileReport &report, std::size_t index, const OwnerNames &names) {
    return put_object<PlainJson>(out, report, index, names);
}

char *put_named_payload_json_in_csv(char *out, const _QorProfileReport &report, std::size_t index,
                                    const OwnerNames &names) {
    return put_object<QuotedJson>(out, report, index, names);
}

char *put_named_payload_json_for_doubles(char *out, const _QorProfileReport &report, std::size_t index,
                                         const OwnerNames &names) {
    return put_object<JsonForDoubles>(out, report, index, names);
}

char *put_named_payload_line(char *out, const _QorProfileReport &report, std::size_t index, const OwnerNames &names) {
    using Notation = WithNames<NamesInLine>;
    static_assert(decoder::kPayloadRoom<Notation> <= kNamedPayloadLineRoom);
    return decoder::put_payload_fields(out, report, index, Notation{names, report.component_id()});
}

} // namespace cli
