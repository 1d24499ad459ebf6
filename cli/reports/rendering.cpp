#include "cli/reports/rendering.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>

#include "cli/reports/brief.h"
#include "cli/reports/csv.h"
#include "cli/reports/json.h"
#include "cli/reports/marks.h"
#include "cli/reports/named_line.h"
#include "cli/reports/placed_rows.h"
#include "cli/reports/trace.h"
#include "decoder/report_line.h"
#include "host/count_text.h"

namespace cli {
namespace {

void append_exact_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock) {
    decoder::append_line(out, report, clock);
    out.append("\n");
}

/** For terminals, because the texts in a line come from the firmware. */
void append_escaped_line(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock) {
    char storage[4096];
    text_buffer line(storage);
    decoder::append_line(line, report, clock);
    out.append(escape_controls(line.text()));
    out.append("\n");
}

/** Calls the function report by report, without an indirect call for each. */
template <void (*append_one)(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock)>
void append_each(text_buffer &out, const ReportBlock &block, const DumpClock &clock) {
    if (block.clocks.empty()) {
        for (const _QorProfileReport &report : block.reports) {
            append_one(out, report, clock.now());
        }
        return;
    }
    for (std::size_t i = 0; i < block.size(); ++i) {
        append_one(out, block.reports[i], clock.now_or(block.clocks[i]));
    }
}

constexpr std::string_view kSeparator = "--\n";

/** Calls the function report by report, with a line before each of the reports that `separators` counts. */
template <typename AppendOne>
void append_with(text_buffer &out, const ReportBlock &block, const DumpClock &clock,
                 const std::vector<std::size_t> &separators, const AppendOne &append_one) {
    auto separator = separators.begin();
    for (std::size_t i = 0; i < block.size(); ++i) {
        if (separator != separators.end() && *separator == i) {
            out.append(kSeparator);
            ++separator;
        }
        append_one(out, block.reports[i], block.clocks.empty() ? clock.now() : clock.now_or(block.clocks[i]));
    }
}

/** The same, with a line between groups of neighbours. */
template <void (*append_one)(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock)>
void append_groups(text_buffer &out, const ReportBlock &block, const DumpClock &clock) {
    if (block.separators.empty()) {
        append_each<append_one>(out, block, clock);
    } else {
        append_with(out, block, clock, block.separators, append_one);
    }
}

/** Appends a row with options. */
using AppendRow = std::function<void(text_buffer &out, const _QorProfileReport &report,
                                     const decoder::device_clock &clock, const OwnerNames &names)>;

AppendRow optional_row(const RenderingWish &wish) {
    if (wish.format == "jsonl") {
        return [has_raw = wish.has_raw](auto &out, const auto &report, const auto &clock, const auto &names) {
            append_json_line(out, report, clock, names, has_raw);
        };
    }
    if (wish.format == "csv") {
        return [has_raw = wish.has_raw](auto &out, const auto &report, const auto &clock, const auto &names) {
            append_csv_line(out, report, clock, names, has_raw);
        };
    }
    return
        [escapes = wish.style.escapes_controls](auto &out, const auto &report, const auto &clock, const auto &names) {
            if (!escapes) {
                append_named_line(out, report, clock, names);
            } else {
                text_buffer line;
                append_named_line(line, report, clock, names);
                out.append(escape_controls(line.text()));
            }
            out.append("\n");
        };
}

/** The formats of rows with the owner's names and all bytes. */
ReportRendering optional_rendering(const RenderingWish &wish) {
    static const OwnerNames no_names;
    static const std::vector<std::size_t> no_groups;
    std::string start;
    if (wish.format == "csv") {
        start = wish.has_raw ? std::string(kCsvHeading.substr(0, kCsvHeading.size() - 2)) + ",raw\r\n"
                             : std::string(kCsvHeading);
    }
    const auto append = [names = wish.names != nullptr ? wish.names : &no_names, append_row = optional_row(wish),
                         has_groups = wish.format == "text"](text_buffer &out, const ReportBlock &block,
                                                             const DumpClock &clock) {
        const auto append_one = [&](auto &text, const auto &report, const auto &time) {
            append_row(text, report, time, *names);
        };
        append_with(out, block, clock, has_groups ? block.separators : no_groups, append_one);
    };
    return {start, append, ""};
}

bool begins_group(const ReportBlock &block, std::size_t index) {
    return std::binary_search(block.separators.begin(), block.separators.end(), index);
}

/** Calls the functions for each report: with its index, with each mark before it, and with its index again. */
template <typename Begin, typename SeeMark, typename SeeReport>
void for_each_with_marks(const ReportBlock &block, const Begin &begin, const SeeMark &see_mark,
                         const SeeReport &see_report) {
    auto mark = block.marks.begin();
    for (std::size_t i = 0; i < block.size(); ++i) {
        begin(i);
        for (; mark != block.marks.end() && mark->place == i; ++mark) {
            see_mark(*mark);
        }
        see_report(i);
    }
}

/** Times count from the first report of each input, and anew from each restart. */
class BriefRendering {
public:
    explicit BriefRendering(const RenderingWish &wish) : _lines(wish.style, wish.names), _name_of(wish.name_of) {}

