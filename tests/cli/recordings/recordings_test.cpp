#include "cli/recordings/recordings.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "cli/arguments/wrong_use.h"
#include "decoder/report_line.h"
#include "host/store/analytics_store.h"
#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports/dumps.h"

using cli::DumpFacts;
using cli::OpenRecording;
using cli::Recording;
using cli::RecordingKind;
using cli::RecordingSequence;
using cli::ReportPass;
using cli::WantedRecordings;
using cli_tests::DumpPipe;
using cli_tests::kAccelData;
using cli_tests::numbered_reports;
using cli_tests::report;
using cli_tests::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

std::string line_of(const std::string &report, const decoder::device_clock &clock) {
    text_buffer text;
    decoder::append_line(text, cli_tests::as_report(report), clock);
    return std::string(text.text());
}

/** Two lines with reports, the first of which tells a clock. */
std::string recorded_reports() {
    const decoder::device_clock clock{decoder::time_sync{5000, 1'700'000'000'000'000'000}, 1'699'999'990'000'000};
    return cli_tests::record("ZEL Profile 0", cli_tests::payload_of_lines({line_of(report(kAccelData, 7, 900), clock),
                                                                           line_of(report(kAccelData, 8, 800), {})}));
}

class RecordingsTest : public testing::Test {
protected:
    std::string file(const std::string &name, std::string_view content) const {
        fs::create_directories((folder.path() / name).parent_path());
        return folder.file(name, content);
    }

    /** Everything that is named, kept. Standard error goes to `messages`. */
    std::vector<Recording> kept(const std::vector<std::string> &arguments,
                                WantedRecordings wanted = WantedRecordings::All,
                                const std::optional<std::string> &device = std::nullopt) {
        std::vector<Recording> all;
        testing::internal::CaptureStderr();
        RecordingSequence sequence(arguments, std::nullopt, wanted, device);
        while (std::optional<OpenRecording> open = sequence.next()) {
            all.push_back(sequence.keep(std::move(*open)));
        }
        messages = testing::internal::GetCapturedStderr();
        has_failed = sequence.has_failed();
        return all;
    }

    Recording kept_one(const std::string &argument) { return kept({argument}).at(0); }

    std::vector<std::string> devices(const std::vector<std::string> &arguments,
                                     WantedRecordings wanted = WantedRecordings::All) {
        std::vector<std::string> names;
        for (const Recording &recording : kept(arguments, wanted)) {
            names.push_back(recording.device);
        }
        return names;
    }

    TemporaryFolder folder;
    std::string messages;
    bool has_failed = false;
};

std::vector<std::uint32_t> numbers_in(ReportPass pass) {
    std::vector<std::uint32_t> numbers;
    while (const std::optional<cli::ReportPiece> piece = pass.next()) {
        EXPECT_NE(piece->count(), 0u);
        for (const _QorProfileReport &each : piece->reports) {
            numbers.push_back(each.sequence_num());
        }
    }
    return numbers;
}

TEST_F(RecordingsTest, ADeviceIsNamedAfterItsFileWithoutEndings) {
    EXPECT_THAT(devices({file("device-0001.bin", numbered_reports(1)),
                         file("device-0002.bin.gz", cli_tests::gzip(numbered_reports(1))),
                         file("a.b.bin.zst", cli_tests::zstd(numbered_reports(1))), file("plain", numbered_reports(1)),
                         file(".bin", numbered_reports(1)), file("gz", numbered_reports(1))}),
                ElementsAre("device-0001", "device-0002", "a.b", "plain", ".bin", "gz"));
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(RecordingsTest, ADeviceOfARecordIsNamedAfterItsFolder) {
    EXPECT_THAT(devices({file("phone-7/001-x.qorstate", recorded_reports())}), ElementsAre("phone-7"));
    const fs::path before = fs::current_path();
    fs::current_path(folder.path() / "phone-7");
    EXPECT_THAT(devices({"001-x.qorstate"}), ElementsAre("phone-7"));
    fs::current_path(before);
}

TEST_F(RecordingsTest, AGivenDeviceIsThatOfAll) {
    const std::vector<Recording> all = kept(
        {file("a.bin", numbered_reports(1)), file("b/c.qorstate", recorded_reports())}, WantedRecordings::All, "mine");
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].device, "mine");
    EXPECT_EQ(all[1].device, "mine");
    EXPECT_THROW(RecordingSequence({"a"}, std::nullopt, WantedRecordings::All, "\xFF"), cli::WrongUse);
    EXPECT_THROW(RecordingSequence({"a"}, std::nullopt, WantedRecordings::All, ""), cli::WrongUse);
}

