#include "cli/questions/column_block.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using cli::ColumnBlock;

template <typename Number>
const std::vector<Number> &numbers(const ColumnBlock &block, std::size_t column) {
    return std::get<std::vector<Number>>(block.values(column));
}

std::vector<std::string> names_of(const std::vector<cli::Column> &columns) {
    std::vector<std::string> names;
    for (const cli::Column &column : columns) {
        names.emplace_back(column.name);
    }
    return names;
}

TEST(ColumnBlock, ReportsAreExportedWithoutWhatFollowsFromOthers) {
    EXPECT_EQ(names_of(cli::exported_columns(cli::kTables[0])),
              (std::vector<std::string>{"device", "dump", "category_id", "component_id", "event_id", "type_id",
                                        "sequence_num", "timestamp", "w0", "w1", "w2", "w3", "w4", "w5", "w6", "w7"}));
    EXPECT_EQ(names_of(cli::exported_columns(cli::kTables[1])).size(), 12U);
}

TEST(ColumnBlock, AReportIsSpreadOverTheColumns) {
    std::array<std::uint8_t, 48> bytes{};
    for (std::uint8_t i = 0; i < 48; ++i) {
        bytes[i] = static_cast<std::uint8_t>(0xA0 + i);
    }
    const _QorProfileReport reports[] = {_QorProfileReport::copied_from(bytes.data()), {}};

    ColumnBlock block(cli::report_numbers());
    block.add_reports(0, reports);

    ASSERT_EQ(block.rows(), 2U);
    EXPECT_EQ(numbers<std::uint8_t>(block, 0), (std::vector<std::uint8_t>{0xA3, 0}));                       // category
    EXPECT_EQ(numbers<std::uint8_t>(block, 1), (std::vector<std::uint8_t>{0xA2, 0}));                       // component
    EXPECT_EQ(numbers<std::uint8_t>(block, 2), (std::vector<std::uint8_t>{0xA1, 0}));                       // event
    EXPECT_EQ(numbers<std::uint8_t>(block, 3), (std::vector<std::uint8_t>{0xA0, 0}));                       // type
    EXPECT_EQ(numbers<std::uint32_t>(block, 4), (std::vector<std::uint32_t>{0xA7A6'A5A4, 0}));              // number
    EXPECT_EQ(numbers<std::uint64_t>(block, 5), (std::vector<std::uint64_t>{0xAFAE'ADAC'ABAA'A9A8ULL, 0})); // time
    EXPECT_EQ(numbers<std::uint32_t>(block, 6), (std::vector<std::uint32_t>{0xB3B2'B1B0, 0}));              // w0
    EXPECT_EQ(numbers<std::uint32_t>(block, 13), (std::vector<std::uint32_t>{0xCFCE'CDCC, 0}));             // w7
}

TEST(ColumnBlock, EqualTextsOfNeighboursAreOneRun) {
    ColumnBlock block({cli::kReportColumns[0]});
    block.add_text(0, "a", 3);
    block.add_text(0, "a");
    block.add_text(0, std::nullopt, 2);
    block.add_text(0, "b");
    block.add_text(0, "b", 0);
    block.add_text(0, "never", 0);

    const auto &runs = std::get<std::vector<cli::TextRun>>(block.values(0));
    ASSERT_EQ(runs.size(), 3U);
    EXPECT_EQ(runs[0].text, "a");
    EXPECT_EQ(runs[0].rows, 4U);
    EXPECT_EQ(runs[1].text, std::nullopt);
    EXPECT_EQ(runs[1].rows, 2U);
    EXPECT_EQ(runs[2].text, "b");
    EXPECT_EQ(runs[2].rows, 1U);
    EXPECT_EQ(block.rows(), 7U);
    EXPECT_EQ(block.text_bytes(), 2U);
}

TEST(ColumnBlock, ANullIsNoEmptyText) {
    ColumnBlock block({cli::kRecordColumns[3]});
    block.add_text(0, "");
    block.add_text(0, std::nullopt);
    block.add_text(0, "");

    EXPECT_EQ(std::get<std::vector<cli::TextRun>>(block.values(0)).size(), 3U);
}

TEST(ColumnBlock, NullsAreMarked) {
    ColumnBlock block({cli::kDumpColumns[4]});
    block.add_number<std::uint64_t>(0, 7, 2);
    EXPECT_TRUE(block.nulls(0).empty());

    block.add_number<std::uint64_t>(0, std::nullopt);
    block.add_number(0, std::optional<std::uint64_t>(8));

    EXPECT_EQ(numbers<std::uint64_t>(block, 0), (std::vector<std::uint64_t>{7, 7, 0, 8}));
    EXPECT_EQ(std::vector<std::uint8_t>(block.nulls(0).begin(), block.nulls(0).end()),
              (std::vector<std::uint8_t>{0, 0, 1, 0}));
}

TEST(ColumnBlock, AClearedBlockIsLikeANewOne) {
    ColumnBlock block({cli::kDumpColumns[4], cli::kReportColumns[0]});
    block.add_number<std::uint64_t>(0, std::nullopt);
    block.add_text(1, "a");
    block.clear();

    EXPECT_TRUE(block.empty());
    EXPECT_TRUE(block.nulls(0).empty());
    EXPECT_EQ(block.text_bytes(), 0U);
    block.add_number<std::uint64_t>(0, 1);
    block.add_text(1, "a");
    EXPECT_EQ(block.rows(), 1U);
    EXPECT_EQ(std::get<std::vector<cli::TextRun>>(block.values(1)).size(), 1U);
}

} // namespace
