#include "cli/reports/rendering.h"

#include <memory>
#include <optional>

#include "cli/reports/csv.h"
#include "cli/reports/json.h"
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

/** The same, with a line between groups of neighbours. */
template <void (*append_one)(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock)>
void append_groups(text_buffer &out, const ReportBlock &block, const DumpClock &clock) {
    if (block.separators.empty()) {
        append_each<append_one>(out, block, clock);
        return;
    }
    auto separator = block.separators.begin();
    for (std::size_t i = 0; i < block.size(); ++i) {
        if (separator != block.separators.end() && *separator == i) {
            out.append("--\n");
            ++separator;
        }
        append_one(out, block.reports[i], block.clocks.empty() ? clock.now() : clock.now_or(block.clocks[i]));
    }
}

ReportRendering row_rendering(const RenderingWish &wish) {
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
    explicit TraceOfInputs(std::function<std::string(std::size_t input)> name_of) : _name_of(std::move(name_of)) {}

    void append(text_buffer &out, const ReportBlock &block) {
        if (_name_of && _input != block.input) {
            const bool is_first = !_input;
            _input = block.input;
            _events = std::make_unique<TraceEvents>(block.input + 1, _name_of(block.input));
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
    std::unique_ptr<TraceEvents> _events = std::make_unique<TraceEvents>();
};

ReportRendering trace_rendering(const RenderingWish &wish) {
    const auto trace = std::make_shared<TraceOfInputs>(wish.name_of);
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
