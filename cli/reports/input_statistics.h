/** Statistics of all inputs of a command line. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "cli/dumps/report_block.h"
#include "cli/reports/statistics.h"
#include "cli/terminal/json_value.h"
#include "decoder/device_clock.h"

namespace cli {

/** Counts the reports of all inputs together and, of several, of each. One thread at a time. */
class InputStatistics {
public:
    /**
     * @param name_of  the name of an input; null for a single one, which has no row of its own.
     * @param names    the owner's; null for none.
     */
    InputStatistics(std::function<std::string(std::size_t input)> name_of, const OwnerNames *names);

    /** Looks at all reports that are read, in their order, input by input: for gaps. */
    void see(const ReportPiece &piece);
    /** Counts selected reports. */
    void count(const ReportPiece &piece);
    /** After the last report. @param inputs  how many could be opened: those without reports have rows too. */
    void end(std::size_t inputs);

    /** Tables for people. Wall-clock times are those of `clock`, or of the clocks that the inputs bring. */
    std::string text(const decoder::device_clock &clock);
    /** A JSON object and a newline. */
    std::string json(const decoder::device_clock &clock);

private:
    struct Row {
        std::uint64_t reports = 0;
        std::uint64_t earliest = std::numeric_limits<std::uint64_t>::max();
        std::uint64_t latest = 0;
        std::uint64_t gaps = 0;
        std::uint64_t missing = 0;
        std::optional<decoder::time_sync> sync{}; ///< of the first report that brings one
    };

    Row &row_of(std::size_t input);
    decoder::device_clock clock_of(const Row &row, const decoder::device_clock &clock) const;
    std::string rows_text(const decoder::device_clock &clock) const;
    Json rows_json(const decoder::device_clock &clock) const;

    std::function<std::string(std::size_t input)> _name_of;
    DumpStatistics _all;
    SequenceWatch _sequence;
    std::vector<Row> _rows; ///< by input; one for a single input
    std::optional<std::size_t> _input;
};

} // namespace cli
