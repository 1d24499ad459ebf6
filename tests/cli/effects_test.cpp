/** The exit code tells what a verb has done to its files, whatever becomes of its output; and it touches no others. */
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "host/store/analytics_store.h"
#include "tests/cli/hosting.h"
#include "tests/cli/program.h"
#include "tests/hostile_store.h"

using cli_tests::isolate_in;
using cli_tests::kSmall;
using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::TemporaryFolder;

namespace {

namespace fs = std::filesystem;

/** Sets the scalar of key 57 to 4. */
const std::string kBatch("\x3A\x02\x39\x04\x00\x00\x00", 7);

// ---- output that fails

/** A verb that changes something; what it changes is `effect`. */
struct Change {
    std::string name;
    std::vector<std::string> arguments;
    std::string effect;
};

/** Runs a verb by a shell, which opens its streams as told. */
class OutputThatFails : public testing::TestWithParam<Change> {
protected:
    Outcome run(const std::string &streams) {
        host::write_new_analytics_store(folder.path() / "a.db", {{{"key", 2}}, {}});
        host::write_new_analytics_store(folder.path() / "b.db", {{{"key", 3}}, {}});
        folder.file("batch.bin", kBatch);
        cli_tests::Surroundings surroundings = isolate_in(runtime);
        surroundings.folder = folder.path();
        surroundings.program = "/bin/sh";
        std::vector<std::string> arguments = {"-c", "exec \"$0\" \"$@\" " + streams, QORSTAT};
        arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
        return qorstat(arguments, surroundings);
    }

    TemporaryFolder runtime;
    TemporaryFolder folder;
};

TEST_P(OutputThatFails, LeavesTheEffectAndSaysThatItIsThere) {
    for (const std::string streams : {">/dev/full", ">&-", "2>&-", ">/dev/full 2>/dev/full"}) {
        SCOPED_TRACE(streams);

        const Outcome outcome = run(streams);

        EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
        const fs::path effect = folder.path() / GetParam().effect;
        EXPECT_TRUE(fs::exists(effect));
        if (fs::is_regular_file(effect)) {
            EXPECT_FALSE(host::read_analytics_store(effect).scalars.empty() && GetParam().name != "Run");
        } else {
            EXPECT_FALSE(fs::is_empty(effect));
        }
        for (const auto &entry : fs::directory_iterator(folder.path())) {
            fs::remove_all(entry.path());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, OutputThatFails,
    testing::Values(Change{"Publish", {"publish", "batch.bin", "--store", "store.db"}, "store.db"},
                    Change{"Merge", {"metrics", "--merge", "a.db", "b.db", "-o", "sum.db"}, "sum.db"},
                    Change{"Run", {"run", kSmall, "--for", "0", "--store", "store.db"}, "store.db"},
                    Change{"Capture", {"capture", kSmall, "-o", "records"}, "records"},
                    Change{
                        "CaptureWithAStore", {"capture", kSmall, "-o", "records", "--store", "store.db"}, "records"}),
    [](const testing::TestParamInfo<Change> &change) { return change.param.name; });

// ---- copies

TEST(MergeOfOneStore, IsACopyWhileAHostWrites) {
    const TemporaryFolder folder;
    host::AnalyticsStore store(folder.path() / "store.db");
    host::StoreChanges changes;
    changes.add_to_scalar("key", 3);
    store.apply(changes);
    cli_tests::Surroundings surroundings;
    surroundings.folder = folder.path();

    const Outcome outcome = qorstat({"metrics", "--merge", "store.db", "-o", "copy.db"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    fs::rename(folder.path() / "copy.db", folder.path() / "elsewhere.db");
    EXPECT_EQ(host::read_analytics_store(folder.path() / "elsewhere.db"), store.contents());
}

// ---- what stands beside a store

class HostileFolder : public testing::TestWithParam<store_tests::Surroundings> {};

/** One verb that reads and one that writes with all surroundings, every verb with one of each kind. */
bool tries_every_verb(const std::string &name) {
    return name == "JournalThatNamesAFileToDelete" || name == "LogFifo" || name == "IndexLinkToAFile" ||
           name == "JournalOfZeros";
}

/** None deletes, makes or changes a file that is not the store's own. */
TEST_P(HostileFolder, IsLeftAsItIsByEveryVerb) {
    const TemporaryFolder folder;
    const TemporaryFolder elsewhere;
    cli_tests::Surroundings surroundings = isolate_in(elsewhere);
    surroundings.folder = folder.path();
    const std::string batch = elsewhere.file("batch.bin", kBatch);
    host::write_new_analytics_store(folder.path() / "store.db", {{{"key", 2}}, {}});
    host::write_new_analytics_store(elsewhere.path() / "other.db", {{{"key", 3}}, {}});
    GetParam().make(folder.path());
    auto before = store_tests::state_of_folder(folder.path());
    std::vector<std::vector<std::string>> verbs = {
        {"metrics", "store.db"},
        {"publish", batch, "--store", "store.db"},
        {"metrics", "--merge", elsewhere.path() / "other.db", "store.db", "-o", elsewhere.path() / "sum.db"},
        {"run", kSmall, "--for", "0", "--store", "store.db"},
        {"capture", kSmall, "-o", elsewhere.path() / "records", "--store", "store.db"},
    };

    if (!tries_every_verb(GetParam().name)) {
        verbs.resize(2);
    }

    for (const std::vector<std::string> &verb : verbs) {
        SCOPED_TRACE(verb.front());
        const Outcome outcome = qorstat(verb, surroundings);

        EXPECT_EQ(outcome.exit_code, GetParam().reason.empty() ? 0 : 1);
        if (!GetParam().reason.empty()) {
            EXPECT_EQ(outcome.err, "qorstat: store.db: " + GetParam().reason + "\n");
        }
        auto after = store_tests::state_of_folder(folder.path());
        const bool may_write = verb.front() != "metrics" && GetParam().reason.empty();
        if (may_write) {
            before["store.db"] = after["store.db"];
        }
        EXPECT_EQ(after, before);
    }
}

INSTANTIATE_TEST_SUITE_P(With, HostileFolder, testing::ValuesIn(store_tests::hostile_surroundings()),
                         [](const testing::TestParamInfo<store_tests::Surroundings> &made) { return made.param.name; });

} // namespace
