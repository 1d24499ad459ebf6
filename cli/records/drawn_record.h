/** What of a record a page draws or shows as a table, as values for its scripts. */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/terminal/json_value.h"
#include "host/state_records.h"
#include "platform/TvValues.h"

namespace cli {

/** The forms in which records are shown, by their titles. */
enum class RecordForm {
    Latency, ///< the button's latency statistics
    Assets,  ///< the button's haptic assets
    Sensor,
    Profile, ///< lines of reports
    Other
};

RecordForm form_of(std::string_view title);

/**
 * The last press and the extremes of latencies: an object with `counts`, `stamps` in ascending order, `absent` (names
 * of time stamps that are 0), `latencies`, each with the name of its range, and `ranges`. Numbers are ticks.
 * @return nothing when the payload has neither part.
 */
std::optional<Json> drawn_latencies(TvRef payload);

/** An array with an object for each asset that is there. Nothing without one. The numbers are texts, as they are
 * recorded. */
std::optional<Json> drawn_assets(TvRef payload);

/**
 * An array with an object for each entry of a dictionary, in ascending order of the keys: `key` and `value`, texts with
 * control characters and bytes that are not UTF-8 escaped. Nothing for values of other kinds and without entries.
 */
std::optional<Json> drawn_entries(TvRef payload);

/** The texts of an array, escaped alike. Values of other kinds are left out. */
std::vector<std::string> drawn_lines(TvRef payload);

} // namespace cli
