#include "cli/reports/rendering.h"

#include <memory>

#include "cli/reports/csv.h"
#include "cli/reports/json.h"
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

} // namespace

const std::vector<std::string> kFormats = {"text", "jsonl", "csv", "chrome-trace"};

ReportRendering rendering_of(const RenderingWish &wish) {
    if (wish.format == "jsonl") {
        return {"", append_each<append_json_line>, ""};
    }
    if (wish.format == "csv") {
        return {std::string(kCsvHeading), append_each<append_csv_line>, ""};
    }
    if (wish.format == "chrome-trace") {
        const auto events = std::make_shared<TraceEvents>();
        const auto append = [events](text_buffer &out, const ReportBlock &block, const DumpClock &) {
            for (const _QorProfileReport &report : block.reports) {
                events->append(out, report);
            }
        };
        return {trace_start(), append, trace_end(), true};
    }
    return {"", wish.style.escapes_controls ? append_groups<append_escaped_line> : append_groups<append_exact_line>,
            ""};
}

} // namespace cli
