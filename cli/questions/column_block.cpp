#include "cli/questions/column_block.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "qor/field.h"

namespace cli {
namespace {

ColumnValues no_values(ColumnType type) {
    switch (type) {
    case ColumnType::Text:
        return std::vector<TextRun>();
    case ColumnType::Unsigned8:
        return std::vector<std::uint8_t>();
    case ColumnType::Unsigned16:
        return std::vector<std::uint16_t>();
    case ColumnType::Unsigned32:
        return std::vector<std::uint32_t>();
    case ColumnType::Unsigned64:
        return std::vector<std::uint64_t>();
    case ColumnType::Signed8:
        return std::vector<std::int8_t>();
    case ColumnType::Signed32:
        return std::vector<std::int32_t>();
    case ColumnType::Signed64:
        return std::vector<std::int64_t>();
    case ColumnType::Real:
        break;
    }
    return std::vector<double>();
}

/** Where the numbers of `report_numbers` are in a report, in their order. */
constexpr qor::Field kIds[] = {qor::header::kCategoryId, qor::header::kComponentId, qor::header::kEventId,
                               qor::header::kTypeId};
constexpr std::size_t kWords = 8;

} // namespace

ColumnBlock::ColumnBlock(std::vector<Column> columns) : _columns(std::move(columns)) {
    _stored.reserve(_columns.size());
    for (const Column &column : _columns) {
        _stored.push_back({no_values(column.type), {}});
    }
}

void ColumnBlock::add_text(std::size_t column, std::optional<std::string_view> text, std::size_t rows) {
    Stored &stored = _stored[column];
    auto &runs = std::get<std::vector<TextRun>>(stored.values);
    stored.rows += rows;
    if (!runs.empty() && runs.back().text == text) {
        runs.back().rows += rows;
    } else if (rows != 0) {
        runs.push_back({text ? std::optional<std::string>(*text) : std::nullopt, rows});
        _text_bytes += text ? text->size() : 0;
    }
}

void ColumnBlock::add_reports(std::size_t first, std::span<const _QorProfileReport> reports) {
    // One column after another: the reports of a piece stay in the processor's cache meanwhile.
    const auto add = [&](std::size_t column, auto zero, std::size_t offset) {
        using Number = decltype(zero);
        Stored &stored = _stored[column];
        auto &values = std::get<std::vector<Number>>(stored.values);
        const std::size_t before = values.size();
        values.resize(before + reports.size());
        std::transform(reports.begin(), reports.end(), values.begin() + static_cast<std::ptrdiff_t>(before),
                       [offset](const _QorProfileReport &report) { return report.at<Number>(offset); });
        stored.add_nulls(reports.size(), 0);
    };
    std::size_t column = first;
    for (const qor::Field &id : kIds) {
        add(column++, std::uint8_t{}, id.offset);
    }
    add(column++, std::uint32_t{}, qor::header::kSequenceNum.offset);
    add(column++, std::uint64_t{}, qor::header::kTimestamp.offset);
    for (std::size_t word = 0; word < kWords; ++word) {
        add(column++, std::uint32_t{}, qor::kPayloadOffset + 4 * word);
    }
}

void ColumnBlock::reserve(std::size_t rows) {
    for (Stored &stored : _stored) {
        if (!std::holds_alternative<std::vector<TextRun>>(stored.values)) {
            std::visit([rows](auto &values) { values.reserve(rows); }, stored.values);
        }
    }
}

void ColumnBlock::clear() {
    for (std::size_t column = 0; column < _stored.size(); ++column) {
        clear_column(column);
    }
    _text_bytes = 0;
}

void ColumnBlock::clear_column(std::size_t column) {
    Stored &stored = _stored[column];
    std::visit([](auto &values) { values.clear(); }, stored.values);
    stored.nulls.clear();
    stored.rows = 0;
}

std::vector<Column> report_numbers() {
    std::vector<Column> columns;
    std::ranges::copy_if(kReportColumns, std::back_inserter(columns), [](const Column &column) {
        return column.type != ColumnType::Text && !column.may_be_null; // names and clocks follow from others
    });
    return columns;
}

std::vector<Column> exported_columns(const Table &table) {
    if (table.columns.data() != kReportColumns) {
        return {table.columns.begin(), table.columns.end()};
    }
    std::vector<Column> columns(table.columns.begin(), table.columns.begin() + 2);
    std::ranges::copy(report_numbers(), std::back_inserter(columns));
    return columns;
}

} // namespace cli
