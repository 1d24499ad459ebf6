#include "cli/reports/rendering.h"

#include <memory>
#include <optional>

#include "cli/reports/csv.h"
#include "cli/reports/json.h"
#include "cli/reports/named_line.h"
#include "cli/reports/placed_rows.h"
#include "cli/reports/trace.h"
#include "decoder/report_line.h"

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

/** Calls the function report by report, with a line before each of the reports that `separators` counts. */
template <typename AppendOne>
void append_with(text_buffer &out, const ReportBlock &block, const DumpClock &clock,
                 const std::vector<std::size_t> &separators, const AppendOne &append_one) {
    auto separator = separators.begin();
    for (std::size_t i = 0; i < block.size(); ++i) {
        if (separator != separators.end() && *separator == i) {
            out.append("--\n");
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
    static const OwnerNames kNone;
    static const std::vector<std::size_t> kNoGroups;
    std::string start;
    if (wish.format == "csv") {
        start = wish.has_raw ? std::string(kCsvHeading.substr(0, kCsvHeading.size() - 2)) + ",raw\r\n"
                             : std::string(kCsvHeading);
    }
    const auto append = [names = wish.names != nullptr ? wish.names : &kNone, append_row = optional_row(wish),
                         has_groups = wish.format == "text"](text_buffer &out, const ReportBlock &block,
                                                             const DumpClock &clock) {
        const auto append_one = [&](auto &text, const auto &report, const auto &time) {
            append_row(text, report, time, *names);
        };
        append_with(out, block, clock, has_groups ? block.separators : kNoGroups, append_one);
    };
    return {start, append, ""};
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
        for (const _QorProfileReport &report : block.reports) {
            _events->append(out, report);
        }
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

const std::vector<std::string> kFormats = {"text", "jsonl", "csv", "chrome-trace"};

ReportRendering rendering_of(const RenderingWish &wish) {
    if (wish.format == "chrome-trace") {
        return trace_rendering(wish);
    }
    const ReportRendering rows = row_rendering(wish);
    return wish.name_of ? with_places(rows, wish) : rows;
}

} // namespace cli
