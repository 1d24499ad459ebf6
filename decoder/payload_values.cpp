#include "decoder/payload_values.h"

#include "decoder/name_tables.h"

namespace decoder {

namespace {

payload_value subject_in(const _QorProfileReport &report, const field &row) {
    payload_value value{.key = row.name, .type = payload_value::kind::name};
    value.number = number_in(report, row);
    if (const short_text *name =
            sshb_subtype_table(report.component_id()).find(static_cast<std::uint32_t>(value.number))) {
        value.text = without_apostrophes(*name);
    }
    return value;
}

} // namespace

payload_value value_in(const _QorProfileReport &report, const field &row) {
    using kind = payload_value::kind;
    switch (row.kind) {
    case field_kind::number:
        return {.key = row.name, .type = kind::number, .number = number_in(report, row)};
    case field_kind::constant:
        return {.key = row.name, .type = kind::number, .number = row.parameter};
    case field_kind::hexadecimal_word:
        return {.key = row.name, .type = kind::hexadecimal, .number = number_in(report, row)};
    case field_kind::text:
        return {.key = row.name, .type = kind::text, .text = text_in(report, row)};
    case field_kind::fixed_point:
        return {.key = row.name, .type = kind::real, .real = real_in(report, row)};
    case field_kind::subject:
        return subject_in(report, row);
    case field_kind::bytes:
    case field_kind::counted_bytes:
        break;
    }
    return {.key = row.name, .type = kind::bytes, .bytes = bytes_in(report, row)};
}

} // namespace decoder
