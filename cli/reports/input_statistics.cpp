#include "cli/reports/input_statistics.h"

#include <algorithm>
#include <utility>

#include "cli/dumps/wall_time.h"
#include "cli/terminal/columns.h"
#include "cli/terminal/json_text.h"

namespace cli {

InputStatistics::InputStatistics(std::function<std::string(std::size_t input)> name_of, const OwnerNames *names)
    : _name_of(std::move(name_of)), _all(names) {}

void InputStatistics::see(const ReportPiece &piece) {
    if (_name_of && _input != piece.input) {
        _sequence.begin_input(_name_of(piece.input));
    }
    _input = piece.input;
    const std::uint64_t gaps = _sequence.gap_count();
    const std::uint64_t missing = _sequence.missing_count();
    _sequence.see(piece.reports, piece.offset);
    Row &row = row_of(piece.input);
    row.gaps += _sequence.gap_count() - gaps;
    row.missing += _sequence.missing_count() - missing;
}

void InputStatistics::count(const ReportPiece &piece) {
    _all.count(piece.reports);
    Row &row = row_of(piece.input);
    for (const decoder::device_clock &clock : piece.clocks) {
        row.sync = row.sync ? row.sync : clock.sync;
    }
    if (!_name_of) {
        return;
    }
    row.reports += piece.count();
    for (const _QorProfileReport &report : piece.reports) {
        row.earliest = std::min(row.earliest, report.timestamp());
        row.latest = std::max(row.latest, report.timestamp());
    }
}

void InputStatistics::end(std::size_t inputs) { _rows.resize(std::max(_rows.size(), inputs)); }

InputStatistics::Row &InputStatistics::row_of(std::size_t input) {
    end(input + 1);
    return _rows[input];
}

decoder::device_clock InputStatistics::clock_of(const Row &row, const decoder::device_clock &clock) const {
    return {clock.sync ? clock.sync : row.sync, clock.boot_time};
}

std::string InputStatistics::text(const decoder::device_clock &clock) {
    if (!_name_of) {
        return _all.text(_sequence, clock_of(row_of(0), clock));
    }
    return rows_text(clock) + _all.text(_sequence, clock);
}

std::string InputStatistics::json(const decoder::device_clock &clock) {
    if (!_name_of) {
        return json_lines(_all.object(_sequence, clock_of(row_of(0), clock)));
    }
    Json json = _all.object(_sequence, clock);
    json["inputs"] = rows_json(clock);
    return json_lines(json);
}

std::string InputStatistics::rows_text(const decoder::device_clock &clock) const {
    std::vector<std::vector<std::string>> cells = {{"inputs", "reports", "gaps", "missing", "earliest", "latest",
                                                    "earliest wall-clock time", "latest wall-clock time"}};
    bool has_wall_times = false;
    for (std::size_t input = 0; input < _rows.size(); ++input) {
        const Row &row = _rows[input];
        std::vector<std::string> line = {"  " + _name_of(input), std::to_string(row.reports), std::to_string(row.gaps),
                                         std::to_string(row.missing)};
        if (row.reports != 0) {
            line.push_back(std::to_string(row.earliest));
            line.push_back(std::to_string(row.latest));
        }
        if (const auto sync = clock_of(row, clock).sync; sync && row.reports != 0) {
            line.push_back(iso_wall_time(row.earliest, *sync));
            line.push_back(iso_wall_time(row.latest, *sync));
            has_wall_times = true;
        }
        line.resize(cells.front().size());
        cells.push_back(std::move(line));
    }
    std::vector<Align> columns = {Align::Left,  Align::Right, Align::Right, Align::Right,
                                  Align::Right, Align::Right, Align::Left,  Align::Left};
    if (!has_wall_times) {
        columns.resize(columns.size() - 2);
        std::for_each(cells.begin(), cells.end(), [&](std::vector<std::string> &line) { line.resize(columns.size()); });
    }
    std::string text;
    for (std::string &line : align_rows(cells, columns)) {
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

Json InputStatistics::rows_json(const decoder::device_clock &clock) const {
    Json rows = Json::array();
    for (std::size_t input = 0; input < _rows.size(); ++input) {
        const Row &row = _rows[input];
        Json object;
        put_text(object, "file", _name_of(input));
        object["reports"] = row.reports;
        if (row.reports != 0) {
            object["earliest"] = row.earliest;
            object["latest"] = row.latest;
        }
        if (const auto sync = clock_of(row, clock).sync; sync && row.reports != 0) {
            object["earliest_wall_time"] = iso_wall_time(row.earliest, *sync);
            object["latest_wall_time"] = iso_wall_time(row.latest, *sync);
        }
        object["gaps"] = row.gaps;
        object["missing"] = row.missing;
        rows.push_back(std::move(object));
    }
    return rows;
}

} // namespace cli
