/** `validate`: the real module passes every check, and a broken module fails exactly the check for its breach. */
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <elf.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/cli/program.h"

using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct BrokenModule {
    std::string breach; ///< as `breaches.h` names it
    std::string check;  ///< the check that finds it
    std::string status;
    std::string reason;            ///< part of a reason
    std::set<std::string> skipped; ///< checks that cannot run on such a module; "*": any
};

void PrintTo(const BrokenModule &module, std::ostream *out) { *out << module.breach; }

const BrokenModule kBrokenModules[] = {
    {"ExportsOneMore", "exports", "failed", "sound_factory is also exported", {}},
    {"ExportsOneLess",
     "exports",
     "failed",
     "qor_profile_print is not exported",
     {"report-entry-points", "any-report", "report-threads"}},
    {"IsUnprotected", "protection", "warning", "its relocated data stays writable", {}},
    {"IsLinkedElsewhere",
     "platform",
     "warning",
     "the module was linked with " QOR_OTHER_PLATFORM "libqorplatform.so.1 (",
     {}},
    {"AbortsWhileLoading", "loading", "crashed", "(SIGABRT, Aborted), without a result", {"*"}},
    {"EnablesDelta", "report-entry-points", "failed", "_qor_profile_delta_enabled at load: 1, expected 0", {}},
    {"EndsVastrelLinesWithANewline", "any-report", "failed", "a report is described as: {  'category':'vastrel'", {}},
    {"DescribesByThread", "report-threads", "failed", "descriptions that differ between threads: ", {}},
    {"MakesNothing", "factory-type", "failed", "returns no object for the session-filter type", {"*"}},
    {"AcceptsANeighbouringType", "factory-wrong-types", "failed", "type 7f1a3ae6-3e3d-470a-bd15-a2dd7e1bb799", {}},
    {"GivesBackAStranger", "factory-memory", "failed", "blocks freed that the allocator did not allocate: 1", {}},
    {"WritesWithoutMemory", "factory-without-memory", "crashed", "without a result", {}},
    {"StaysAnInstance", "factory-instances", "failed", "factory instances after its last Release: 1", {}},
    {"ProvidesSlot9", "table-slots", "failed", "slot 9 is not null", {}},
    {"LacksSlot8", "table-slots", "failed", "slot 8 (close) is null", {"*"}},
    {"DoesNotCountAQuery", "query-known", "failed", "references left after one Release: 2, expected 3", {}},
    {"LeavesTheResultOfARefusedQuery", "query-unknown", "failed", "does not set the result to null", {}},
    {"CountsARefusedQuery", "query-unknown", "failed", "references left by refused queries", {}},
    {"AnswersTheCountBefore", "counting", "failed", "AddRef in step 0: 1, expected 2", {}},
    {"EndsTheProcessInAddRef", "counting", "crashed", "ended with exit status 0, without a result", {}},
    {"PrintsInAddRef", "counting", "warning", "writes to standard output or standard error", {}},
    {"RefusesOptions", "open", "failed", "open with options 0x1 returns false", {}},
    {"LogsInClose", "call-order", "failed", "a correct sequence of calls writes to the log: closed", {}},
    {"StaysClosed", "reopening", "failed", "after close, open returns false", {}},
    {"HandsOutOneObject", "two-objects", "failed", "returns the same object twice", {}},
    {"IgnoresPressure", "services-kept", "failed", "handlers of a service for pressure: 0, expected 105", {}},
    {"KeepsATransport", "services-refused", "failed", "typed values held after 20 more rounds: 20", {}},
    {"RegistersReportsAgain",
     "raw-debug-once",
     "failed",
     "handlers after a sensor, a button and one more: 211, expected 107",
     {}},
    {"InstallsNoCallback",
     "analytics-callback",
     "failed",
     "no callback is installed for a service with analytics",
     {"analytics-entries"}},
    {"LosesAnAddition", "analytics-entries", "failed", "the values in the store differ from those of the entries", {}},
    {"ListensToAnotherName", "fault-notification", "failed", "faults in the log after one notification: 0", {}},
    {"LeavesAThread", "nothing-after-release", "failed", "threads: ", {}},
    {"AnswersErrors", "capture-kinds", "failed", "records of reports for kind 1: 104, expected 0", {}},
    {"MixesUpTitles", "capture-order", "failed", "record 7 has the title \"ZEL Profile 8 ;count=1 ;type=fw\"", {}},
    {"HandsOutARecordTwice", "capture-records", "crashed", "without a result", {}},
    {"ReadsWhatTheDriverClaims", "driver-lies", "crashed", "without a result", {}},
    {"LosesAQuerysMemory", "rounds-flat", "failed", "bytes held after 100 more rounds: ", {}},
    {"LosesASchedulesMemory", "rounds-leaks", "failed", "100 rounds leak 1", {}},
    {"LosesAKeyString", "rounds-leaks", "failed", "(the key strings): 59, expected 58", {}},
};

