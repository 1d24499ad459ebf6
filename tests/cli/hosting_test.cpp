/** `run`, `notify` and `capture` with the real module and described devices. */
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "host/store/analytics_store.h"
#include "tests/cli/hosting.h"
#include "tests/cli/program.h"

using cli_tests::content_of;
using cli_tests::isolate_in;
using cli_tests::kPhone;
using cli_tests::kSmall;
using cli_tests::Outcome;
using cli_tests::qorstat;
using cli_tests::RunningProgram;
using cli_tests::Surroundings;
using cli_tests::TemporaryFolder;

namespace {

namespace fs = std::filesystem;

const std::string kFault = "com.ondre.ondreqorhidstatistics.fault";

std::string all_files_end_to_end(const fs::path &folder) {
    std::map<std::string, std::string> contents;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
        contents[entry.path().filename()] = content_of(entry.path());
    }
    std::string all;
    for (const auto &[name, content] : contents) {
        all += content;
    }
    return all;
}

std::size_t file_count(const fs::path &folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST(RunTest, EndsByItselfAfterTheTimeGiven) {
    const TemporaryFolder folder;

    const Outcome outcome = qorstat({"run", kSmall, "--for", "0"}, isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("hosting "), std::string::npos) << outcome.err;
}

class RunSignalTest : public testing::TestWithParam<int> {};

TEST_P(RunSignalTest, ASignalEndsARunCleanly) {
    const TemporaryFolder folder;
    RunningProgram host({"run", kSmall}, isolate_in(folder));
    ASSERT_TRUE(host.waits_for_message("hosting "));

    host.send(GetParam());

    EXPECT_EQ(host.wait_for_end().exit_code, 0);
}

INSTANTIATE_TEST_SUITE_P(EverySignal, RunSignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST(RunTest, AHangUpThatIsIgnoredStaysIgnored) {
    const TemporaryFolder folder;
    Surroundings surroundings = isolate_in(folder);
    surroundings.ignored_signals = {SIGHUP};
    RunningProgram host({"run", kSmall}, surroundings);
    ASSERT_TRUE(host.waits_for_message("hosting "));

    host.send(SIGHUP);
    EXPECT_EQ(qorstat({"notify", kFault}, isolate_in(folder)).exit_code, 0);

    EXPECT_TRUE(host.waits_for_message("fault!"));
    host.send(SIGTERM);
    EXPECT_EQ(host.wait_for_end().exit_code, 0);
}

TEST(RunTest, TheLogAlsoGoesToAFile) {
    const TemporaryFolder folder;
    RunningProgram host({"run", kSmall, "--log", "run.log"}, isolate_in(folder));
    ASSERT_TRUE(host.waits_for_message("hosting "));

    ASSERT_EQ(qorstat({"notify", kFault}, isolate_in(folder)).exit_code, 0);

    ASSERT_TRUE(host.waits_for_message("fault!"));
    host.send(SIGINT);
    EXPECT_EQ(host.wait_for_end().exit_code, 0);
    EXPECT_NE(content_of(folder.path() / "run.log").find("fault!"), std::string::npos);
}

TEST(RunTest, AHostGoesOnWithoutNotifications) {
    const TemporaryFolder folder;
    fs::create_directory(folder.path() / "qor-notifications"); // open to others, as if one of them had made it

    const Outcome outcome = qorstat({"run", kSmall, "--for", "0"}, isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_NE(outcome.err.find("\nqorstat: " + folder.path().string() +
                               "/qor-notifications: not used for notifications because other users have access to it; "
                               "qorstat notify does not reach this host\nhosting "),
              std::string::npos)
        << outcome.err;
}

TEST(RunTest, ALogFileThatCannotBeOpenedIsAnError) {
    const TemporaryFolder folder;

    const Outcome outcome = qorstat({"run", kSmall, "--for", "0", "--log", "/nowhere/run.log"}, isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.rfind("qorstat: /nowhere/run.log: ", 0), 0u) << outcome.err;
}

/** The part of the program that `arguments` need and `file` holds is missing. */
void expect_missing(const std::string &file, const std::vector<std::string> &arguments) {
    const TemporaryFolder folder;
    const fs::path built = fs::path(QORSTAT).parent_path();
    for (const char *part : {"qorstat", "libqorplatform.so.1", "libqorlog.so", "libqormetrics.so"}) {
        if (part != file) {
            fs::copy_file(built / part, folder.path() / part);
        }
    }
    Surroundings surroundings = isolate_in(folder);
    surroundings.program = folder.path() / "qorstat";

    const Outcome outcome = qorstat(arguments, surroundings);

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, testing::HasSubstr("qorstat: " + (folder.path() / file).string() +
                                                ": this part of the program cannot be loaded: cannot open shared "
                                                "object file: No such file or directory\n"));
    EXPECT_EQ(qorstat({"--version"}, surroundings).exit_code, 0);
}

const std::string kModule = fs::path(QORSTAT).parent_path() / "OndreQORHIDStatistics.so";

TEST(PartsOfTheProgramTest, AMissingLogLibraryIsAnErrorOfRunsThatLog) {
    expect_missing("libqorlog.so", {"run", kSmall, "--plugin", kModule, "--for", "0"});
    expect_missing("libqorlog.so", {"capture", kSmall, "--plugin", kModule, "--kind", "fault"});
}

TEST(PartsOfTheProgramTest, AMissingMetricsLibraryIsAnErrorOfRunsThatListen) {
    expect_missing("libqormetrics.so", {"run", kSmall, "--plugin", kModule, "--for", "0", "--listen", "0"});
}

/** Waits until the host has written `text` to `file`. */
void wait_for_text(RunningProgram &host, const fs::path &file, const std::string &text) {
    ASSERT_TRUE(host.waits_for_opening(file));
    while (content_of(file).find(text) == std::string::npos) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

TEST(HostingLogTest, AHealthyPhoneRunsQuietlyAndIsSummedUp) {
    const TemporaryFolder folder;
    RunningProgram host({"run", kPhone, "--store", "store.db", "--log", "run.log"}, isolate_in(folder));
    ASSERT_TRUE(host.waits_for_message("Ctrl-C stops"));
    // The last of the phone's batches to be delivered for the first time.
    wait_for_text(host, folder.path() / "run.log", "publishTBData op=0x3 'com.ondre.zel.unknown' (0x3a)");

    host.send(SIGINT);

    const Outcome outcome = host.wait_for_end();
    EXPECT_EQ(outcome.exit_code, 0);
    const std::string log = content_of(folder.path() / "run.log");
    const std::size_t operations = cli_tests::occurrences(log, " error [ZEL:OndreQORHIDStatistics] publishTBData op=");
    const std::size_t idle = cli_tests::occurrences(log, "publishTBData op=0 ");
    const std::size_t skipped = cli_tests::occurrences(log, "publishTBData qortbkkeys version mismatch");
    const std::size_t assertions = cli_tests::occurrences(log, " default [ZEL:OndreQORHIDStatistics] ");
    EXPECT_GT(operations, 300u);
    EXPECT_THAT(outcome.err,
                testing::MatchesRegex("analytics in store\\.db\n"
                                      "notifications at /[^\n]*/qor-notifications/[0-9]+\\.socket\n"
                                      "hosting phone: 9 services; Ctrl-C stops\n"
                                      "ended after [0-9]+\\.[0-9] s: [0-9]+ batches, 0 faults\n" +
                                      std::to_string(operations + skipped) +
                                      " entries: " + std::to_string(operations - idle) + " applied, " +
                                      std::to_string(idle) + " without an operation, " + std::to_string(skipped) +
                                      " skipped for their version\n"
                                      "log messages not shown: " +
                                      std::to_string(operations + skipped) + " of level error, " +
                                      std::to_string(assertions) + " of level default \\(run\\.log has them\\)\n"));
}

TEST(HostingLogTest, FaultsAreAlwaysShownAndCounted) {
    const TemporaryFolder folder;
    RunningProgram host({"run", kSmall, "--store", ":memory:"}, isolate_in(folder));
    ASSERT_TRUE(host.waits_for_message("Ctrl-C stops"));
    ASSERT_EQ(qorstat({"notify", kFault}, isolate_in(folder)).exit_code, 0);
    ASSERT_TRUE(host.waits_for_message(" fault [ZEL:OndreQORHIDStatistics] fault!\n"));

    host.send(SIGINT);

    EXPECT_THAT(host.wait_for_end().err, testing::ContainsRegex("^analytics in memory only\n(.|\n)*"
                                                                "\nended after [0-9]+\\.[0-9] s: 0 batches, 1 fault\n"
                                                                "0 entries: "));
}

/** The messages of a capture of the small device, on which two of the plug-in's checks fail. */
std::string messages_of_a_capture(const TemporaryFolder &folder, std::vector<std::string> options) {
    options.insert(options.begin(), {"capture", kSmall, "-o", "-"});
    const Outcome outcome = qorstat(options, isolate_in(folder));
    EXPECT_EQ(outcome.exit_code, 0);
    return outcome.err.substr(0, outcome.err.find("title "));
}

TEST(HostingLogTest, ACaptureSaysWhatItDoesNotShowAndShowsItWhenAsked) {
    const TemporaryFolder folder;

    EXPECT_EQ(messages_of_a_capture(folder, {}),
              "log messages not shown: 2 of level default (--log-level default shows them)\n");
    EXPECT_EQ(messages_of_a_capture(folder, {"--log-level", "error"}),
              "log messages not shown: 2 of level default (--log-level default shows them)\n");
    EXPECT_THAT(messages_of_a_capture(folder, {"--log-level", "default"}),
                testing::MatchesRegex("([^\n]* default \\[ZEL:OndreQORHIDStatistics\\] : Kelmarks: [^\n]*\n){2}"));
}

TEST(HostingLogTest, AFileGetsTheWholeLogOfACapture) {
    const TemporaryFolder folder;

    EXPECT_EQ(messages_of_a_capture(folder, {"--log", "all.log"}),
              "log messages not shown: 2 of level default (all.log has them)\n");

    EXPECT_EQ(cli_tests::occurrences(content_of(folder.path() / "all.log"), " : Kelmarks: "), 2u);
}

TEST(HostingLogTest, AnUnknownLevelIsWrongUse) {
    for (const char *verb : {"run", "capture", "publish"}) {
        const Outcome outcome = qorstat({verb, kSmall, "--log-level", "errer"});
        EXPECT_EQ(outcome.exit_code, 2);
        EXPECT_EQ(outcome.err, "qorstat: " + std::string(verb) +
                                   ": invalid value \"errer\" for --log-level: expected one of default, error, fault; "
                                   "did you mean \"error\"?\n");
    }
}

/** Writes `small.toml` with `more` appended. */
std::string small_with(const TemporaryFolder &folder, const std::string &more) {
    return folder.file("device.toml", content_of(kSmall) + more);
}

TEST(RunAnalyticsTest, EveryEntryThatIsDeliveredIsLogged) {
    const TemporaryFolder folder;
    const std::string description =
        small_with(folder, "[[analytics]]\ndevice = 'qor'\nevery = 0.01\ncount = 2\n"
                           "entry = [{ operation = 'set_scalar', key = 'com.ondre.zel.test', value = 7 }]\n"
                           "[[analytics]]\ndevice = 'qor'\nhex = '39 00 00 00 00 00 00'\n");
    RunningProgram host({"run", description, "--store", ":memory:", "--log-level", "error"}, isolate_in(folder));

    EXPECT_TRUE(host.waits_for_message("publishTBData qortbkkeys version mismatch (0x39/0x3a)"));
    EXPECT_TRUE(host.waits_for_message("publishTBData op=0x2 'com.ondre.zel.test' (0x39)"));
    host.send(SIGINT);
    EXPECT_EQ(host.wait_for_end().exit_code, 0);
}

TEST(RunAnalyticsTest, AnalyticsStandInTheStoreAfterwards) {
    const TemporaryFolder folder;
    const std::string description =
        small_with(folder, "[[analytics]]\ndevice = 'qor'\nevery = 0.001\ncount = 3\n"
                           "entry = [{ operation = 'add_to_scalar', key = 57, value = 7 },\n"
                           "         { operation = 'push', times = 2, key = 57, value = 0.5 }]\n");
    RunningProgram host({"run", description, "--store", "store.db", "--log-level", "error"}, isolate_in(folder));
    ASSERT_TRUE(host.waits_for_message("publishTBData op=0x3 ",
                                       3)); // the third batch has begun, and batches are delivered completely

    host.send(SIGTERM);

    ASSERT_EQ(host.wait_for_end().exit_code, 0);
    const host::StoreContents contents = host::read_analytics_store(folder.path() / "store.db");
    EXPECT_EQ(contents.scalars.at("com.ondre.zel.test"), 21);
    EXPECT_EQ(contents.distributions.at("com.ondre.zel.test"), (host::Distribution{{0.5, 6}}));
}

TEST(RunAnalyticsTest, ThePhonesDayReachesTheStore) {
    const TemporaryFolder folder;
    RunningProgram host({"run", kPhone, "--store", "store.db", "--log-level", "default"}, isolate_in(folder));
    // The last of the phone's batches to be delivered for the first time.
    ASSERT_TRUE(host.waits_for_message("publishTBData op=0x3 'com.ondre.zel.unknown' (0x3a)"));

    host.send(SIGINT);

    ASSERT_EQ(host.wait_for_end().exit_code, 0);
    const host::StoreContents contents = host::read_analytics_store(folder.path() / "store.db");
    EXPECT_EQ(contents.scalars.at("com.ondre.zel.unknown"), 1);
    EXPECT_EQ(contents.scalars.at("com.ondre.zel.button.single_click.count"), 214);
    EXPECT_GE(contents.scalars.at("com.ondre.zel.button.double_click.count"), 58 + 1);
    EXPECT_EQ(contents.scalars.at("com.ondre.zel.prox.first_pocket_signal_sample.kcpss"), 305);
    EXPECT_GE(contents.distributions.at("com.ondre.zel.audio.riv.on.duration").at(44.25), 2u);
}

TEST(RunAnalyticsTest, ADeviceWithoutACallbackIsSpokenOf) {
    const TemporaryFolder folder;
    const std::string description =
        small_with(folder, "[device.lonely]\n[[analytics]]\ndevice = 'lonely'\nevery = 0.001\nhex = ''\n");
    RunningProgram host({"run", description, "--store", ":memory:"}, isolate_in(folder));
    const std::string problem = "device \"lonely\": no analytics callback is installed, so its batches are lost\n";
    ASSERT_TRUE(host.waits_for_message(problem));

    host.send(SIGINT);

    const Outcome outcome = host.wait_for_end();
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.find(problem), outcome.err.rfind(problem)) << outcome.err;
    EXPECT_THAT(outcome.err, testing::ContainsRegex("\nended after [0-9]+\\.[0-9] s: 0 batches, [0-9]+ lost, 0 faults\n"
                                                    "0 entries: "));
}

TEST(NotifyTest, ReachesARunningHostFromAnotherProcess) {
    const TemporaryFolder folder;
    RunningProgram host({"run", kSmall}, isolate_in(folder));
    ASSERT_TRUE(host.waits_for_message("hosting "));

    const Outcome notify = qorstat({"notify", kFault}, isolate_in(folder));

    EXPECT_EQ(notify.exit_code, 0);
    EXPECT_EQ(notify.out, "reached 1 host\n");
    EXPECT_EQ(notify.err, "");
    EXPECT_TRUE(host.waits_for_message("fault!"));
}

TEST(NotifyTest, ReachesEveryRunningHost) {
    const TemporaryFolder folder;
    RunningProgram first({"run", kSmall}, isolate_in(folder));
    RunningProgram second({"run", kSmall}, isolate_in(folder));
    ASSERT_TRUE(first.waits_for_message("hosting "));
    ASSERT_TRUE(second.waits_for_message("hosting "));

    EXPECT_EQ(qorstat({"notify", kFault}, isolate_in(folder)).out, "reached 2 hosts\n");

    EXPECT_TRUE(first.waits_for_message("fault!"));
    EXPECT_TRUE(second.waits_for_message("fault!"));
}

TEST(NotifyTest, NobodyReachedIsAFailure) {
    const TemporaryFolder folder;

    const Outcome outcome = qorstat({"notify", kFault}, isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "qorstat: " + kFault + ": no running host was reached\n");
}

TEST(NotifyTest, AHostThatHasEndedIsNotReached) {
    const TemporaryFolder folder;
    ASSERT_EQ(qorstat({"run", kSmall, "--for", "0"}, isolate_in(folder)).exit_code, 0);

    EXPECT_EQ(qorstat({"notify", kFault}, isolate_in(folder)).exit_code, 1);
}

/** The boot time in the first line of a capture. */
std::string boot_time_of_a_capture(const TemporaryFolder &folder) {
    const std::string records = qorstat({"capture", kSmall, "--kind", "fault", "-o", "-"}, isolate_in(folder)).out;
    const std::string key = "'boot-timestamp':";
    const std::size_t begin = records.find(key);
    return begin == std::string::npos ? "none" : records.substr(begin, records.find('}', begin) - begin);
}

TEST(BootTimeTest, IsTheSameInEveryProcess) {
    const TemporaryFolder folder;

    const std::string first = boot_time_of_a_capture(folder);

    EXPECT_THAT(first, testing::MatchesRegex("'boot-timestamp':[0-9]+"));
    EXPECT_EQ(boot_time_of_a_capture(folder), first);
}

TEST(BootTimeTest, IsThatOfTheDescriptionWhereItHasOne) {
    const TemporaryFolder folder;
    const std::string description =
        folder.file("device.toml", "boot_time = 2025-10-09T08:53:18.52+02:00\n" + content_of(kSmall));

    const std::string records = qorstat({"capture", description, "--kind", "fault", "-o", "-"}, isolate_in(folder)).out;
    const Outcome decoded = qorstat({"decode", QOR_SOURCE_FOLDER "/examples/reports/fw.bin", "--live", description});

    const std::string boot = "'boot-timestamp':1759992798520000}";
    EXPECT_EQ(cli_tests::occurrences(records, boot), cli_tests::occurrences(records, "'boot-timestamp':"));
    EXPECT_GT(cli_tests::occurrences(records, boot), 0u);
    EXPECT_EQ(cli_tests::occurrences(decoded.out, boot + "\n"), 384u);
}

class CaptureTest : public testing::TestWithParam<std::string> {};

TEST_P(CaptureTest, AFaultIsAnsweredByEveryRawDebugEntry) {
    const TemporaryFolder folder;

    const Outcome outcome = qorstat({"capture", GetParam(), "--kind", "fault", "-o", "fault"}, isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(file_count(folder.path() / "fault"), 104u);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"fault"});
    EXPECT_THAT(outcome.out, testing::ContainsRegex("\n104 records, [0-9]+ reports, [0-9]+ bytes\n$"));
    EXPECT_NE(outcome.err.find("written to fault\n"), std::string::npos) << outcome.err;
}

TEST_P(CaptureTest, AnErrorIsAnsweredByNobody) {
    const TemporaryFolder folder;

    const Outcome outcome = qorstat({"capture", GetParam(), "--kind", "error", "-o", "error"}, isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(file_count(folder.path() / "error"), 0u);
    EXPECT_EQ(outcome.out, "0 records, 0 reports, 0 bytes\n");
}

TEST_P(CaptureTest, StandardOutputGetsTheFilesEndToEnd) {
    const TemporaryFolder folder;
    ASSERT_EQ(qorstat({"capture", GetParam(), "--kind", "fault", "-o", "fault"}, isolate_in(folder)).exit_code, 0);

    const Outcome outcome = qorstat({"capture", GetParam(), "--kind", "fault", "-o", "-"}, isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_TRUE(outcome.out == all_files_end_to_end(folder.path() / "fault"));
    EXPECT_NE(outcome.err.find("\n104 records, "), std::string::npos) << outcome.err;
}

TEST_P(CaptureTest, ShowReadsWhatWasCaptured) {
    const TemporaryFolder folder;
    const Outcome captured = qorstat({"capture", GetParam(), "--kind", "fault", "-o", "-"}, isolate_in(folder));
    ASSERT_EQ(captured.exit_code, 0);
    Surroundings surroundings;
    surroundings.standard_input = captured.out;

    const auto json = nlohmann::json::parse(qorstat({"show", "--json", "-"}, surroundings).out);

    ASSERT_EQ(json.size(), 104u);
    for (const auto &record : json) {
        EXPECT_EQ(record["file"], "standard input");
        EXPECT_EQ(record["type_code"], 1);
        const std::string title = record["title"];
        EXPECT_EQ(title.rfind("ZEL Profile ", 0), 0u) << title;
        EXPECT_NE(title.find(" ;count=" + std::to_string(record["payload"].size()) + " ;"), std::string::npos) << title;
    }
}

TEST_P(CaptureTest, TheFilesAreInTheOrderOfTheEntries) {
    const TemporaryFolder folder;
    ASSERT_EQ(qorstat({"capture", GetParam(), "--kind", "fault", "-o", "fault"}, isolate_in(folder)).exit_code, 0);
    std::map<std::string, fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder.path() / "fault")) {
        files[entry.path().filename()] = entry.path();
    }
    std::vector<std::string> names;
    for (const auto &[name, path] : files) {
        names.push_back(name);
    }

    ASSERT_EQ(names.size(), 104u);
    EXPECT_EQ(names[0].rfind("001-ZEL Profile 0 ;count=", 0), 0u) << names[0];
    EXPECT_NE(names[47].find("048-ZEL Profile 47 "), std::string::npos) << names[47];
    EXPECT_NE(names[47].find(";type=fw.qorstate"), std::string::npos) << names[47];
    EXPECT_NE(names[48].find("049-ZEL Profile 0 "), std::string::npos) << names[48];
    EXPECT_NE(names[55].find(";type=drvx.qorstate"), std::string::npos) << names[55];
    EXPECT_NE(names[103].find("104-ZEL Profile 47 "), std::string::npos) << names[103];
    EXPECT_NE(names[103].find(";type=err.qorstate"), std::string::npos) << names[103];
}

INSTANTIATE_TEST_SUITE_P(EveryDevice, CaptureTest, testing::Values(kSmall, kPhone),
                         [](const testing::TestParamInfo<std::string> &device) {
                             return fs::path(device.param).stem().string();
                         });

TEST(CaptureRequestTest, ThePhonesRecordsAreAllThereAndKeepTheDocumentedRules) {
    const TemporaryFolder folder;

    ASSERT_EQ(qorstat({"capture", kPhone, "--kind", "request", "-o", "records"}, isolate_in(folder)).exit_code, 0);

    const std::string records = folder.path() / "records";
    const std::string check = "python3 '" QOR_SOURCE_FOLDER "/tests/state/check_records.py' '" QOR_SOURCE_FOLDER
                              "/docs/records.md' '" +
                              records + "'/*";
    EXPECT_EQ(file_count(records), 110u);
    EXPECT_EQ(std::system(check.c_str()), 0);
}

TEST(CaptureToFolderTest, TheDefaultFolderIsNewAndNamedByTheTime) {
    const TemporaryFolder folder;

    const Outcome outcome = qorstat({"capture", kSmall, "--kind", "fault"}, isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 0);
    ASSERT_EQ(folder.names().size(), 1u);
    EXPECT_THAT(folder.names()[0], testing::MatchesRegex("capture-[0-9]{8}-[0-9]{6}"));
    EXPECT_EQ(file_count(folder.path() / folder.names()[0]), 104u);
}

TEST(CaptureToFolderTest, AFolderThatHoldsSomethingIsAnError) {
    const TemporaryFolder folder;
    fs::create_directory(folder.path() / "used");
    folder.file("used/old", "content");

    const Outcome outcome = qorstat({"capture", kSmall, "--kind", "fault", "-o", "used"}, isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("qorstat: used: exists and is not empty\n"), std::string::npos) << outcome.err;
    EXPECT_EQ(file_count(folder.path() / "used"), 1u);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"used"});
}

