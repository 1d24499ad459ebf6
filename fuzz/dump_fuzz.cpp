// Reads any dump under any selection: exactly the reports that pass are read, and each form of output follows its
// rules.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/arguments/wrong_use.h"
#include "cli/dumps/open_input.h"
#include "cli/inputs/content.h"
#include "cli/reports/rendering.h"
#include "cli/reports/statistics.h"
#include "cli/reports/stream.h"
#include "cli/reports/trace.h"
#include "decoder/name_tables.h"
#include "fuzz/controls.h"
#include "fuzz/input.h"
#include "fuzz/named_bytes.h"
#include "tests/cli/reports/plain_forms.h"

namespace {

using fuzz::Input;
using fuzz::require;
using Dump = fuzz::NamedBytes;
using Reports = std::vector<_QorProfileReport>;

/** One condition of the filter: as passed to the program, and as interpreted here. */
struct Condition {
    enum Kind { kCategory, kComponent, kEvent, kType } kind;
    std::string word;

    bool holds(const _QorProfileReport &report) const {
        switch (kind) {
        case kCategory:
            return is_id(report.category_id()) || word == decoder::category_name(report.category_id());
        case kComponent:
            return is_id(report.component_id()) ||
                   word == decoder::component_name(report.category_id(), report.component_id());
        case kEvent:
            return is_id(report.event_id());
        default:
            return is_id(report.type_id()) || word == decoder::type_name(report.type_id());
        }
    }

private:
    bool is_id(unsigned id) const {
        const std::size_t digits = std::min(word.find_first_not_of('0'), word.size() - 1);
        return word.substr(digits) == std::to_string(id);
    }
};

/** The request that the input encodes. */
struct Wish {
    explicit Wish(Input &input) {
        form = input.byte() % 7;
        const unsigned flags = input.byte();
        is_pipe = (flags & 1) != 0;
        style.escapes_controls = (flags & 2) != 0;
        if (flags & 4) {
            selection.first = input.byte();
        }
        if (flags & 8) {
            selection.last = input.byte();
        }
        if (flags & 16) {
            since = input.number();
            until = input.number();
            selection.filter.since = cli::FirmwareTime{since};
            selection.filter.until = cli::FirmwareTime{until};
        }
        if (flags & 32) {
            clock.sync = decoder::time_sync{input.number(), input.number()};
        }
        if (flags & 64) {
            clock.boot_time = input.number();
        }
        for (unsigned left = input.byte() % 4; left > 0; --left) {
            ask_for(static_cast<Condition::Kind>(input.byte() % 4), input);
        }
    }

    bool passes(const _QorProfileReport &report) const {
        for (const Condition::Kind kind :
             {Condition::kCategory, Condition::kComponent, Condition::kEvent, Condition::kType}) {
            const auto is_of_kind = [kind](const Condition &condition) { return condition.kind == kind; };
            const auto holds = [&](const Condition &condition) {
                return is_of_kind(condition) && condition.holds(report);
            };
            if (std::ranges::any_of(conditions, is_of_kind) && std::ranges::none_of(conditions, holds)) {
                return false;
            }
        }
        return since <= report.timestamp() && report.timestamp() <= until;
    }

    bool is_unfiltered() const { return conditions.empty() && !selection.filter.since && !selection.filter.until; }

