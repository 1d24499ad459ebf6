#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cli/questions/native_block.h"
#include "cli/questions/parquet_file.h"
#include "tests/cli/questions/table_reader.h"

namespace {

using cli::Column;
using cli::ColumnBlock;
using cli::ColumnType;
using cli_tests::ReadColumn;
using cli_tests::ReadTable;

constexpr Column column(std::string_view name, ColumnType type, bool may_be_null = false) {
    return {name, type, may_be_null, "", ""};
}

const std::vector<Column> kEveryType = {
    column("text", ColumnType::Text),
    column("u8", ColumnType::Unsigned8),
    column("u16", ColumnType::Unsigned16),
    column("u32", ColumnType::Unsigned32),
    column("u64", ColumnType::Unsigned64),
    column("i8", ColumnType::Signed8),
    column("i32", ColumnType::Signed32),
    column("i64", ColumnType::Signed64),
    column("real", ColumnType::Real),
    column("text_or_null", ColumnType::Text, true),
    column("u8_or_null", ColumnType::Unsigned8, true),
    column("u64_or_null", ColumnType::Unsigned64, true),
    column("i32_or_null", ColumnType::Signed32, true),
    column("real_or_null", ColumnType::Real, true),
};

std::string native_bytes(const ColumnBlock &block) {
    std::string bytes;
    const cli::NativeBlock native(block);
    for (const std::string_view piece : native.pieces()) {
        bytes += piece;
    }
    return bytes;
}

std::string parquet_bytes(const std::vector<Column> &columns, const std::vector<const ColumnBlock *> &blocks) {
    std::string bytes;
    cli::ParquetFile file("table", columns, [&bytes](std::string_view piece) { bytes += piece; });
    for (const ColumnBlock *const block : blocks) {
        file.write(*block);
    }
    file.finish();
    return bytes;
}

/** Values as columns have them: equal ones, few ones, ascending ones, wide ones, the least and the greatest. */
class Values {
public:
    explicit Values(std::uint64_t seed) : _engine(seed) {}

    void fill(ColumnBlock &block, std::size_t rows) {
        for (std::size_t i = 0; i < block.columns().size(); ++i) {
            const std::uint64_t habit = below(6);
            for (std::size_t row = 0; row < rows; ++row) {
                add(block, i, habit, row);
            }
        }
    }

private:
    std::uint64_t below(std::uint64_t bound) { return _engine() % bound; }

    std::uint64_t number(std::uint64_t habit, std::size_t row) {
        switch (habit) {
        case 0:
            return 7;
        case 1:
            return below(3);
        case 2:
            return _last += below(20);
        case 3:
            return _last = below(9) == 0 ? below(1000) : _last; // in runs
        case 4:
            return row % 2 == 0 ? 0 : ~std::uint64_t{0} - below(2);
        default:
            return _engine();
        }
    }

    template <typename Number>
    void add_number(ColumnBlock &block, std::size_t column, std::uint64_t bits) {
        if (block.columns()[column].may_be_null) {
            const bool is_null = below(3) == 0;
            block.add_number(column, is_null ? std::nullopt : std::optional(static_cast<Number>(bits)));
        } else {
            block.add_number(column, static_cast<Number>(bits));
        }
    }

    void add(ColumnBlock &block, std::size_t column, std::uint64_t habit, std::size_t row) {
        const std::uint64_t bits = number(habit, row);
        switch (block.columns()[column].type) {
        case ColumnType::Text: {
            const bool is_null = block.columns()[column].may_be_null && below(3) == 0;
            const std::string text = std::string(bits % 5, 'x') + std::to_string(bits % 1'000'003);
            return block.add_text(column, is_null ? std::nullopt : std::optional<std::string_view>(text));
        }
        case ColumnType::Unsigned8:
            return add_number<std::uint8_t>(block, column, bits);
        case ColumnType::Unsigned16:
            return add_number<std::uint16_t>(block, column, bits);
        case ColumnType::Unsigned32:
            return add_number<std::uint32_t>(block, column, bits);
        case ColumnType::Unsigned64:
            return add_number<std::uint64_t>(block, column, bits);
        case ColumnType::Signed8:
            return add_number<std::int8_t>(block, column, bits);
        case ColumnType::Signed32:
            return add_number<std::int32_t>(block, column, bits);
        case ColumnType::Signed64:
            return add_number<std::int64_t>(block, column, bits);
        case ColumnType::Real: {
            constexpr double kSpecial[] = {std::numeric_limits<double>::infinity(),
                                           -std::numeric_limits<double>::infinity(),
                                           std::numeric_limits<double>::denorm_min(), 0.1, 1e300};
            const double value =
                bits % 7 < 5 ? kSpecial[bits % 7] : static_cast<double>(static_cast<std::int64_t>(bits)) / 65536;
            if (block.columns()[column].may_be_null) {
                return block.add_number(column, below(3) == 0 ? std::nullopt : std::optional(value));
            }
            return block.add_number(column, value);
        }
        }
    }

