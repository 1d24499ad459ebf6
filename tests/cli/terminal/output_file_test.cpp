#include "cli/terminal/output_file.h"

#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/terminal/interruption.h"
#include "host/error.h"
#include "tests/cli/program.h"
#include "tests/file_size_limit.h"

using cli::OutputFile;
using cli_tests::content_of;
using cli_tests::TemporaryFolder;
using testing::ElementsAre;

namespace {

namespace fs = std::filesystem;

class OutputFileTest : public testing::Test {
protected:
    std::string path(const std::string &name = "out") const { return folder.path() / name; }

    const TemporaryFolder folder;
};

TEST_F(OutputFileTest, IsThereWhenItIsFinishedAndNotBefore) {
    const std::string text = "\x1b[31mexact\x01\n";
    {
        OutputFile file(path());
        file.output().write_styled(text);
        file.output().flush();
        EXPECT_FALSE(fs::exists(path()));
        ASSERT_EQ(folder.names().size(), 1u);
        EXPECT_TRUE(folder.names()[0].starts_with("out.partial-"));
        file.finish();
        EXPECT_EQ(content_of(path()), text);
    }
    EXPECT_THAT(folder.names(), ElementsAre("out"));
}

TEST_F(OutputFileTest, TheFormerFileStaysUntilThen) {
    folder.file("out", "former, and longer than what follows");
    fs::permissions(path(), fs::perms::owner_all);
    const mode_t mask = umask(027);
    {
        OutputFile file(path());
        file.output().write("new");
        file.output().flush();
        EXPECT_EQ(content_of(path()), "former, and longer than what follows");
        file.finish();
    }
    umask(mask);
    EXPECT_EQ(content_of(path()), "new");
    struct stat status {};
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u) << "the rights of a new file";
}

TEST_F(OutputFileTest, WithoutAnEndNothingIsLeft) {
    folder.file("former", "former");
    for (const char *name : {"former", "new"}) {
        OutputFile file(path(name));
        file.output().write("text");
        file.output().flush();
    }
    EXPECT_THAT(folder.names(), ElementsAre("former"));
    EXPECT_EQ(content_of(path("former")), "former");
}

TEST_F(OutputFileTest, ALinkIsFollowed) {
    fs::create_directory(path("folder"));
    folder.file("folder/file", "former");
    fs::create_symlink("folder/file", path());
    OutputFile file(path());
    file.output().write("new");
    file.finish();
    EXPECT_TRUE(fs::is_symlink(path()));
    EXPECT_EQ(content_of(path("folder/file")), "new");
}

TEST_F(OutputFileTest, ALinkToAFileThatIsNotThereYetIsFollowed) {
    fs::create_directory(path("folder"));
    fs::create_symlink("second", path("folder/first"));
    fs::create_symlink("folder/first", path());
    OutputFile file(path());
    file.output().write("new");
    file.finish();
    EXPECT_TRUE(fs::is_symlink(path()));
    EXPECT_EQ(content_of(path("folder/second")), "new");
}

TEST_F(OutputFileTest, LinksThatLeadNowhereAreAnError) {
    fs::create_symlink("out", path());
    EXPECT_THROW(OutputFile{path()}, host::Error);
    EXPECT_TRUE(fs::is_symlink(path()));
}

TEST_F(OutputFileTest, LeftoversOfAKilledProcessAreNotTouched) {
    const std::string leftover = "out.partial-" + std::to_string(getpid()) + "-0";
    folder.file(leftover, "leftover");
    OutputFile file(path());
    file.output().write("new");
    file.finish();
    EXPECT_EQ(content_of(path()), "new");
    EXPECT_EQ(content_of(path(leftover)), "leftover");
}

TEST_F(OutputFileTest, AFifoIsWrittenDirectly) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    std::string read;
    std::thread reader([&] { read = content_of(path()); });
    {
        OutputFile file(path());
        file.output().write("text");
        file.finish();
    }
    reader.join();
    EXPECT_EQ(read, "text");
    EXPECT_TRUE(fs::is_fifo(path()));
    EXPECT_THAT(folder.names(), ElementsAre("out"));
}