    unsigned form;
    bool is_pipe;
    cli::TextStyle style;
    cli::Selection selection;
    std::uint64_t since = 0;
    std::uint64_t until = UINT64_MAX;
    std::vector<Condition> conditions;
    decoder::device_clock clock;

private:
    void ask_for(Condition::Kind kind, Input &input) {
        const std::size_t length = input.byte() % 24;
        std::string word = std::to_string(input.byte());
        // Looking up an event's name tries every name there is, which is too slow for a million runs.
        if (length != 0 && kind != Condition::kEvent) {
            const std::vector<std::uint8_t> bytes = input.bytes(length);
            word.assign(bytes.begin(), bytes.end());
        }
        cli::FilterWords &filter = selection.filter;
        std::array{&filter.categories, &filter.components, &filter.events, &filter.types}.at(kind)->push_back(word);
        conditions.push_back({kind, word});
    }
};

Reports reports_in(std::span<const std::uint8_t> dump) {
    Reports reports;
    for (; dump.size() >= _QorProfileReport::kSize; dump = dump.subspan(_QorProfileReport::kSize)) {
        reports.push_back(_QorProfileReport::copied_from(dump.data()));
    }
    return reports;
}

/** The reports that the selection lets pass. */
Reports select_reports(Reports reports, const Wish &wish) {
    std::erase_if(reports, [&wish](const _QorProfileReport &report) { return !wish.passes(report); });
    if (wish.selection.first && *wish.selection.first < reports.size()) {
        reports.resize(*wish.selection.first);
    }
    if (wish.selection.last && *wish.selection.last < reports.size()) {
        reports.erase(reports.begin(), reports.end() - static_cast<std::ptrdiff_t>(*wish.selection.last));
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

std::uint64_t gaps_in(const Reports &reports) {
    std::uint64_t gaps = 0;
    for (std::size_t i = 1; i < reports.size(); ++i) {
        gaps += reports[i].sequence_num() - reports[i - 1].sequence_num() == 1 ? 0 : 1;
    }
    return gaps;
}

void check_statistics(const cli::SequenceWatch &sequence, const Wish &wish, const Reports &reports) {
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

/** @param in_place  as for counting, where the source's observer sees what is read. */
Reports read_all(cli::ReportStream &stream, bool in_place) {
    Reports read;
    cli::ReportBlock room;
    const auto next = [&]() -> std::span<const _QorProfileReport> {
        if (in_place) {
            return stream.next_in_place(room).reports;
        }
        stream.next(room);
        return room.reports;
    };
    for (std::span<const _QorProfileReport> piece = next(); !piece.empty(); piece = next()) {
        read.insert(read.end(), piece.begin(), piece.end());
    }
    return read;
}

void decode(const Wish &wish, std::span<const std::uint8_t> bytes) {
    const Dump dump(bytes, wish.is_pipe);
    cli::ReportStream stream(cli::InputSequence({dump.name()}, std::nullopt, cli::wanted_by_decode()),
                             {.selection = wish.selection});
    cli::SequenceWatch sequence;
    const bool counts = wish.form >= cli::kFormats.size();
    if (counts && !stream.observe([&](const cli::ReportPiece &piece) { sequence.see(piece.reports, piece.offset); })) {
        return; // the last of a pipe that pass a filter
    }

    const Reports read = read_all(stream, counts);
    const Reports expected = select_reports(reports_in(bytes), wish);
    const bool is_equal = std::ranges::equal(read, expected, [](const auto &a, const auto &b) {
        return std::memcmp(a.bytes, b.bytes, sizeof a.bytes) == 0;
    });
    require(is_equal, "exactly the reports that pass are read, in order");
    if (!wish.selection.first) {
        const std::size_t trailing = stream.trailing().empty() ? 0 : stream.trailing().front().bytes.count;
        require(trailing == bytes.size() % _QorProfileReport::kSize, "trailing bytes are reported");
    }
    if (!counts) {
        render(wish, read);
        return;
    }
    check_statistics(sequence, wish, read);
    if (wish.is_unfiltered()) {
        require(sequence.gap_count() == gaps_in(read), "every gap is counted");
    }
}

/** Whether the first bytes are not those of another file, which `decode` would refuse or unpack. */
bool are_a_dump(std::span<const std::uint8_t> bytes) {
    const std::span<const std::byte> first = std::as_bytes(bytes);
    const cli::ContentKind kind = cli::content_of(first, true).value().kind;
    return cli::packing_of(first, true) == cli::Packing::None &&
           (kind == cli::ContentKind::Dump || kind == cli::ContentKind::Empty);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Input input(data, size);
    const Wish wish(input);
    if (input.rest().size() > Dump::kPipeHolds || !are_a_dump(input.rest())) {
        return 0; // the targets `inputs` and `records` have other files
    }
    try {
        decode(wish, input.rest());
    } catch (const cli::WrongUse &) {
        return 0; // a word that is not a name
    }
    return 0;
}
