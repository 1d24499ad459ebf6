// Shows any reports in any form: each form follows its rules, and those for programs are byte for byte those of a plain
// formulation.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/reports/rendering.h"
#include "cli/reports/statistics.h"
#include "cli/reports/trace.h"
#include "fuzz/controls.h"
#include "fuzz/input.h"
#include "tests/cli/reports/plain_forms.h"

namespace {

using fuzz::Input;
using fuzz::require;
using Reports = std::vector<_QorProfileReport>;

/** What the input asks for. */
struct Wish {
    explicit Wish(Input &input) {
        form = input.byte() % (cli::kFormats.size() + 2);
        const unsigned flags = input.byte();
        style.escapes_controls = (flags & 1) != 0;
        if (flags & 2) {
            clock.sync = decoder::time_sync{input.number(), input.number()};
        }
        if (flags & 4) {
            clock.boot_time = input.number();
        }
    }

    std::size_t form; ///< an index of `cli::kFormats`; behind those, statistics and statistics as JSON
    cli::TextStyle style;
    decoder::device_clock clock;
};

Reports reports_in(std::span<const std::uint8_t> dump) {
    Reports reports;
    for (; dump.size() >= _QorProfileReport::kSize; dump = dump.subspan(_QorProfileReport::kSize)) {
        reports.push_back(_QorProfileReport::copied_from(dump.data()));
    }
    return reports;
}

void check_lines(std::string_view text, const Reports &reports) {
    require(std::ranges::count(text, '\n') == static_cast<std::ptrdiff_t>(reports.size()), "each report is one line");
    require(!fuzz::has_controls(text), "a terminal gets no control character");
}

/** The text of all reports, one after the other, as `formulate` gives it. */
template <typename Formulate>
std::string formulate_all(const Reports &reports, const Formulate &formulate) {
    std::string text;
    for (const _QorProfileReport &report : reports) {
        text += formulate(report);
    }
    return text;
}

void check_json_lines(std::string_view text, const Reports &reports) {
    std::size_t count = 0;
    for (; !text.empty(); ++count) {
        const std::size_t end = text.find('\n');
        require(end != std::string_view::npos && count < reports.size(), "each report is one line of JSON");
        const auto json = nlohmann::json::parse(text.substr(0, end));
        require(json.at("timestamp") == reports[count].timestamp(), "the line belongs to the report");
        text.remove_prefix(end + 1);
    }
    require(count == reports.size(), "every report is listed");
}

/** Removes one record of RFC 4180 and its line end from the front of `text` and returns the number of its fields. */
std::size_t take_csv_fields(std::string_view &text) {
    std::size_t fields = 1;
    bool is_quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '"') {
            is_quoted = !is_quoted;
        } else if (!is_quoted && text[at] == ',') {
            ++fields;
        } else if (!is_quoted && text[at] == '\n') {
            text.remove_prefix(at + 1);
            return fields;
        }
    }
    require(false, "a CSV record is terminated");
    return 0;
}

void check_csv(std::string_view text, const Reports &reports) {
    const std::size_t columns = take_csv_fields(text);
    for (std::size_t left = reports.size(); left > 0; --left) {
        require(take_csv_fields(text) == columns, "each CSV record has every column");
    }
    require(text.empty(), "each report is one CSV record");
}

/** Whether a trace shows the report as counters, one for each number. */
bool is_sensor_value(const _QorProfileReport &report) {
    return report.type_id() == 3 && (report.category_id() == 2 || report.category_id() == 4);
}

void check_trace(std::string_view text, const Reports &reports) {
    std::ptrdiff_t events = 0;
    const auto trace = nlohmann::json::parse(text);
    for (const nlohmann::json &event : trace.at("traceEvents")) {
        const std::string phase = event.at("ph");
        require(phase == "M" || phase == "C" || phase == "X" || phase == "i", "an event is of a known kind");
        events += phase == "X" || phase == "i" ? 1 : 0;
    }
    require(events == std::ranges::count_if(reports, std::not_fn(is_sensor_value)),
            "each report without sensor values is one event");
}

/** A report alone has its events after those that name its tracks; slices of others do not cut its own. */
void check_events(const Reports &reports) {
    for (const _QorProfileReport &report : reports) {
        text_buffer events;
        cli::TraceEvents().append(events, report);
        require(events.text().ends_with(plain::trace_events(report)), "events are those of the plain formulation");
    }
}

void check_statistics(const Wish &wish, const Reports &reports) {
    cli::SequenceWatch sequence;
    sequence.see(reports, 0);
    cli::DumpStatistics statistics;
    statistics.count(reports);
    if (wish.form == cli::kFormats.size()) {
        require(statistics.text(sequence, wish.clock).back() == '\n', "the last line ends with a newline");
        return;
    }
    const auto json = nlohmann::json::parse(statistics.json(sequence, wish.clock));
    require(json.at("reports") == reports.size(), "every report is counted");
}

void render(const Wish &wish, const Reports &reports) {
    const std::string &form = cli::kFormats.at(wish.form);
    const cli::ReportRendering rendering = cli::rendering_of({.format = form, .style = wish.style});
    text_buffer text;
    text.append(rendering.start);
    cli::ReportBlock block;
    block.reports = reports;
    rendering.append(text, block, cli::DumpClock(wish.clock));
    text.append(rendering.end);
    if (form != "text") {
        require(!fuzz::has_controls(text.text()), "a terminal gets no control character");
    }
    if (form == "jsonl") {
        check_json_lines(text.text(), reports);
        require(text.text() ==
                    formulate_all(reports, [&](const auto &report) { return plain::json_line(report, wish.clock); }),
                "JSON is that of the plain formulation");
    } else if (form == "csv") {
        check_csv(text.text(), reports);
        require(text.text().substr(rendering.start.size()) ==
                    formulate_all(reports, [&](const auto &report) { return plain::csv_line(report, wish.clock); }),
                "CSV is that of the plain formulation");
    } else if (form == "brief" && !wish.style.escapes_controls) {
        const std::uint64_t since = reports.empty() ? 0 : reports.front().timestamp();
        require(text.text() ==
                    formulate_all(reports,
                                  [&](const auto &report) { return plain::brief_line(report, wish.clock, since); }),
                "brief lines are those of the plain formulation");
    } else if (form == "chrome-trace") {
        check_trace(text.text(), reports);
        check_events(reports);
    } else if (wish.style.escapes_controls) {
        check_lines(text.text(), reports);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Input input(data, size);
    const Wish wish(input);
    const Reports reports = reports_in(input.rest());
    if (wish.form < cli::kFormats.size()) {
        render(wish, reports);
    } else {
        check_statistics(wish, reports);
    }
    return 0;
}