TEST(CaptureToStandardOutputTest, AFullDiskIsAnError) {
    const TemporaryFolder folder;
    Surroundings surroundings = isolate_in(folder);
    surroundings.output_file = "/dev/full";

    const Outcome outcome = qorstat({"capture", kSmall, "--kind", "fault", "-o", "-"}, surroundings);

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.err.find("qorstat: standard output: No space left on device\n"), std::string::npos)
        << outcome.err;
}

TEST(CaptureToStandardOutputTest, AClosedPipeIsAnErrorBecauseRecordsAreLost) {
    const TemporaryFolder folder;
    RunningProgram program({"capture", kSmall, "--kind", "fault", "-o", "-"}, isolate_in(folder));
    program.stop_reading();

    const Outcome outcome = program.wait_for_end();

    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.err.find("qorstat: standard output: closed before every record was written\n"), std::string::npos)
        << outcome.err;
}

TEST(CaptureSummaryTest, TheSummaryIsAlsoThereAsJson) {
    const TemporaryFolder folder;

    const Outcome outcome =
        qorstat({"capture", kSmall, "--kind", "fault", "-o", "fault", "--json"}, isolate_in(folder));

    ASSERT_EQ(outcome.exit_code, 0);
    const auto json = nlohmann::json::parse(outcome.out);
    ASSERT_EQ(json.size(), 104u);
    std::size_t bytes = 0;
    for (const auto &row : json) {
        bytes += row["bytes"].get<std::size_t>();
    }
    EXPECT_EQ(bytes, all_files_end_to_end(folder.path() / "fault").size());
}

