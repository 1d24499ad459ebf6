/** What one state capture gathered. */
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/terminal/text_style.h"
#include "host/RvStateCapture.h"

namespace cli {

/** One record, in the capture's order. */
struct SummaryRow {
    std::string title;
    std::optional<std::size_t> reports; ///< entries of an array; nothing for any other payload
    std::size_t bytes;                  ///< whole, header included
    std::string damage;                 ///< why the record cannot be read back; empty for a whole one
};

/** What a record is, damaged or not. */
SummaryRow summarise(const host::RecordBytes &record);

/** The rows as a table with a heading and a line of totals. */
std::string summary_table(const std::vector<SummaryRow> &rows, const TextStyle &style);

/** The rows as a JSON array of objects, with a newline at the end. */
std::string summary_json(const std::vector<SummaryRow> &rows);

} // namespace cli