TEST_F(RecordingsTest, NamesAreUtf8) {
    const std::string path = file("a\xFF"
                                  "b.bin",
                                  numbered_reports(1));
    const Recording recording = kept_one(path);
    EXPECT_EQ(recording.device, "a\xEF\xBF\xBD"
                                "b");
    EXPECT_EQ(recording.file, folder.path().string() + "/a\xEF\xBF\xBD"
                                                       "b.bin");
    EXPECT_EQ(recording.name, path);
    EXPECT_THAT(numbers_in(ReportPass(recording)), ElementsAre(1)) << "opened by its own name";
}

TEST_F(RecordingsTest, KindsAreToldByContent) {
    const std::string store = folder.path() / "day.bin";
    host::write_new_analytics_store(store, {{{"key", 2}}, {}});
    const std::vector<Recording> all =
        kept({file("x.db", numbered_reports(2)), store, file("r/x.bin", recorded_reports()),
              file("r/y.bin", cli_tests::record("Title", cli_tests::kTwoLines)), file("empty", "")});
    ASSERT_EQ(all.size(), 5u);
    EXPECT_EQ(all[0].kind, RecordingKind::Dump);
    EXPECT_EQ(all[1].kind, RecordingKind::Store);
    EXPECT_EQ(all[2].kind, RecordingKind::Record);
    EXPECT_EQ(all[3].kind, RecordingKind::Record);
    EXPECT_EQ(all[4].kind, RecordingKind::Dump);
    EXPECT_TRUE(all[0].has_reports);
    EXPECT_FALSE(all[1].has_reports);
    EXPECT_TRUE(all[2].has_reports);
    EXPECT_FALSE(all[3].has_reports);
    EXPECT_EQ(all[0].size, 96u);
}

TEST_F(RecordingsTest, OfAFolderOnlyWhatIsWantedIsTaken) {
    file("all/a.bin", numbered_reports(1));
    file("all/b.qorstate", recorded_reports());
    file("all/c.qorstate", cli_tests::record("Title", cli_tests::kTwoLines));
    host::write_new_analytics_store(folder.path() / "all/d.db", {{{"key", 2}}, {}});
    const std::string all = folder.path() / "all";
    EXPECT_THAT(devices({all}), ElementsAre("a", "all", "all", "d"));
    EXPECT_THAT(devices({all}, WantedRecordings::Reports), ElementsAre("a", "all"));
    EXPECT_THAT(devices({all}, WantedRecordings::Records), ElementsAre("all", "all"));
    EXPECT_THAT(devices({all}, WantedRecordings::Stores), ElementsAre("d"));
    EXPECT_THAT(messages, IsEmpty());
    EXPECT_FALSE(has_failed);
}

TEST_F(RecordingsTest, WhatCannotBeReadIsNamedAndTheOthersAreTaken) {
    const std::string image = file("image.png", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16));
    const std::string bad = file("bad.qorstate", recorded_reports().substr(0, 300));
    const std::string good = file("good.bin", numbered_reports(1));
    EXPECT_THAT(devices({image, bad, folder.path() / "none", good}), ElementsAre("good"));
    EXPECT_TRUE(has_failed);
    EXPECT_EQ(messages, "qorstat: " + image + ": is a PNG image, not a dump, a record or an analytics store\n" +
                            "qorstat: " + bad + ": byte 4: the payload size is " +
                            std::to_string(recorded_reports().size() - 200) +
                            " and only 100 bytes are left\nqorstat: " + (folder.path() / "none").string() +
                            ": No such file or directory\n");
}

TEST_F(RecordingsTest, ARecordWithoutReportsIsNoInputOfReports) {
    const std::string path = file("r/y.bin", cli_tests::record("Title", cli_tests::kTwoLines));
    EXPECT_THAT(devices({path}, WantedRecordings::Reports), IsEmpty());
    EXPECT_EQ(messages, "qorstat: " + path + ": has no reports\n");
}

TEST_F(RecordingsTest, APipeIsKeptAndReadAsOftenAsWanted) {
    DumpPipe pipe(numbered_reports(3) + "abc");
    pipe.close_writer();
    const Recording recording = kept_one(pipe.name());
    EXPECT_EQ(recording.size, 0u);
    for (int time = 0; time < 2; ++time) {
        EXPECT_THAT(numbers_in(ReportPass(recording)), ElementsAre(1, 2, 3));
    }
    const DumpFacts facts = cli::facts_of(recording);
    EXPECT_EQ(facts.trailing_bytes, 3u);
    EXPECT_EQ(facts.hash, cli::facts_of(kept_one(file("same", numbered_reports(3) + "abc"))).hash);
}

