#include "cli/reports/placed_rows.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "cli/terminal/csv_field.h"
#include "cli/terminal/json_values.h"
#include "host/utf8.h"

namespace cli {
namespace {

std::string json_start(const std::string &file) {
    return (host::is_utf8(file) ? "{\"file\":\"" : "{\"file_hex\":\"") + json_text_or_hex(file) + "\",\"offset\":";
}

/** What stands in front of the rows of one form. */
struct Places {
    std::string format;
    bool escapes_controls;

    bool is_json() const { return format == "jsonl"; }
    bool has_offset() const { return is_json() || format == "csv"; }

    /** The line before a report that begins a group of neighbours; rows for programs have none. */
    std::string_view separator(const ReportBlock &block, std::size_t index) const {
        const bool begins_group = std::binary_search(block.separators.begin(), block.separators.end(), index);
        return begins_group && !has_offset() ? "--\n" : "";
    }

    std::string start(const std::string &file) const {
        if (is_json()) {
            return json_start(file);
        }
        if (format == "csv") {
            return csv_field(file) + ",";
        }
        return (escapes_controls ? escape_controls(file) : file) + ": ";
    }
};

} // namespace

ReportRendering with_places(ReportRendering rendering, const RenderingWish &wish) {
    const Places places{wish.format, wish.style.escapes_controls};
    const auto append = [append_rows = rendering.append, name_of = wish.name_of,
                         places](text_buffer &out, const ReportBlock &block, const DumpClock &clock) {
        ReportBlock one;
        text_buffer row;
        std::string start;
        std::optional<std::size_t> input;
        for (std::size_t i = 0; i < block.size(); ++i) {
            if (input != block.input_of(i)) {
                input = block.input_of(i);
                start = places.start(name_of(*input));
            }
            out.append(places.separator(block, i));
            one.reports.assign(1, block.reports[i]);
            one.clocks.assign(block.clocks.empty() ? 0 : 1,
                              block.clocks.empty() ? decoder::device_clock{} : block.clocks[i]);
            row.clear();
            append_rows(row, one, clock);
            out.append(start);
            if (places.has_offset()) {
                out.append(std::to_string(block.offsets[i]) + ",");
            }
            out.append(row.text().substr(places.is_json() ? 1 : 0)); // without the brace that `start` has
        }
    };
    if (wish.format == "csv") {
        rendering.start = "file,offset," + rendering.start;
    }
    rendering.append = append;
    return rendering;
}

} // namespace cli
