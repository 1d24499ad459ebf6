/** The tables of whole recordings for SQLite: dumps, the contents of stores, and records. */
#pragma once

#include <memory>

#include "cli/questions/query_engine.h"
#include "cli/questions/report_scan.h"
#include "cli/questions/sqlite_table.h"

namespace cli {

// What is passed by reference outlives the tables.

std::unique_ptr<SqliteTable> make_dump_table(const QueryTable &description, const QuestionContext &context);
std::unique_ptr<SqliteTable> make_scalar_table(const QueryTable &description, const QuestionContext &context);
std::unique_ptr<SqliteTable> make_distribution_table(const QueryTable &description, const QuestionContext &context);
std::unique_ptr<SqliteTable> make_record_table(const QueryTable &description, const QuestionContext &context,
                                               const RecordText &content_of);

} // namespace cli