TEST_F(RecordingsTest, ARecordInAPipeIsKeptAsWell) {
    DumpPipe pipe(recorded_reports());
    pipe.close_writer();
    const Recording recording = kept_one(pipe.name());
    ASSERT_TRUE(recording.has_reports);
    EXPECT_THAT(numbers_in(ReportPass(recording)), ElementsAre(7, 8));
    EXPECT_EQ(cli::read_record_file(recording).size(), recorded_reports().size());
}

TEST_F(RecordingsTest, OfADamagedPipeWhatCameBeforeIsKept) {
    const std::string packed = cli_tests::gzip(numbered_reports(1000));
    DumpPipe pipe(std::string_view(packed).substr(0, packed.size() - 4));
    pipe.close_writer();
    const std::vector<Recording> all = kept({pipe.name()});
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(messages, "qorstat: " + pipe.name() + ": byte " + std::to_string(packed.size() - 4) +
                            ": the gzip data are cut off\n");
    EXPECT_TRUE(has_failed);
    EXPECT_EQ(numbers_in(ReportPass(all[0])).size(), 1000u);
}

TEST_F(RecordingsTest, WhatHasNoRoomIsAnError) {
    const char *const before = std::getenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe): one thread
    const std::optional<std::string> former = before == nullptr ? std::nullopt : std::optional<std::string>(before);
    for (const auto &[room, reason] :
         {std::pair<std::string, std::string>{"/proc", "cannot be kept in /proc: "},
          {folder.path() / "missing", "cannot be kept in the folder that TMPDIR names: "}}) {
        setenv("TMPDIR", room.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
        DumpPipe pipe(numbered_reports(1));
        pipe.close_writer();
        RecordingSequence sequence({pipe.name()}, std::nullopt, WantedRecordings::All, std::nullopt);
        std::optional<OpenRecording> open = sequence.next();
        ASSERT_TRUE(open);
        try {
            sequence.keep(std::move(*open));
            ADD_FAILURE() << "kept in " << room;
        } catch (const host::Error &error) {
            EXPECT_THAT(error.what(), HasSubstr(pipe.name() + ": " + reason));
        }
    }
    if (former) {
        setenv("TMPDIR", former->c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    } else {
        unsetenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe)
    }
}

TEST_F(RecordingsTest, AStoreIsReadInPlaceFromAPipeAndPacked) {
    const host::StoreContents contents{{{"key", 2}}, {{"d", {{1.5, 3}}}}};
    const std::string path = folder.path() / "day.db";
    host::write_new_analytics_store(path, contents);
    const std::string image = cli_tests::content_of(path);
    DumpPipe pipe(image);
    pipe.close_writer();
    for (const std::string &argument : {path, file("packed.db.gz", cli_tests::gzip(image)), pipe.name()}) {
        const Recording recording = kept_one(argument);
        EXPECT_EQ(recording.kind, RecordingKind::Store);
        EXPECT_EQ(cli::read_store(recording), contents) << argument;
        EXPECT_EQ(cli::read_store(recording), contents) << "again";
    }
}

