/** The report that others are shown around. */
#pragma once

#include <cstdint>
#include <optional>
#include <variant>

#include "cli/arguments/declaration.h"
#include "cli/arguments/time_text.h"
#include "cli/reports/time_limits.h"
#include "decoder/device_clock.h"
#include "qor/report.h"

namespace cli {

struct SequenceNumber {
    std::uint32_t value;
};

/** What the user says of it: the report is the nearest to that. */
using Around = std::variant<SequenceNumber, SaidTime>;

/**
 * The value is a sequence number or, with a unit, a sign or a date, a time.
 * @param around  stays empty when the option is not given.
 */
ValueReader around_reader(std::optional<Around> &around);

/** The same, measured in one input. */
using AroundInInput = std::variant<SequenceNumber, Instant>;

/** @throws WrongUse as `since_epoch`. */
AroundInInput around_in(const Around &around, const TimeOrigins &origins);

/**
 * How far the report is from there, in sequence numbers, which wrap, or in microseconds.
 * @param sync  of the report.
 * @return nothing when the wall-clock time of the report is asked for and not known.
 */
std::optional<std::uint64_t> distance_from(const AroundInInput &around, const _QorProfileReport &report,
                                           const std::optional<decoder::time_sync> &sync);

} // namespace cli
