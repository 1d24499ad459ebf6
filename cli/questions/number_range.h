/** The numbers for which a condition holds. */
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "cli/questions/sqlite_table.h"

namespace cli {

/** Numbers from `least` to `greatest`, both included; none when `least` is the greater one. */
struct NumberRange {
    std::uint64_t least = 0;
    std::uint64_t greatest = std::numeric_limits<std::uint64_t>::max();

    bool includes(std::uint64_t number) const { return least <= number && number <= greatest; }
};

/**
 * The numbers of a column for which a comparison holds. A number above 2^63 - 1 is a text to SQLite, which compares it
 * as a double. What is compared with a text that is no number, or with bytes, may have any.
 */
NumberRange range_of(Comparison comparison, const Operand &operand);

/** Those for which several conditions on a column hold. */
class NumberSet {
public:
    /** @param condition  on this column. */
    void restrict_to(const ColumnCondition &condition);

    /** Whether there is any condition. */
    bool is_restricted() const { return _is_restricted; }

    bool includes(std::uint64_t number) const {
        return _range.includes(number) && (_lists.empty() || is_in_lists(number));
    }

private:
    bool is_in_lists(std::uint64_t number) const;

    NumberRange _range;
    std::vector<std::vector<NumberRange>> _lists; ///< each sorted, without overlaps
    bool _is_restricted = false;
};

} // namespace cli