TEST_F(RecordingsTest, TheTimeOfAStoreIsThatOfItsLastChange) {
    const std::string path = folder.path() / "day.db";
    host::write_new_analytics_store(path, {{{"key", 2}}, {}});
    const auto set = [](const std::string &name, time_t second) {
        const timespec times[] = {{second, 0}, {second, 123'456'789}};
        ASSERT_EQ(utimensat(AT_FDCWD, name.c_str(), times, 0), 0);
    };
    set(path, 1'700'000'000);
    EXPECT_EQ(kept_one(path).taken, 1'700'000'000'123'456);
    set(file("day.db-wal", "x"), 1'700'000'009);
    EXPECT_EQ(kept_one(path).taken, 1'700'000'009'123'456);
    set(file("day.db-wal", ""), 1'700'000'019);
    EXPECT_EQ(kept_one(path).taken, 1'700'000'000'123'456) << "an empty log has no change";
}

TEST_F(RecordingsTest, FactsOfADump) {
    const DumpFacts facts =
        cli::facts_of(kept_one(file("a.bin", report(kAccelData, 5, 700) + report(kAccelData, 6, 300) +
                                                 report(kAccelData, 10, 900) + report(kAccelData, 9, 800) + "12345")));
    EXPECT_EQ(facts.reports, 4u);
    EXPECT_EQ(facts.first_timestamp, 300u);
    EXPECT_EQ(facts.last_timestamp, 900u);
    EXPECT_EQ(facts.gaps, 2u);
    EXPECT_EQ(facts.missing, 3u);
    EXPECT_EQ(facts.trailing_bytes, 5u);
    EXPECT_FALSE(facts.clock.sync);
    EXPECT_FALSE(facts.clock.boot_time);
}

TEST_F(RecordingsTest, FactsOfAnEmptyDump) {
    const DumpFacts facts = cli::facts_of(kept_one(file("a.bin", "")));
    EXPECT_EQ(facts.reports, 0u);
    EXPECT_FALSE(facts.first_timestamp);
    EXPECT_FALSE(facts.last_timestamp);
    EXPECT_EQ(cli::hash_text(facts.hash), "2d06800538d394c2") << "XXH3 of no bytes";
}

TEST_F(RecordingsTest, ARecordHasTheClockOfItsFirstReport) {
    const DumpFacts facts = cli::facts_of(kept_one(file("r/a", recorded_reports())));
    EXPECT_EQ(facts.reports, 2u);
    EXPECT_EQ(facts.first_timestamp, 800u);
    EXPECT_EQ(facts.last_timestamp, 900u);
    ASSERT_TRUE(facts.clock.sync);
    EXPECT_EQ(decoder::wall_time(900, *facts.clock.sync), 1'700'000'000'000'895u);
    EXPECT_EQ(facts.clock.boot_time, 1'699'999'990'000'000u);
    cli::ContentHash hash;
    const std::string bytes = recorded_reports();
    hash.add(std::as_bytes(std::span(bytes)));
    EXPECT_EQ(facts.hash, hash.value()) << "of the file's bytes";
}

TEST_F(RecordingsTest, TheHashIsThatOfTheUnpackedContent) {
    const std::string content = numbered_reports(3000) + "tail";
    cli::ContentHash all;
    all.add(std::as_bytes(std::span(content)));
    EXPECT_EQ(cli::facts_of(kept_one(file("plain", content))).hash, all.value());
    EXPECT_EQ(cli::facts_of(kept_one(file("packed.gz", cli_tests::gzip(content)))).hash, all.value());
    EXPECT_NE(cli::facts_of(kept_one(file("less", content.substr(1)))).hash, all.value());
    EXPECT_NE(cli::facts_of(kept_one(file("other", numbered_reports(3000) + "tale"))).hash, all.value());
}

TEST_F(RecordingsTest, TheHashIsTheOneThatOtherProgramsCompute) {
    const std::string text = "The quick brown fox jumps over the lazy dog";
    cli::ContentHash hash;
    hash.add(std::as_bytes(std::span(text).first(10)));
    hash.add(std::as_bytes(std::span(text).subspan(10)));
    EXPECT_EQ(cli::hash_text(hash.value()), "ce7d19a5418fb365");
    EXPECT_EQ(cli::hash_text(0x12), "0000000000000012");
}

TEST_F(RecordingsTest, APassGivesWhatIsWholeBeforeDamage) {
    const std::string packed = cli_tests::gzip(numbered_reports(3000));
    const Recording recording = kept_one(file("a.gz", packed.substr(0, packed.size() - 4)));
    ReportPass pass(recording);
    std::uint64_t count = 0;
    std::string message;
    try {
        while (const std::optional<cli::ReportPiece> piece = pass.next()) {
            count += piece->count();
        }
    } catch (const host::Error &error) {
        message = error.what();
    }
    EXPECT_EQ(count, 3000u);
    EXPECT_THAT(message, HasSubstr("the gzip data are cut off"));
    EXPECT_EQ(pass.facts().reports, 3000u);
    EXPECT_EQ(pass.facts().last_timestamp, 300'000u);
}

TEST_F(RecordingsTest, APassNeverGivesWhatATruncatedFileNoLongerHas) {
    const std::string path = file("a.bin", numbered_reports(2 * 1365 + 10));
    ReportPass pass(kept_one(path));
    ASSERT_TRUE(pass.next());
    fs::resize_file(path, 48 * 100);
    EXPECT_THROW(
        while (const std::optional<cli::ReportPiece> piece = pass.next()) {
            for (const _QorProfileReport &each : piece->reports) {
                EXPECT_NE(each.sequence_num(), 0u);
            }
        },
        host::Error);
    EXPECT_EQ(pass.facts().reports, 1365u);
}

TEST_F(RecordingsTest, AnOpenRecordingIsReadOnceWithoutBeingKept) {
    const std::string store = folder.path() / "day.db";
    host::write_new_analytics_store(store, {{{"key", 2}}, {}});
    DumpPipe pipe(numbered_reports(2));
    pipe.close_writer();
    RecordingSequence sequence({pipe.name(), file("r/a", recorded_reports()), store}, std::nullopt,
                               WantedRecordings::All, std::nullopt);
    EXPECT_THAT(numbers_in(ReportPass(std::move(sequence.next().value()))), ElementsAre(1, 2));
    EXPECT_THAT(numbers_in(ReportPass(std::move(sequence.next().value()))), ElementsAre(7, 8));
    EXPECT_EQ(cli::read_store(std::move(sequence.next().value())).scalars.at("key"), 2);
    EXPECT_FALSE(sequence.next());
}

} // namespace
