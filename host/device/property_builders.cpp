#include "host/device/property_builders.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "host/error.h"
#include "host/nearest_word.h"
#include "qor/assets.h"
#include "qor/latency.h"
#include "qor/sensor.h"

namespace host {
namespace {

namespace assets = qor::assets;
namespace latency = qor::latency;
namespace sensor = qor::sensor;

using Bytes = std::vector<std::byte>;

// ---- fields ------------------------------------------------------------------------------------------------

/** How a field is written in a description. */
enum class Form {
    Plain,   ///< as the QOR's table says
    Flag,    ///< a boolean, or the number itself
    Boolean, ///< one bit
};

/** A field of a record, and the key under which a description gives it. What no field covers is zero. */
struct Described {
    std::string_view key;
    qor::Field field;
    Form form = Form::Plain;
    unsigned first_bit = 0; ///< fields of whole bytes begin with bit 0; others share them
};

std::uint64_t largest_of(const Described &described) {
    return std::numeric_limits<std::uint64_t>::max() >> (64 - 8 * described.field.size + described.first_bit);
}

std::int64_t signed_number(const DescriptionValue &value, std::size_t width) {
    const auto largest = static_cast<std::int64_t>(std::numeric_limits<std::uint64_t>::max() >> (65 - 8 * width));
    return value.signed_number(-largest - 1, largest);
}

std::uint64_t bits_of(const DescriptionValue &value, const Described &described) {
    if (described.form == Form::Boolean || (described.form == Form::Flag && value.is_boolean())) {
        return value.flag() ? 1 : 0;
    }
    switch (described.field.how) {
    case qor::How::Signed:
        return static_cast<std::uint64_t>(signed_number(value, described.field.size));
    case qor::How::FixedPoint:
        return static_cast<std::uint64_t>(value.fixed_point());
    default:
        return value.number(largest_of(described));
    }
}

void append_text(Bytes &bytes, std::string_view text) {
    std::ranges::transform(text, std::back_inserter(bytes), [](char character) { return std::byte(character); });
}

/** Refuses a text with a zero character: readers would end it there. */
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

/** Sets bits and clears none: fields may share bytes. */
void write_number(std::span<std::byte> place, std::uint64_t bits) {
    std::byte bytes[sizeof bits];
    qor::store_little_endian(bytes, bits, sizeof bits);
    for (std::size_t i = 0; i < place.size(); ++i) {
        place[i] |= bytes[i];
    }
}

void write_field(std::span<std::byte> record, const Described &described, const DescriptionValue &value) {
    const std::span<std::byte> place = record.subspan(described.field.offset, described.field.size);
    if (described.field.how == qor::How::Text) {
        write_text(place, value);
    } else {
        write_number(place, bits_of(value, described) << described.first_bit);
    }
}

/** Writes the fields that the table has. */
void write_fields(std::span<std::byte> record, std::span<const Described> fields, const DescriptionTable &table) {
    for (const Described &described : fields) {
        if (table.has(described.key)) {
            write_field(record, described, table.value(described.key));
        }
    }
}

KnownKeys keys_of(std::span<const Described> fields) {
    KnownKeys keys;
    std::ranges::transform(fields, std::back_inserter(keys), &Described::key);
    return keys;
}

// ---- latency statistics ------------------------------------------------------------------------------------

constexpr Described kLatencyFields[] = {
    {"finger_on", latency::kFingerOn},
    {"finger_off", latency::kFingerOff},
    {"start_haptic", latency::kStartHaptic},
    {"finger_detect_to_button_down", latency::kFingerDetectToButtonDown},
    {"click_flag", latency::kClickWord, Form::Boolean},
    {"click_count", latency::kClickWord, Form::Plain, latency::kClickCountShift},
    {"second_scan", latency::kSecondScan},
    {"turtle_scans", latency::kTurtleScans},
    {latency::kMinFDToBD.name, latency::kMinFDToBD},
    {latency::kMaxFDToBD.name, latency::kMaxFDToBD},
    {latency::kMinBCToPlayAsset.name, latency::kMinBCToPlayAsset},
    {latency::kMaxBCToPlayAsset.name, latency::kMaxBCToPlayAsset},
    {latency::kMinTotal.name, latency::kMinTotal},
    {latency::kMaxTotal.name, latency::kMaxTotal},
};

/** A pair of numbers of a click, one for each edge. */
struct EdgePair {
    std::string_view key;
    latency::ClickField down;
    latency::ClickField up;
};

constexpr EdgePair kEdgePairs[] = {
    {"edge", latency::kDown, latency::kUp},
    {"play_asset", latency::kDownPlayAsset, latency::kUpPlayAsset},
    {"latency", latency::kDownLatency, latency::kUpLatency},
};

KnownKeys edge_pair_keys() {
    KnownKeys keys;
    std::ranges::transform(kEdgePairs, std::back_inserter(keys), &EdgePair::key);
    return keys;
}

void write_click(std::span<std::byte> statistics, std::size_t click, const DescriptionTable &table) {
    for (const EdgePair &pair : kEdgePairs) {
        if (table.has(pair.key)) {
            const Described edges[] = {
                {"down", latency::of_click(latency::kClickFields[pair.down], click)},
                {"up", latency::of_click(latency::kClickFields[pair.up], click)},
            };
            const DescriptionValue value = table.value(pair.key);
            write_fields(statistics, edges, value.table(in_quotes(pair.key) + " of a click", keys_of(edges)));
        }
    }
}

Bytes latency_statistics(const DescriptionValue &value) {
    Bytes statistics(latency::kSize);
    KnownKeys keys = keys_of(kLatencyFields);
    keys.emplace_back("click");
    const DescriptionTable table = value.table("the latency statistics", keys);
    write_fields(statistics, kLatencyFields, table);
    const std::vector<DescriptionTable> clicks = table.tables("click", "a click", edge_pair_keys());
    if (clicks.size() > latency::kClicks) {
        throw clicks[latency::kClicks].error("\"click\" must have at most " + std::to_string(latency::kClicks) +
                                             " elements");
    }
    for (std::size_t click = 0; click < clicks.size(); ++click) {
        write_click(statistics, click, clicks[click]);
    }
    return statistics;
}

// ---- haptic assets -----------------------------------------------------------------------------------------

/** The entry without a name of its own has this key. */
constexpr std::string_view kUnnamedEvent = "unnamed";

std::string_view event_key(std::size_t event) {
    return event + 1 < assets::kEventCount ? assets::kEvents[event] : kUnnamedEvent;
}

KnownKeys event_keys() {
    KnownKeys keys;
    for (std::size_t event = 0; event < assets::kEventCount; ++event) {
        keys.push_back(event_key(event));
    }
    return keys;
}

/** Under the names that the QOR's table has for them. */
constexpr auto kAssetFields = [] {
    std::array<Described, std::size(assets::kFields)> fields{};
    std::ranges::transform(assets::kFields, fields.begin(), [](const qor::Field &field) {
        const Form form = &field == &assets::kFields[assets::kEnable] ? Form::Flag : Form::Plain;
        return Described{field.name, field, form};
    });
    return fields;
}();

void write_speed(std::span<std::byte> table, const DescriptionTable &speed) {
    for (std::size_t event = 0; event < assets::kEventCount; ++event) {
        if (const auto asset = speed.table(event_key(event), "an asset", keys_of(kAssetFields))) {
            write_fields(table.subspan(event * assets::kAssetSize, assets::kAssetSize), kAssetFields, *asset);
        }
    }
}

Bytes asset_table(const DescriptionValue &value) {
    Bytes bytes(assets::kSize);
    const DescriptionTable table = value.table("the assets", {std::begin(assets::kSpeeds), std::end(assets::kSpeeds)});
    for (std::size_t i = 0; i < assets::kSpeedCount; ++i) {
        const std::string what = "the assets " + in_quotes(assets::kSpeeds[i]);
        if (const auto speed = table.table(assets::kSpeeds[i], what, event_keys())) {
            write_speed(std::span(bytes).subspan(i * assets::kSpeedSize, assets::kSpeedSize), *speed);
        }
    }
    return bytes;
}

// ---- sensors -----------------------------------------------------------------------------------------------

Bytes word(const DescriptionValue &value) {
    Bytes bytes(4);
    write_field(bytes, {{}, qor::u32("", 0)}, value);
    return bytes;
}

Bytes name(const DescriptionValue &value) {
    Bytes bytes(sensor::kModel.size);
    write_field(bytes, {{}, qor::text("", 0, sensor::kModel.size)}, value);
    return bytes;
}

constexpr Described kLocationFields[] = {
    {sensor::kLocationName.name, sensor::kLocationName},
    {sensor::kLocationAlternate.name, sensor::kLocationAlternate},
};

Bytes location(const DescriptionValue &value) {
    Bytes bytes(sensor::kLocation.size);
    write_fields(bytes, kLocationFields, value.table("a location", keys_of(kLocationFields)));
    return bytes;
}

constexpr Described kBatchFields[] = {
    {"sensor", sensor::kBatchIntervalFields[0]},
    {"mux", sensor::kBatchIntervalFields[1]},
    {"ap", sensor::kBatchIntervalFields[2]},
    {"ap_report", sensor::kBatchIntervalFields[3]},
    {"endpoint_count", sensor::kBatchIntervalFields[4]},
};

Bytes batch_intervals(const DescriptionValue &value) {
    Bytes bytes(sensor::kBatchIntervals.size);
    write_fields(bytes, kBatchFields, value.table("the batch intervals", keys_of(kBatchFields)));
    return bytes;
}

/** The elements of an array that must have three. */
std::vector<DescriptionValue> three(const DescriptionValue &value, const char *wanted) {
    std::vector<DescriptionValue> elements = value.elements(wanted);
    if (elements.size() != 3) {
        throw value.error("must have 3 elements here, not " + std::to_string(elements.size()));
    }
    return elements;
}

/** Three numbers, each as `element` says. */
Bytes vector3(const DescriptionValue &value, const qor::Field &element) {
    Bytes bytes(std::size_t{3} * element.size);
    const std::vector<DescriptionValue> elements = three(value, "3 numbers");
    for (std::size_t i = 0; i < elements.size(); ++i) {
        qor::Field place = element;
        place.offset = static_cast<std::uint16_t>(i * element.size);
        write_field(bytes, {{}, place}, elements[i]);
    }
    return bytes;
}

/** Row by row. */
Bytes matrix(const DescriptionValue &value, const qor::Field &element) {
    Bytes bytes;
    for (const DescriptionValue &row : three(value, "3 rows")) {
        std::ranges::copy(vector3(row, element), std::back_inserter(bytes));
    }
    return bytes;
}

Bytes fixed_matrix(const DescriptionValue &value) { return matrix(value, sensor::kMatrixElement); }
Bytes byte_matrix(const DescriptionValue &value) { return matrix(value, sensor::kOrientationElement); }
Bytes offset(const DescriptionValue &value) { return vector3(value, sensor::kOffsetElement); }

constexpr Described kRegisterCount = {sensor::kRegisterCount.name, sensor::kRegisterCount};
constexpr Described kRegisterFields[] = {
    {sensor::kRegisterNumber.name, sensor::kRegisterNumber},
    {sensor::kRegisterValue.name, sensor::kRegisterValue},
};

Bytes registers(const DescriptionValue &value) {
    const DescriptionTable table = value.table("the registers", {kRegisterCount.key, "entry"});
    const std::vector<DescriptionTable> entries = table.tables("entry", "a register", keys_of(kRegisterFields));
    if (entries.size() > sensor::kMostRegisters) {
        throw entries[sensor::kMostRegisters].error("\"entry\" must have at most " +
                                                    std::to_string(sensor::kMostRegisters) + " elements");
    }
    constexpr std::size_t kCountSize = sensor::kRegisterCount.size;
    Bytes bytes(kCountSize + entries.size() * sensor::kRegisterSize);
    if (table.has(kRegisterCount.key)) {
        write_field(bytes, kRegisterCount, table.value(kRegisterCount.key));
    } else {
        write_number(std::span(bytes).first(kCountSize), entries.size());
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        write_fields(std::span(bytes).subspan(kCountSize + i * sensor::kRegisterSize, sensor::kRegisterSize),
                     kRegisterFields, entries[i]);
    }
    return bytes;
}

// ---- tagged extra data -------------------------------------------------------------------------------------

/** As much as is read of one property. */
constexpr std::size_t kExtraSize = sensor::kExtraData[0].size;

struct Mark {
    std::string_view name;
    sensor::Tag tag;
};

constexpr Mark kMarks[] = {
    {"end-of-line", sensor::kEndOfLine},
    {"hexadecimal", sensor::kHexadecimal},
    {"decimal", sensor::kDecimal},
};

void append_tag(Bytes &bytes, sensor::Tag tag) { bytes.push_back(std::byte{tag}); }

void append_number(Bytes &bytes, sensor::Tag tag, const DescriptionValue &value, const qor::Field &number) {
    append_tag(bytes, tag);
    Bytes encoded(number.size);
    write_field(encoded, {{}, number}, value);
    std::ranges::copy(encoded, std::back_inserter(bytes));
}

void append_mark(Bytes &bytes, const DescriptionValue &item) {
    const std::string name = item.text();
    const auto mark = std::ranges::find(kMarks, name, &Mark::name);
    if (mark == std::end(kMarks)) {
        KnownKeys names;
        std::ranges::transform(kMarks, std::back_inserter(names), &Mark::name);
        throw item.error("has no item " + in_quotes(name) + suggestion(name, names));
    }
    append_tag(bytes, mark->tag);
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
        append_tag(bytes, sensor::kText);
        append_text(bytes, whole_text(table.value("text")));
        bytes.push_back(std::byte{0});
    } else if (table.has("s32")) {
        append_number(bytes, sensor::kNumber32, table.value("s32"), qor::s32("", 0));
    } else {
        append_number(bytes, sensor::kNumber64, table.value("s64"), qor::s64("", 0));
    }
}

Bytes extra_data(const DescriptionValue &value) {
    Bytes bytes;
    for (const DescriptionValue &item : value.elements("items")) {
        append_item(bytes, item);
        if (bytes.size() > kExtraSize) {
            throw item.error("must make at most " + std::to_string(kExtraSize) + " bytes; this item ends at byte " +
                             std::to_string(bytes.size()));
        }
    }
    return bytes;
}

// ---- the properties and commands ---------------------------------------------------------------------------

struct Builder {
    std::string_view key;
    std::uint32_t number;
    Bytes (*build)(const DescriptionValue &value);
};

constexpr Builder kDriverProperties[] = {
    {"latency", latency::kProperty, latency_statistics},
    {"assets", assets::kProperty, asset_table},
};

constexpr Builder kSensorProperties[] = {
    {"report_interval", sensor::kReportInterval.id, word},
    {"raw_mode", sensor::kRawMode.id, word},
    {"calibration_matrix", sensor::kCalibrationMatrix.id, fixed_matrix},
    {"factory_mode", sensor::kFactoryMode.id, word},
    {"manufacturer", sensor::kManufacturer.id, name},
    {"model", sensor::kModel.id, name},
    {"orientation_matrix", sensor::kOrientationMatrix.id, byte_matrix},
    {"int_cal", sensor::kInterruptCalibration.id, word},
    {"calibration_offset", sensor::kCalibrationOffset.id, offset},
    {"compass_matrix", sensor::kCompassMatrix.id, fixed_matrix},
    {"decimation_enabled", sensor::kDecimationEnabled.id, word},
    {"startup_time", sensor::kStartupTime.id, word},
    {"registers", sensor::kRegisters.id, registers},
    {"extra_57", sensor::kExtraData[0].id, extra_data},
    {"extra_58", sensor::kExtraData[1].id, extra_data},
    {"extra_59", sensor::kExtraData[2].id, extra_data},
    {"extra_60", sensor::kExtraData[3].id, extra_data},
    {"calibration_complete", sensor::kCalibrationComplete.id, word},
    {"systick_interval", sensor::kSystickInterval.id, word},
    {"batch_intervals", sensor::kBatchIntervals.id, batch_intervals},
    {"location", sensor::kLocation.id, location},
};

constexpr Described kClientFields[] = {
    {sensor::kClientName.name, sensor::kClientName}, {"report_interval", sensor::kClientSettings[0]},
    {"batch_interval", sensor::kClientSettings[1]},  {"threshold", sensor::kClientSettings[2]},
    {"time_limit", sensor::kClientSettings[3]},      {sensor::kClientInUse.name, sensor::kClientInUse, Form::Flag},
};

Bytes clients(const DescriptionValue &value) {
    const std::vector<DescriptionValue> records = value.elements("tables");
    if (records.size() > sensor::kMostClients) {
        throw records[sensor::kMostClients].error("must have at most " + std::to_string(sensor::kMostClients) +
                                                  " elements");
    }
    Bytes bytes(records.size() * sensor::kClientSize);
    for (std::size_t i = 0; i < records.size(); ++i) {
        write_fields(std::span(bytes).subspan(i * sensor::kClientSize, sensor::kClientSize), kClientFields,
                     records[i].table("a client", keys_of(kClientFields)));
    }
    return bytes;
}

constexpr Builder kDriverCommands[] = {
    {"client", sensor::kClientsCommand, clients},
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
