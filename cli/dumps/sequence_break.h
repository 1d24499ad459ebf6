/** Places where a dump does not go on as it should: lost reports, a clock that goes back, a restart. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "qor/report.h"

namespace cli {

/** Two reports that follow one another in an input, of which the second is not what was to be expected. */
struct SequenceBreak {
    /** After a restart the first number that has not been lost is below this one. */
    static constexpr std::uint32_t kRestartsBelow = 1000;

    std::uint32_t number_before;
    std::uint32_t number;
    std::uint64_t time_before; ///< firmware microseconds
    std::uint64_t time;

    /** Whether the sequence number does not increase by one. 0 follows 2^32 - 1. */
    constexpr bool is_gap() const { return number != static_cast<std::uint32_t>(number_before + 1); }
    /** How many numbers were skipped. A number that goes back skips none; numbers wrap, so half their range is back. */
    constexpr std::uint32_t missing() const {
        const std::uint32_t step = number - number_before;
        return step != 0 && step < 0x8000'0000U ? step - 1 : 0;
    }
    constexpr bool goes_back_in_time() const { return time < time_before; }
    /**
     * Whether the coprocessor has started anew: time stamp and number go back, and the number is small, also beside the
     * one before. Reports that have changed places go back a little only.
     */
    constexpr bool is_restart() const {
        return goes_back_in_time() && is_gap() && number < kRestartsBelow && number < number_before / 2;
    }
};

/** Finds breaks between successive reports of one input. One thread at a time. */
class BreakWatch {
public:
    /** Calls `found` with the index in `reports` of each report before which there is a break, and the break. */
    template <typename Found>
    void see(std::span<const _QorProfileReport> reports, const Found &found) {
        if (reports.empty()) {
            return;
        }
        std::uint32_t number_before = _before ? _before->number : reports.front().sequence_num() - 1;
        std::uint64_t time_before = _before ? _before->time : 0;
        for (std::size_t i = 0; i < reports.size(); ++i) {
            const std::uint32_t number = reports[i].sequence_num();
            const std::uint64_t time = reports[i].timestamp();
            const SequenceBreak step{number_before, number, time_before, time};
            if (step.is_gap() || step.goes_back_in_time()) [[unlikely]] {
                found(i, step);
            }
            number_before = number;
            time_before = time;
        }
        _before = {number_before, time_before};
    }

private:
    struct Before {
        std::uint32_t number;
        std::uint64_t time;
    };

    std::optional<Before> _before; ///< the last report
};

} // namespace cli
