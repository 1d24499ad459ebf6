/**
 * The views of payloads: one for each layout, with the layout's fields as columns. They are made of the decoder's own
 * tables, so that every engine shows what the decoder shows.
 */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/questions/tables.h"
#include "decoder/payload_choice.h"
#include "qor/meanings.h"

namespace cli {

/** A column of a view behind the columns of the header. */
struct ViewColumn {
    /**
     * The field's name with '_' for '-'. The second column of a name, also when only the case of letters differs, has
     * "_2" appended, and so on: engines do not tell such names apart.
     */
    std::string name;
    ColumnType type;
    bool may_be_null;
    std::string_view unit; ///< also `qor::kNoUnit` or `qor::kNotStated`
    std::string meaning;
    const qor::Field *field; ///< never null
    /**
     * Whether it has the bytes of a text in hexadecimal. It is null where the text is UTF-8; the column of the text
     * itself, which is before it, is null where it is not.
     */
    bool is_hex_of_text;
};

/** Whether a report has certain ids and, where `version` is not `qor::kAnyVersion`, a certain version. */
struct ReportCondition {
    std::uint32_t header; ///< category, component, event and type, from the highest byte to the lowest
    std::uint32_t mask;   ///< whole bytes: which ids are compared
    int version;          ///< the 16-bit number at the start of the payload

    constexpr bool holds_for(const _QorProfileReport &report) const {
        return (report.header() & mask) == header &&
               (version == qor::kAnyVersion || version == report.at<std::uint16_t>(qor::kPayloadOffset));
    }

    bool operator==(const ReportCondition &) const = default;
};

/** A condition that holds where `holds` does and none of `unless`. */
struct ViewCondition {
    ReportCondition holds;
    std::vector<ReportCondition> unless;

    bool operator==(const ViewCondition &) const = default;
};

struct PayloadView {
    std::string_view name;
    std::string_view meaning;
    const qor::Layout *layout;
    std::vector<ViewColumn> columns; ///< in the order of the layout's fields
    /** A report is in the view where one of these holds. Never empty. */
    std::vector<ViewCondition> conditions;
    /**
     * By index into `decoder::kPayloads`: 0 for a payload without the layout, otherwise the place, 1 or 2, of the
     * layout in it. A payload that has the layout twice counts with the first place.
     */
    std::array<std::uint8_t, decoder::kPayloads.size()> places;

    bool shows(std::size_t payload_index) const { return places[payload_index] != 0; }
};

/** The views in the order of `qor::kLayoutMeanings`. Valid as long as the process. Any thread. */
std::span<const PayloadView> payload_views();

} // namespace cli