TEST(ConfineTest, ADescriptionBeneathTheFolderIsHosted) {
    const TemporaryFolder folder;

    const Outcome outcome = qorstat(
        {"capture", kPhone, "--kind", "error", "--confine", fs::path(kPhone).parent_path().string(), "-o", "error"},
        isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
}

TEST(ConfineTest, NoFolderIsWrongUse) {
    const Outcome outcome = qorstat({"capture", kSmall, "--confine", ""});

    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(outcome.err, "qorstat: capture: invalid value \"\" for --confine: expected a folder\n");
}

/** A description beneath the new folder `inside`, whose line 4 names a file beside that. */
std::string description_that_leads_out(const TemporaryFolder &folder) {
    folder.file("bytes", "abc");
    fs::create_directory(folder.path() / "inside");
    return folder.file("inside/device.toml", "name = 'x'\n[[driver.a.property]]\nid = 1\nfile = '../bytes'\n");
}

TEST(ConfineTest, ALiveDeviceIsConfinedToo) {
    const TemporaryFolder folder;
    const std::string description = description_that_leads_out(folder);
    const std::string inside = folder.path() / "inside";
    const auto decode = [](std::vector<std::string> options) {
        options.insert(options.begin(), {"decode", "/dev/null"});
        return qorstat(options);
    };

    EXPECT_EQ(decode({"--live", description}).exit_code, 0);
    EXPECT_EQ(decode({"--live", kSmall, "--confine", fs::path(kSmall).parent_path()}).exit_code, 0);
    const Outcome refused = decode({"--live", description, "--confine", inside});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, testing::HasSubstr("\": outside of \"" + inside + "\"\n"));
    EXPECT_EQ(decode({"--confine", inside}).exit_code, 2) << "there is no description";
}

