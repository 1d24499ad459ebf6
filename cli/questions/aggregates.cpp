#include "cli/questions/aggregates.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <sqlite3.h>

#include "cli/terminal/histogram.h"

namespace cli {
namespace {

using Total = unsigned __int128;

/** Memory of SQLite, which counts towards its limits. */
template <typename Item>
struct SqliteAllocator {
    using value_type = Item;
    static_assert(alignof(Item) <= 8, "SQLite's memory is aligned to 8 bytes");

    SqliteAllocator() = default;
    template <typename Other>
    explicit SqliteAllocator(const SqliteAllocator<Other> &) {}

    Item *allocate(std::size_t items) {
        void *const memory = items > std::numeric_limits<std::size_t>::max() / sizeof(Item)
                                 ? nullptr
                                 : sqlite3_malloc64(items * sizeof(Item));
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        return static_cast<Item *>(memory);
    }
    void deallocate(Item *memory, std::size_t) { sqlite3_free(memory); }
    friend bool operator==(const SqliteAllocator &, const SqliteAllocator &) { return true; }
};

/** A number of SQL, and how many times it occurred. Whole numbers up to 64 bits and doubles are exact and in order. */
struct CountedNumber {
    double nearest;    ///< the number, rounded
    std::int32_t rest; ///< what the rounding of a whole number left
    bool is_real;
    std::uint64_t count;

    auto order() const { return std::tuple(nearest, rest, is_real); }

