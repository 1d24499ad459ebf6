#include "cli/inputs/file_list.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "host/error.h"
#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"

using cli::read_file_list;
using cli_tests::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;

namespace {

std::vector<std::string> names_in(const std::string &list) {
    const TemporaryFolder folder;
    return read_file_list(folder.file("list", list));
}

TEST(FileListTest, HasANameInEachLine) {
    EXPECT_THAT(names_in("one\n\n two \nthree\r\n-"), ElementsAre("one", " two ", "three\r", "-"));
    EXPECT_THAT(names_in("one"), ElementsAre("one"));
    EXPECT_THAT(names_in("\xff\x01\n"), ElementsAre("\xff\x01"));
    EXPECT_THAT(names_in(""), IsEmpty());
    EXPECT_THAT(names_in("\n\n"), IsEmpty());
}

TEST(FileListTest, HasANameBeforeEachZeroByteWhenThereIsOne) {
    EXPECT_THAT(names_in("one\0two\nlines\0\0last"s), ElementsAre("one", "two\nlines", "last"));
    EXPECT_THAT(names_in("a\nb\0"s), ElementsAre("a\nb"));
    EXPECT_THAT(names_in("\0\0"s), IsEmpty());
}

TEST(FileListTest, MayBePacked) { EXPECT_THAT(names_in(cli_tests::gzip("one\ntwo\n")), ElementsAre("one", "two")); }

std::string error_of(const std::string &list) {
    const TemporaryFolder folder;
    const std::string path = folder.file("list", list);
    try {
        read_file_list(path);
        return "";
    } catch (const host::Error &error) {
        EXPECT_EQ(error.file(), path);
        return error.reason();
    }
}

TEST(FileListTest, AnotherFileIsRefused) {
    EXPECT_EQ(error_of(cli_tests::record("Title", cli_tests::kTwoLines)),
              "is a state-capture record, not a list of files");
    EXPECT_EQ(error_of("\x89PNG\r\n\x1a\n\0\0\0\rIHDR"s), "is a PNG image, not a list of files");
}

TEST(FileListTest, AListWithoutEndIsRefused) {
    EXPECT_EQ(error_of(cli_tests::gzip(std::string(1 << 20, '\n'), 65)),
              "is longer than a list of files may be: 64 MB");
    EXPECT_THROW(read_file_list("/dev/zero"), host::Error);
    EXPECT_THROW(read_file_list("/nowhere"), host::Error);
}

} // namespace
