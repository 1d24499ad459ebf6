/** What an analytics store holds, as a table for people. */
#pragma once

#include <string>

#include "cli/terminal/text_style.h"
#include "host/store/analytics_store.h"

namespace cli {

/**
 * Subsystem by subsystem: scalars with their values, then distributions with their statistics and a bar for each of
 * twelve equal parts of their range. A key for which a line has no room stands above its numbers. Numbers have at
 * most six significant digits. Control characters of keys are escaped always, since one key is one line.
 */
std::string metrics_table(const host::StoreContents &contents, const TextStyle &style);

} // namespace cli