    std::mt19937_64 _engine;
    std::uint64_t _last = 0;
};

constexpr std::size_t kCounts[] = {1, 2, 7, 8, 9, 15, 16, 17, 31, 32, 33, 34, 127, 128, 129, 130, 257, 1000};

/** Writes blocks of every type and of all counts of rows, and compares what `written_and_read` gives of each. */
template <typename WrittenAndRead>
void expect_every_value(const WrittenAndRead &written_and_read) {
    for (const std::size_t rows : kCounts) {
        for (std::uint64_t seed = 0; seed < 12; ++seed) {
            ColumnBlock block(kEveryType);
            Values(seed).fill(block, rows);
            std::vector<ReadColumn> expected;
            add_expected(expected, block);

            const ReadTable table = written_and_read(block);

            ASSERT_EQ(table.columns, expected) << rows << " rows, seed " << seed;
            ASSERT_EQ(table.parts, std::vector<std::size_t>{rows});
        }
    }
}

TEST(TableFormats, NativeHasEveryValue) {
    expect_every_value([](const ColumnBlock &block) { return cli_tests::read_native(native_bytes(block)); });
}

TEST(TableFormats, NativeBlocksFollowOneAnother) {
    ColumnBlock first(kEveryType);
    Values(1).fill(first, 100);
    ColumnBlock second(kEveryType);
    Values(2).fill(second, 3);
    std::vector<ReadColumn> expected;
    add_expected(expected, first);
    add_expected(expected, second);

    const ReadTable table = cli_tests::read_native(native_bytes(first) + native_bytes(second));

    EXPECT_EQ(table.columns, expected);
    EXPECT_EQ(table.parts, (std::vector<std::size_t>{100, 3}));
}

TEST(TableFormats, ANativeBlockWithoutRowsHasItsColumns) {
    const ColumnBlock block(kEveryType);
    std::vector<ReadColumn> expected;
    add_expected(expected, block);

    const ReadTable table = cli_tests::read_native(native_bytes(block));

    EXPECT_EQ(table.columns, expected);
    EXPECT_EQ(table.parts, std::vector<std::size_t>{0});
}

TEST(TableFormats, ParquetHasEveryValue) {
    expect_every_value(
        [](const ColumnBlock &block) { return cli_tests::read_parquet(parquet_bytes(kEveryType, {&block})); });
}

TEST(TableFormats, ParquetHasARowGroupForEachBlock) {
    ColumnBlock first(kEveryType);
    Values(1).fill(first, 5000);
    ColumnBlock second(kEveryType);
    Values(2).fill(second, 3);
    std::vector<ReadColumn> expected;
    std::vector<const ColumnBlock *> blocks;
    std::vector<std::size_t> parts;
    for (int i = 0; i < 20; ++i) { // a list of more than 14 is written in another way
        const ColumnBlock &block = i % 2 == 0 ? first : second;
        add_expected(expected, block);
        blocks.push_back(&block);
        parts.push_back(block.rows());
    }

    const ReadTable table = cli_tests::read_parquet(parquet_bytes(kEveryType, blocks));

    EXPECT_EQ(table.columns, expected);
    EXPECT_EQ(table.parts, parts);
}

TEST(TableFormats, ParquetWithoutRowsHasItsColumns) {
    std::vector<ReadColumn> expected;
    add_expected(expected, ColumnBlock(kEveryType));

    const ReadTable table = cli_tests::read_parquet(parquet_bytes(kEveryType, {}));

    EXPECT_EQ(table.columns, expected);
    EXPECT_TRUE(table.parts.empty());
}

TEST(TableFormats, ParquetHasColumnsOfNothingButNulls) {
    ColumnBlock block({column("number", ColumnType::Unsigned64, true), column("text", ColumnType::Text, true)});
    for (int row = 0; row < 10; ++row) {
        block.add_number<std::uint64_t>(0, std::nullopt);
        block.add_text(1, std::nullopt);
    }
    std::vector<ReadColumn> expected;
    add_expected(expected, block);

    EXPECT_EQ(cli_tests::read_parquet(parquet_bytes(block.columns(), {&block})).columns, expected);
}

TEST(TableFormats, ParquetHasTextsOfAnyLength) {
    ColumnBlock block({column("text", ColumnType::Text)});
    for (const std::size_t length : {0U, 1U, 255U, 256U, 257U, 100'000U}) {
        block.add_text(0, std::string(length, 'a'));
        const std::vector<Column> &columns = block.columns();
        std::vector<ReadColumn> expected;
        add_expected(expected, block);

        EXPECT_EQ(cli_tests::read_parquet(parquet_bytes(columns, {&block})).columns, expected) << length;
    }
}

TEST(TableFormats, ParquetTakesManyDistinctNumbers) {
    ColumnBlock block({column("distinct", ColumnType::Unsigned32), column("pairs", ColumnType::Unsigned64)});
    for (std::uint32_t row = 0; row < 100'000; ++row) {
        block.add_number<std::uint32_t>(0, row * 0x9E37'79B1U);
        block.add_number<std::uint64_t>(1, row / 2 * 0x9E37'79B9'7F4A'7C15U);
    }
    std::vector<ReadColumn> expected;
    add_expected(expected, block);

    EXPECT_EQ(cli_tests::read_parquet(parquet_bytes(block.columns(), {&block})).columns, expected);
}

TEST(TableFormats, ParquetIsShortWhereValuesRepeatOrAscend) {
    ColumnBlock block({column("device", ColumnType::Text), column("id", ColumnType::Unsigned8),
                       column("number", ColumnType::Unsigned32), column("time", ColumnType::Unsigned64)});
    constexpr std::uint32_t kRows = 100'000;
    block.add_text(0, "device-0001", kRows);
    for (std::uint32_t row = 0; row < kRows; ++row) {
        block.add_number<std::uint8_t>(1, row / 1000 % 4);
        block.add_number<std::uint32_t>(2, row);
        block.add_number<std::uint64_t>(3, 1'000'000'000ULL + 1000 * row);
    }

    EXPECT_LT(parquet_bytes(block.columns(), {&block}).size(), kRows / 50);
}

TEST(TableFormats, TypesHaveClickHousesNames) {
    EXPECT_EQ(cli::native_type(column("", ColumnType::Text)), "String");
    EXPECT_EQ(cli::native_type(column("", ColumnType::Text, true)), "Nullable(String)");
    EXPECT_EQ(cli::native_type(column("", ColumnType::Real)), "Float64");
}

} // namespace
