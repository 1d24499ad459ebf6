/** How a new store file gets its name on file systems with and without hard links. */
#include <cerrno>
#include <filesystem>
#include <set>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/error.h"
#include "host/store/analytics_store.h"

namespace {

bool has_links = true;
std::set<ino_t> flushed;

} // namespace

// Replaces the function of the C library for this program and its libraries.
extern "C" int link(const char *from, const char *to) noexcept {
    if (!has_links) {
        errno = EPERM; // as FAT answers
        return -1;
    }
    return ::linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}

extern "C" int fsync(int fd) {
    struct stat status {};
    ::fstat(fd, &status);
    flushed.insert(status.st_ino);
    return static_cast<int>(::syscall(SYS_fsync, fd));
}

namespace {

namespace fs = std::filesystem;

const host::StoreContents kContents = {{{"a", 1}}, {}};

class NewStoreFileTest : public testing::TestWithParam<bool> {
protected:
    NewStoreFileTest() {
        std::string name = testing::TempDir() + "new-store-file-XXXXXX";
        folder = mkdtemp(name.data());
        file = folder / "store";
        has_links = GetParam();
        flushed.clear();
    }
    ~NewStoreFileTest() override {
        has_links = true;
        fs::remove_all(folder);
    }

    bool is_flushed(const fs::path &path) const {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0);
        return flushed.count(status.st_ino) == 1;
    }

    fs::path folder;
    fs::path file;
};

TEST_P(NewStoreFileTest, StandsThereAlone) {
    host::write_new_analytics_store(file, kContents);

    EXPECT_EQ(host::read_analytics_store(file), kContents);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_P(NewStoreFileTest, TakesNoNameThatIsTaken) {
    host::write_new_analytics_store(file, kContents);

    EXPECT_THROW(host::write_new_analytics_store(file, {}), host::Error);

    EXPECT_EQ(host::read_analytics_store(file), kContents);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_P(NewStoreFileTest, IsFlushedWithItsName) {
    host::write_new_analytics_store(file, kContents);

    EXPECT_TRUE(is_flushed(file));
    EXPECT_TRUE(is_flushed(folder));
}

TEST_P(NewStoreFileTest, ThatIsGivenUpLeavesNothing) {
    struct GivenUp {};
    host::StoreContents contents = kContents;
    for (unsigned value = 0; value < 2500; ++value) {
        contents.distributions["d"][value] = std::uint64_t{value} + 1;
    }
    bool is_written = false;
    int checks = 0;
    for (int last = 1; !is_written; ++last) {
        checks = 0;
        try {
            host::write_new_analytics_store(file, contents, [&] {
                if (++checks == last) {
                    throw GivenUp();
                }
            });
            is_written = true;
        } catch (const GivenUp &) {
            ASSERT_TRUE(fs::is_empty(folder)) << last;
        }
    }

    EXPECT_GE(checks, 6) << "for the scalar, three pieces of the distribution, the file and its name";
    EXPECT_EQ(host::read_analytics_store(file), contents);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

INSTANTIATE_TEST_SUITE_P(FileSystems, NewStoreFileTest, testing::Bool(), [](const testing::TestParamInfo<bool> &links) {
    return links.param ? "WithLinks" : "WithoutLinks";
});

} // namespace
