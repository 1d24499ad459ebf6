/** A seeded generator of reports and clocks for the decoder's tests. Boundary values come up often. */
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <random>

#include "tests/decoder/oracle.h"

namespace oracle {

using Report = std::array<unsigned char, kReportSize>;

/** The first four bytes of a report. */
struct Header {
    std::uint8_t type;
    std::uint8_t event;
    std::uint8_t component;
    std::uint8_t category;
};

/** Equal seeds give equal sequences. Not shared between threads. */
class ReportGenerator {
public:
    explicit ReportGenerator(std::uint64_t seed) : _engine(seed) {}

    /** Any header, mostly one for which there is a name or a layout, or a neighbour of one. */
    Header header();

    /** A report with this header; sequence number, time stamp and payload are generated. */
    Report report(const Header &header);

    /** A report with one of the payload layouts that all categories share. */
    Report generic_report();

    /** A report of the sshb category: traces, input packets, status events and contexts. */
    Report sshb_report();

    /** A data-in or a data-out report, or one whose header differs from theirs in one place. */
    Report vastrel_report();

    /** A wake request or a wake event, or a report whose header differs from theirs in one place. */
    Report wake_report();

    /** The reports above, and those with any header. */
    static constexpr std::uint64_t kKinds = 5;
    /** A report of one of these kinds. @param kind  0 to `kKinds` - 1. */
    Report report_of_kind(std::uint64_t kind);

    /** A clock for `report`: fields absent, whole seconds, few microseconds, synchronised later than the report. */
    Clock clock(const Report &report);

    /** A time synchronisation for `report`, like that of `clock`. */
    TimeSync time_sync(const Report &report);

    /** A number from 0 to `bound` - 1. */
    std::uint64_t below(std::uint64_t bound) { return _engine() % bound; }

private:
    bool one_in(std::uint64_t count) { return below(count) == 0; }
    std::uint8_t byte() { return static_cast<std::uint8_t>(_engine()); }

    template <typename Value>
    Value one_of(std::initializer_list<Value> values) {
        return values.begin()[below(values.size())];
    }

    /** A number of `bits` bits: random, of random length, or near one at which the number of digits changes. */
    std::uint64_t number(unsigned bits);

    /** Any signed word, often one at which the text of its scaled value changes form. */
    std::uint32_t coordinate();

    Header near(Header header);
    void fill_payload(Report &report);
    void fill_with_numbers(Report &report);
    void put_text(Report &report, std::size_t offset, std::size_t size);
    void put_texts(Report &report);

    std::mt19937_64 _engine;
};

} // namespace oracle
