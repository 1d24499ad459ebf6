#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/questions/payload_sql.h"
#include "cli/questions/tables.h"
#include "cli/questions/tool_formats.h"
#include "cli/terminal/json_text.h"
#include "decoder/payload_choice.h"
#include "qor/meanings.h"

namespace cli {
namespace {

using qor::How;

/** A key of a line. lnav makes a column of it. */
struct Key {
    std::string name; ///< with '/' where it leads into an object
    std::string_view kind;
    std::string meaning; ///< empty where several layouts have the key and differ about it
};

std::string_view kind_of(How how) {
    switch (how) {
    case How::Number:
    case How::Signed:
    case How::Constant:
    case How::Hexadecimal:
        return "integer";
    case How::FixedPoint:
        return "float";
    case How::Text:
    case How::Bytes:
    case How::CountedBytes:
    case How::Subject:
        return "string";
    }
    throw std::logic_error("a field of unknown kind");
}

/** Layouts may have the same key, which then is of the same kind. */
void add_key(std::vector<Key> &keys, Key key) {
    const auto known = std::ranges::find(keys, key.name, &Key::name);
    if (known == keys.end()) {
        keys.push_back(std::move(key));
        return;
    }
    if (known->kind != key.kind) {
        throw std::logic_error("a key of two kinds: " + key.name);
    }
    if (known->meaning != key.meaning) {
        known->meaning.clear();
    }
}

void add_keys(std::vector<Key> &keys, const decoder::payload &payload) {
    std::vector<std::string_view> names;
    for (const qor::Layout *layout : payload) {
        if (layout->fields.empty()) {
            continue;
        }
        const qor::LayoutMeaning &row = qor::meaning_of(*layout);
        for (std::size_t i = 0; i < row.fields.size(); ++i) {
            const qor::Field &field = layout->fields[i];
            names.push_back(field.name);
            const auto occurrence = std::ranges::count(names, field.name);
            const std::string name = "payload/" + std::string(field.name) +
                                     (occurrence > 1 ? "_" + std::to_string(occurrence) : std::string());
            add_key(keys, {name, kind_of(field.how), described(row.fields[i].meaning, row.fields[i].unit)});
            if (field.how == How::Text) {
                add_key(keys, {name + "_hex", "string", "the same in hexadecimal where it is not UTF-8"});
            }
        }
    }
}

std::vector<Key> payload_keys() {
    std::vector<Key> keys;
    for (const decoder::payload &payload : decoder::kPayloads) {
        add_keys(keys, payload);
    }
    keys.push_back({"payload/raw", "string", "the bytes of a payload without a layout"});
    return keys;
}

constexpr std::string_view kShown[] = {"category", "component", "event", "type"};

Json values() {
    Json values = Json::object();
    for (const Column &column : kHeaderColumns) {
        if (column.name == "device" || column.name == "dump") {
            continue; // of tables alone
        }
        Json &value = values[column.name];
        const bool is_text = column.type == ColumnType::Text;
        value["kind"] = is_text ? "string" : "integer";
        if (std::ranges::find(kShown, column.name) != std::end(kShown)) {
            value["identifier"] = true;
        } else {
            value["hidden"] = true;
            value["foreign-key"] = !is_text; // numbers that are no measures
        }
        value["description"] = described(column.meaning, column.unit);
    }
    Json &payload = values["payload"];
    payload["kind"] = "json";
    payload["hidden"] = true;
    payload["description"] = "the fields of the payload";
    for (const Key &key : payload_keys()) {
        Json &value = values[key.name];
        value["kind"] = key.kind;
        if (!key.meaning.empty()) {
            value["description"] = key.meaning;
        }
    }
    return values;
}

/** The time, and behind it what the report is. The fields of the payload follow on lines of their own. */
Json line_format() {
    Json time;
    time["field"] = "__timestamp__";
    time["timestamp-format"] = "%Y-%m-%d %H:%M:%S.%L";
    Json parts = Json::array();
    parts.push_back(std::move(time));
    for (const std::string_view name : kShown) {
        Json part;
        part["field"] = name;
        part["auto-width"] = true;
        parts.push_back("  ");
        parts.push_back(std::move(part));
    }
    return parts;
}

Json format(std::string_view title, std::string_view description) {
    Json format;
    format["title"] = title;
    format["description"] = description;
    format["file-type"] = "json";
    // A clock that begins anew goes back, and lnav 0.11 ends when it did not expect that.
    format["ordered-by-time"] = false;
    return format;
}

} // namespace

std::string lnav_formats() {
    constexpr unsigned kMicroseconds = 1'000'000; // in a second
    // lnav tries formats in the order of their names, and lines with a time of day have a time stamp as well.
    Json by_day = format("QOR reports", "Lines of qorstat decode --format jsonl with a time of day");
    by_day["timestamp-field"] = "wall_time";
    Json by_clock = format("QOR reports without a time of day",
                           "Lines of qorstat decode --format jsonl; times are those of the coprocessor's clock");
    by_clock["timestamp-field"] = "timestamp";
    by_clock["timestamp-divisor"] = kMicroseconds;
    Json formats;
    formats["$schema"] = "https://lnav.org/schemas/format-v1.schema.json";
    for (auto &[name, made] : {std::pair{"qor_reports", &by_day}, std::pair{"qor_reports_uptime", &by_clock}}) {
        (*made)["line-format"] = line_format();
        (*made)["value"] = values();
        formats[name] = *made;
    }
    return json_lines(formats);
}

} // namespace cli
