#include "cli/questions/table_rows.h"

#include <optional>
#include <string_view>

#include "cli/dumps/recorded_input.h"
#include "host/utf8.h"

namespace cli {
namespace {

/** The columns with which rows of a store begin, and the key. */
void begin_store_rows(ColumnBlock &block, const Recording &recording, std::string_view key, std::size_t rows) {
    block.add_text(0, recording.device, rows);
    block.add_text(1, recording.file, rows);
    block.add_number(2, recording.taken, rows);
    block.add_text(3, key, rows);
}

} // namespace

void add_reports(ColumnBlock &block, const Recording &recording, std::uint64_t dump,
                 std::span<const _QorProfileReport> reports) {
    block.add_text(0, recording.device, reports.size());
    block.add_text(1, hash_text(dump), reports.size());
    block.add_reports(2, reports);
}

void add_dump(ColumnBlock &block, const Recording &recording, const DumpFacts &facts,
              const decoder::device_clock &clock) {
    block.add_text(0, recording.device);
    block.add_text(1, hash_text(facts.hash));
    block.add_text(2, recording.file);
    block.add_number(3, facts.reports);
    block.add_number(4, facts.first_timestamp);
    block.add_number(5, facts.last_timestamp);
    block.add_number(6, facts.gaps);
    block.add_number(7, facts.missing);
    block.add_number(8, static_cast<std::uint8_t>(facts.trailing_bytes));
    const std::optional<decoder::time_sync> &sync = clock.sync;
    block.add_number(9, sync ? std::optional(sync->qor) : std::nullopt);
    block.add_number(10, sync ? std::optional(sync->calendar) : std::nullopt);
    block.add_number(11, clock.boot_time);
}

void add_scalars(ColumnBlock &block, const Recording &recording, const host::StoreContents &contents) {
    for (const auto &[key, value] : contents.scalars) {
        begin_store_rows(block, recording, key, 1);
        block.add_number(4, value);
    }
}

void add_distribution(ColumnBlock &block, const Recording &recording, const std::string &key,
                      const host::Distribution &distribution) {
    begin_store_rows(block, recording, key, distribution.size());
    for (const auto &[value, count] : distribution) {
        block.add_number(4, value);
        block.add_number(5, count);
    }
}

void add_record(ColumnBlock &block, const Recording &recording, std::size_t number, const host::StateRecord &record,
                const std::string &content) {
    block.add_text(0, recording.device);
    block.add_text(1, recording.file);
    block.add_number(2, static_cast<std::uint32_t>(number));
    block.add_text(3, host::is_utf8(record.title) ? std::optional<std::string_view>(record.title) : std::nullopt);
    block.add_number(4, std::uint64_t{count_reports(record)});
    block.add_text(5, content);
}

} // namespace cli