/** Without the leak checker, since broken modules leak, and with definitions twice, as two libraries of one name have
 * them. */
Surroundings without_leak_search() {
    const char *given = std::getenv("ASAN_OPTIONS");
    Surroundings surroundings;
    surroundings.environment = {
        {"ASAN_OPTIONS", (given == nullptr ? "" : std::string(given) + ":") + "detect_leaks=0:detect_odr_violation=0"}};
    return surroundings;
}

std::string broken_module(const std::string &breach) { return QOR_BROKEN_MODULES "broken_" + breach + ".so"; }

std::set<std::string> list_names() {
    std::set<std::string> names;
    for (const json &check : json::parse(qorstat({"validate", "--list", "--json"}).out)) {
        names.insert(check["name"].get<std::string>());
    }
    return names;
}

class BrokenModuleTest : public testing::TestWithParam<BrokenModule> {};

/** All checks, so that no other one finds the breach. Sanitizers are slow: with one, only the check for it. */
std::string checks_to_run(const BrokenModule &module) { return QOR_IS_SANITIZED ? "^" + module.check + "$" : ""; }

/** Seconds per check: more than any machine needs. */
constexpr const char *kLongTimeOut = "3600";

TEST_P(BrokenModuleTest, IsFoundOutByExactlyTheCheckForIt) {
    const BrokenModule &row = GetParam();

    Surroundings surroundings = without_leak_search();
    surroundings.sanitizers_may_report = true;
    const Outcome outcome = qorstat(
        {"validate", broken_module(row.breach), "--json", "--only", checks_to_run(row), "--timeout", kLongTimeOut},
        surroundings);

    EXPECT_EQ(outcome.exit_code, row.status == "warning" ? 0 : 1);
    const json result = json::parse(outcome.out);
    EXPECT_EQ(result["checks"].size(), QOR_IS_SANITIZED ? 1 : list_names().size());
    for (const json &check : result["checks"]) {
        const std::string name = check["name"];
        const std::string status = check["status"];
        if (name == row.check) {
            EXPECT_EQ(status, row.status) << check.dump(2);
            EXPECT_THAT(check["reasons"].dump(-1), HasSubstr(json(row.reason).dump().substr(1, row.reason.size())));
        } else if (row.skipped.count(name) != 0 || (row.skipped.count("*") != 0 && status == "skipped")) {
            EXPECT_EQ(status, "skipped") << check.dump(2);
        } else if (name == "exports" && status == "warning") {
            // The symbols that sanitizers and coverage add.
            EXPECT_THAT(check["reasons"].dump(), HasSubstr("added by the compiler"));
        } else {
            EXPECT_EQ(status, "passed") << check.dump(2);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryBreach, BrokenModuleTest, testing::ValuesIn(kBrokenModules),
                         [](const testing::TestParamInfo<BrokenModule> &module) { return module.param.breach; });

TEST(ValidateTest, EveryCheckHasABrokenModule) {
    std::set<std::string> proven;
    for (const BrokenModule &module : kBrokenModules) {
        proven.insert(module.check);
    }

    EXPECT_EQ(proven, list_names());
}

TEST(ValidateTest, TheBuiltModulePassesEveryCheck) {
    const Outcome outcome = qorstat({"validate", QOR_MODULE, "--json", "--timeout", kLongTimeOut});

    EXPECT_EQ(outcome.exit_code, 0);
    const json result = json::parse(outcome.out);
    EXPECT_EQ(result["module"], QOR_MODULE);
    EXPECT_EQ(result["checks"].size(), list_names().size());
    EXPECT_EQ(result["totals"]["failed"], 0);
    EXPECT_EQ(result["totals"]["crashed"], 0);
    EXPECT_EQ(result["totals"]["skipped"], 0);
}

TEST(ValidateTest, AHangIsACrashWithTheTimeThatItWasGiven) {
    const Outcome outcome =
        qorstat({"validate", broken_module("HangsInAddRef"), "--only", "^counting$", "--timeout", "1.5"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "crashed  counting                AddRef and Release return the count, in any order\n"
                           "         timed out after 1.5 seconds\n"
                           "1 check with seed 1: 0 passed, 0 failed, 1 crashed, 0 skipped, 0 warning\n");
    EXPECT_EQ(outcome.err, "");
}

TEST(ValidateTest, AFailureHasItsReasonsBelowItAndTheCommandThatShowsItAgain) {
    const std::string module = broken_module("AnswersTheCountBefore");

    const Outcome outcome =
        qorstat({"validate", module, "--only", "^counting$", "--seed", "7", "--reproduce"}, without_leak_search());

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "failed   counting                AddRef and Release return the count, in any order\n"
                           "         AddRef in step 0: 1, expected 2\n"
                           "         again: qorstat validate " +
                               module +
                               " --only '^counting$' --seed 7\n"
                               "1 check with seed 7: 0 passed, 1 failed, 0 crashed, 0 skipped, 0 warning\n");
}

/** Runs a command in the shell, with the built program in PATH. */
Outcome run_by_shell(const std::string &command) {
    Surroundings surroundings = without_leak_search();
    surroundings.program = "/bin/sh";
    surroundings.environment["PATH"] = fs::path(QOR_MODULE).parent_path().string() + ":" + std::getenv("PATH");
    return qorstat({"-c", command}, surroundings);
}

TEST(ValidateTest, ACommandThatShowsAFailureAgainDoes) {
    const TemporaryFolder folder;
    const fs::path module = folder.path() / "it's broken.so";
    const std::string begin =
        "qorstat validate '" + folder.path().string() + "/it'\\''s broken.so' --only '^counting$'";
    const struct {
        std::string breach;
        std::vector<std::string> options;
        std::string command;
    } rows[] = {
        {"AnswersTheCountBefore", {"--seed", "11"}, begin + " --seed 11"},
        {"HangsInAddRef", {"--timeout", "0.25"}, begin + " --seed 1 --timeout 0.25"},
    };
    for (const auto &row : rows) {
        fs::remove(module);
        fs::create_symlink(broken_module(row.breach), module);
        std::vector<std::string> arguments = {"validate", module, "--only", "^counting$", "--reproduce"};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        const std::string first = qorstat(arguments, without_leak_search()).out;

        const Outcome again = run_by_shell(row.command);

        EXPECT_EQ(again.exit_code, 1);
        const std::size_t totals = again.out.find("1 check with seed ");
        ASSERT_NE(totals, std::string::npos) << again.out << again.err;
        std::string expected = again.out;
        expected.insert(totals, "         again: " + row.command + "\n");
        EXPECT_EQ(first, expected);
    }
}

TEST(ValidateTest, AFileWhoseNameBeginsLikeAnOptionIsAModuleLikeAnyOther) {
    const TemporaryFolder folder;
    fs::create_symlink(broken_module("AnswersTheCountBefore"), folder.path() / "-x.so");
    Surroundings surroundings = without_leak_search();
    surroundings.folder = folder.path();

    const Outcome outcome = qorstat({"validate", "--only", "^counting$", "--reproduce", "--", "-x.so"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.out, testing::StartsWith("failed   counting "));
    EXPECT_THAT(outcome.out, HasSubstr("again: qorstat validate ./-x.so --only '^counting$' --seed 1\n"));
}

TEST(ValidateTest, ACheckThatExplainsASkippedOneIsMadeToo) {
    const struct {
        std::string module;
        std::string explaining;
    } rows[] = {
        {QOR_FOREIGN_MODULE, "loading"},
        {broken_module("MakesNothing"), "factory-type"},
        {broken_module("LacksSlot8"), "table-slots"},
    };
    for (const auto &row : rows) {
        const Outcome outcome =
            qorstat({"validate", row.module, "--only", "^(open|counting)$", "--json"}, without_leak_search());

        EXPECT_EQ(outcome.exit_code, 1);
        std::vector<std::string> results;
        const json result = json::parse(outcome.out);
        for (const json &check : result["checks"]) {
            results.push_back(check["name"].get<std::string>() + " " + check["status"].get<std::string>());
        }
        EXPECT_THAT(results, testing::ElementsAre("counting skipped", "open skipped", row.explaining + " failed"));
    }
}

TEST(ValidateTest, WhatAModulePrintsIsShownEscapedWhereTheCheckDidNotPass) {
    const Outcome outcome =
        qorstat({"validate", broken_module("PrintsInAddRef"), "--only", "^(counting|open)$"}, without_leak_search());

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(outcome.out, HasSubstr("warning  counting"));
    EXPECT_THAT(outcome.out, HasSubstr("\n         | one more \\x1b[31mreference\n"));
    EXPECT_THAT(outcome.out, HasSubstr("2 checks with seed 1: 1 passed, 0 failed, 0 crashed, 0 skipped, 1 warning\n"));
    EXPECT_EQ(outcome.err, "");
}

Outcome run_qorstat(const std::vector<std::string> &arguments) { return qorstat(arguments, without_leak_search()); }

/** In a line, where `other_boot_time` was asked. */
constexpr const char *kOtherBootTime = "'boot-timestamp':1234567000000}";

/** The other platform's files in a folder whose name the loader would divide and replace. */
class OtherPlatform : public testing::Test {
protected:
    OtherPlatform() {
        fs::create_directory(folder);
        for (const char *file : {"libqorplatform.so.1", "libother_boot_time.so"}) {
            fs::copy_file(fs::path(QOR_OTHER_PLATFORM) / file, folder / file);
        }
    }

    TemporaryFolder temporary;
    fs::path folder = temporary.path() / "a blank, a:colon and a$LIB";
    std::string library = folder / "libqorplatform.so.1";
};

std::map<std::string, std::string> statuses(const Outcome &outcome) {
    std::map<std::string, std::string> found;
    const json result = json::parse(outcome.out);
    for (const json &check : result["checks"]) {
        found[check["name"]] = check["status"];
    }
    return found;
}

TEST_F(OtherPlatform, IsWhatTheModuleRunsOnInEveryCheck) {
    const Outcome outcome =
        run_qorstat({"validate", QOR_MODULE, "--platform", library, "--json", "--timeout", kLongTimeOut});

    EXPECT_EQ(outcome.exit_code, 1);
    for (const auto &[check, status] : statuses(outcome)) {
        if (check == "factory-instances") {
            EXPECT_EQ(status, "failed");
        } else if (check != "exports") { // sanitizers add symbols
            EXPECT_EQ(status, "passed") << check;
        }
    }
}

TEST_F(OtherPlatform, IsNamedInTheCommandThatShowsAFailureAgain) {
    const std::string command =
        "qorstat validate " QOR_MODULE " --only '^factory-instances$' --seed 1 --platform '" + library + "'";

    const Outcome outcome = run_by_shell(command + " --reproduce");

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.out, HasSubstr("         factory instances while one object exists: 0, expected 1\n"
                                       "         again: " +
                                       command + "\n"));
}

TEST_F(OtherPlatform, WhoseNameBeginsLikeAnOptionIsALibraryLikeAnyOther) {
    fs::rename(library, folder / "-p.so");
    Surroundings surroundings = without_leak_search();
    surroundings.folder = folder;

    const Outcome outcome =
        qorstat({"validate", QOR_MODULE, "--platform=-p.so", "--json", "--only", "^factory-instances$"}, surroundings);

    EXPECT_THAT(statuses(outcome), testing::ElementsAre(testing::Pair("factory-instances", "failed"))) << outcome.err;
}

TEST_F(OtherPlatform, TakesTheProgramsPlaceThatIsCopiedThere) {
    fs::copy_file(QOR_PLATFORM, folder / "copy.so");

    const Outcome outcome = run_qorstat({"validate", QOR_MODULE, "--platform", folder / "copy.so", "--json", "--only",
                                         "^(factory-instances|capture-order|analytics-entries)$"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(statuses(outcome), testing::Each(testing::Pair(testing::_, "passed")));
}

TEST_F(OtherPlatform, IsWhatACaptureIsMadeOn) {
    const auto boot_times = [](const std::vector<std::string> &options) {
        std::vector<std::string> arguments = {"capture", QOR_PHONE, "--kind", "fault", "-o", "-"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome outcome = run_qorstat(arguments);
        EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
        return cli_tests::occurrences(outcome.out, kOtherBootTime);
    };

    EXPECT_EQ(boot_times({}), 0u);
    EXPECT_EQ(boot_times({"--platform", library}), 3328u);
}

TEST_F(OtherPlatform, IsFoundInAFolderWhoseNameTheLoaderDividesOrReplaces) {
    for (const char *name : {"a blank", "a:colon", "a$LIB"}) {
        const fs::path place = temporary.path() / name;
        fs::rename(folder, place);
        folder = place;

        const Outcome outcome =
            run_qorstat({"capture", QOR_PHONE, "-o", "-", "--platform", folder / "libqorplatform.so.1"});

        EXPECT_NE(cli_tests::occurrences(outcome.out, kOtherBootTime), 0u) << name << ": " << outcome.err;
    }
}

TEST_F(OtherPlatform, LetsARunAndABatchFindWhatTheProgramLoads) {
    const std::string log = temporary.path() / "log";
    const Outcome run =
        run_qorstat({"run", QOR_PHONE, "--store", ":memory:", "--for", "0.2", "--platform", library, "--log", log});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_TRUE(cli_tests::content_of(log).find("publishTBData") != std::string::npos) << run.err;

    const std::string batch = temporary.file("batch.bin", std::string("\x3A\x02\x00\x01\x00\x00\x00", 7));
    const Outcome publish =
        run_qorstat({"publish", batch, "--store", temporary.path() / "a.db", "--platform", library});
    EXPECT_EQ(publish.exit_code, 0) << publish.err;
    EXPECT_THAT(publish.out, HasSubstr("1 entry: 1 applied"));
}

TEST_F(OtherPlatform, ThatCannotBeLoadedIsRefusedWithTheLoadersReason) {
    fs::remove(folder / "libother_boot_time.so");

    const Outcome outcome = run_qorstat({"capture", QOR_PHONE, "-o", "-", "--platform", library});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.err, testing::StartsWith("qorstat: " + library +
                                                 ": this platform cannot be loaded: libother_boot_time.so: "));
    EXPECT_EQ(cli_tests::split_lines(outcome.err).size(), 1u) << outcome.err;
    EXPECT_EQ(outcome.out, "");
}

void expect_every_check_crashes(const std::string &library, const std::string &reason) {
    const Outcome outcome =
        run_qorstat({"validate", QOR_MODULE, "--platform", library, "--only", "^(exports|open)$", "--json"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(statuses(outcome),
                testing::AllOf(testing::SizeIs(2), testing::Each(testing::Pair(testing::_, "crashed"))));
    EXPECT_THAT(outcome.out, HasSubstr(reason));
}

TEST_F(OtherPlatform, ThatTheLoaderRefusesMakesEveryCheckCrash) {
    fs::remove(folder / "libother_boot_time.so");
    expect_every_check_crashes(library, "error while loading shared libraries: libother_boot_time.so: ");
}

TEST_F(OtherPlatform, ThatTheLoaderPassesOverMakesEveryCheckCrash) {
    std::fstream file(library, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(offsetof(Elf64_Ehdr, e_machine));
    file.put(EM_386); // the loader says so, and goes on without it
    file.close();
    expect_every_check_crashes(library, "the loader does not use this platform");
}

TEST_F(OtherPlatform, IsTriedInOneNewProcessOnly) {
    Surroundings surroundings = without_leak_search();
    surroundings.environment["QORSTAT_OWN_PLATFORM"] = QOR_PLATFORM; // as in that process

    const Outcome outcome = qorstat({"capture", QOR_PHONE, "-o", "-", "--platform", library}, surroundings);

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.err, "qorstat: " + library + ": the loader does not use this platform\n");
}

TEST_F(OtherPlatform, ThatCannotBeOneIsNamedWithTheReason) {
    fs::copy_file(library, folder / "a blank");
    const std::string text = temporary.file("text.so", "no library");
    const struct {
        std::string platform;
        std::string reason;
    } rows[] = {
        {"/nowhere/lib.so", "/nowhere/lib.so: No such file or directory"},
        {text, text + ": this is not a platform library: it does not begin like an ELF file"},
        {folder / "libother_boot_time.so",
         "this platform lacks 58 operations that the module needs: RvAllocatorAllocate, "},
        {folder / "a blank", "give the file another name"},
    };
    for (const auto &row : rows) {
        for (const std::vector<std::string> &verb :
             {std::vector<std::string>{"validate", QOR_MODULE},
              std::vector<std::string>{"capture", QOR_PHONE, "-o", "-"},
              std::vector<std::string>{"run", QOR_PHONE, "--store", ":memory:"}}) {
            std::vector<std::string> arguments = verb;
            arguments.insert(arguments.end(), {"--platform", row.platform});

            const Outcome outcome = run_qorstat(arguments);

            EXPECT_EQ(outcome.exit_code, 1) << verb[0];
            EXPECT_EQ(outcome.out, "") << verb[0];
            EXPECT_THAT(outcome.err, HasSubstr(row.reason)) << verb[0];
            EXPECT_EQ(cli_tests::split_lines(outcome.err).size(), 1u) << outcome.err;
        }
    }
}

TEST_F(OtherPlatform, StandsBeforeTheLibrariesThatTheEnvironmentNames) {
    // The platform finds this one only while it is given, and the program's own must not come first.
    fs::rename(folder / "libother_boot_time.so", temporary.path() / "given.so");
    fs::create_symlink(QOR_PLATFORM, temporary.path() / "own.so");
    Surroundings surroundings = without_leak_search();
    surroundings.environment["LD_PRELOAD"] =
        (temporary.path() / "given.so").string() + ":" + (temporary.path() / "own.so").string();

    const Outcome outcome = qorstat({"capture", QOR_PHONE, "-o", "-", "--platform", library}, surroundings);

    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    EXPECT_NE(cli_tests::occurrences(outcome.out, kOtherBootTime), 0u);
}

TEST_F(OtherPlatform, WithTheOperationsAloneRunsEveryCheckThatNeedsNoHost) {
    const Outcome outcome =
        run_qorstat({"validate", QOR_MODULE, "--platform", QOR_OPERATIONS_ALONE, "--json", "--timeout", kLongTimeOut});

    EXPECT_EQ(outcome.exit_code, 0) << outcome.out;
    std::set<std::string> run;
    for (const auto &[check, status] : statuses(outcome)) {
        if (status != "skipped") {
            run.insert(check);
        }
    }
    const std::set<std::string> expected = {
        "exports",       "protection",     "platform",     "loading",     "report-entry-points",
        "any-report",    "report-threads", "factory-type", "table-slots", "query-known",
        "query-unknown", "counting",       "open"};
    EXPECT_EQ(run, expected);
}

TEST_F(OtherPlatform, WithoutANameIsWrongUse) {
    for (const std::string verb : {"validate", "capture"}) {
        const Outcome outcome = run_qorstat({verb, "x", "--platform", ""});

        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_THAT(outcome.err, HasSubstr("--platform"));
    }
}

TEST(ValidateTest, AHostTellsOfAModuleThatWasLinkedWithAnotherPlatform) {
    const std::string module = broken_module("IsLinkedElsewhere");

    const Outcome warned = run_qorstat({"capture", QOR_PHONE, "-o", "-", "--plugin", module});
    const std::string platform = QOR_OTHER_PLATFORM "libqorplatform.so.1";
    const Outcome quiet = run_qorstat({"capture", QOR_PHONE, "-o", "-", "--plugin", module, "--platform", platform});

    EXPECT_EQ(warned.exit_code, 0);
    EXPECT_EQ(cli_tests::occurrences(warned.err, "warning: "), 1u);
    EXPECT_THAT(warned.err, testing::StartsWith("qorstat: warning: " + module +
                                                ": was linked with " QOR_OTHER_PLATFORM "libqorplatform.so.1 (build "));
    EXPECT_EQ(quiet.exit_code, 0);
    EXPECT_THAT(quiet.err, testing::Not(HasSubstr("warning")));
}

/**
 * What a reader of XML finds in a file of results: the module's name, the counts, and of each check its name, its
 * result and the text of that.
 */
json read_junit(const std::string &file) {
    const std::string script =
        "import sys, json, xml.etree.ElementTree as tree\n"
        "suite = tree.parse(sys.argv[1]).getroot().find('testsuite')\n"
        "cases = [[case.get('name'), [[e.tag, e.get('message'), e.text] for e in case]] for case in suite]\n"
        "counts = [int(suite.get(name)) for name in ('tests', 'failures', 'errors', 'skipped')]\n"
        "print(json.dumps({'module': suite.get('name'), 'counts': counts, 'cases': cases[1:]}))\n";
    const cli_tests::TemporaryFolder folder;
    const std::string out = (folder.path() / "out").string();
    const std::string program = folder.file("read.py", script);
    EXPECT_EQ(std::system(("python3 " + program + " '" + file + "' > " + out).c_str()), 0);
    return json::parse(cli_tests::content_of(out));
}

TEST(ValidateTest, AFileForBuildServersHasEveryResult) {
    const cli_tests::TemporaryFolder folder;
    const std::string module = folder.path() / "a <b> & \"c\"\x01\xEF\xBF\xBE\xFF.so";
    std::filesystem::copy_file(broken_module("AnswersTheCountBefore"), module);
    const std::string file = folder.path() / "junit.xml";

    const Outcome outcome =
        qorstat({"validate", module, "--only", "^(open|counting)$", "--junit", file}, without_leak_search());

    EXPECT_EQ(outcome.exit_code, 1);
    const json found = read_junit(file);
    EXPECT_EQ(found["module"], folder.path().string() + "/a <b> & \"c\"\\x01\\uFFFE\\xff.so");
    EXPECT_EQ(found["counts"], json({2, 1, 0, 0}));
    ASSERT_EQ(found["cases"].size(), 2u);
    for (const json &check : found["cases"]) {
        if (check[0] == "open") {
            EXPECT_EQ(check[1], json::array());
        } else {
            EXPECT_EQ(check[0], "counting");
            ASSERT_EQ(check[1].size(), 1u);
            EXPECT_EQ(check[1][0][0], "failure");
            EXPECT_EQ(check[1][0][1], "AddRef in step 0: 1, expected 2");
            EXPECT_NE(check[1][0][2].get<std::string>().find("again: qorstat validate "), std::string::npos);
        }
    }
}

TEST(ValidateTest, AFileForBuildServersTellsCrashesFromFailures) {
    const cli_tests::TemporaryFolder folder;
    const std::string file = folder.path() / "junit.xml";

    qorstat({"validate", broken_module("AbortsWhileLoading"), "--only", "^(loading|open)$", "--junit", file});

    const json found = read_junit(file);
    EXPECT_EQ(found["counts"], json({2, 0, 1, 1}));
    EXPECT_EQ(found["cases"][0][1][0][0], "error");
    EXPECT_EQ(found["cases"][1][1][0][0], "skipped");
}

TEST(ValidateTest, AFileForBuildServersThatCannotBeWrittenIsAnErrorBeforeAnythingRuns) {
    const Outcome outcome = qorstat({"validate", QOR_MODULE, "--junit", "/nowhere/junit.xml"});

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: /nowhere/junit.xml: No such file or directory\n");
}

TEST(ValidateTest, TheListHasOneLineForEachCheck) {
    const Outcome outcome = qorstat({"validate", "--list"});

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(static_cast<std::size_t>(std::count(outcome.out.begin(), outcome.out.end(), '\n')), list_names().size());
    EXPECT_THAT(outcome.out, HasSubstr("\ncounting                AddRef and Release return the count, "));
}

TEST(ValidateTest, OnlyChoosesByAnExpressionLookedForAnywhereInTheName) {
    const json all = json::parse(qorstat({"validate", "--list", "--json", "--only", "^(query|open)|leaks$"}).out);

    std::vector<std::string> names;
    for (const json &check : all) {
        names.push_back(check["name"]);
    }
    EXPECT_THAT(names, testing::ElementsAre("query-known", "query-unknown", "open", "rounds-leaks"));
}

TEST(ValidateTest, TheSeedIsInTheResultAndTheSameResultComesAgain) {
    const std::vector<std::string> arguments = {"validate",     QOR_MODULE,   "--only",
                                                "query|report", "--seed",     "18446744073709551615",
                                                "--timeout",    kLongTimeOut, "--json"};

    const Outcome first = qorstat(arguments);
    const Outcome second = qorstat(arguments);

    EXPECT_EQ(json::parse(first.out)["seed"], 18446744073709551615U);
    EXPECT_EQ(first.out, second.out);
}

TEST(ValidateTest, TheSeedIsDecimalAlsoBehindZeros) {
    const struct {
        std::string text;
        unsigned seed;
    } rows[] = {{"010", 10}, {"08", 8}, {"0", 0}};
    for (const auto &row : rows) {
        const Outcome outcome = qorstat({"validate", QOR_MODULE, "--only", "^open$", "--seed", row.text, "--json"});

        ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
        EXPECT_EQ(json::parse(outcome.out)["seed"], row.seed);
    }
}

TEST(ValidateTest, JsonNamesEveryPartOfAResult) {
    const json result =
        json::parse(qorstat({"validate", broken_module("RefusesOptions"), "--only", "^(open|counting)$", "--json"},
                            without_leak_search())
                        .out);

    const json expected = {
        {"module", broken_module("RefusesOptions")},
        {"seed", 1},
        {"checks",
         {{{"name", "counting"},
           {"promise", "AddRef and Release return the count, in any order"},
           {"status", "passed"},
           {"reasons", json::array()}},
          {{"name", "open"},
           {"promise", "open returns true for all arguments"},
           {"status", "failed"},
           {"reasons", {"open with options 0x1 returns false", "open with options 0x1 returns false"}},
           {"messages", ""},
           {"reproduce", "qorstat validate " + broken_module("RefusesOptions") + " --only '^open$' --seed 1"}}}},
        {"totals", {{"passed", 1}, {"failed", 1}, {"crashed", 0}, {"skipped", 0}, {"warning", 0}}},
    };
    EXPECT_EQ(result, expected);
}

TEST(ValidateTest, AFileThatIsNoModuleIsOneError) {
    const TemporaryFolder folder;
    const struct {
        std::string file;
        std::string reason;
    } rows[] = {
        {folder.file("text.so", "plain text"), "this is not a module: it does not begin like an ELF file"},
        {folder.file("empty.so", ""), "this is not a module: it does not begin like an ELF file"},
        {folder.file("cut.so", cli_tests::content_of(QOR_MODULE).substr(0, 100)),
         "byte 64: the list of segments reaches past the end of the file"},
    };
    for (const auto &row : rows) {
        const Outcome outcome = qorstat({"validate", row.file});

        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "qorstat: " + row.file + ": " + row.reason + "\n");
    }
}

TEST(ValidateTest, WrongUseIsRefusedBeforeAnythingRuns) {
    const struct {
        std::vector<std::string> arguments;
        std::string message;
    } rows[] = {
        {{"validate"}, "PLUGIN.so is required"},
        {{"validate", "x.so", "y.so"}, "unexpected argument \"y.so\""},
        {{"validate", "x.so", "--only", "("},
         "invalid value \"(\" for --only: not a regular expression: Unmatched ( or \\("},
        {{"validate", "x.so", "--only", "xyzzy"},
         "invalid value \"xyzzy\" for --only: no check has such a name; --list shows the names"},
        {{"validate", "x.so", "--seed", "-1"},
         "invalid value \"-1\" for --seed: expected a number from 0 to 18446744073709551615"},
        {{"validate", "x.so", "--seed", "18446744073709551616"},
         "invalid value \"18446744073709551616\" for --seed: expected a number from 0 to 18446744073709551615"},
        {{"validate", "x.so", "--timeout", "0"},
         "invalid value \"0\" for --timeout: expected 0.001 to 86400 seconds, such as 10, 2.5s or 2m"},
        {{"validate", "x.so", "--check-in-child", "open"}, "--check-in-child is for internal use only"},
        {{"validate", "x.so", "--list"}, "only --only and --json can be combined with --list"},
        {{"validate", "x.so", "--junit", ""}, "invalid value \"\" for --junit: expected the name of a file"},
        {{"validate", "x.so", "--junit", "-"}, "invalid value \"-\" for --junit: expected a file of its own"},
        {{"validate", "x.so", "--junit", "a", "-o", "a"},
         "invalid value \"a\" for --junit: expected a file of its own"},
        {{"validate", "--list", "--junit", "a"}, "only --only and --json can be combined with --list"},
        {{"validate", "--list", "--seed", "1"}, "only --only and --json can be combined with --list"},
        {{"validate", "--list", "--timeout", "60"}, "only --only and --json can be combined with --list"},
        {{"validate", "--list", "--reproduce"}, "only --only and --json can be combined with --list"},
    };
    for (const auto &row : rows) {
        const Outcome outcome = qorstat(row.arguments);

        EXPECT_EQ(outcome.exit_code, 2) << testing::PrintToString(row.arguments);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "qorstat: validate: " + row.message + "\n");
    }
}

TEST(ValidateTest, ProgramAndLibraryWorkFromAnotherFolderToo) {
    const TemporaryFolder folder;
    const fs::path build = fs::path(QOR_MODULE).parent_path();
    for (const char *file : {"qorstat", "libqorplatform.so.1", "OndreQORHIDStatistics.so"}) {
        fs::copy_file(build / file, folder.path() / file);
    }
    Surroundings surroundings;
    surroundings.program = folder.path() / "qorstat";

    const Outcome outcome =
        qorstat({"validate", folder.path() / "OndreQORHIDStatistics.so", "--only", "^open$"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("1 check with seed 1: 1 passed"));
}

} // namespace
