#include "cli/reports/rendering.h"

#include <memory>
#include <optional>

#include "cli/reports/brief.h"
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
void append_each(text_buffer &out, std::span<const _QorProfileReport> reports, const DumpClock &clock) {
    for (const _QorProfileReport &report : reports) {
        append_one(out, report, clock.now());
    }
}

/** Times count from the first report. */
class BriefRendering {
public:
    explicit BriefRendering(const TextStyle &style) : _lines(style) {}

    void append(text_buffer &out, std::span<const _QorProfileReport> reports, const DumpClock &clock) {
        for (const _QorProfileReport &report : reports) {
            _since = _since.value_or(report.timestamp());
            _lines.append(out, report, clock.now(), *_since);
        }
    }

private:
    BriefLines _lines;
    std::optional<std::uint64_t> _since;
};

} // namespace

const std::vector<std::string> kFormats = {"text", "brief", "jsonl", "csv", "chrome-trace"};

ReportRendering rendering_of(const std::string &format, const TextStyle &style) {
    if (format == "brief") {
        const auto lines = std::make_shared<BriefRendering>(style);
        const auto append = [lines](text_buffer &out, std::span<const _QorProfileReport> reports,
                                    const DumpClock &clock) { lines->append(out, reports, clock); };
        return {"", append, "", true, true};
    }
    if (format == "jsonl") {
        return {"", append_each<append_json_line>, ""};
    }
    if (format == "csv") {
        return {std::string(kCsvHeading), append_each<append_csv_line>, ""};
    }
    if (format == "chrome-trace") {
        const auto events = std::make_shared<TraceEvents>();
        const auto append = [events](text_buffer &out, std::span<const _QorProfileReport> reports, const DumpClock &) {
            for (const _QorProfileReport &report : reports) {
                events->append(out, report);
            }
        };
        return {trace_start(), append, trace_end(), true};
    }
    return {"", style.escapes_controls ? append_each<append_escaped_line> : append_each<append_exact_line>, ""};
}

} // namespace cli
