#include "cli/reports/around.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/wrong_use.h"

namespace cli {
namespace {

constexpr std::uint64_t kLargestSequenceNumber = std::numeric_limits<std::uint32_t>::max();

/** @throws std::invalid_argument with the reason. */
Around parse_around(const std::string &text) {
    const std::optional<std::uint64_t> number = parse_whole_number(text);
    if (!number) {
        return parse_time(text);
    }
    if (*number > kLargestSequenceNumber) {
        throw std::invalid_argument("it is no sequence number, and a time needs a unit or a date");
    }
    return SequenceNumber{static_cast<std::uint32_t>(*number)};
}

} // namespace

ValueReader around_reader(std::optional<Around> &around) {
    return [&around](const std::string &name, const std::string &text) {
        try {
            around = parse_around(text);
        } catch (const std::invalid_argument &error) {
            throw WrongUse(invalid_value(name, text) + ": " + error.what() +
                           "; expected a sequence number such as 9251, or a time such as 7200.5s or "
                           "2025-10-09T08:53:21+02:00");
        }
    };
}

AroundInInput around_in(const Around &around, const TimeOrigins &origins) {
    if (const auto *const number = std::get_if<SequenceNumber>(&around)) {
        return *number;
    }
    return instant_of(std::get<SaidTime>(around), origins);
}

std::optional<std::uint64_t> distance_from(const AroundInInput &around, const _QorProfileReport &report,
                                           const std::optional<decoder::time_sync> &sync) {
    if (const auto *const number = std::get_if<SequenceNumber>(&around)) {
        const std::uint32_t step = report.sequence_num() - number->value;
        return std::min(step, number->value - report.sequence_num());
    }
    return std::get<Instant>(around).distance_to(report, sync);
}

} // namespace cli
