#include "tests/decoder/report_generator.h"

#include <algorithm>
#include <limits>

namespace oracle {
namespace {

constexpr std::size_t kPayloadOffset = 16;

void put_number(Report &report, std::size_t offset, std::size_t size, std::uint64_t value) {
    for (std::size_t i = 0; i < size; ++i) {
        report[offset + i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

std::uint64_t timestamp_of(const Report &report) {
    std::uint64_t timestamp = 0;
    for (std::size_t i = 8; i-- > 0;) {
        timestamp = timestamp << 8 | report[8 + i];
    }
    return timestamp;
}

std::uint64_t power_of_ten(std::uint64_t exponent) {
    std::uint64_t power = 1;
    for (; exponent > 0; --exponent) {
        power *= 10;
    }
    return power;
}

constexpr std::uint64_t largest_number(unsigned bits) {
    return bits == 64 ? std::numeric_limits<std::uint64_t>::max() : (std::uint64_t{1} << bits) - 1;
}

} // namespace

std::uint64_t ReportGenerator::number(unsigned bits) {
    const std::uint64_t largest = largest_number(bits);
    switch (below(4)) {
    case 0:
        return _engine() & largest;
    case 1: // every number of bits equally often
        return (_engine() & largest) >> below(bits);
    case 2: // 9 and 10, 99 and 100, and so on
        for (;;) {
            const std::uint64_t border = power_of_ten(below(20)) - below(2);
            if (border <= largest) {
                return border;
            }
        }
    default:
        return one_of({std::uint64_t{0}, std::uint64_t{1}, largest / 2, largest / 2 + 1, largest - 1, largest});
    }
}

std::uint32_t ReportGenerator::coordinate() {
    const auto negate = static_cast<std::uint32_t>(one_of({1, -1}));
    const auto nearby = static_cast<std::uint32_t>(below(5)) - 2;
    switch (below(5)) {
    case 0:
        return static_cast<std::uint32_t>(_engine());
    case 1: // every magnitude equally often
        return negate * (static_cast<std::uint32_t>(_engine()) >> below(32));
    case 2: // few significant bits: values halfway between two roundings
        return negate * ((static_cast<std::uint32_t>(_engine()) >> below(32)) << below(20));
    case 3: // around a power of ten, and around the largest number that six digits show below it
    {
        const double scale = one_of({65536.0, 4096.0});
        const double power = 1e-5 * static_cast<double>(power_of_ten(below(11)));
        const double value = std::min(scale * power * one_of({1.0, 0.9999995}), 2147483000.0);
        return negate * (static_cast<std::uint32_t>(value) + nearby);
    }
    default: // around a power of two
        return negate * ((1u << below(32)) + nearby);
    }
}

Header ReportGenerator::header() {
    Header header{};
    header.type = one_in(8) ? byte() : static_cast<std::uint8_t>(below(15));
    header.event = one_in(8) ? byte() : static_cast<std::uint8_t>(below(22));
    header.component = one_in(8) ? byte() : static_cast<std::uint8_t>(below(9));
    header.category = one_in(8) ? byte() : static_cast<std::uint8_t>(below(12));
    return header;
}

Header ReportGenerator::near(Header header) {
    switch (below(12)) {
    case 0:
        header.type = static_cast<std::uint8_t>(below(15));
        break;
    case 1:
        header.event = static_cast<std::uint8_t>(below(5));
        break;
    case 2:
        header.component = static_cast<std::uint8_t>(below(3));
        break;
    case 3:
        header.category = static_cast<std::uint8_t>(below(12));
        break;
    default:
        break;
    }
    return header;
}

void ReportGenerator::fill_with_numbers(Report &report) {
    const std::size_t size = one_of({std::size_t{1}, std::size_t{2}, std::size_t{4}, std::size_t{8}});
    // Fields start anywhere, so the row of numbers does too.
    for (std::size_t offset = kPayloadOffset + below(size); offset + size <= kReportSize; offset += size) {
        put_number(report, offset, size, number(static_cast<unsigned>(8 * size)));
    }
}

void ReportGenerator::put_text(Report &report, std::size_t offset, std::size_t size) {
    const bool printable = !one_in(3);
    for (std::size_t i = offset; i < offset + size; ++i) {
        const unsigned char character = printable ? static_cast<unsigned char>(' ' + below(95)) : byte();
        report[i] = std::max<unsigned char>(character, 1);
    }
    const std::uint64_t end = below(size + 2); // past the last byte: a text without its terminating zero
    if (end < size) {
        report[offset + end] = 0;
    }
}

void ReportGenerator::put_texts(Report &report) {
    switch (report[0]) {
    case 8:
        return put_text(report, 35, 12);
    case 9:
        return put_text(report, 32, 16);
    case 11:
        return put_text(report, 24, 8);
    case 12:
        return put_text(report, 36, 12);
    default:
        return;
    }
}

void ReportGenerator::fill_payload(Report &report) {
    auto *const payload = report.begin() + kPayloadOffset;
    switch (below(6)) {
    case 0:
        return std::fill(payload, report.end(), static_cast<unsigned char>(0x00));
    case 1:
        return std::fill(payload, report.end(), static_cast<unsigned char>(0xFF));
    case 2:
        return std::generate(payload, report.end(), [this] { return byte(); });
    case 3:
        std::generate(payload, report.end(), [this] { return byte(); });
        return put_texts(report);
    default:
        return fill_with_numbers(report);
    }
}

Report ReportGenerator::report(const Header &header) {
    Report report{header.type, header.event, header.component, header.category};
    put_number(report, 4, 4, number(32));
    put_number(report, 8, 8, number(64));
    fill_payload(report);
    return report;
}

Report ReportGenerator::generic_report() {
    Header chosen = header();
    chosen.type = static_cast<std::uint8_t>(below(14));
    Report made = report(chosen);
    if (chosen.type == 1 && one_in(2)) { // data lengths on either side of the maximum
        put_number(made, 20, 2, one_of({0u, 1u, 2u, 22u, 23u, 24u, 25u, 26u, 48u, 256u, 280u, 65535u}));
    }
    return made;
}

Report ReportGenerator::sshb_report() {
    Header chosen = header();
    chosen.category = 7;
    chosen.type = one_of<std::uint8_t>({2, 3, 10});
    if (chosen.type == 2) {
        chosen.event = static_cast<std::uint8_t>(below(5));
    }
    Report made = report(chosen);
    if (chosen.type == 3) { // trace ids: all that have names, their neighbours, and beyond
        put_number(made, 16, 4, one_in(4) ? number(32) : below(420));
    }
    if (chosen.type == 10) { // versions, and versions that equal one only in their low or high byte
        const std::uint64_t version = below(10);
        put_number(made, 16, 2, one_of({version, version, version, version + 0x100, version << 8, number(16)}));
    }
    return made;
}

Report ReportGenerator::vastrel_report() {
    Report made = report(near({3, static_cast<std::uint8_t>(below(2)), 0, 4}));
    for (const std::size_t offset : {16u, 20u, 24u}) {
        if (!one_in(8)) {
            put_number(made, offset, 4, coordinate());
        }
    }
    return made;
}

Report ReportGenerator::wake_report() {
    Report made = report(near(one_of<Header>({{13, 1, 0, 10}, {3, 2, 0, 10}})));
    if (one_in(2)) {
        put_number(made, 20, 8, number(64));
    }
    return made;
}

Report ReportGenerator::report_of_kind(std::uint64_t kind) {
    switch (kind) {
    case 0:
        return generic_report();
    case 1:
        return sshb_report();
    case 2:
        return vastrel_report();
    case 3:
        return wake_report();
    default:
        return report(header());
    }
}

TimeSync ReportGenerator::time_sync(const Report &report) {
    constexpr std::uint64_t kSecond = 1000000000;               // in nanoseconds
    const std::uint64_t now = timestamp_of(report) * 1000;      // wraps, as the conversion does
    const std::uint64_t calendar = below(8000000000) * kSecond; // up to the year 2223
    const std::uint64_t fraction = number(20) % 1000000 * 1000; // any count of microseconds
    const auto sync = [](std::uint64_t qor, std::uint64_t at) {
        return TimeSync{static_cast<std::int64_t>(qor), static_cast<std::int64_t>(at)};
    };
    switch (below(6)) {
    case 0: // a whole second
        return sync(now, calendar);
    case 1: // few or many microseconds after it
        return sync(now, calendar + fraction);
    case 2: // nanoseconds that are not whole microseconds
        return sync(now - below(kSecond), calendar + below(kSecond));
    case 3: // later than the report, beyond the epoch
        return sync(now + calendar + fraction + 1, below(kSecond));
    case 4: // near a whole hour, where daylight saving time changes and months and years end
        return sync(now, below(2000000) * 3600 * kSecond + one_of({std::uint64_t{0}, std::uint64_t{0} - 1000}));
    default:
        return sync(number(64), number(64));
    }
}

Clock ReportGenerator::clock(const Report &report) {
    Clock clock;
    if (!one_in(4)) {
        clock.time_sync = time_sync(report);
    }
    if (!one_in(4)) {
        clock.boot_time = number(64);
    }
    return clock;
}

} // namespace oracle