TEST(UnknownZoneTest, IsSaidWhereTheLogHasLocalTimes) {
    const TemporaryFolder folder;
    Surroundings surroundings = isolate_in(folder);
    const std::string batch = folder.file("batch", std::string("\x3A\x03\x03\0\0\0\0", 7));
    const std::string warning = "qorstat: TZ is \"Nowhere/City\", which is no time zone: wall-clock times are in UTC\n";
    const auto said = [&](const std::string &zone, const std::vector<std::string> &arguments) {
        surroundings.environment["TZ"] = zone;
        const Outcome outcome = qorstat(arguments, surroundings);
        EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
        return cli_tests::occurrences(outcome.err, warning);
    };

    const std::vector<std::string> run = {"run", kSmall, "--for", "0", "--store", ":memory:"};
    const std::vector<std::string> capture = {"capture", kSmall, "-o", "-"};
    const std::vector<std::string> publish = {"publish", batch, "--store", ":memory:"};
    std::vector<std::string> publish_with_log = publish;
    publish_with_log.emplace_back("--log");

    EXPECT_EQ(said("Nowhere/City", run), 1u);
    EXPECT_EQ(said("Nowhere/City", capture), 1u);
    EXPECT_EQ(said("Nowhere/City", publish_with_log), 1u);
    EXPECT_EQ(said("Nowhere/City", publish), 0u) << "no time is printed";
    EXPECT_EQ(said("Asia/Tokyo", run), 0u);
    EXPECT_EQ(said("Asia/Tokyo", capture), 0u);
}

