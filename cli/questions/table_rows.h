/** Rows of the tables, out of recordings. A block has the columns of its table, from `exported_columns`. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "cli/questions/column_block.h"
#include "cli/recordings/recordings.h"
#include "decoder/device_clock.h"
#include "host/state_records.h"
#include "host/store/analytics_store.h"
#include "qor/report.h"

namespace cli {

/** Adds reports of one dump to `reports`. @param dump  its hash. */
void add_reports(ColumnBlock &block, const Recording &recording, std::uint64_t dump,
                 std::span<const _QorProfileReport> reports);

/** Adds a dump to `dumps`. @param clock  of its reports. */
void add_dump(ColumnBlock &block, const Recording &recording, const DumpFacts &facts,
              const decoder::device_clock &clock);

/** Adds a store to `scalar`. */
void add_scalars(ColumnBlock &block, const Recording &recording, const host::StoreContents &contents);

/** Adds one of its distributions to `distribution`. */
void add_distribution(ColumnBlock &block, const Recording &recording, const std::string &key,
                      const host::Distribution &distribution);

/**
 * Adds a record to `records`.
 * @param number   its place in the file, from 1.
 * @param content  of the column.
 */
void add_record(ColumnBlock &block, const Recording &recording, std::size_t number, const host::StateRecord &record,
                const std::string &content);

} // namespace cli
