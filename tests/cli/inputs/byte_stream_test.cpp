#include "cli/inputs/byte_stream.h"

#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/terminal/interruption.h"
#include "host/error.h"
#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports/dumps.h"

using cli::ByteStream;
using cli::ContentKind;
using cli::Packing;
using cli_tests::DumpPipe;
using cli_tests::gzip;
using cli_tests::numbered_reports;
using cli_tests::TemporaryFolder;
using cli_tests::zstd;
using namespace std::string_literals;

namespace {

/** What a stream gives, and the error at its end. */
struct Gathered {
    std::string bytes;
    std::string error;
};

Gathered gather(ByteStream &stream, std::size_t room_size = 1000) {
    Gathered gathered;
    std::vector<std::byte> room(room_size);
    try {
        while (const std::size_t count = stream.read_some(room)) {
            gathered.bytes.append(static_cast<const char *>(static_cast<const void *>(room.data())), count);
        }
    } catch (const host::Error &error) {
        gathered.error = error.what();
    }
    return gathered;
}

/** Text that does not pack well. */
std::string mixed_text(std::size_t size) {
    std::string text;
    std::uint32_t state = 1;
    while (text.size() < size) {
        state = state * 1664525 + 1013904223;
        text += static_cast<char>(state >> 24);
    }
    return text;
}

class ByteStreamTest : public testing::Test {
protected:
    Gathered gather_file(const std::string &content, std::size_t room_size = 1000) {
        ByteStream stream(folder.file("file", content));
        return gather(stream, room_size);
    }

    std::string path() const { return folder.path() / "file"; }

