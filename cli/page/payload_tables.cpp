#include "cli/page/payload_tables.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "cli/dumps/function_call.h"
#include "cli/dumps/owner_names.h"
#include "decoder/payload_choice.h"
#include "qor/categories.h"
#include "qor/meanings.h"

namespace cli {
namespace {

const char *name_of(qor::How how) {
    switch (how) {
    case qor::How::Number:
        return "number";
    case qor::How::Signed:
        return "signed";
    case qor::How::Constant:
        return "constant";
    case qor::How::Hexadecimal:
        return "hexadecimal";
    case qor::How::Text:
        return "text";
    case qor::How::Bytes:
        return "bytes";
    case qor::How::CountedBytes:
        return "counted bytes";
    case qor::How::FixedPoint:
        return "fixed point";
    case qor::How::Subject:
        return "subject";
    }
    return "";
}

Json fields_of(const decoder::payload &payload) {
    Json fields = Json::array();
    std::multiset<std::string_view> names;
    for (const qor::Layout *layout : payload) {
        for (const qor::Field &field : layout->fields) {
            names.insert(field.name);
            const std::size_t occurrence = names.count(field.name);
            fields.push_back(Json::object(
                {{"key", std::string(field.name) + (occurrence == 1 ? "" : "_" + std::to_string(occurrence))},
                 {"how", name_of(field.how)},
                 {"offset", field.offset},
                 {"size", field.size},
                 {"parameter", field.parameter},
                 {"field", field_number(*layout, field.name)}}));
        }
    }
    return fields;
}

constexpr std::uint8_t kEventType = std::ranges::find(qor::kTypes, std::string_view("event"), &qor::Type::name)->id;

/** What is drawn of the button. */
constexpr std::string_view kButtonFields[] = {"buttonState",  "stage",       "stageProgress",  "force",
                                              "fingerDetect", "fingerState", "buttonProgress", "clickCount"};

} // namespace

Json payload_tables() {
    Json tables = Json::array();
    for (const decoder::payload &payload : decoder::kPayloads) {
        tables.push_back(fields_of(payload));
    }
    return tables;
}

Json payload_choice(const _QorProfileReport &report) {
    _QorProfileReport probe = report;
    const auto choice_for = [&probe](std::uint16_t version) {
        qor::store_little_endian(probe.bytes + qor::kPayloadOffset, version, sizeof version);
        return decoder::payload_index(probe);
    };
    std::set<int> versions;
    for (const qor::PayloadRule &rule : decoder::payload_tables::kRules) {
        versions.insert(rule.version);
    }
    versions.erase(qor::kAnyVersion);
    std::uint16_t other = 0;
    while (versions.contains(other)) {
        ++other;
    }
    const std::size_t otherwise = choice_for(other);
    Json special = Json::object();
    for (const int version : versions) {
        const std::size_t index = choice_for(static_cast<std::uint16_t>(version));
        if (index != otherwise) {
            special[std::to_string(version)] = index;
        }
    }
    return Json::object({{"otherwise", otherwise}, {"versions", std::move(special)}});
}

bool is_of_button(const _QorProfileReport &report) {
    const std::size_t payload = decoder::payload_index(report);
    return begins_with(payload, qor::kSSHBButton) || begins_with(payload, qor::kSSHBClickStatus);
}

std::vector<CurveField> curve_fields(const _QorProfileReport &report) {
    const bool is_sensor_value = report.type_id() == kEventType &&
                                 (report.category_id() == qor::kSensor || report.category_id() == qor::kVastrel);
    const bool is_button = is_of_button(report);
    if (!is_sensor_value && !is_button) {
        return {};
    }
    // The layout of the type repeats what the first layout shows.
    const qor::Layout &layout = *decoder::kPayloads[decoder::payload_index(report)][0];
    std::vector<CurveField> vector;
    std::vector<CurveField> numbers;
    for (std::size_t place = 0; place < layout.fields.size(); ++place) {
        const qor::Field &row = layout.fields[place];
        if (row.how == qor::How::FixedPoint) {
            vector.push_back({place, &row});
        } else if (row.how == qor::How::Number && row.size <= 4 &&
                   (!is_button || std::ranges::find(kButtonFields, row.name) != std::end(kButtonFields))) {
            numbers.push_back({place, &row});
        }
    }
    return vector.empty() ? numbers : vector;
}

double curve_value(const _QorProfileReport &report, const qor::Field &row) {
    if (row.how == qor::How::FixedPoint) {
        return qor::load_fixed_point(report.bytes, row);
    }
    return static_cast<double>(row.size == 4 ? qor::load_signed(report.bytes, row)
                                             : static_cast<std::int64_t>(qor::load_number(report.bytes, row)));
}

} // namespace cli