TEST(RunTest, AMissingJournalIsSaidOnce) {
    if (std::filesystem::exists("/run/systemd/journal/socket")) {
        GTEST_SKIP() << "this machine has a journal";
    }
    const TemporaryFolder folder;

    const Outcome outcome = qorstat({"run", kSmall, "--for", "0", "--journal"}, isolate_in(folder));

    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(cli_tests::occurrences(outcome.err,
                                     "qorstat: there is no systemd journal: /run/systemd/journal/socket: No such file "
                                     "or directory; the log does not go there\n"),
              1u)
        << outcome.err;
}

/** Bad modules and descriptions, which every verb that hosts the plug-in refuses. */
class RefusedHostingTest : public testing::TestWithParam<std::string> {
protected:
    /** One line on standard error, nothing on standard output, nothing written. */
    void expect_refused(const std::vector<std::string> &arguments, const std::string &start_of_message) {
        const TemporaryFolder folder;
        std::vector<std::string> all = {GetParam()};
        all.insert(all.end(), arguments.begin(), arguments.end());

        const Outcome outcome = qorstat(all, isolate_in(folder));

        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.rfind("qorstat: " + start_of_message, 0), 0u) << outcome.err;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
        EXPECT_TRUE(folder.names().empty()) << testing::PrintToString(folder.names());
    }
};

