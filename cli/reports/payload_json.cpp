#include "cli/reports/payload_json.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/reports/json_values.h"
#include "decoder/payload_choice.h"
#include "host/utf8.h"

namespace cli {
namespace {

using decoder::payload_value;

/** A field's key in an object with the fields of two layouts, as it is written. */
struct DistinctKey {
    std::string plain;    ///< "key":
    std::string with_hex; ///< "key_hex":
};

using DistinctKeys = std::vector<DistinctKey>;

std::string distinct_key(std::string_view name, const std::vector<std::string_view> &before) {
    std::size_t occurrence = 1;
    for (const std::string_view earlier : before) {
        occurrence += earlier == name ? 1 : 0;
    }
    return occurrence == 1 ? std::string(name) : std::string(name) + "_" + std::to_string(occurrence);
}

DistinctKeys keys_of(const decoder::payload &layouts) {
    DistinctKeys keys;
    std::vector<std::string_view> before;
    for (const qor::Layout *layout : layouts) {
        for (const qor::Field &row : layout->fields) {
            const std::string key = distinct_key(row.name, before);
            keys.push_back({"\"" + key + "\":", "\"" + key + "_hex\":"});
            before.push_back(row.name);
        }
    }
    return keys;
}

/**
 * The keys of every payload, computed once: looking for equal keys takes longer than everything else.
 * @param index  as `decoder::payload_index` gives it.
 */
const DistinctKeys &distinct_keys(std::size_t index) {
    static const std::vector<DistinctKeys> all = [] {
        std::vector<DistinctKeys> keys;
        std::transform(decoder::kPayloads.begin(), decoder::kPayloads.end(), std::back_inserter(keys), keys_of);
        return keys;
    }();
    return all[index];
}

void append_value(text_buffer &out, const payload_value &value) {
    using Kind = payload_value::kind;
    switch (value.type) {
    case Kind::number:
    case Kind::hexadecimal:
        return append_number(out, value.number);
    case Kind::real:
        return append_real(out, value.real);
    case Kind::name:
        // An id without a name is a string as well, so that all values of a key have one type.
        return append_json_string(out, value.text.empty() ? std::to_string(value.number) : std::string(value.text));
    case Kind::text:
        return append_json_string(out, value.text);
    case Kind::bytes:
        return append_hex_string(out, std::as_bytes(value.bytes));
    }
}

/** Doubles can tell all integers up to this one apart. */
constexpr std::uint64_t kLastExactInteger = std::uint64_t{1} << 53;

bool is_big_number(const payload_value &value) {
    return value.type == payload_value::kind::number && value.number > kLastExactInteger;
}

void append_field(text_buffer &out, const DistinctKey &key, const payload_value &value, BigNumbers big_numbers) {
    if (big_numbers == BigNumbers::AsStrings && is_big_number(value)) {
        out.append(key.plain);
        append_json_string(out, std::to_string(value.number));
    } else if (value.type == payload_value::kind::text && !host::is_utf8(value.text)) {
        out.append(key.with_hex);
        append_hex_string(out, std::as_bytes(std::span(value.text.data(), value.text.size())));
    } else {
        out.append(key.plain);
        append_value(out, value);
    }
}

} // namespace

void append_number_member(text_buffer &out, const payload_value &value) {
    append_json_string(out, value.key);
    out.append(":");
    append_value(out, value);
}

void append_payload_json(text_buffer &out, const _QorProfileReport &report, BigNumbers big_numbers) {
    const DistinctKeys &keys = distinct_keys(decoder::payload_index(report));
    std::size_t index = 0;
    out.append("{");
    decoder::for_each_payload_value(report, [&](const payload_value &value) {
        if (index != 0) {
            out.append(",");
        }
        append_field(out, keys[index++], value, big_numbers);
    });
    out.append("}");
}

} // namespace cli
