/** `publish`: a batch of analytics entries applied to a store through the real module. */
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "host/store/analytics_store.h"
#include "tests/cli/program.h"
#include "tests/file_size_limit.h"

using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;

namespace {

std::string entry(std::uint8_t version, std::uint8_t operation, std::uint8_t key, std::int32_t value) {
    std::string bytes{static_cast<char>(version), static_cast<char>(operation), static_cast<char>(key)};
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(static_cast<std::uint32_t>(value) >> shift & 0xFF);
    }
    return bytes;
}

std::string entry(std::uint8_t operation, std::uint8_t key, std::int32_t value) {
    return entry(0x3A, operation, key, value);
}

constexpr std::uint8_t kClicks = 0;
constexpr std::uint8_t kClickDuration = 11;
constexpr std::uint8_t kTest = 57;

class PublishTest : public testing::Test {
protected:
    PublishTest() {
        surroundings.folder = folder.path();
        surroundings.environment = {{"XDG_STATE_HOME", folder.path() / "state"}};
    }

    Outcome publish(const std::string &batch, std::vector<std::string> options = {"--store", "store.db"}) const {
        options.insert(options.begin(), {"publish", folder.file("batch.bin", batch)});
        return qorstat(options, surroundings);
    }

    host::StoreContents store(const std::string &file = "store.db") const {
        return host::read_analytics_store(folder.path() / file);
    }

    TemporaryFolder folder;
    Surroundings surroundings;
};

/** The exit code tells what was done: a retry would apply the batch twice. */
TEST_F(PublishTest, ASummaryThatCannotBePrintedIsNoFailure) {
    surroundings.output_file = "/dev/full";

    const Outcome outcome = publish(entry(3, kClicks, 40));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err,
              "qorstat: done, but the summary cannot be printed: standard output: No space left on device\n");
    EXPECT_EQ(store().scalars.at("com.ondre.zel.button.click.count"), 40);
}

TEST_F(PublishTest, EveryOperationReachesTheStore) {
    const Outcome outcome = publish(entry(2, kClicks, 40) + entry(3, kClicks, -2) + entry(8, kClickDuration, -32768) +
                                    entry(5, kTest, 65536) + entry(2, kTest, 1) + entry(1, kTest, 0));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "6 entries: 6 applied, 0 without an operation, 0 skipped for their version\n");
    EXPECT_EQ(outcome.err, "");
    host::StoreContents expected;
    expected.scalars["com.ondre.zel.button.click.count"] = 38;
    expected.distributions["com.ondre.zel.button.click.duration"] = {{-0.5, 3}};
    expected.distributions["com.ondre.zel.test"] = {{1.0, 1}};
    EXPECT_EQ(store(), expected);
}

TEST_F(PublishTest, ASecondBatchAddsToTheFirst) {
    publish(entry(3, kClicks, 5));
    publish(entry(3, kClicks, 6));

    EXPECT_EQ(store().scalars.at("com.ondre.zel.button.click.count"), 11);
}

TEST_F(PublishTest, EntriesThatChangeNothingAreCounted) {
    const Outcome outcome =
        publish(entry(0x39, 2, kClicks, 1) + entry(0, kClicks, 1) + entry(0x3B, 0, 0, 0) + entry(2, 58, 7));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "4 entries: 1 applied, 1 without an operation, 2 skipped for their version\n");
    host::StoreContents expected;
    expected.scalars["com.ondre.zel.unknown"] = 7;
    EXPECT_EQ(store(), expected);
}

