/** The forms in which the results of queries are written. */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/questions/query_engine.h"
#include "cli/terminal/output.h"
#include "cli/terminal/text_style.h"

namespace cli {

/** The names of the forms; the first is the usual one. */
inline const std::vector<std::string> kResultFormats = {"table", "csv", "jsonl", "markdown"};

/**
 * Writes results one after another.
 * @param format  one of `kResultFormats`.
 * @param output  outlives the sink, which does not flush it.
 */
std::unique_ptr<QuerySink> make_result_writer(const std::string &format, Output &output);

/**
 * The tables and views with their columns, as text.
 * @param name  of one of them; empty for all. @throws WrongQuery when there is none of this name.
 */
std::string schema_text(const std::string &name, const TextStyle &style);

} // namespace cli
