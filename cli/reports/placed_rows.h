/** Rows with the place that each report comes from. */
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "cli/reports/rendering.h"

namespace cli {

/**
 * The same form with a place in front of each report: the members "file" and "offset" of an object of JSON Lines, the
 * columns `file` and `offset` of CSV, or the file and a colon before a line. In JSON, a file whose name is not UTF-8 is
 * "file_hex".
 * @param rendering  of `wish`. Its blocks must have offsets, unless its rows are lines for people.
 */
ReportRendering with_places(ReportRendering rendering, const RenderingWish &wish);

} // namespace cli
