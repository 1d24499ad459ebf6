/** Descriptions of dumps and of their reports in JSON Lines, for programs of others that read such descriptions. */
#pragma once

#include <string>

namespace cli {

/**
 * A dump as a description for Kaitai Struct's compiler, which makes a parser of it: the header, every payload layout
 * with its fields, the names of ids, and which report has which layout. Every dump can be parsed, damaged ones
 * included; the bytes behind the last whole report are by themselves.
 */
std::string kaitai_layout();

/**
 * The lines of `qorstat decode --format jsonl` as formats of the log viewer lnav: `qor_reports` for lines with a time
 * of day, `qor_reports_uptime` for those without, whose time is that of the coprocessor's clock, counted from 1970.
 */
std::string lnav_formats();

} // namespace cli
