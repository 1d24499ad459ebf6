// The parts of a load that need no server: tests/cli/questions/load_test.py has the others.
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/arguments/wrong_use.h"
#include "cli/questions/engine_client.h"
#include "cli/questions/http_connection.h"
#include "cli/questions/row_binary.h"
#include "cli/questions/shards.h"
#include "cli/questions/sip_hash.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// What the engine answers to sipHash64 of these texts.
TEST(Load, HashesDevicesAsTheEngineDoes) {
    EXPECT_EQ(cli::sip_hash(""), 2202906307356721367u);
    EXPECT_EQ(cli::sip_hash("device-0001"), 11004768778696646972u);
    EXPECT_EQ(cli::sip_hash("12345678"), 6766637294834280856u);
    EXPECT_EQ(cli::sip_hash("Gerät"), 13913934417508718160u);
}

TEST(Load, PutsDevicesIntoShardsByTheirWeights) {
    const cli::ShardMap map({3, 0, 2});
    EXPECT_EQ(map.count(), 3u);
    std::vector<int> counts(3);
    for (int number = 0; number < 100; ++number) {
        const std::string device = "device-" + std::to_string(number);
        const std::size_t shard = map.shard_of(device);
        EXPECT_EQ(shard, cli::sip_hash(device) % 5 < 3 ? 0u : 2u);
        ++counts[shard];
    }
    EXPECT_THAT(counts, ElementsAre(testing::Gt(40), 0, testing::Gt(20)));
}

TEST(Load, ReadsTheEnginesAnswers) {
    using Row = std::vector<std::string>;
    const auto rows = cli::parse_answer("a\\tb\\\\\\n\\0\t\\N\n\t\\\\N\n", 2);
    ASSERT_TRUE(rows);
    EXPECT_THAT(*rows, ElementsAre(Row{std::string("a\tb\\\n\0", 6), "\\N"}, Row{"", "\\N"}));
    EXPECT_EQ(cli::parse_answer("", 2)->size(), 0u);
    EXPECT_EQ(cli::parse_answer("a\tb", 2), std::nullopt);
    EXPECT_EQ(cli::parse_answer("a\tb\tc\n", 2), std::nullopt);
    EXPECT_EQ(cli::parse_answer("a\tb\na\n", 2), std::nullopt);
    EXPECT_EQ(cli::parse_answer("\n", 2), std::nullopt);
}

TEST(Load, QuotesTextsForTheEngine) { EXPECT_EQ(cli::text_literal("it's \\"), "'it\\'s \\\\'"); }

TEST(Load, WritesRowsInBinary) {
    cli::RowBinary row;
    row.add(std::string_view("ab"));
    row.add(std::uint8_t{7});
    row.add(std::int64_t{-2});
    row.add(std::optional<std::uint64_t>());
    row.add(std::optional<std::uint64_t>(258));
    const std::vector<std::uint64_t> numbers = {1};
    row.add(std::span(numbers));
    row.add(std::string_view(std::string(300, 'x')));
    std::string expected("\2ab\7\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\1\0\2\1\0\0\0\0\0\0\1\1\0\0\0\0\0\0\0\xAC\2", 33);
    EXPECT_EQ(row.bytes(), expected + std::string(300, 'x'));
}

TEST(Load, TakesUrlsWithoutPasswords) {
    for (const char *url : {"http://localhost:8123", "https://a.example/engine/", "http://[::1]:1", "http://a/b@c"}) {
        EXPECT_NO_THROW(cli::require_plain_url("--to", url)) << url;
    }
    for (const char *url : {"", "a", "http://", "http:///x", "ftp://a", "http://a b", "HTTP://a", "http://a\n"}) {
        EXPECT_THROW(cli::require_plain_url("--to", url), cli::WrongUse) << url;
    }
    for (const char *url :
         {"http://name:secret@a", "https://secret@a/", "name:secret@a", "ftp://name:secret@a", "http:///name:secret@a",
          "http://a/?password=secret", "http://a?secret", "http://a/#secret"}) {
        try {
            cli::require_plain_url("--to", url);
            ADD_FAILURE() << url;
        } catch (const cli::WrongUse &error) {
            EXPECT_THAT(error.what(), HasSubstr("QORSTAT_CLICKHOUSE_PASSWORD"));
            EXPECT_THAT(error.what(), Not(HasSubstr("secret")));
        }
    }
}

} // namespace
