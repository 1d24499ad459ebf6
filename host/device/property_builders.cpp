#include "host/device/property_builders.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "host/error.h"
#include "host/nearest_word.h"

namespace host {
namespace {

using Bytes = std::vector<std::byte>;

// ---- fields ------------------------------------------------------------------------------------------------

enum class Kind {
    Unsigned,
    Signed,
    Fixed,   ///< a decimal number, stored as a signed one with 16 fraction bits
    Flag,    ///< a boolean, or the number itself
    Boolean, ///< one bit
    Text,    ///< ended by a zero byte unless it fills its width
};

/** A field of a packed, little-endian record. What no field covers is zero. */
struct Field {
    std::string_view key;
    std::size_t offset;
    std::size_t width; ///< bytes; 8 at most except for texts
    Kind kind = Kind::Unsigned;
    unsigned first_bit = 0; ///< fields of whole bytes begin with bit 0; others share them
};

std::uint64_t largest_of(const Field &field) {
    return std::numeric_limits<std::uint64_t>::max() >> (64 - 8 * field.width + field.first_bit);
}

std::int64_t signed_number(const DescriptionValue &value, std::size_t width) {
    const auto largest = static_cast<std::int64_t>(std::numeric_limits<std::uint64_t>::max() >> (65 - 8 * width));
    return value.signed_number(-largest - 1, largest);
}

std::uint64_t bits_of(const DescriptionValue &value, const Field &field) {
    switch (field.kind) {
    case Kind::Signed:
        return static_cast<std::uint64_t>(signed_number(value, field.width));
    case Kind::Fixed:
        return static_cast<std::uint64_t>(value.fixed_point());
    case Kind::Boolean:
        return value.flag() ? 1 : 0;
    case Kind::Flag:
        return value.is_boolean() ? bits_of(value, {field.key, field.offset, field.width, Kind::Boolean})
                                  : value.number(largest_of(field));
    default:
        return value.number(largest_of(field));
    }
}

void append_text(Bytes &bytes, std::string_view text) {
    std::ranges::transform(text, std::back_inserter(bytes), [](char character) { return std::byte(character); });
}

/** A text that a reader takes as one: without the zero character that would end it early. */
std::string whole_text(const DescriptionValue &value) {
    std::string text = value.text();
    if (text.find('\0') != std::string::npos) {
        throw value.error("cannot hold a zero character");
    }
    return text;
}

void write_text(std::span<std::byte> place, const DescriptionValue &value) {
    Bytes text;
    append_text(text, whole_text(value));
    if (text.size() > place.size()) {
        throw value.error("holds " + std::to_string(text.size()) + " bytes, more than its " +
                          std::to_string(place.size()));
    }
    std::ranges::copy(text, place.begin());
}

void write_number(std::span<std::byte> place, std::uint64_t bits) {
    for (std::byte &byte : place) {
        byte |= static_cast<std::byte>(bits & 0xFF);
        bits >>= 8;
    }
}

void write_field(std::span<std::byte> record, const Field &field, const DescriptionValue &value) {
    const std::span<std::byte> place = record.subspan(field.offset, field.width);
    if (field.kind == Kind::Text) {
        write_text(place, value);
    } else {
        write_number(place, bits_of(value, field) << field.first_bit);
    }
}

/** Writes the fields that the table has. */
void write_fields(std::span<std::byte> record, std::span<const Field> fields, const DescriptionTable &table) {
    for (const Field &field : fields) {
        if (table.has(field.key)) {
            write_field(record, field, table.value(field.key));
        }
    }
}

KnownKeys keys_of(std::span<const Field> fields) {
    KnownKeys keys;
    std::ranges::transform(fields, std::back_inserter(keys), &Field::key);
    return keys;
}

// ---- latency statistics ------------------------------------------------------------------------------------

constexpr std::uint32_t kLatencyProperty = 215;
constexpr std::size_t kLatencySize = 330;
constexpr std::size_t kClicks = 3;

constexpr Field kLatencyFields[] = {
    {"finger_on", 0, 8},
    {"finger_off", 8, 8},
    {"start_haptic", 16, 8},
    {"finger_detect_to_button_down", 24, 8},
    {"click_flag", 233, 4, Kind::Boolean},
    {"click_count", 233, 4, Kind::Unsigned, 1},
    {"second_scan", 266, 8},
    {"turtle_scans", 274, 4},
    {"min_nz_latency_FD_to_BD", 282, 8},
    {"max_latency_FD_to_BD", 290, 8},
    {"min_nz_latency_BC_to_PlayAsset", 298, 8},
    {"max_latency_BC_to_PlayAsset", 306, 8},
    {"min_latency_Total", 314, 8},
    {"max_latency_Total", 322, 8},
};

/** What each click has an edge pair of; a pair follows the one of the click before. */
constexpr Field kClickFields[] = {
    {"edge", 88, 16},
    {"play_asset", 136, 16},
    {"latency", 184, 16},
};

constexpr Field kEdgeFields[] = {
    {"down", 0, 8},
    {"up", 8, 8},
};

void write_click(std::span<std::byte> statistics, std::size_t click, const DescriptionTable &table) {
    for (const Field &field : kClickFields) {
        if (table.has(field.key)) {
            const std::span<std::byte> pair = statistics.subspan(field.offset + click * field.width, field.width);
            const DescriptionValue value = table.value(field.key);
            write_fields(pair, kEdgeFields, value.table(in_quotes(field.key) + " of a click", keys_of(kEdgeFields)));
        }
    }
}

Bytes latency_statistics(const DescriptionValue &value) {
    Bytes statistics(kLatencySize);
    KnownKeys keys = keys_of(kLatencyFields);
    keys.emplace_back("click");
    const DescriptionTable table = value.table("the latency statistics", keys);
    write_fields(statistics, kLatencyFields, table);
    const std::vector<DescriptionTable> clicks = table.tables("click", "a click", keys_of(kClickFields));
    if (clicks.size() > kClicks) {
        throw clicks[kClicks].error("\"click\" must have at most 3 elements");
    }
    for (std::size_t click = 0; click < clicks.size(); ++click) {
        write_click(statistics, click, clicks[click]);
    }
    return statistics;
}

// ---- haptic assets -----------------------------------------------------------------------------------------

constexpr std::uint32_t kAssetsProperty = 216;
constexpr std::size_t kAssetSize = 29;

constexpr Field kAssetFields[] = {
    {"enable", 0, 1, Kind::Flag}, {"gain", 1, 4, Kind::Fixed},   {"min", 5, 8, Kind::Signed},
    {"max", 13, 8, Kind::Signed}, {"slot", 21, 4, Kind::Signed},
};

constexpr std::string_view kSpeeds[] = {"Slow", "Medium", "Fast"};

/** The last entry of a speed has no name of its own. */
constexpr std::string_view kEvents[] = {
    "SingleDown",  "SingleUp",     "DoubleDown",  "DoubleUp",     "TripleDown",  "TripleUp",
    "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn", "TripleTapOff",
    "DeepDown",    "DeepUp",       "LongPress",   "LongPressUp",  "unnamed",
};

constexpr std::size_t kSpeedSize = std::size(kEvents) * kAssetSize;
static_assert(std::size(kSpeeds) * kSpeedSize == 1479);

void write_speed(std::span<std::byte> assets, const DescriptionTable &speed) {
    for (std::size_t event = 0; event < std::size(kEvents); ++event) {
        if (const auto asset = speed.table(kEvents[event], "an asset", keys_of(kAssetFields))) {
            write_fields(assets.subspan(event * kAssetSize, kAssetSize), kAssetFields, *asset);
        }
    }
}

Bytes asset_table(const DescriptionValue &value) {
    Bytes assets(std::size(kSpeeds) * kSpeedSize);
    const DescriptionTable table = value.table("the assets", {std::begin(kSpeeds), std::end(kSpeeds)});
    for (std::size_t i = 0; i < std::size(kSpeeds); ++i) {
        const std::string what = "the assets " + in_quotes(kSpeeds[i]);
        if (const auto speed = table.table(kSpeeds[i], what, {std::begin(kEvents), std::end(kEvents)})) {
            write_speed(std::span(assets).subspan(i * kSpeedSize, kSpeedSize), *speed);
        }
    }
    return assets;
}

// ---- sensors -----------------------------------------------------------------------------------------------

Bytes word(const DescriptionValue &value) {
    Bytes made(4);
    write_field(made, {{}, 0, 4}, value);
    return made;
}

Bytes text32(const DescriptionValue &value) {
    Bytes made(32);
    write_field(made, {{}, 0, 32, Kind::Text}, value);
    return made;
}

constexpr Field kLocationFields[] = {
    {"name", 0, 1, Kind::Text},
    {"alternate", 1, 4, Kind::Signed},
};

Bytes location(const DescriptionValue &value) {
    Bytes made(5);
    write_fields(made, kLocationFields, value.table("a location", keys_of(kLocationFields)));
    return made;
}

constexpr Field kBatchFields[] = {
    {"sensor", 0, 4}, {"mux", 4, 4}, {"ap", 8, 4}, {"ap_report", 12, 4}, {"endpoint_count", 16, 4},
};

Bytes batch_intervals(const DescriptionValue &value) {
    Bytes made(20);
    write_fields(made, kBatchFields, value.table("the batch intervals", keys_of(kBatchFields)));
    return made;
}

/** The elements of an array that must have three. */
std::vector<DescriptionValue> three(const DescriptionValue &value, const char *wanted) {
    std::vector<DescriptionValue> elements = value.elements(wanted);
    if (elements.size() != 3) {
        throw value.error("must have 3 elements here, not " + std::to_string(elements.size()));
    }
    return elements;
}

Bytes vector3(const DescriptionValue &value, std::size_t width, Kind kind) {
    Bytes made(3 * width);
    const std::vector<DescriptionValue> elements = three(value, "3 numbers");
    for (std::size_t i = 0; i < elements.size(); ++i) {
        write_field(made, {{}, i * width, width, kind}, elements[i]);
    }
    return made;
}

/** Row by row. */
Bytes matrix(const DescriptionValue &value, std::size_t width, Kind kind) {
    Bytes made;
    for (const DescriptionValue &row : three(value, "3 rows")) {
        std::ranges::copy(vector3(row, width, kind), std::back_inserter(made));
    }
    return made;
}

Bytes fixed_matrix(const DescriptionValue &value) { return matrix(value, 4, Kind::Fixed); }
Bytes byte_matrix(const DescriptionValue &value) { return matrix(value, 1, Kind::Signed); }
Bytes offset(const DescriptionValue &value) { return vector3(value, 4, Kind::Signed); }

/** As many registers as are read, behind their count. */
constexpr std::size_t kRegisters = 31;
constexpr std::size_t kRegisterSize = 4;
constexpr Field kRegisterCount = {"count", 0, 4};
constexpr Field kRegisterFields[] = {
    {"register", 0, 2},
    {"value", 2, 2},
};

Bytes registers(const DescriptionValue &value) {
    const DescriptionTable table = value.table("the registers", {kRegisterCount.key, "entry"});
    const std::vector<DescriptionTable> entries = table.tables("entry", "a register", keys_of(kRegisterFields));
    if (entries.size() > kRegisters) {
        throw entries[kRegisters].error("\"entry\" must have at most 31 elements");
    }
    Bytes made(kRegisterCount.width + entries.size() * kRegisterSize);
    if (table.has(kRegisterCount.key)) {
        write_field(made, kRegisterCount, table.value(kRegisterCount.key));
    } else {
        write_number(std::span(made).first(kRegisterCount.width), entries.size());
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        write_fields(std::span(made).subspan(kRegisterCount.width + i * kRegisterSize, kRegisterSize), kRegisterFields,
                     entries[i]);
    }
    return made;
}

// ---- tagged extra data -------------------------------------------------------------------------------------

/** As much as is read of one property. */
constexpr std::size_t kExtraSize = 256;

constexpr std::byte kNumber32Tag{0};
constexpr std::byte kNumber64Tag{1};
constexpr std::byte kTextTag{2};

struct Mark {
    std::string_view name;
    std::byte tag;
};

constexpr Mark kMarks[] = {
    {"end-of-line", std::byte{3}},
    {"hexadecimal", std::byte{4}},
    {"decimal", std::byte{5}},
};

void append_number(Bytes &bytes, std::byte tag, const DescriptionValue &value, std::size_t width) {
    bytes.push_back(tag);
    const std::size_t at = bytes.size();
    bytes.resize(at + width);
    write_field(bytes, {{}, at, width, Kind::Signed}, value);
}

void append_mark(Bytes &bytes, const DescriptionValue &item) {
    const std::string name = item.text();
    const auto mark = std::ranges::find(kMarks, name, &Mark::name);
    if (mark == std::end(kMarks)) {
        KnownKeys names;
        std::ranges::transform(kMarks, std::back_inserter(names), &Mark::name);
        throw item.error("has no item " + in_quotes(name) + suggestion(name, names));
    }
    bytes.push_back(mark->tag);
}

void append_item(Bytes &bytes, const DescriptionValue &item) {
    if (item.is_text()) {
        append_mark(bytes, item);
        return;
    }
    const DescriptionTable table = item.table("an item of extra data", {"text", "s32", "s64"});
    if (table.has("text") + table.has("s32") + table.has("s64") != 1) {
        throw item.error("must have items with one of the keys \"text\", \"s32\" and \"s64\"");
    }
    if (table.has("text")) {
        bytes.push_back(kTextTag);
        append_text(bytes, whole_text(table.value("text")));
        bytes.push_back(std::byte{0});
    } else if (table.has("s32")) {
        append_number(bytes, kNumber32Tag, table.value("s32"), 4);
    } else {
        append_number(bytes, kNumber64Tag, table.value("s64"), 8);
    }
}

Bytes extra_data(const DescriptionValue &value) {
    Bytes made;
    for (const DescriptionValue &item : value.elements("items")) {
        append_item(made, item);
        if (made.size() > kExtraSize) {
            throw item.error("must make at most 256 bytes; this item ends at byte " + std::to_string(made.size()));
        }
    }
    return made;
}

// ---- the properties and commands ---------------------------------------------------------------------------

struct Builder {
    std::string_view key;
    std::uint32_t number;
    Bytes (*build)(const DescriptionValue &value);
};

constexpr Builder kDriverProperties[] = {
    {"latency", kLatencyProperty, latency_statistics},
    {"assets", kAssetsProperty, asset_table},
};

constexpr Builder kSensorProperties[] = {
    {"report_interval", 0, word},
    {"raw_mode", 10, word},
    {"calibration_matrix", 11, fixed_matrix},
    {"factory_mode", 13, word},
    {"manufacturer", 15, text32},
    {"model", 16, text32},
    {"orientation_matrix", 24, byte_matrix},
    {"int_cal", 25, word},
    {"calibration_offset", 26, offset},
    {"compass_matrix", 29, fixed_matrix},
    {"decimation_enabled", 36, word},
    {"startup_time", 45, word},
    {"registers", 56, registers},
    {"extra_57", 57, extra_data},
    {"extra_58", 58, extra_data},
    {"extra_59", 59, extra_data},
    {"extra_60", 60, extra_data},
    {"calibration_complete", 61, word},
    {"systick_interval", 64, word},
    {"batch_intervals", 67, batch_intervals},
    {"location", 68, location},
};

constexpr std::size_t kClients = 16;
constexpr std::size_t kClientSize = 31;

constexpr Field kClientFields[] = {
    {"name", 0, 12, Kind::Text},
    {"report_interval", 12, 4, Kind::Signed},
    {"batch_interval", 16, 4, Kind::Signed},
    {"threshold", 20, 4, Kind::Signed},
    {"time_limit", 24, 4, Kind::Signed},
    {"in_use", 28, 1, Kind::Flag},
};

Bytes clients(const DescriptionValue &value) {
    const std::vector<DescriptionValue> records = value.elements("tables");
    if (records.size() > kClients) {
        throw records[kClients].error("must have at most 16 elements");
    }
    Bytes made(records.size() * kClientSize);
    for (std::size_t i = 0; i < records.size(); ++i) {
        write_fields(std::span(made).subspan(i * kClientSize, kClientSize), kClientFields,
                     records[i].table("a client", keys_of(kClientFields)));
    }
    return made;
}

constexpr Builder kDriverCommands[] = {
    {"client", 57, clients},
};

KnownKeys keys_of(std::span<const Builder> builders) {
    KnownKeys keys;
    std::ranges::transform(builders, std::back_inserter(keys), &Builder::key);
    return keys;
}

std::vector<BuiltReply> build(std::span<const Builder> builders, const DescriptionTable &table) {
    std::vector<BuiltReply> built;
    for (const Builder &builder : builders) {
        if (table.has(builder.key)) {
            const DescriptionValue source = table.value(builder.key);
            built.push_back({builder.number, source, builder.build(source)});
        }
    }
    return built;
}

} // namespace

KnownKeys built_keys() { return {"latency", "assets", "sensor", "client"}; }

std::vector<BuiltReply> build_properties(const DescriptionTable &driver) {
    std::vector<BuiltReply> built = build(kDriverProperties, driver);
    if (const auto sensor = driver.table("sensor", "a sensor", keys_of(kSensorProperties))) {
        std::ranges::move(build(kSensorProperties, *sensor), std::back_inserter(built));
    }
    return built;
}

std::vector<BuiltReply> build_commands(const DescriptionTable &driver) { return build(kDriverCommands, driver); }

} // namespace host