    void append(text_buffer &out, const ReportBlock &block, const DumpClock &clock) {
        for_each_with_marks(
            block, [&](std::size_t index) { out.append(begins_group(block, index) ? kSeparator : ""); },
            [&](const Mark &mark) { append_mark(out, mark, start_of(block, mark.place)); },
            [&](std::size_t index) { append_report(out, block, index, clock); });
    }

private:
    /** The file that a report comes from, where that is wanted. */
    std::string start_of(const ReportBlock &block, std::size_t index) const {
        return _name_of ? escape_controls(_name_of(block.input_of(index))) + ": " : "";
    }

    void append_mark(text_buffer &out, const Mark &mark, const std::string &start) {
        _lines.append_remark(out, start, break_text(mark.what));
        if (mark.further != 0) {
            _lines.append_remark(out, start, "and " + host::count_text(mark.further, "more break") + " here");
        }
        if (mark.what.is_restart()) {
            _since.reset();
        }
    }

    void append_report(text_buffer &out, const ReportBlock &block, std::size_t index, const DumpClock &clock) {
        const _QorProfileReport &report = block.reports[index];
        // Merged inputs are in the order of one clock.
        if (block.inputs.empty() && block.input != _input) {
            _input = block.input;
            _since.reset();
        }
        _since = _since.value_or(report.timestamp());
        const decoder::device_clock now = block.clocks.empty() ? clock.now() : clock.now_or(block.clocks[index]);
        _lines.append(out, start_of(block, index), report, now, *_since);
    }

    BriefLines _lines;
    std::function<std::string(std::size_t input)> _name_of; ///< null unless files are wanted
    std::size_t _input = 0;
    std::optional<std::uint64_t> _since;
};

ReportRendering brief_rendering(const RenderingWish &wish) {
    const auto lines = std::make_shared<BriefRendering>(wish);
    const auto append = [lines](text_buffer &out, const ReportBlock &block, const DumpClock &clock) {
        lines->append(out, block, clock);
    };
    return {.start = "", .append = append, .end = "", .depends_on_order = true, .is_styled = true};
}

ReportRendering row_rendering(const RenderingWish &wish) {
    if (wish.names != nullptr || wish.has_raw) {
        return optional_rendering(wish);
    }
    if (wish.format == "jsonl") {
        return {"", append_each<append_json_line>, ""};
    }
    if (wish.format == "csv") {
        return {std::string(kCsvHeading), append_each<append_csv_line>, ""};
    }
    return {"", wish.style.escapes_controls ? append_groups<append_escaped_line> : append_groups<append_exact_line>,
            ""};
}

/** The events of one input after another; of several, each has processes of its own. */
class TraceOfInputs {
public:
    explicit TraceOfInputs(const RenderingWish &wish)
        : _name_of(wish.name_of), _names(wish.names), _events(std::make_unique<TraceEvents>(wish.names)) {}

    void append(text_buffer &out, const ReportBlock &block) {
        if (_name_of && _input != block.input) {
            const bool is_first = !_input;
            _input = block.input;
            _events = std::make_unique<TraceEvents>(block.input + 1, _name_of(block.input), _names);
            _events->begin(out, is_first);
        }
        for_each_with_marks(
            block, [](std::size_t) {}, [&](const Mark &mark) { _events->append_mark(out, mark); },
            [&](std::size_t index) { _events->append(out, block.reports[index]); });
    }

    /** What stands before the first report. */
    std::string start() const {
        text_buffer text;
        text.append(trace_start());
        if (!_name_of) {
            _events->begin(text, true);
        }
        return std::string(text.text());
    }

private:
    std::function<std::string(std::size_t input)> _name_of; ///< null for a single one
    std::optional<std::size_t> _input;                      ///< of several: that of the events
    const OwnerNames *_names;
    std::unique_ptr<TraceEvents> _events;
};

ReportRendering trace_rendering(const RenderingWish &wish) {
    const auto trace = std::make_shared<TraceOfInputs>(wish);
    return {trace->start(),
            [trace](text_buffer &out, const ReportBlock &block, const DumpClock &) { trace->append(out, block); },
            trace_end(), true};
}

} // namespace

const std::vector<std::string> kFormats = {"text", "jsonl", "csv", "chrome-trace", "brief"};

bool shows_marks(const std::string &format) { return format == "brief" || format == "chrome-trace"; }

ReportRendering rendering_of(const RenderingWish &wish) {
    if (wish.format == "chrome-trace") {
        return trace_rendering(wish);
    }
    if (wish.format == "brief") {
        return brief_rendering(wish);
    }
    const ReportRendering rows = row_rendering(wish);
    return wish.name_of ? with_places(rows, wish) : rows;
}

} // namespace cli
