#include "decoder/payload_values.h"

#include "decoder/name_tables.h"

namespace decoder {

namespace {

payload_value subject_in(const _QorProfileReport &report, const qor::Field &row) {
    payload_value value{.key = row.name, .type = payload_value::kind::name};
    value.number = qor::load_number(report.bytes, row);
    if (const short_text *name =
            sshb_subtype_table(report.component_id()).find(static_cast<std::uint32_t>(value.number))) {
        value.text = strip_apostrophes(*name);
    }
    return value;
}

} // namespace

payload_value value_in(const _QorProfileReport &report, const qor::Field &row) {
    using kind = payload_value::kind;
    using qor::How;
    switch (row.how) {
    case How::Number:
    case How::Signed: // not in any payload: the line's code does not compile for one
        return {.key = row.name, .type = kind::number, .number = qor::load_number(report.bytes, row)};
    case How::Constant:
        return {.key = row.name, .type = kind::number, .number = row.parameter};
    case How::Hexadecimal:
        return {.key = row.name, .type = kind::hexadecimal, .number = qor::load_number(report.bytes, row)};
    case How::Text:
        return {.key = row.name, .type = kind::text, .text = text_in(report, row)};
    case How::FixedPoint:
        return {.key = row.name, .type = kind::real, .real = qor::load_fixed_point(report.bytes, row)};
    case How::Subject:
        return subject_in(report, row);
    case How::Bytes:
    case How::CountedBytes:
        break;
    }
    return {.key = row.name, .type = kind::bytes, .bytes = bytes_in(report, row)};
}

} // namespace decoder
