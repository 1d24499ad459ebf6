/** The contents of an analytics store as a table for people. */
#pragma once

#include <string>

#include "cli/terminal/text_style.h"
#include "host/store/analytics_store.h"

namespace cli {

/**
 * For each subsystem: scalars with their values, then distributions with their statistics and a bar for each of twelve
 * equal parts of their range. Where tables are folded, a key that is too long for its line is printed above its
 * numbers. Numbers have at most six significant digits. Control characters in keys are always escaped, so that a key is
 * one line.
 */
std::string metrics_table(const host::StoreContents &contents, const TextStyle &style);

} // namespace cli
