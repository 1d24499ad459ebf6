/** `qorstat export`, its files read by the formats' descriptions. */
#include <algorithm>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "bench/fleet.h"
#include "host/store/analytics_store.h"
#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/questions/table_reader.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports.h"
#include "tests/cli/reports/dumps.h"

using cli_tests::content_of;
using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::ReadColumn;
using cli_tests::ReadTable;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;

namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

std::string fleet_dump(std::size_t device, std::size_t reports) {
    const std::vector<std::uint8_t> bytes = bench::dump_of({.seed = 3, .devices = 9, .reports = reports}, device);
    return {bytes.begin(), bytes.end()};
}

const ReadColumn &column(const ReadTable &table, std::string_view name) {
    const auto found =
        std::find_if(table.columns.begin(), table.columns.end(), [&](const ReadColumn &c) { return c.name == name; });
    if (found == table.columns.end()) {
        throw cli_tests::MalformedTable("no column " + std::string(name));
    }
    return *found;
}

std::vector<std::string> names_of(const ReadTable &table) {
    std::vector<std::string> names;
    for (const ReadColumn &read : table.columns) {
        names.push_back(read.name);
    }
    return names;
}

/** `size` bytes of each report from `offset` on, as numbers. */
std::vector<std::uint64_t> numbers_in(std::string_view dump, std::size_t offset, std::size_t size) {
    std::vector<std::uint64_t> numbers;
    for (std::size_t report = 0; report + 48 <= dump.size(); report += 48) {
        std::uint64_t number = 0;
        for (std::size_t byte = size; byte-- > 0;) {
            number = number << 8 | static_cast<unsigned char>(dump[report + offset + byte]);
        }
        numbers.push_back(number);
    }
    return numbers;
}

/** Everything of `reports` that stands in the dumps, which follow one another. */
void expect_reports(const ReadTable &table, std::string_view dumps) {
    ASSERT_EQ(names_of(table), (Words{"device", "dump", "category_id", "component_id", "event_id", "type_id",
                                      "sequence_num", "timestamp", "w0", "w1", "w2", "w3", "w4", "w5", "w6", "w7"}));
    struct Place {
        const char *name;
        std::size_t offset;
        std::size_t size;
        const char *type;
    };
    for (const auto &[name, offset, size, type] :
         {Place{"type_id", 0, 1, "UInt8"}, Place{"event_id", 1, 1, "UInt8"}, Place{"component_id", 2, 1, "UInt8"},
          Place{"category_id", 3, 1, "UInt8"}, Place{"sequence_num", 4, 4, "UInt32"},
          Place{"timestamp", 8, 8, "UInt64"}, Place{"w0", 16, 4, "UInt32"}, Place{"w1", 20, 4, "UInt32"},
          Place{"w2", 24, 4, "UInt32"}, Place{"w3", 28, 4, "UInt32"}, Place{"w4", 32, 4, "UInt32"},
          Place{"w5", 36, 4, "UInt32"}, Place{"w6", 40, 4, "UInt32"}, Place{"w7", 44, 4, "UInt32"}}) {
        EXPECT_EQ(column(table, name).type, type) << name;
        EXPECT_TRUE(column(table, name).numbers == numbers_in(dumps, offset, size)) << name;
    }
    EXPECT_EQ(column(table, "device").texts.size(), dumps.size() / 48);
    EXPECT_EQ(column(table, "dump").texts.size(), dumps.size() / 48);
}

class ExportTest : public testing::TestWithParam<std::string> {
protected:
    ExportTest() { surroundings.folder = folder.path(); }

    Outcome run(const Words &words) const {
        Words all = {"export", "--format", GetParam()};
        all.insert(all.end(), words.begin(), words.end());
        return qorstat(all, surroundings);
    }

    static ReadTable read(const std::string &bytes) {
        return GetParam() == "parquet" ? cli_tests::read_parquet(bytes) : cli_tests::read_native(bytes);
    }

    /** The table of an export that must succeed without a word. */
    ReadTable exported(const Words &words) const {
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.exit_code, 0);
        EXPECT_EQ(outcome.err, "");
        return read(outcome.out);
    }

    const TemporaryFolder folder;
    Surroundings surroundings;
};

INSTANTIATE_TEST_SUITE_P(As, ExportTest, testing::Values("clickhouse", "parquet"),
                         [](const testing::TestParamInfo<std::string> &format) { return format.param; });

