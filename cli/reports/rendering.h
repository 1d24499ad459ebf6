/** The forms in which a dump is written. */
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/terminal/text_style.h"
#include "decoder/device_clock.h"
#include "decoder/profile_report.h"
#include "decoder/text_stream.h"

namespace cli {

/** How reports become text in one form. */
struct ReportRendering {
    std::string start; ///< stands before the first report
    /** Appends what stands for one report. Any thread, unless it `depends_on_order`. */
    std::function<void(text_buffer &out, const _QorProfileReport &report, const decoder::device_clock &clock)> append;
    std::string end;               ///< stands behind the last
    bool depends_on_order = false; ///< what stands for a report depends on those before: one thread, in their order
};

/** The names of the forms: text, jsonl, csv, chrome-trace. */
extern const std::vector<std::string> kFormats;

/** @param format one of `kFormats`. */
ReportRendering rendering_of(const std::string &format, const TextStyle &style);

} // namespace cli
