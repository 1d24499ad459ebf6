/** The layouts of reports, for the script that decodes a report of the page. */
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "cli/terminal/json_value.h"
#include "qor/report.h"

namespace cli {

/**
 * The fields of every payload of `decoder::kPayloads`, in the order and with the keys that `decode --format jsonl`
 * shows: an array of arrays of objects with `key`, `how`, `offset`, `size`, `parameter` and `field`, the number of
 * `field_number`.
 */
Json payload_tables();

/**
 * Which payload the reports with these ids have: `otherwise`, and by the version at its start `versions`; indexes into
 * `payload_tables()`.
 */
Json payload_choice(const _QorProfileReport &report);

/** A number in a payload that is drawn as a curve. */
struct CurveField {
    std::size_t place;     ///< in the payload, from 0
    const qor::Field *row; ///< of kind `Number`, at most 4 bytes, or `FixedPoint`
};

/**
 * The numbers that the reports of a sensor, and those of the button, show over time: the components of a vector if
 * there is one, otherwise every number, of the button its state, its progress and the force. Empty for every other
 * report.
 */
std::vector<CurveField> curve_fields(const _QorProfileReport &report);

/** The number of such a field. Words are signed here, as in a trace: an axis crosses zero. */
double curve_value(const _QorProfileReport &report, const qor::Field &row);

/** Whether a report is of the button: its state, or the state of a click. */
bool is_of_button(const _QorProfileReport &report);

} // namespace cli
