/** The line of a record back as the report that it describes. */
#pragma once

#include <optional>
#include <string_view>

#include "decoder/device_clock.h"
#include "qor/report.h"

namespace cli {

/** A report and the clock with which its line was written. */
struct RecordedReport {
    _QorProfileReport report;
    decoder::device_clock clock; ///< what the line shows of it
};

/**
 * Reads the 48 bytes that end a line of a record, and the times behind them. The line may be hostile.
 *
 * A line has no year: `calendar-time` is taken for the first such local time at or after the boot time that the line
 * has; without a boot time for the last one that is not after now. When there is none within eight years, the clock has
 * no time synchronisation. The process's time zone must be that in which the line was written.
 * @return nothing when the line does not end so.
 */
std::optional<RecordedReport> parse_recorded_line(std::string_view line);

} // namespace cli
