/** The output formats of a dump. */
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "cli/dumps/clock.h"
#include "cli/dumps/owner_names.h"
#include "cli/dumps/report_block.h"
#include "cli/terminal/text_style.h"
#include "decoder/text_stream.h"

namespace cli {

/** How reports become text in one format. */
struct ReportRendering {
    std::string start; ///< before the first report
    /** Appends the text of each report. Any thread, unless it `depends_on_order`. */
    std::function<void(text_buffer &out, const ReportBlock &block, const DumpClock &clock)> append;
    std::string end;               ///< after the last report
    bool depends_on_order = false; ///< the text depends on earlier reports: one thread, in their order
    bool is_styled = false;        ///< with the colours of the style
};

/** The names of the formats: text, jsonl, csv, chrome-trace, brief. */
extern const std::vector<std::string> kFormats;

/** Whether a format shows the marks of blocks, which need their offsets. */
bool shows_marks(const std::string &format);

/** How the user wants to see reports. */
struct RenderingWish {
    std::string format = "text"; ///< one of `kFormats`
    TextStyle style{};           ///< of the output
    /** The name of an input, any thread; null unless reports are shown with the files that they come from. */
    std::function<std::string(std::size_t input)> name_of{};
    /** The owner's; null for none, which costs nothing for each report. */
    const OwnerNames *names = nullptr;
    bool has_raw = false; ///< rows for programs end with all bytes of their report
};

/** What the wish points to must outlive the rendering. */
ReportRendering rendering_of(const RenderingWish &wish);

} // namespace cli
