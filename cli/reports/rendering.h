/** The output formats of a dump. */
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "cli/reports/clock.h"
#include "cli/reports/rendering_options.h"
#include "cli/terminal/text_style.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** How reports become text in one format. */
struct ReportRendering {
    std::string start; ///< before the first report
    /** Appends the text of each report. Any thread, unless it `depends_on_order`. */
    std::function<void(text_buffer &out, std::span<const _QorProfileReport> reports, const DumpClock &clock)> append;
    std::string end;               ///< after the last report
    bool depends_on_order = false; ///< the text depends on earlier reports: one thread, in their order
};

/** The names of the formats: text, jsonl, csv, chrome-trace. */
extern const std::vector<std::string> kFormats;

/** @param format one of `kFormats`. */
ReportRendering rendering_of(const std::string &format, const TextStyle &style, const RenderingOptions &options);

} // namespace cli
