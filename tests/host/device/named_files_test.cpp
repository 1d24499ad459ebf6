#include "host/device/named_files.h"

#include <filesystem>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/error.h"
#include "tests/host/device/written_description.h"

namespace {

namespace fs = std::filesystem;

using host::NamedFiles;

constexpr const char *kPlace = "line 1, column 1";

/** A description in the folder "inside/device", which "inside" confines, and files inside and outside of it. */
class ConfinedFiles : public testing::Test {
protected:
    ConfinedFiles() {
        fs::create_directories(inside / "device");
        written.write("outside.bin", "secret");
        written.write("inside/above.bin", "above");
        written.write("inside/device/beside.bin", "beside");
    }

    std::string description() const { return inside / "device" / "device.toml"; }

    /** The content of a named file, or the reason why it is refused. */
    std::string read(const std::string &name) const {
        try {
            std::string text;
            for (const std::byte byte : NamedFiles(description(), inside).read(name, kPlace)) {
                text += static_cast<char>(byte);
            }
            return text;
        } catch (const host::Error &error) {
            EXPECT_EQ(error.file(), description());
            EXPECT_EQ(error.place(), kPlace);
            const std::string path = fs::path(description()).parent_path() / name;
            EXPECT_THAT(error.reason(), testing::StartsWith("\"" + path + "\": "));
            return error.reason().substr(path.size() + 4);
        }
    }

    const host_tests::WrittenDescription written{""};
    const fs::path inside = fs::path(written.folder()) / "inside";
    const std::string refusal = "outside of \"" + inside.string() + "\"";
};

TEST_F(ConfinedFiles, AreReadBeneathTheFolderByAnyName) {
    fs::create_symlink("../above.bin", inside / "device" / "link");

    EXPECT_EQ(read("beside.bin"), "beside");
    EXPECT_EQ(read("../above.bin"), "above");
    EXPECT_EQ(read("../device/../above.bin"), "above");
    EXPECT_EQ(read("link"), "above");
    EXPECT_EQ(read(inside / "above.bin"), "above");
}

TEST_F(ConfinedFiles, AreRefusedOutsideOfTheFolder) {
    EXPECT_EQ(read("../../outside.bin"), refusal);
    EXPECT_EQ(read("../../inside/above.bin"), refusal);
    EXPECT_EQ(read(written.folder() + "/outside.bin"), refusal);
    EXPECT_EQ(read("/proc/self/environ"), refusal);
    EXPECT_EQ(read(inside.string() + "side/x"), refusal);
}

TEST_F(ConfinedFiles, AreRefusedBehindASymbolicLinkThatLeadsOut) {
    fs::create_symlink("../../outside.bin", inside / "device" / "file");
    fs::create_symlink(fs::path(written.folder()) / "outside.bin", inside / "device" / "absolute");
    fs::create_directory_symlink("../..", inside / "device" / "folder");

    EXPECT_EQ(read("file"), refusal);
    EXPECT_EQ(read("absolute"), refusal);
    EXPECT_EQ(read("folder/outside.bin"), refusal);
}

TEST_F(ConfinedFiles, FailAsOthersDo) {
    ASSERT_EQ(::mkfifo((inside / "device" / "pipe").c_str(), 0600), 0);

    EXPECT_EQ(read("missing"), "no such file");
    EXPECT_EQ(read("pipe"), "not a regular file");
    EXPECT_EQ(read(".."), "not a regular file");
}

TEST_F(ConfinedFiles, NeedAFolder) {
    for (const fs::path &no_folder : {inside / "none", inside / "above.bin"}) {
        EXPECT_THROW(NamedFiles(description(), no_folder.string()), host::Error) << no_folder;
    }
}

TEST(NamedFiles, HaveALimitForAllOfThemTogether) {
    const host_tests::WrittenDescription written("");
    written.write("five", "12345");
    NamedFiles files(written.path(), std::nullopt, 12);
    EXPECT_EQ(files.read("five", kPlace).size(), 5u);
    EXPECT_EQ(files.read("five", kPlace).size(), 5u);

    try {
        files.read("five", kPlace);
        FAIL() << "read";
    } catch (const host::Error &error) {
        EXPECT_EQ(error.what(), written.path() + ": line 1, column 1: \"" + written.folder() +
                                    "/five\": with it, the files that the description names have more than 12 bytes");
    }
}

} // namespace
