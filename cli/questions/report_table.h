/** The table `reports` and the views of payloads for SQLite. */
#pragma once

#include <memory>

#include "cli/questions/payload_views.h"
#include "cli/questions/report_scan.h"
#include "cli/questions/sqlite_table.h"

namespace cli {

/** @param view  nothing for `reports`. Both parameters outlive the table. */
std::unique_ptr<SqliteTable> make_report_table(const QueryTable &description, const QuestionContext &context,
                                               const PayloadView *view);

} // namespace cli