TEST_F(OutputFileTest, TheFileOfStandardOutputIsWrittenThere) {
    const int former = dup(STDOUT_FILENO);
    const int opened = open(path().c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ASSERT_EQ(write(opened, "before ", 7), 7);
    std::fflush(stdout);
    dup2(opened, STDOUT_FILENO);
    for (const std::optional<std::string> &name :
         {std::optional<std::string>(), std::optional<std::string>("-"), std::optional<std::string>("/dev/stdout"),
          std::optional<std::string>(path())}) {
        OutputFile file(name);
        file.output().write("text ");
        file.finish();
    }
    dup2(former, STDOUT_FILENO);
    close(former);
    close(opened);
    EXPECT_EQ(content_of(path()), "before text text text text ");
}

// ---- failing steps

/** One step that fails. */
struct Failure {
    std::string step;
    /** Makes the step fail. @return the name to write to. */
    std::function<std::string(const fs::path &folder)> prepare;
    /** Called after the file was made. */
    std::function<void(const fs::path &file)> before_end;
    std::string reason;
};

void PrintTo(const Failure &failure, std::ostream *out) { *out << failure.step; }

void nothing(const fs::path &) {}

std::vector<Failure> failures() {
    return {
        {"NoFolder", [](const fs::path &folder) { return folder / "nowhere/out"; }, nothing,
         "No such file or directory"},
        {"AFileForAFolder", [](const fs::path &folder) { return folder / "former/out"; }, nothing, "Not a directory"},
        {"AFolderOfThatName", [](const fs::path &folder) { return folder / "folder"; }, nothing, "Is a directory"},
        {"TooLongAName", [](const fs::path &folder) { return folder / std::string(256, 'n'); }, nothing,
         "File name too long"},
        {"NoRoomForTheTemporaryName", [](const fs::path &folder) { return folder / std::string(250, 'n'); }, nothing,
         "File name too long"},
        {"FullDisk", [](const fs::path &folder) { return folder / "former"; },
         [](const fs::path &) {
             static std::optional<FileSizeLimit> limit;
             limit.emplace(1000);
         },
         "File too large"},
        {"RenamingToAFolder", [](const fs::path &folder) { return folder / "new"; },
         [](const fs::path &file) { fs::create_directory(file); }, "Is a directory"},
    };
}

class OutputFileFailure : public testing::TestWithParam<Failure> {};

TEST_P(OutputFileFailure, IsOneErrorAndLeavesWhatWasThere) {
    const TemporaryFolder folder;
    folder.file("former", "former");
    fs::create_directory(folder.path() / "folder");
    const std::string name = GetParam().prepare(folder.path());
    // In a process of its own, since the limit of a file's size stays.
    EXPECT_EXIT(
        {
            try {
                OutputFile file(name);
                GetParam().before_end(name);
                file.output().write(std::string(100'000, 'x'));
                file.finish();
            } catch (const host::Error &failure) {
                std::fputs(failure.what(), stderr);
                std::exit(1);
            }
            std::exit(0);
        },
        testing::ExitedWithCode(1), GetParam().reason);
    fs::remove(folder.path() / "new");
    EXPECT_THAT(folder.names(), ElementsAre("folder", "former"));
    EXPECT_THAT(fs::is_empty(folder.path() / "folder"), true);
    EXPECT_EQ(content_of(folder.path() / "former"), "former");
}

INSTANTIATE_TEST_SUITE_P(Of, OutputFileFailure, testing::ValuesIn(failures()),
                         [](const testing::TestParamInfo<Failure> &failure) { return failure.param.step; });

// ---- signals

TEST_F(OutputFileTest, ASignalRemovesWhatIsNotFinished) {
    folder.file("out", "former");
    const std::string name = path();
    EXPECT_EXIT(
        {
            OutputFile file(name);
            file.output().write("text");
            file.output().flush();
            std::raise(SIGTERM);
            _exit(0);
        },
        testing::KilledBySignal(SIGTERM), "");
    EXPECT_THAT(folder.names(), ElementsAre("out"));
    EXPECT_EQ(content_of(path()), "former");
}

TEST_F(OutputFileTest, ASignalAfterTheEndLeavesTheFile) {
    const std::string name = path();
    EXPECT_EXIT(
        {
            {
                OutputFile file(name);
                file.output().write("text");
                file.finish();
                std::raise(SIGTERM);
            }
            _exit(0);
        },
        testing::KilledBySignal(SIGTERM), "");
    EXPECT_EQ(content_of(path()), "text");
    EXPECT_THAT(folder.names(), ElementsAre("out"));
}

} // namespace
