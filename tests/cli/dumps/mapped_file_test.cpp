#include "cli/dumps/mapped_file.h"

#include <csignal>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/cli/program.h"

using cli::MappedFile;
using cli_tests::TemporaryFolder;

namespace {

constexpr std::size_t kPiece = MappedFile::kViewBytes;
/** More than two windows of 1 MiB each, and not whole pages. */
constexpr std::size_t kFileBytes = (std::size_t{2} << 20) + 3 * kPiece + 1000;

std::string text_of(std::span<const std::byte> bytes) {
    const void *const begin = bytes.data();
    return {static_cast<const char *>(begin), bytes.size()};
}

/**
 * `kFileBytes` bytes, none of them zero. They repeat after 765, which shares no factor with the size of a page, so that
 * no two pages are equal.
 */
std::string file_content() {
    std::string period;
    for (int i = 0; i < 765; ++i) {
        period.push_back(static_cast<char>(i / 3 + 1));
    }
    std::string content;
    while (content.size() < kFileBytes) {
        content += period;
    }
    content.resize(kFileBytes);
    return content;
}

class MappedFileTest : public testing::Test {
protected:
    explicit MappedFileTest() {
        path = folder.file("file", content);
        descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    }
    ~MappedFileTest() override { close(descriptor); }

    TemporaryFolder folder;
    const std::string content = file_content();
    std::string path;
    int descriptor = -1;
};

TEST_F(MappedFileTest, ViewsAreTheBytesOfTheFile) {
    MappedFile file(descriptor, content.size());

    for (std::size_t offset = 5; offset < content.size(); offset += kPiece - 7) {
        const std::size_t size = std::min(kPiece, content.size() - offset);
        ASSERT_EQ(text_of(file.view(offset, size)), content.substr(offset, size)) << offset;
        ASSERT_TRUE(file.is_intact()) << offset;
    }
    EXPECT_EQ(text_of(file.view(0, 10)), content.substr(0, 10));
}

TEST_F(MappedFileTest, WhatIsCutOffReadsAsZerosAndIsFound) {
    MappedFile file(descriptor, content.size());
    const std::span<const std::byte> view = file.view(kPiece, kPiece);
    ASSERT_EQ(text_of(view), content.substr(kPiece, kPiece));

    std::filesystem::resize_file(path, kPiece + 8192);

    EXPECT_EQ(text_of(view), content.substr(kPiece, 8192) + std::string(kPiece - 8192, '\0'));
    EXPECT_FALSE(file.is_intact());
}

/** A page of a mapped file has no signal for the part behind the end. */
TEST_F(MappedFileTest, AnEndWithinThePageThatWasReadIsFound) {
    MappedFile file(descriptor, content.size());
    const std::span<const std::byte> view = file.view(0, 100);

    std::filesystem::resize_file(path, 50);

    EXPECT_EQ(text_of(view), content.substr(0, 50) + std::string(50, '\0'));
    EXPECT_FALSE(file.is_intact());
}

TEST_F(MappedFileTest, AnEndWithinTheLastPageIsFound) {
    MappedFile file(descriptor, content.size());
    file.view(content.size() - 100, 100);
    ASSERT_TRUE(file.is_intact());

    std::filesystem::resize_file(path, content.size() - 1);

    EXPECT_FALSE(file.is_intact());
}

TEST_F(MappedFileTest, AFileThatGrowsIsIntact) {
    MappedFile file(descriptor, content.size());
    file.view(content.size() - 100, 100);

    std::filesystem::resize_file(path, content.size() + 100'000);

    EXPECT_TRUE(file.is_intact());
}

TEST_F(MappedFileTest, FilesDoNotDisturbEachOther) {
    const std::string other_path = folder.file("other", content);
    const int other_descriptor = open(other_path.c_str(), O_RDONLY | O_CLOEXEC);
    MappedFile file(descriptor, content.size());
    MappedFile other(other_descriptor, content.size());
    const std::span<const std::byte> view = file.view(0, kPiece);
    const std::span<const std::byte> other_view = other.view(0, kPiece);

    std::filesystem::resize_file(path, 0);

    EXPECT_EQ(text_of(view), std::string(kPiece, '\0'));
    EXPECT_FALSE(file.is_intact());
    EXPECT_EQ(text_of(other_view), content.substr(0, kPiece));
    EXPECT_TRUE(other.is_intact());
    close(other_descriptor);
}

TEST_F(MappedFileTest, WithoutAFreeGuardNothingIsMapped) {
    std::vector<std::unique_ptr<MappedFile>> files;
    for (int i = 0; i < 5; ++i) {
        files.push_back(std::make_unique<MappedFile>(descriptor, content.size()));
    }
    EXPECT_FALSE(files[3]->view(0, 1).empty());
    EXPECT_TRUE(files[4]->view(0, 1).empty());

    files.clear();

    EXPECT_FALSE(MappedFile(descriptor, content.size()).view(0, 1).empty());
}

TEST_F(MappedFileTest, WhatCannotBeMappedGivesNothing) {
    const int writable = open(path.c_str(), O_WRONLY | O_CLOEXEC);

    EXPECT_TRUE(MappedFile(writable, content.size()).view(0, 1).empty());

    close(writable);
}

/** The system may take away what is mapped at a place before it finds that a file cannot be mapped there. */
TEST(MappedFileOfTheSystemTest, WhatOthersMapAfterAFailureIsLeftToThem) {
    constexpr std::size_t kBytes = std::size_t{1} << 20;
    const int notes = open("/sys/kernel/notes", O_RDONLY | O_CLOEXEC);
    if (notes == -1) {
        GTEST_SKIP() << "this machine has no /sys/kernel/notes";
    }
    void *others = nullptr;
    {
        MappedFile file(notes, 4096);
        EXPECT_TRUE(file.view(0, 48).empty());
        others = mmap(nullptr, kBytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    }

    EXPECT_EQ(munlock(others, kBytes), 0) << "no longer mapped";

    munmap(others, kBytes);
    close(notes);
}

/** Reads a page that its file does not have any more. */
void read_missing_page_of(const std::string &path) {
    const int own = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    void *const page = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, own, 0);
    std::filesystem::resize_file(path, 0);
    static_cast<void>(*static_cast<const volatile char *>(page));
}

/** Each runs in a process of its own, where nothing has set the handler yet. */
class MappedFileDeathTest : public MappedFileTest {
protected:
    MappedFileDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(MappedFileDeathTest, AMissingPageOfOthersEndsTheProcess) {
    EXPECT_DEATH(
        {
            const MappedFile file(descriptor, content.size());
            read_missing_page_of(path);
        },
        "");
}

TEST_F(MappedFileDeathTest, ASentSignalEndsTheProcess) {
    EXPECT_DEATH(
        {
            MappedFile file(descriptor, content.size());
            file.view(0, 1);
            std::raise(SIGBUS);
        },
        "");
}

TEST_F(MappedFileDeathTest, AnEarlierHandlerIsCalledForOthers) {
    EXPECT_EXIT(
        {
            std::signal(SIGBUS, [](int) { _exit(7); });
            const MappedFile file(descriptor, content.size());
            read_missing_page_of(path);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(MappedFileDeathTest, AnIgnoredSignalThatIsSentStaysIgnored) {
    EXPECT_EXIT(
        {
            std::signal(SIGBUS, SIG_IGN);
            const MappedFile file(descriptor, content.size());
            std::raise(SIGBUS);
            _exit(8);
        },
        testing::ExitedWithCode(8), "");
}

} // namespace