TEST_F(PublishTest, TheLogIsShownWhenAskedFor) {
    const Outcome outcome = publish(entry(0x39, 2, kClicks, 1) + entry(0, 200, 1), {"--store", ":memory:", "--log"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "2 entries: 0 applied, 1 without an operation, 1 skipped for their version\n");
    EXPECT_THAT(outcome.err,
                testing::MatchesRegex("[^\n]*publishTBData qortbkkeys version mismatch \\(0x39/0x3a\\)\n"
                                      "[^\n]*key < kQORTbkKey_Count[^\n]*line: 434 value:0\n"
                                      "[^\n]*publishTBData op=0 'com\\.ondre\\.zel\\.unknown' \\(0xc8\\)\n"));
}

TEST_F(PublishTest, TheLogIsShownFromTheLevelAskedFor) {
    const std::string batch = entry(0x39, 2, kClicks, 1) + entry(0, 200, 1);

    const Outcome errors = publish(batch, {"--store", ":memory:", "--log-level", "error"});
    const Outcome faults = publish(batch, {"--store", ":memory:", "--log-level", "fault"});

    EXPECT_THAT(errors.err, testing::MatchesRegex("[^\n]*publishTBData qortbkkeys version mismatch \\(0x39/0x3a\\)\n"
                                                  "[^\n]*publishTBData op=0 'com\\.ondre\\.zel\\.unknown' \\(0xc8\\)\n"
                                                  "log messages not shown: 1 of level default "
                                                  "\\(--log-level default shows them\\)\n"));
    EXPECT_EQ(faults.err, "log messages not shown: 2 of level error, 1 of level default (--log-level default shows "
                          "them)\n");
    EXPECT_EQ(publish(batch, {"--store", ":memory:"}).err, "");
    EXPECT_EQ(publish(batch, {"--log", "--log-level", "error"}).err, "qorstat: publish: --log excludes --log-level\n");
}

TEST_F(PublishTest, StandardInputIsABatchToo) {
    surroundings.standard_input = entry(2, kTest, -1);

    const Outcome outcome = qorstat({"publish", "-", "--store", "store.db"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "1 entry: 1 applied, 0 without an operation, 0 skipped for their version\n");
    EXPECT_EQ(store().scalars.at("com.ondre.zel.test"), -1);
}

TEST_F(PublishTest, AnEmptyBatchIsFine) {
    const Outcome outcome = publish("");

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "0 entries: 0 applied, 0 without an operation, 0 skipped for their version\n");
    EXPECT_EQ(store(), host::StoreContents{});
}

TEST_F(PublishTest, TheDefaultStoreIsThatOfARun) {
    EXPECT_EQ(publish(entry(2, kTest, 4), {}).exit_code, 0);

    EXPECT_EQ(store("state/qorstat/analytics.db").scalars.at("com.ondre.zel.test"), 4);
}

TEST_F(PublishTest, AnUnfinishedEntryIsAnErrorThatNamesTheRestAndAppliesNothing) {
    const Outcome outcome = publish(entry(2, kTest, 4) + "\x3A\x02");

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: " + (folder.path() / "batch.bin").string() +
                               ": byte 7: not a whole entry of 7 bytes: 2 of 9 bytes are left over\n");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"batch.bin"});
}

TEST_F(PublishTest, ABatchHasALimit) {
    const Outcome outcome = qorstat({"publish", "/dev/zero", "--store", ":memory:"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: /dev/zero: has more than 256 MB\n");
}

TEST_F(PublishTest, AnUnfinishedEntryOfStandardInputIsAnErrorToo) {
    surroundings.standard_input = "\x3A";

    const Outcome outcome = qorstat({"publish", "-", "--store", "store.db"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err,
              "qorstat: standard input: byte 0: not a whole entry of 7 bytes: 1 of 1 bytes are left over\n");
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(PublishTest, AFileThatIsNoStoreIsAnErrorAndStaysAsItWas) {
    folder.file("store.db", "not a store");

    const Outcome outcome = publish(entry(2, kTest, 4));

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: store.db: is not an analytics store\n");
    EXPECT_EQ(cli_tests::content_of(folder.path() / "store.db"), "not a store");
}

TEST_F(PublishTest, AModuleWithoutTheFactoryIsAnErrorAndLeavesNoStore) {
    const Outcome outcome = publish(entry(2, kTest, 4), {"--store", "store.db", "--plugin", QOR_FOREIGN_MODULE});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, testing::StartsWith("qorstat: " QOR_FOREIGN_MODULE ": "));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"batch.bin"});
}

TEST_F(PublishTest, AModuleThatInstallsNoCallbackIsAnErrorAndLeavesNoStore) {
    const Outcome outcome = publish(entry(2, kTest, 4), {"--store", "store.db", "--plugin", QOR_SILENT_MODULE});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: " QOR_SILENT_MODULE ": the plug-in installs no analytics callback\n");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"batch.bin"});
}

TEST_F(PublishTest, ABatchThatCannotBeWrittenIsAFailureAndNothingOfItIsApplied) {
    publish(entry(2, kTest, 4));
    std::string batch;
    for (std::int32_t value = 0; value < 10'000; ++value) {
        batch += entry(6, kClickDuration, value) + entry(6, kTest, value);
    }
    const std::string file = folder.file("large.bin", batch);

    Outcome outcome;
    {
        const FileSizeLimit limit(300 * 1024);
        outcome = qorstat({"publish", file, "--store", "store.db"}, surroundings);
    }

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: store.db: cannot be read or written: disk I/O error: File too large; "
                           "20000 operations are lost\n");
    host::StoreContents expected;
    expected.scalars["com.ondre.zel.test"] = 4;
    EXPECT_EQ(store(), expected);
}

} // namespace
