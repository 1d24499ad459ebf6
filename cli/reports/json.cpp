#include "cli/reports/json.h"

#include <array>
#include <charconv>
#include <ctime>
#include <limits>
#include <vector>

#include "cli/terminal/hex.h"
#include "decoder/name_tables.h"
#include "decoder/payload_layouts.h"
#include "decoder/payload_values.h"
#include "host/utf8.h"

namespace cli {
namespace {

using decoder::payload_value;

constexpr std::size_t kLayouts = std::size(decoder::kFieldsOfLayouts);

/** A field's key in an object that holds the fields of two layouts. */
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

DistinctKeys keys_of(decoder::payload_layout first, decoder::payload_layout second) {
    DistinctKeys keys;
    std::vector<std::string_view> before;
    for (const decoder::payload_layout layout : {first, second}) {
        for (const decoder::field &row : decoder::fields_of(layout)) {
            const std::string key = distinct_key(row.name, before);
            keys.push_back({"\"" + key + "\":", "\"" + key + "_hex\":"});
            before.push_back(row.name);
        }
    }
    return keys;
}

/** The keys of every pair of layouts: made once, since looking for equal keys takes longer than all the rest. */
const DistinctKeys &distinct_keys(const decoder::payload &layouts) {
    static const std::vector<DistinctKeys> all = [] {
        std::vector<DistinctKeys> pairs;
        for (std::size_t pair = 0; pair < kLayouts * kLayouts; ++pair) {
            pairs.push_back(keys_of(static_cast<decoder::payload_layout>(pair / kLayouts),
                                    static_cast<decoder::payload_layout>(pair % kLayouts)));
        }
        return pairs;
    }();
    return all[static_cast<std::size_t>(layouts[0]) * kLayouts + static_cast<std::size_t>(layouts[1])];
}

/**
 * The character that `text` begins with when it must not stand in a JSON string, or should not come to a terminal:
 * quotation marks, backslashes, and control characters. Else empty.
 */
std::string_view to_escape(std::string_view text) {
    const bool is_mark = text.starts_with('"') || text.starts_with('\\');
    return text.substr(0, is_mark ? 1 : host::control_character_length(text));
}

void append_real(text_buffer &out, double real) {
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), real).ptr;
    out.append({digits.data(), static_cast<std::size_t>(end - digits.data())});
}

void append_hex_string(text_buffer &out, std::span<const std::byte> bytes) {
    out.append("\"");
    out.append(hex(bytes));
    out.append("\"");
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
        // As any id without a name: a string, so that a key's values are all of one type.
        return append_json_string(out, value.text.empty() ? std::to_string(value.number) : std::string(value.text));
    case Kind::text:
        return append_json_string(out, value.text);
    case Kind::bytes:
        return append_hex_string(out, std::as_bytes(value.bytes));
    }
}

/** The last of the integers that doubles keep apart. */
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

void append_member(text_buffer &out, std::string_view quoted_key, std::string_view name, std::uint64_t id,
                   std::string_view quoted_id_key) {
    out.append(quoted_key);
    append_json_string(out, name);
    out.append(quoted_id_key);
    append_number(out, id);
}

/** Local time and its distance from UTC for one second, without the fraction. */
struct SecondText {
    std::string date_and_time; ///< empty: there is no such local time
    std::string zone;
};

SecondText second_text(std::uint64_t second) {
    const auto time = static_cast<std::time_t>(second);
    std::tm local{};
    if (localtime_r(&time, &local) == nullptr) {
        return {};
    }
    std::array<char, 64> text;
    std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &local);
    SecondText made{{text.data(), size}, {}};
    size = std::strftime(text.data(), text.size(), "%z", &local);
    made.zone.assign(text.data(), size);
    made.zone.insert(3, ":"); // "+hhmm" becomes "+hh:mm"
    return made;
}

/** Only the last second is remembered, by each thread: neighbours in a dump mostly share it. */
const SecondText &remembered_second_text(std::uint64_t second) {
    thread_local std::uint64_t last_second = std::numeric_limits<std::uint64_t>::max();
    thread_local SecondText last;
    if (second != last_second) {
        last = second_text(second);
        last_second = second;
    }
    return last;
}

} // namespace

void append_number(text_buffer &out, std::uint64_t number) {
    std::array<char, 20> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    out.append({digits.data(), static_cast<std::size_t>(end - digits.data())});
}

void append_json_string(text_buffer &out, std::string_view text) {
    out.append("\"");
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string_view escaped = to_escape(text.substr(i));
        if (escaped.empty()) {
            continue;
        }
        out.append(text.substr(start, i - start));
        const bool is_mark = escaped == "\"" || escaped == "\\";
        out.append(is_mark ? "\\" : "\\u00");
        out.append(is_mark ? std::string(escaped) : hex(escaped.substr(escaped.size() - 1)));
        i += escaped.size() - 1;
        start = i + 1;
    }
    out.append(text.substr(start));
    out.append("\"");
}

void append_number_member(text_buffer &out, const payload_value &value) {
    append_json_string(out, value.key);
    out.append(":");
    append_value(out, value);
}

void append_payload_json(text_buffer &out, const _QorProfileReport &report, BigNumbers big_numbers) {
    const DistinctKeys &keys = distinct_keys(decoder::payload_of(report));
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

std::string iso_wall_time(std::uint64_t timestamp, const decoder::time_sync &sync) {
    constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
    const std::uint64_t wall = decoder::wall_time(timestamp, sync);
    const SecondText &second = remembered_second_text(wall / kMicrosecondsPerSecond);
    if (second.date_and_time.empty()) {
        return {};
    }
    // The leading 1 keeps the zeros, and gives its place to the point.
    std::string fraction = std::to_string(kMicrosecondsPerSecond + wall % kMicrosecondsPerSecond);
    fraction[0] = '.';
    return second.date_and_time + fraction + second.zone;
}

void append_json_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock) {
    const std::uint8_t category = report.category_id();
    const std::uint8_t component = report.component_id();
    const std::uint8_t event = report.event_id();
    append_member(out, "{\"category\":", decoder::category_name(category), category, ",\"category_id\":");
    append_member(out, ",\"component\":", decoder::component_name(category, component), component,
                  ",\"component_id\":");
    append_member(out, ",\"event\":", decoder::event_name(category, component, event), event, ",\"event_id\":");
    append_member(out, ",\"type\":", decoder::type_name(report.type_id()), report.type_id(), ",\"type_id\":");
    out.append(",\"sequence_num\":");
    append_number(out, report.sequence_num());
    out.append(",\"timestamp\":");
    append_number(out, report.timestamp());
    if (const std::string wall = clock.sync ? iso_wall_time(report.timestamp(), *clock.sync) : ""; !wall.empty()) {
        out.append(",\"wall_time\":");
        append_json_string(out, wall);
    }
    if (clock.boot_time) {
        out.append(",\"boot_timestamp\":");
        append_number(out, *clock.boot_time);
    }
    out.append(",\"payload\":");
    append_payload_json(out, report);
    out.append("}\n");
}

} // namespace cli