TEST_P(RefusedHostingTest, AFileThatIsNoModule) { expect_refused({kSmall, "--plugin", kSmall}, kSmall + ": "); }

TEST_P(RefusedHostingTest, AModuleWithoutTheFactory) {
    expect_refused({kSmall, "--plugin", QOR_FOREIGN_MODULE}, QOR_FOREIGN_MODULE ": ");
}

TEST_P(RefusedHostingTest, ADescriptionWithAnUnknownKey) {
    const TemporaryFolder folder;
    const std::string description = folder.file("device.toml", "no_such_key = 1\n" + content_of(kSmall));

    expect_refused({description}, description + ": line 1");
}

TEST_P(RefusedHostingTest, ADescriptionThatIsNoToml) {
    const TemporaryFolder folder;
    const std::string description = folder.file("device.toml", "[device\n");

    expect_refused({description}, description + ": line 1");
}

TEST_P(RefusedHostingTest, ADescriptionThatNamesAFileOutsideOfTheFolderThatConfinesIt) {
    const TemporaryFolder folder;
    const std::string description = description_that_leads_out(folder);
    const std::string inside = folder.path() / "inside";

    expect_refused({description, "--confine", inside},
                   description + ": line 4, column 8: \"" + inside + "/../bytes\": outside of \"" + inside + "\"\n");
}

INSTANTIATE_TEST_SUITE_P(EveryVerb, RefusedHostingTest, testing::Values("run", "capture"),
                         [](const testing::TestParamInfo<std::string> &verb) { return verb.param; });

} // namespace