    __int128 whole() const { return static_cast<__int128>(nearest) + rest; }
};

template <typename Whole>
CountedNumber counted_whole(Whole number) {
    const auto nearest = static_cast<double>(number);
    const auto rest = static_cast<std::int32_t>(static_cast<__int128>(number) - static_cast<__int128>(nearest));
    return {nearest, rest, false, 1};
}

/** A whole number without a sign, and nothing else. */
std::optional<std::uint64_t> whole_number_in(std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = error == std::errc() && end == text.data() + text.size();
    return is_number ? std::optional(number) : std::nullopt;
}

/** @return nothing for what is not a number. */
std::optional<CountedNumber> number_in(sqlite3_value *value) {
    switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
        return counted_whole(sqlite3_value_int64(value));
    case SQLITE_FLOAT:
        return CountedNumber{sqlite3_value_double(value), 0, true, 1};
    case SQLITE_TEXT: {
        const auto *const text = reinterpret_cast<const char *>(sqlite3_value_text(value));
        if (text == nullptr) {
            throw std::bad_alloc();
        }
        const auto number = whole_number_in({text, static_cast<std::size_t>(sqlite3_value_bytes(value))});
        return number ? std::optional(counted_whole(*number)) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

/** Numbers with their counts. Sorted and merged whenever they have doubled, so that memory grows with what is distinct.
 */
class Tally {
public:
    void add(const CountedNumber &number) {
        if (_numbers.size() >= _merge_at) {
            merge();
            _merge_at = std::max(kFirstMerge, 2 * _numbers.size());
        }
        _numbers.push_back(number);
    }

    /** In ascending order. A number stands there again only where its counts do not fit into one. */
    const auto &sorted() {
        merge();
        return _numbers;
    }

private:
    static constexpr std::size_t kFirstMerge = 4096;

    void merge() {
        std::sort(_numbers.begin(), _numbers.end(),
                  [](const CountedNumber &a, const CountedNumber &b) { return a.order() < b.order(); });
        std::size_t kept = 0;
        for (const CountedNumber &number : _numbers) {
            CountedNumber *const last = kept == 0 ? nullptr : &_numbers[kept - 1];
            const bool joins = last != nullptr && last->order() == number.order() &&
                               number.count <= std::numeric_limits<std::uint64_t>::max() - last->count;
            if (joins) {
                last->count += number.count;
            } else {
                _numbers[kept++] = number;
            }
        }
        _numbers.resize(kept);
    }

    std::vector<CountedNumber, SqliteAllocator<CountedNumber>> _numbers;
    std::size_t _merge_at = kFirstMerge;
};

/**
 * `share` of `total`, rounded up and at least 1.
 * @param share  from 0 to 1; its shortest decimal form counts, so that 0.07 of 100 is 7.
 */
Total nearest_rank(Total total, double share) {
    if (share >= 1) {
        return total;
    }
    std::array<char, 512> digits{}; // the least double takes 326
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), share, std::chars_format::fixed);
    std::string_view fraction(digits.data(), static_cast<std::size_t>(end.ptr - digits.data()));
    fraction.remove_prefix(std::min<std::size_t>(fraction.size(), std::strlen("0.")));
    Total rank = 0;
    bool is_rounded = false;
    for (; !fraction.empty(); fraction.remove_suffix(1)) {
        rank += total * static_cast<unsigned>(fraction.back() - '0');
        is_rounded = is_rounded || rank % 10 != 0;
        rank /= 10;
    }
    return std::max<Total>(rank + (is_rounded ? 1 : 0), 1);
}

/** How a function is called. */
struct Signature {
    const char *name;
    int arguments;
    int share; ///< the place of p; -1 for none
    int count; ///< the place of the count; -1 for none
    bool shows_blocks;
};

constexpr Signature kQuantile{"quantile", 2, 1, -1, false};
constexpr Signature kWeightedQuantile{"quantile", 3, 1, 2, false};
constexpr Signature kBlocks{"histogram_text", 1, -1, -1, true};
constexpr Signature kWeightedBlocks{"histogram_text", 2, -1, 1, true};
constexpr Signature kAsciiBars{"histogram_text", 1, -1, -1, false};
constexpr Signature kWeightedAsciiBars{"histogram_text", 2, -1, 1, false};

/** What is known of a group. */
struct Group {
    Tally tally;
    std::optional<double> share;
};

const Signature &signature_of(sqlite3_context *context) {
    return *static_cast<const Signature *>(sqlite3_user_data(context));
}

void fail(sqlite3_context *context, const std::string &reason) {
    sqlite3_result_error(context, (std::string(signature_of(context).name) + ": " + reason).c_str(), -1);
}

/** @param bytes  0 where nothing is to be made. @return null for a group without a row. */
Group *group_of(sqlite3_context *context, int bytes) {
    auto *const place = static_cast<Group **>(sqlite3_aggregate_context(context, bytes));
    if (place == nullptr) {
        if (bytes != 0) {
            throw std::bad_alloc();
        }
        return nullptr;
    }
    if (*place == nullptr && bytes != 0) {
        *place = new Group;
    }
    return *place;
}

/** @return whether p is right; otherwise the statement has failed. */
bool takes_share(sqlite3_context *context, Group &group, sqlite3_value *value) {
    const int type = sqlite3_value_type(value);
    const double share = sqlite3_value_double(value);
    if ((type != SQLITE_INTEGER && type != SQLITE_FLOAT) || !(share >= 0 && share <= 1)) {
        fail(context, "p must be a number from 0 to 1");
        return false;
    }
    if (group.share && *group.share != share) {
        fail(context, "p must be the same in every row");
        return false;
    }
    group.share = share;
    return true;
}

/** @return nothing when the row does not count, or when the statement has failed. */
std::optional<std::uint64_t> count_in(sqlite3_context *context, sqlite3_value *value) {
    const int type = sqlite3_value_type(value);
    if (type == SQLITE_NULL) {
        return std::nullopt;
    }
    const std::int64_t count = sqlite3_value_int64(value);
    if (type != SQLITE_INTEGER || count < 0) {
        fail(context, "a count must be a whole number, 0 or more");
        return std::nullopt;
    }
    return count == 0 ? std::nullopt : std::optional(static_cast<std::uint64_t>(count));
}

void take_row(sqlite3_context *context, sqlite3_value **arguments) {
    const Signature &signature = signature_of(context);
    Group &group = *group_of(context, sizeof(Group *));
    if (signature.share >= 0 && !takes_share(context, group, arguments[signature.share])) {
        return;
    }
    const auto count =
        signature.count < 0 ? std::optional(std::uint64_t{1}) : count_in(context, arguments[signature.count]);
    if (!count || sqlite3_value_type(arguments[0]) == SQLITE_NULL) {
        return;
    }
    std::optional<CountedNumber> number = number_in(arguments[0]);
    if (!number) {
        fail(context, "a value is not a number");
        return;
    }
    number->count = *count;
    group.tally.add(*number);
}

void give_number(sqlite3_context *context, const CountedNumber &number) {
    if (number.is_real) {
        sqlite3_result_double(context, number.nearest);
    } else if (number.whole() <= std::numeric_limits<std::int64_t>::max()) {
        sqlite3_result_int64(context, static_cast<std::int64_t>(number.whole()));
    } else {
        const std::string text = std::to_string(static_cast<std::uint64_t>(number.whole()));
        sqlite3_result_text(context, text.c_str(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    }
}

void give_quantile(sqlite3_context *context, Group &group) {
    const auto &numbers = group.tally.sorted();
    Total total = 0;
    for (const CountedNumber &number : numbers) {
        total += number.count;
    }
    if (total == 0) {
        return;
    }
    const Total rank = nearest_rank(total, *group.share);
    Total passed = 0;
    const auto found = std::find_if(numbers.begin(), numbers.end(), [&](const CountedNumber &number) {
        passed += number.count;
        return passed >= rank;
    });
    give_number(context, *found);
}

void give_histogram(sqlite3_context *context, Group &group) {
    const auto &numbers = group.tally.sorted();
    const auto is_finite = [](const CountedNumber &number) { return std::isfinite(number.nearest); };
    const auto least = std::find_if(numbers.begin(), numbers.end(), is_finite);
    if (least == numbers.end()) {
        return;
    }
    const auto greatest = std::find_if(numbers.rbegin(), numbers.rend(), is_finite);
    HistogramCounts parts(least->nearest, greatest->nearest, kBars);
    for (auto number = least; number != greatest.base(); ++number) {
        parts.add(number->nearest, number->count);
    }
    const std::string bars = bars_text(parts.counts(), signature_of(context).shows_blocks);
    sqlite3_result_text(context, bars.c_str(), static_cast<int>(bars.size()), SQLITE_TRANSIENT);
}

/** SQLite is C: nothing is thrown through it. */
template <typename Work>
void guard(sqlite3_context *context, const Work &work) {
    try {
        work();
    } catch (const std::bad_alloc &) {
        sqlite3_result_error_nomem(context);
    }
}

void step(sqlite3_context *context, int, sqlite3_value **arguments) {
    guard(context, [&] { take_row(context, arguments); });
}

template <void (*Give)(sqlite3_context *, Group &)>
void finish(sqlite3_context *context) {
    Group *const group = group_of(context, 0);
    if (group == nullptr) {
        return;
    }
    guard(context, [&] { Give(context, *group); });
    delete group;
}

template <void (*Give)(sqlite3_context *, Group &)>
void add(sqlite3 *database, const Signature &signature) {
    sqlite3_create_function_v2(database, signature.name, signature.arguments,
                               SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS,
                               const_cast<Signature *>(&signature), nullptr, step, finish<Give>, nullptr);
}

} // namespace

void register_aggregates(sqlite3 *database, bool shows_blocks) {
    add<give_quantile>(database, kQuantile);
    add<give_quantile>(database, kWeightedQuantile);
    add<give_histogram>(database, shows_blocks ? kBlocks : kAsciiBars);
    add<give_histogram>(database, shows_blocks ? kWeightedBlocks : kWeightedAsciiBars);
}

} // namespace cli
