#include "cli/dumps/recorded_line.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <limits>
#include <string>

#include "decoder/local_time.h"

namespace cli {
namespace {

constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
constexpr std::uint64_t kSecondsPerYear = 366 * std::uint64_t{86'400};

/** Takes what it is asked for from the front of a text. */
class Taker {
public:
    explicit Taker(std::string_view text) : _left(text) {}

    bool takes(std::string_view expected) {
        const bool is_there = _left.starts_with(expected);
        _left.remove_prefix(is_there ? expected.size() : 0);
        return is_there;
    }

    /** A number in decimal, digits only. */
    template <typename Number>
    std::optional<Number> number() {
        Number value{};
        const auto [end, error] = std::from_chars(_left.data(), _left.data() + _left.size(), value);
        if (error != std::errc() || _left.front() == '-') {
            return std::nullopt;
        }
        _left.remove_prefix(static_cast<std::size_t>(end - _left.data()));
        return value;
    }

    /** A number of so many digits that is at most `most`. */
    std::optional<int> digits(std::size_t count, int most) {
        const std::string_view text = _left.substr(0, count);
        const bool are_digits = text.size() == count && text.find_first_not_of("0123456789") == std::string_view::npos;
        Taker taker(text);
        const std::optional<int> value = are_digits ? taker.number<int>() : std::nullopt;
        if (!value || *value > most) {
            return std::nullopt;
        }
        _left.remove_prefix(count);
        return value;
    }

    bool is_empty() const { return _left.empty(); }

private:
    std::string_view _left;
};

/** A local time without its year. */
struct DateAndTime {
    std::tm time; ///< month, day, hour, minute, second
    std::uint32_t microsecond;
};

/** "Nov 05 09:03:07.250000" */
std::optional<DateAndTime> take_date(Taker &text) {
    static constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto *const month =
        std::find_if(kMonths.begin(), kMonths.end(), [&](std::string_view name) { return text.takes(name); });
    if (month == kMonths.end() || !text.takes(" ")) {
        return std::nullopt;
    }
    std::tm time{};
    time.tm_mon = static_cast<int>(month - kMonths.begin());
    const auto take = [&text](int &field, std::size_t count, int most, std::string_view behind) {
        const std::optional<int> value = text.digits(count, most);
        field = value.value_or(0);
        return value && text.takes(behind);
    };
    int microsecond = 0;
    if (!take(time.tm_mday, 2, 31, " ") || !take(time.tm_hour, 2, 23, ":") || !take(time.tm_min, 2, 59, ":") ||
        !take(time.tm_sec, 2, 60, ".") || !take(microsecond, 6, 999'999, "")) {
        return std::nullopt;
    }
    return DateAndTime{time, static_cast<std::uint32_t>(microsecond)};
}

/** The first or only such time in that year since 1900, in seconds since the epoch; nothing when there is none. */
std::optional<std::time_t> second_in_year(const std::tm &time, int year) {
    std::tm wanted = time;
    wanted.tm_year = year;
    wanted.tm_isdst = -1;
    const std::time_t second = std::mktime(&wanted);
    std::tm found{};
    const bool is_there = second >= 0 && decoder::to_local_time(second, found) && found.tm_year == year &&
                          found.tm_mon == time.tm_mon && found.tm_mday == time.tm_mday &&
                          found.tm_hour == time.tm_hour && found.tm_min == time.tm_min && found.tm_sec == time.tm_sec;
    return is_there ? std::optional(second) : std::nullopt;
}

/** Microseconds since the epoch; nothing when there is no year for it. */
std::optional<std::uint64_t> instant_of(const DateAndTime &date, std::optional<std::uint64_t> boot_time) {
    constexpr int kYears = 8; // between two 29 February, at most
    constexpr std::uint64_t kLatestBoot =
        (std::numeric_limits<std::uint64_t>::max() / 1000) - 10 * kSecondsPerYear * kMicrosecondsPerSecond;
    if (boot_time && *boot_time > kLatestBoot) {
        boot_time.reset(); // no nanoseconds can express the years behind it
    }
    const auto now = static_cast<std::uint64_t>(std::max<std::time_t>(0, std::time(nullptr))) * kMicrosecondsPerSecond;
    const std::uint64_t limit = boot_time.value_or(now);
    std::tm start{};
    if (!decoder::to_local_time(static_cast<std::time_t>(limit / kMicrosecondsPerSecond), start)) {
        return std::nullopt;
    }
    for (int distance = 0; distance <= kYears; ++distance) {
        const std::optional<std::time_t> second =
            second_in_year(date.time, boot_time ? start.tm_year + distance : start.tm_year - distance);
        if (second) {
            const std::uint64_t instant =
                static_cast<std::uint64_t>(*second) * kMicrosecondsPerSecond + date.microsecond;
            if (boot_time ? instant >= limit : instant <= limit) {
                return instant;
            }
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<RecordedReport> parse_recorded_line(std::string_view line) {
    constexpr std::string_view kKey = "'binary-data':[";
    // The last one: texts of the report stand before it.
    const std::size_t place = line.rfind(kKey);
    if (place == std::string_view::npos) {
        return std::nullopt;
    }
    Taker text(line.substr(place + kKey.size()));
    RecordedReport recorded{};
    for (std::uint8_t &byte : recorded.report.bytes) {
        const std::optional<std::uint8_t> value = text.number<std::uint8_t>();
        const bool is_last = &byte == &recorded.report.bytes[_QorProfileReport::kSize - 1];
        if (!value || !text.takes(is_last ? "]" : ",")) {
            return std::nullopt;
        }
        byte = *value;
    }
    std::optional<DateAndTime> date;
    if (text.takes(", 'calendar-time':'")) {
        date = take_date(text);
        if (!date || !text.takes("'")) {
            return std::nullopt;
        }
    }
    if (text.takes(", 'boot-timestamp':")) {
        recorded.clock.boot_time = text.number<std::uint64_t>();
        if (!recorded.clock.boot_time) {
            return std::nullopt;
        }
    }
    if (!text.takes("}") || !text.is_empty()) {
        return std::nullopt;
    }
    if (date) {
        if (const std::optional<std::uint64_t> instant = instant_of(*date, recorded.clock.boot_time)) {
            // The arithmetic of the conversion wraps, and so do these.
            recorded.clock.sync = decoder::time_sync{recorded.report.timestamp() * 1000, *instant * 1000};
        }
    }
    return recorded;
}

} // namespace cli