TEST_P(ExportTest, HasEveryReportWithItsDeviceAndDump) {
    const std::string first = fleet_dump(3, 3000);
    const std::string second = fleet_dump(4, 500);
    folder.file("one.bin", first);
    folder.file("two.bin.gz", cli_tests::gzip(second));

    const ReadTable table = exported({"one.bin", "two.bin.gz"});

    expect_reports(table, first + second);
    const ReadTable dumps = exported({"--table", "dumps", "one.bin", "two.bin.gz"});
    ASSERT_EQ(column(dumps, "dump").texts.size(), 2U);
    for (std::size_t row = 0; row < 3500; ++row) {
        const std::size_t dump = row < 3000 ? 0 : 1;
        ASSERT_EQ(column(table, "device").texts[row], dump == 0 ? "one" : "two");
        ASSERT_EQ(column(table, "dump").texts[row], column(dumps, "dump").texts[dump]);
    }
    EXPECT_EQ(column(dumps, "dump").texts[0].size(), 16U);
    EXPECT_NE(column(dumps, "dump").texts[0], column(dumps, "dump").texts[1]);
}

TEST_P(ExportTest, APipeGivesWhatItsFileGives) {
    const std::string dump = fleet_dump(1, 2000);
    folder.file("dump.bin", dump);
    const std::string of_file = run({"dump.bin", "--device", "a"}).out;

    surroundings.standard_input = dump;
    EXPECT_EQ(run({"-", "--device", "a"}).out, of_file);
    surroundings.standard_input = cli_tests::zstd(dump);
    EXPECT_EQ(run({"-", "--device", "a"}).out, of_file);
    EXPECT_EQ(column(exported({"-"}), "device").texts.front(), "standard input");
}

TEST_P(ExportTest, RecordsGiveTheirReportsAndTheNameOfTheirFolder) {
    const std::string dump = fleet_dump(1, 3);
    folder.file("dump.bin", dump);
    Words lines = cli_tests::split_lines(qorstat({"decode", "dump.bin", "--format", "text"}, surroundings).out);
    fs::create_directory(folder.path() / "capture");
    folder.file("capture/1.qorstate", cli_tests::record("T", cli_tests::payload_of_lines(lines)));

    const ReadTable table = exported({"capture"});

    expect_reports(table, dump);
    EXPECT_EQ(column(table, "device").texts, Words(3, "capture"));
}