    const TemporaryFolder folder;
};

TEST_F(ByteStreamTest, GivesEveryByteOfAPlainFile) {
    for (const std::size_t size : {0u, 1u, 511u, 512u, 513u, 200'000u}) {
        const std::string content = mixed_text(size);
        ByteStream stream(folder.file("file", content));
        EXPECT_TRUE(stream.is_plain_file());
        EXPECT_EQ(stream.file_size(), size);
        EXPECT_EQ(gather(stream).bytes, content);
        EXPECT_EQ(stream.bytes_taken(), size);
    }
}

TEST_F(ByteStreamTest, UnpacksWhatIsPackedWhateverTheRoom) {
    const std::string content = numbered_reports(1) + mixed_text(200'000) + std::string(300'000, 'z');
    for (const std::string &packed : {gzip(content), zstd(content)}) {
        for (const std::size_t room : {1u, 7u, 4096u, 1'000'000u}) {
            ByteStream stream(folder.file("file", packed));
            EXPECT_FALSE(stream.is_plain_file());
            EXPECT_EQ(stream.content().kind, ContentKind::Dump);
            EXPECT_EQ(stream.file_size(), packed.size());
            const Gathered gathered = gather(stream, room);
            EXPECT_TRUE(gathered.bytes == content) << room;
            EXPECT_EQ(gathered.error, "");
            EXPECT_EQ(stream.bytes_taken(), packed.size());
        }
    }
}

TEST_F(ByteStreamTest, GivesAllMembersAndFramesOneAfterAnother) {
    const std::string skipped("\x50\x2a\x4d\x18\3\0\0\0abc", 11);
    EXPECT_EQ(gather_file(gzip("one ") + gzip("") + gzip("two ") + gzip("three")).bytes, "one two three");
    EXPECT_EQ(gather_file(zstd("one ") + skipped + zstd("two ") + zstd("")).bytes, "one two ");
    EXPECT_EQ(gather_file(skipped + zstd("one")).bytes, "one");
}

TEST_F(ByteStreamTest, AManyTimesRepeatedEmptyMemberIsNothing) {
    std::string members;
    const std::string member = gzip("");
    for (int i = 0; i < 20'000; ++i) {
        members += member;
    }
    EXPECT_EQ(gather_file(members).bytes, "");
    EXPECT_EQ(gather_file(members).error, "");
}

TEST_F(ByteStreamTest, ZerosBehindGzipDataAreAllowedAndNothingElse) {
    const std::string packed = gzip("text");
    const std::string file = path();

    Gathered gathered = gather_file(packed + std::string(1000, '\0'));
    EXPECT_EQ(gathered.bytes, "text");
    EXPECT_EQ(gathered.error, "");

    gathered = gather_file(packed + std::string(3, '\0') + packed);
    EXPECT_EQ(gathered.bytes, "text");
    EXPECT_EQ(gathered.error, file + ": byte " + std::to_string(packed.size() + 3) +
                                  ": there is something behind the end of the gzip data");

    gathered = gather_file(packed + "garbage");
    EXPECT_EQ(gathered.bytes, "text");
    EXPECT_NE(gathered.error.find("the gzip data are damaged"), std::string::npos) << gathered.error;

    gathered = gather_file(zstd("text") + "garbage");
    EXPECT_EQ(gathered.bytes, "text");
    EXPECT_NE(gathered.error.find("there is something behind the end of the zstd data"), std::string::npos);
}

TEST_F(ByteStreamTest, WhatIsWholeOfCutDataComesBeforeTheError) {
    const std::string content = mixed_text(300'000);
    for (const std::string &packed : {gzip(content), zstd(content)}) {
        const std::string kind = packed.front() == '\x1f' ? "gzip" : "zstd";
        std::size_t given = 0;
        for (const std::size_t size : {packed.size() / 3, packed.size() / 2, packed.size() - 1}) {
            const Gathered gathered = gather_file(packed.substr(0, size));
            EXPECT_EQ(gathered.error,
                      path() + ": byte " + std::to_string(size) + ": the " + kind + " data are cut off");
            EXPECT_TRUE(content.starts_with(gathered.bytes));
            EXPECT_GE(gathered.bytes.size(), given);
            given = gathered.bytes.size();
        }
        EXPECT_GT(given, content.size() / 2);
    }
}

TEST_F(ByteStreamTest, ABlockBeforeADamagedOneIsGivenWhateverTheRoom) {
    // A frame with a block that repeats 'a' 34,415 times, one that repeats 'b' 2,820 times, and the start of one that
    // is larger than any may be.
    const std::string frame("\x28\xB5\x2F\xFD\x00\x7A\x7A\x33\x04"
                            "a\x22\x58\x00"
                            "b\x00\x1E\xFF",
                            17);
    for (const std::size_t room_size : std::vector<std::size_t>{1, 6, 1000, 34'415, 1'000'000}) {
        const Gathered gathered = gather_file(frame, room_size);
        EXPECT_EQ(gathered.bytes, std::string(34'415, 'a') + std::string(2'820, 'b')) << room_size;
        EXPECT_TRUE(gathered.error.ends_with("the zstd data are damaged")) << gathered.error;
    }
}

TEST_F(ByteStreamTest, EveryDamagedByteIsAnErrorWithItsPlaceOrLeavesTheContent) {
    const std::string content = numbered_reports(30);
    for (const std::string &packed : {gzip(content), zstd(content)}) {
        for (std::size_t place = 10; place < packed.size(); ++place) {
            std::string damaged = packed;
            damaged[place] = static_cast<char>(damaged[place] ^ 0x55);
            folder.file("file", damaged);
            Gathered gathered;
            try {
                ByteStream stream(path());
                gathered = gather(stream);
            } catch (const host::Error &error) {
                gathered.error = error.what();
            }
            EXPECT_TRUE(gathered.bytes == content || gathered.error.starts_with(path() + ": byte ")) << place;
            EXPECT_LE(gathered.bytes.size(), 100 * content.size());
        }
    }
}

TEST_F(ByteStreamTest, DataThatNeedTooMuchMemoryAreRefused) {
    // A frame whose window has 2 GB, with one block of no bytes.
    const std::string frame("\x28\xB5\x2F\xFD\x00\xA8\x01\x00\x00", 9);
    folder.file("file", frame);
    try {
        ByteStream stream(path());
        FAIL();
    } catch (const host::Error &error) {
        EXPECT_EQ(error.reason(), "the zstd data need more than 128 MB of memory to unpack");
    }
}

long peak_kilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST_F(ByteStreamTest, ASmallFileThatUnpacksToMuchIsReadInConstantMemory) {
    constexpr std::size_t kTimes = 256;
    const std::string megabyte(1 << 20, '\0');
    for (const std::string &packed : {gzip(megabyte, kTimes), zstd(megabyte, kTimes)}) {
        ASSERT_LT(packed.size(), 2u << 20);
        folder.file("file", packed);
        std::vector<std::byte> room(64 * 1024);
        const long before = peak_kilobytes();

        ByteStream stream(path());
        std::uint64_t size = 0;
        while (const std::size_t count = stream.read_some(room)) {
            size += count;
        }

        EXPECT_EQ(size, kTimes * megabyte.size());
        EXPECT_LT(peak_kilobytes() - before, 32 * 1024);
    }
}

TEST_F(ByteStreamTest, OnlySoMuchIsUnpackedAtOnce) {
    folder.file("file", gzip(std::string(1 << 20, '\0'), 257));
    ByteStream stream(path());
    try {
        stream.read_all();
        FAIL();
    } catch (const host::Error &error) {
        EXPECT_EQ(error.what(), path() + ": unpacks to more than 256 MB");
    }
}

TEST_F(ByteStreamTest, APackedFileWithinAPackedFileIsForeign) {
    ByteStream stream(folder.file("file", gzip(zstd("text"))));
    EXPECT_EQ(stream.content().kind, ContentKind::Foreign);
    EXPECT_EQ(stream.content().name, "a packed file within a packed file");
}

TEST_F(ByteStreamTest, OpeningAPipeTakesNoBytesAway) {
    const std::string record = cli_tests::record("Title", cli_tests::kTwoLines);
    for (const std::string &content : {record, gzip(record), numbered_reports(3), "short"s, ""s}) {
        DumpPipe pipe(content);
        pipe.close_writer();
        ByteStream stream(pipe.name());
        EXPECT_FALSE(stream.is_plain_file());
        EXPECT_EQ(stream.file_size(), 0u);
        const std::string expected = stream.packing() == Packing::None ? content : record;
        EXPECT_EQ(gather(stream, 5).bytes, expected);
    }
}

TEST_F(ByteStreamTest, AReportInAPipeThatStaysOpenIsGivenAtOnce) {
    DumpPipe pipe(numbered_reports(1));
    ByteStream stream(pipe.name());
    EXPECT_EQ(stream.content().kind, ContentKind::Dump);
    std::vector<std::byte> room(1000);
    EXPECT_EQ(stream.read_some(room), 48u);
}

TEST_F(ByteStreamTest, StandardInputBeginsWhereItsDescriptorStandsAndLeavesItThere) {
    const std::string content = mixed_text(2000);
    const int file = open(folder.file("file", content).c_str(), O_RDONLY);
    const int former = dup(STDIN_FILENO);
    ASSERT_EQ(dup2(file, STDIN_FILENO), STDIN_FILENO);
    lseek(STDIN_FILENO, 100, SEEK_SET);
    {
        ByteStream stream("-");
        EXPECT_EQ(stream.name(), "standard input");
        EXPECT_EQ(stream.file_size(), 1900u);
        EXPECT_EQ(stream.descriptor(), STDIN_FILENO);
        EXPECT_EQ(gather(stream).bytes, content.substr(100));
    }
    EXPECT_EQ(lseek(STDIN_FILENO, 0, SEEK_CUR), 100) << "still open";
    dup2(former, STDIN_FILENO);
    close(former);
    close(file);
}

TEST_F(ByteStreamTest, WhatCannotBeOpenedOrReadIsAnError) {
    const auto error_of = [](const std::string &argument) {
        try {
            const ByteStream stream(argument);
            return "no error"s;
        } catch (const host::Error &error) {
            return std::string(error.what());
        }
    };
    EXPECT_EQ(error_of("/nowhere"), "/nowhere: No such file or directory");
    EXPECT_EQ(error_of(""), "\"\": No such file or directory");
    EXPECT_EQ(error_of(folder.path()), folder.path().string() + ": Is a directory");
    EXPECT_EQ(error_of("/proc/self/mem"), "/proc/self/mem: Input/output error");
}

TEST_F(ByteStreamTest, AFileOfTheSystemIsReadToItsEnd) {
    ByteStream stream("/proc/self/status");
    EXPECT_EQ(stream.content().kind, ContentKind::Text);
    EXPECT_NE(gather(stream).bytes.find("VmPeak"), std::string::npos);
}

TEST_F(ByteStreamTest, ASignalEndsTheWaitForAFifoWhileAnInterruptionLives) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    for (const bool has_writer : {false, true}) {
        const cli::Interruption interruption;
        const int writer = has_writer ? open(path().c_str(), O_RDWR) : -1;
        std::thread signal([] { kill(getpid(), SIGINT); });
        EXPECT_THROW(ByteStream stream(path()), cli::Interrupted);
        signal.join();
        close(writer);
    }
}

TEST_F(ByteStreamTest, AFifoWaitsForItsWriter) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    std::thread writer([this] {
        const int end = open(path().c_str(), O_WRONLY);
        EXPECT_EQ(write(end, "late", 4), 4);
        close(end);
    });
    ByteStream stream(path());
    EXPECT_EQ(gather(stream).bytes, "late");
    writer.join();
}

} // namespace
