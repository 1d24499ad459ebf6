/** The output formats of a dump. */
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/terminal/text_style.h"
#include "decoder/device_clock.h"
#include "decoder/text_stream.h"
#include "qor/report.h"

namespace cli {

/** How reports become text in one format. */
struct ReportRendering {
    std::string start; ///< before the first report
    /** Appends the text of one report. Any thread, unless it `depends_on_order`. */
    std::function<void(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock)> append;
    std::string end;               ///< after the last report
    bool depends_on_order = false; ///< the text depends on earlier reports: one thread, in their order
};

/** The names of the formats: text, jsonl, csv, chrome-trace. */
extern const std::vector<std::string> kFormats;

/** @param format one of `kFormats`. */
ReportRendering rendering_of(const std::string &format, const TextStyle &style);

} // namespace cli
