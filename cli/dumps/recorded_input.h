/** The reports that state-capture records carry, as an input. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cli/dumps/input.h"
#include "decoder/device_clock.h"
#include "host/error.h"
#include "host/state_records.h"
#include "qor/report.h"

namespace cli {

/** How many lines of a record end with a report. */
std::size_t count_reports(const host::StateRecord &record);

/**
 * The reports of a file of records, in the order of their lines, each with the clock of its line. Offsets are those
 * that the reports would have in a dump. A line without a report is an error behind all others that have one.
 */
class RecordedInput : public ReportInput {
public:
    /**
     * @param bytes  records end to end; they may be hostile.
     * @param name   of the file, for messages.
     * @return null when no record has a line with a report.
     * @throws host::Error for damaged records, naming the byte.
     */
    static std::unique_ptr<RecordedInput> parse(std::span<const std::byte> bytes, const std::string &name);

    bool is_read_in_place() const override { return _given != _reports.size(); }
    bool has_clocks() const override { return true; }
    bool can_be_read_backwards() const override { return true; }
    void start_at(std::uint64_t offset) override {
        _given = static_cast<std::size_t>(offset / _QorProfileReport::kSize);
    }
    void find_backwards(
        const std::function<bool(const _QorProfileReport &report, std::uint64_t offset)> &is_wanted) const override;
    std::uint64_t end_of_reports() const override { return offset_of(_reports.size()); }
    std::uint64_t size() const override { return _size; }
    std::uint64_t bytes_read() const override { return _size / _reports.size() * _given; }
    TrailingBytes trailing_bytes() const override { return {offset_of(_given), 0}; }
    std::span<const std::byte> trailing_content() const override { return {}; }
    const std::string &name() const override { return _name; }

protected:
    std::optional<ReportPiece> read_piece(std::size_t most_reports) override;

private:
    RecordedInput(std::string name, std::size_t size) : _name(std::move(name)), _size(size) {}

    static std::uint64_t offset_of(std::size_t index) { return std::uint64_t{index} * _QorProfileReport::kSize; }

    std::string _name;
    std::uint64_t _size; ///< of the records; above zero
    std::vector<_QorProfileReport> _reports;
    std::vector<decoder::device_clock> _clocks; ///< of each report
    std::size_t _given = 0;
    std::optional<host::Error> _failure; ///< of a line
};

} // namespace cli