TEST_P(ExportTest, TrailingBytesAreCutAndNamedAsDecodeDoes) {
    const std::string dump = fleet_dump(2, 100);
    folder.file("torn.bin", dump + "12345");

    const Outcome outcome = run({"torn.bin"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "qorstat: torn.bin: byte 4800: 5 trailing bytes are not a whole report\n");
    expect_reports(read(outcome.out), dump);
    const ReadTable dumps = read(run({"torn.bin", "--table", "dumps"}).out);
    EXPECT_EQ(column(dumps, "trailing_bytes").numbers, std::vector<std::uint64_t>{5});
    EXPECT_EQ(column(dumps, "reports").numbers, std::vector<std::uint64_t>{100});
    surroundings.standard_input = dump + "12345";
    EXPECT_EQ(column(read(run({"-", "--table", "dumps"}).out), "trailing_bytes").numbers,
              std::vector<std::uint64_t>{5});
}

TEST_P(ExportTest, OfADamagedFileTheReportsBeforeTheDamageAreExportedAsDecodeShowsThem) {
    const std::string packed = cli_tests::gzip(fleet_dump(2, 5000));
    folder.file("cut.bin.gz", packed.substr(0, packed.size() / 2));
    folder.file("whole.bin", fleet_dump(1, 10));
    const Outcome decoded = qorstat({"decode", "cut.bin.gz", "whole.bin", "--format", "csv"}, surroundings);
    const std::size_t reports = cli_tests::split_lines(decoded.out).size() - 1; // without the line of names

    const Outcome outcome = run({"cut.bin.gz", "whole.bin"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, decoded.err);
    ASSERT_GT(reports, 10U);
    expect_reports(read(outcome.out), fleet_dump(2, reports - 10) + fleet_dump(1, 10));
}

TEST_P(ExportTest, InputsThatCannotBeReadAreNamedAndTheOthersExported) {
    folder.file("result", "former");
    EXPECT_EQ(run({"nowhere", "-o", "result"}).exit_code, 1);
    EXPECT_EQ(run({"nowhere", "--table", "scalar", "-o", "result"}).exit_code, 1);
    EXPECT_EQ(content_of(folder.path() / "result"), "former");

    const std::string dump = fleet_dump(1, 10);
    folder.file("dump.bin", dump);
    const Outcome outcome = run({"nowhere", "dump.bin", "-o", "result"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: nowhere: No such file or directory\n");
    expect_reports(read(content_of(folder.path() / "result")), dump);
}

TEST_P(ExportTest, DumpsHaveTheirFactsAndClocks) {
    std::string dump = cli_tests::report(cli_tests::kAccelData, 10, 500);
    dump += cli_tests::report(cli_tests::kAccelData, 11, 900);
    dump += cli_tests::report(cli_tests::kAccelData, 15, 700);
    folder.file("a.bin", dump);
    folder.file("empty.bin", "");

    const ReadTable table = exported({"--table", "dumps", "a.bin", "empty.bin"});

    EXPECT_EQ(column(table, "file").texts, (Words{"a.bin", "empty.bin"}));
    using Numbers = std::vector<std::uint64_t>;
    using Nulls = std::vector<std::uint8_t>;
    EXPECT_EQ(column(table, "reports").numbers, (Numbers{3, 0}));
    EXPECT_EQ(column(table, "first_timestamp").numbers, (Numbers{500, 0}));
    EXPECT_EQ(column(table, "first_timestamp").nulls, (Nulls{0, 1}));
    EXPECT_EQ(column(table, "last_timestamp").numbers, (Numbers{900, 0}));
    EXPECT_EQ(column(table, "last_timestamp").nulls, (Nulls{0, 1}));
    EXPECT_EQ(column(table, "gaps").numbers, (Numbers{1, 0}));
    EXPECT_EQ(column(table, "missing").numbers, (Numbers{3, 0}));
    for (const char *name : {"sync_qor", "sync_calendar", "boot_timestamp"}) {
        EXPECT_EQ(column(table, name).nulls, (Nulls{1, 1})) << name;
    }

    const ReadTable clocked =
        exported({"--table", "dumps", "a.bin", "--time-sync", "qor=-1,calendar=5", "--boot-time", "7"});
    EXPECT_EQ(column(clocked, "sync_qor").numbers, Numbers{~std::uint64_t{0}});
    EXPECT_EQ(column(clocked, "sync_calendar").numbers, Numbers{5});
    EXPECT_EQ(column(clocked, "boot_timestamp").numbers, Numbers{7});
}

TEST_P(ExportTest, StoresKeepEveryDigit) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const std::vector<double> values = {-kInfinity, -0.1, 0, 5e-324, 0.1 + 0.2, 1e300, kInfinity};
    host::StoreContents contents{{{"a", std::numeric_limits<std::int64_t>::min()}, {"b", -1}, {"c", 7}}, {}};
    for (std::size_t i = 0; i < values.size(); ++i) {
        contents.distributions["d"][values[i]] = i + 1;
    }
    contents.distributions["e"][4] = std::numeric_limits<std::int64_t>::max();
    host::write_new_analytics_store(folder.path() / "s.db", contents);

    const ReadTable scalars = exported({"--table", "scalar", "s.db"});
    EXPECT_EQ(column(scalars, "device").texts, Words(3, "s"));
    EXPECT_EQ(column(scalars, "store").texts, Words(3, "s.db"));
    EXPECT_EQ(column(scalars, "key").texts, (Words{"a", "b", "c"}));
    EXPECT_EQ(column(scalars, "value").numbers,
              (std::vector<std::uint64_t>{std::uint64_t{1} << 63, ~std::uint64_t{0}, 7}));

    const ReadTable distributions = exported({"--table", "distribution", "s.db"});
    EXPECT_EQ(column(distributions, "key").texts, (Words{"d", "d", "d", "d", "d", "d", "d", "e"}));
    std::vector<std::uint64_t> bits;
    for (const double value : values) {
        bits.push_back(std::bit_cast<std::uint64_t>(value));
    }
    bits.push_back(std::bit_cast<std::uint64_t>(4.0));
    EXPECT_EQ(column(distributions, "value").numbers, bits);
    EXPECT_EQ(column(distributions, "count").numbers,
              (std::vector<std::uint64_t>{1, 2, 3, 4, 5, 6, 7, ~std::uint64_t{0} >> 1}));
}

TEST_P(ExportTest, AStoreWasTakenWhenItWasWritten) {
    host::write_new_analytics_store(folder.path() / "s.db", {{{"a", 1}}, {}});
    struct stat status {};
    ASSERT_EQ(stat((folder.path() / "s.db").c_str(), &status), 0);
    const std::int64_t taken = status.st_mtim.tv_sec * 1'000'000 + status.st_mtim.tv_nsec / 1000;

    EXPECT_EQ(column(exported({"--table", "scalar", "s.db"}), "taken").numbers,
              std::vector<std::uint64_t>{static_cast<std::uint64_t>(taken)});
}

TEST_P(ExportTest, RecordsAreWhatShowPrints) {
    fs::create_directory(folder.path() / "capture");
    folder.file("dump.bin", fleet_dump(1, 2));
    const Words lines = cli_tests::split_lines(qorstat({"decode", "dump.bin", "--format", "text"}, surroundings).out);
    folder.file("capture/all.qorstate", cli_tests::record("first", cli_tests::kDictionary) +
                                            cli_tests::record("not \xFF UTF-8", cli_tests::kRedLine) +
                                            cli_tests::record("reports", cli_tests::payload_of_lines(lines)));
    const nlohmann::json shown =
        nlohmann::json::parse(qorstat({"show", "--json", "capture/all.qorstate"}, surroundings).out);

    const ReadTable table = exported({"--table", "records", "capture"});

    EXPECT_EQ(column(table, "device").texts, Words(3, "capture"));
    EXPECT_EQ(column(table, "file").texts, Words(3, "capture/all.qorstate"));
    EXPECT_EQ(column(table, "number").numbers, (std::vector<std::uint64_t>{1, 2, 3}));
    EXPECT_EQ(column(table, "title").texts, (Words{"first", "", "reports"}));
    EXPECT_EQ(column(table, "title").nulls, (std::vector<std::uint8_t>{0, 1, 0}));
    EXPECT_EQ(column(table, "reports").numbers, (std::vector<std::uint64_t>{0, 0, 2}));
    ASSERT_EQ(shown.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        const std::string &content = column(table, "content").texts[i];
        EXPECT_EQ(nlohmann::json::parse(content), shown[i]);
        EXPECT_EQ(content.find('\n'), std::string::npos);
    }
}

TEST_P(ExportTest, ATableWithoutRowsHasItsColumns) {
    folder.file("empty.bin", "");
    const ReadTable table = exported({"empty.bin"});
    expect_reports(table, "");

    host::write_new_analytics_store(folder.path() / "empty.db", {});
    EXPECT_EQ(names_of(exported({"--table", "distribution", "empty.db"})),
              (Words{"device", "store", "taken", "key", "value", "count"}));
}

TEST_P(ExportTest, PartsAreBounded) {
    constexpr std::uint32_t kPart = 1U << 18;
    const std::string dump = cli_tests::numbered_reports(kPart);
    folder.file("dump.bin", dump);
    EXPECT_EQ(exported({"dump.bin"}).parts, std::vector<std::size_t>{kPart});

    folder.file("one.bin", fleet_dump(2, 1));
    const ReadTable table = exported({"dump.bin", "one.bin"});

    EXPECT_EQ(table.parts, (std::vector<std::size_t>{kPart, 1}));
    expect_reports(table, dump + fleet_dump(2, 1));
}

class ExportUse : public testing::Test {
protected:
    void expect_wrong_use(const Words &words, const std::string &message) {
        Words all = {"export"};
        all.insert(all.end(), words.begin(), words.end());
        const Outcome outcome = qorstat(all, surroundings);
        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "qorstat: export: " + message + "\n");
    }

    Surroundings surroundings;
};

TEST_F(ExportUse, WrongUseIsOneError) {
    expect_wrong_use({}, "INPUT is required");
    expect_wrong_use({"x"}, "--format is required");
    expect_wrong_use(
        {"x", "--format", "parket"},
        "invalid value \"parket\" for --format: expected one of clickhouse, parquet; did you mean \"parquet\"?");
    expect_wrong_use(
        {"x", "--format", "parquet", "--table", "report"},
        "invalid value \"report\" for --table: expected one of reports, dumps, scalar, distribution, records; "
        "did you mean \"reports\"?");
    expect_wrong_use({"x", "--format", "parquet", "--boot-time", "1"},
                     "--time-sync and --boot-time require --table dumps, which has the clocks");
}

TEST_F(ExportUse, ATerminalGetsNoBytes) {
    SKIP_WITHOUT_TERMINALS();
    surroundings.output_is_terminal = true;
    for (const Words &words :
         {Words{"export", "x", "--format", "parquet"}, Words{"export", "x", "--format", "parquet", "-o", "-"}}) {
        const Outcome outcome = qorstat(words, surroundings);
        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_EQ(outcome.err, "qorstat: export: -o FILE is required on a terminal\n");
    }
}

} // namespace
