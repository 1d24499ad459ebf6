#include "cli/dumps/recorded_input.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "cli/dumps/recorded_line.h"
#include "platform/TvValues.h"

namespace cli {
namespace {

/** The reports of a record, and the first of its lines that has none. */
struct RecordLines {
    std::vector<RecordedReport> reports;
    std::optional<std::size_t> first_bad; ///< counted from 1
};

RecordLines lines_of(const host::StateRecord &record) {
    RecordLines lines;
    TvRef payload = record.payload.get();
    for (std::size_t i = 0; i < TvArrayGetCount(payload); ++i) {
        TvRef value = TvArrayGetValue(payload, i);
        std::optional<RecordedReport> report;
        if (TvGetTypeID(value) == TvStringGetTypeID()) {
            report = parse_recorded_line({TvStringGetCString(value), TvStringGetLength(value)});
        }
        if (report) {
            lines.reports.push_back(*report);
        } else if (!lines.first_bad) {
            lines.first_bad = i + 1;
        }
    }
    return lines;
}

} // namespace

std::size_t count_reports(const host::StateRecord &record) { return lines_of(record).reports.size(); }

std::unique_ptr<RecordedInput> RecordedInput::parse(std::span<const std::byte> bytes, const std::string &name) {
    std::unique_ptr<RecordedInput> input(new RecordedInput(name, bytes.size()));
    for (const host::StateRecord &record : host::parse_records(bytes, name)) {
        const RecordLines lines = lines_of(record);
        for (const RecordedReport &line : lines.reports) {
            input->_reports.push_back(line.report);
            input->_clocks.push_back(line.clock);
        }
        // A record of something else has no report at all.
        if (!lines.reports.empty() && lines.first_bad && !input->_failure) {
            input->_failure.emplace(name, "byte " + std::to_string(record.offset),
                                    "line " + std::to_string(*lines.first_bad) + " of the record " +
                                        host::in_quotes(record.title) + " does not end in the bytes of a report");
        }
    }
    return input->_reports.empty() ? nullptr : std::move(input);
}

std::optional<ReportPiece> RecordedInput::read_piece(std::size_t most_reports) {
    const std::size_t count = std::min(most_reports, _reports.size() - _given);
    if (count != 0) {
        const ReportPiece piece{offset_of(_given), std::span(_reports).subspan(_given, count),
                                std::span(_clocks).subspan(_given, count)};
        _given += count;
        return piece;
    }
    if (_failure) {
        throw host::Error(*_failure);
    }
    return std::nullopt;
}

void RecordedInput::find_backwards(
    const std::function<bool(const _QorProfileReport &report, std::uint64_t offset)> &is_wanted) const {
    for (std::size_t index = _reports.size(); index != 0 && !is_wanted(_reports[index - 1], offset_of(index - 1));) {
        --index;
    }
}

} // namespace cli
