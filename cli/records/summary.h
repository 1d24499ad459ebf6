/** A summary of one state capture. */
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/terminal/text_style.h"
#include "host/RvStateCapture.h"

namespace cli {

/** One record. */
struct SummaryRow {
    std::string title;
    std::optional<std::size_t> reports; ///< the entries of an array; nothing for other payloads
    std::size_t bytes;                  ///< including the header
    std::string damage;                 ///< why the record cannot be read back; empty for an intact one
};

/** Summarises a record, damaged or not. */
SummaryRow summarise(const host::RecordBytes &record);

/** A table with a heading and a line of totals. */
std::string summary_table(const std::vector<SummaryRow> &rows, const TextStyle &style);

/** A JSON array of objects and a newline. */
std::string summary_json(const std::vector<SummaryRow> &rows);

} // namespace cli
