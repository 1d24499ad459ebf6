#include "cli/inputs/content.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "host/store/analytics_store.h"
#include "tests/cli/inputs/packed.h"
#include "tests/cli/program.h"
#include "tests/cli/records/records.h"
#include "tests/cli/reports/dumps.h"

using cli::Content;
using cli::content_of;
using cli::ContentKind;
using cli::Packing;
using cli::packing_of;
using namespace std::literals;

namespace {

std::span<const std::byte> bytes_of(std::string_view text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}

Content whole(std::string_view text) { return content_of(bytes_of(text), true).value(); }

/** A file of this kind: its first bytes, then some of any value. */
struct Known {
    std::string name;
    std::string first;
};

std::string tar_file(std::string_view name) {
    std::string file(name);
    file.resize(100, '\0');
    file += "0000644\0000001750\0000001750\00000000000005\00014715273412\000012345\000 0"sv;
    file.resize(257, '\0');
    return file + "ustar\00000"s;
}

std::string store_file() {
    const cli_tests::TemporaryFolder folder;
    host::write_new_analytics_store(folder.path() / "store.db", {{{"key", 2}}, {}});
    return cli_tests::content_of(folder.path() / "store.db");
}

/** A database of another program: the application's number is another one. */
std::string other_database() {
    std::string file = store_file();
    file[68] = 'X';
    return file;
}

const std::vector<Known> kKnown = {
    {"an ELF program or library", "\x7f"
                                  "ELF\2\1\1"s},
    {"a ZIP archive", "PK\x03\x04\x14"},
    {"a ZIP archive", "PK\x05\x06\0\0"s},
    {"a PNG image", "\x89PNG\r\n\x1a\n\0\0\0\rIHDR"s},
    {"a JPEG image", "\xff\xd8\xff\xe0\0\x10JFIF"s},
    {"a JPEG image", "\xff\xd8\xff\xe1\0\x10"
                     "Exif"s},
    {"a JPEG image", "\xff\xd8\xff\xdb\0"s},
    {"a GIF image", "GIF89a\1"},
    {"a GIF image", "GIF87a\1"},
    {"a PDF document", "%PDF-1.7\n"},
    {"an xz file", "\xfd"
                   "7zXZ\0\0\4"s},
    {"a bzip2 file", "BZh91AY&SY\1"},
    {"an lz4 file", "\x04\x22\x4d\x18\x64"},
    {"a 7z archive", "7z\xbc\xaf\x27\x1c\0\4"s},
    {"an ar archive", "!<arch>\ndebian-binary"},
    {"a pcap file", "\xd4\xc3\xb2\xa1\2\0\4\0\0\0"s},
    {"a pcap file", "\xa1\xb2\xc3\xd4\0\2\0\4\0\0"s},
    {"a pcap file", "\x4d\x3c\xb2\xa1\2\0\4\0\0\0"s},
    {"a pcap file", "\xa1\xb2\x3c\x4d\0\2\0\4\0\0"s},
    {"a pcapng file", "\n\r\r\n\x1c\0\0\0\x4d\x3c\x2b\x1a\1"s},
    {"a pcapng file", "\n\r\r\n\0\0\0\x1c\x1a\x2b\x3c\x4d\0"s},
    {"a log of an SQLite database", "\x37\x7f\x06\x82\0\x2d\xe2\x18"s},
    {"a log of an SQLite database", "\x37\x7f\x06\x83\0\x2d\xe2\x18"s},
    {"a journal of an SQLite database", "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7\0"s},
    {"a tar archive", tar_file("notes.txt")},
    {"CBOR without the header of a record", "\xd9\xd9\xf7\xa1\x61"},
    {"an analytics store", store_file()},
    {"an SQLite database", other_database()},
    {"a state-capture record", cli_tests::record("ZEL Profile 0 ;count=32 ;type=fw", cli_tests::kTwoLines)},
    {"a state-capture record", cli_tests::record("of another type", "payload", 7, 9)},
    {"a dump", cli_tests::numbered_reports(20)},
};

TEST(ContentTest, EveryKnownFileIsNamedByItsFirstBytes) {
    for (const Known &known : kKnown) {
        EXPECT_EQ(whole(known.first + "\1\2\3\xff" + std::string(1000, '\xee')).name, known.name);
    }
}

TEST(ContentTest, AnAnswerHoldsWhateverFollows) {
    std::vector<std::string> files = {cli_tests::gzip("text"), std::string(600, '\0'), std::string(600, 'a'),
                                      std::string(600, '\xc3') + "\xa4",
                                      std::string("{\"a\":1}") + std::string(600, ' ')};
    for (const Known &known : kKnown) {
        files.push_back(known.first + std::string(600, '\xee'));
    }
    for (const std::string &file : files) {
        const Content content = content_of(bytes_of(file), false).value();
        const Packing packing = packing_of(bytes_of(file), false).value();
        for (std::size_t size = 0; size <= std::min<std::size_t>(file.size(), 600); ++size) {
            const auto sample = bytes_of(file).first(size);
            EXPECT_EQ(content_of(sample, false).value_or(content), content) << size;
            EXPECT_EQ(packing_of(sample, false).value_or(packing), packing) << size;
            EXPECT_TRUE(content_of(sample, true)) << size;
            EXPECT_TRUE(packing_of(sample, true)) << size;
        }
    }
}

TEST(ContentTest, AReportIsKnownToBeOneByItself) {
    EXPECT_EQ(content_of(bytes_of(cli_tests::numbered_reports(1)), false)->kind, ContentKind::Dump);
    EXPECT_FALSE(content_of({}, false));
    EXPECT_EQ(whole("").kind, ContentKind::Empty);
    for (const auto &file : std::filesystem::directory_iterator(QOR_SOURCE_FOLDER "/examples/reports")) {
        if (file.path().extension() == ".bin") {
            EXPECT_EQ(whole(cli_tests::content_of(file)).kind, ContentKind::Dump) << file.path();
        }
    }
}

TEST(ContentTest, TheHeaderOfARecordHasThreeTextsAndATitle) {
    const std::string record = cli_tests::record("Title", cli_tests::kTwoLines);
    const auto kind_with = [&](std::size_t place, char byte) {
        std::string changed = record;
        changed[place] = byte;
        return whole(changed).kind;
    };
    EXPECT_EQ(whole(record).kind, ContentKind::Records);
    EXPECT_EQ(whole(record.substr(0, 199)).kind, ContentKind::Dump) << "cut off";
    EXPECT_EQ(kind_with(2, '\1'), ContentKind::Dump) << "a large type code";
    EXPECT_EQ(kind_with(136, '\0'), ContentKind::Dump) << "no title";
    EXPECT_EQ(kind_with(136, '\n'), ContentKind::Dump) << "a control character";
    EXPECT_EQ(kind_with(199, '!'), ContentKind::Dump) << "something behind the title's end";
    EXPECT_EQ(kind_with(8, 'D'), ContentKind::Records) << "a decoder's name";
    EXPECT_EQ(kind_with(10, 'D'), ContentKind::Dump) << "something behind an empty name";
    EXPECT_EQ(kind_with(80, 'D'), ContentKind::Dump);
    EXPECT_EQ(kind_with(201, 'D'), ContentKind::Dump) << "not a typed value";
    EXPECT_EQ(kind_with(4, 'D'), ContentKind::Records) << "the payload's size is for the reader to check";
}

TEST(ContentTest, TextHasNoControlCharactersAndIsNoPartOfAReport) {
    const std::string line = "title = \"b\xC3\xB6se\"\tx\r\n";
    std::string text;
    while (text.size() < 600) {
        text += line;
    }
    EXPECT_EQ(whole(text), (Content{ContentKind::Text, "a text file"}));
    EXPECT_EQ(whole(text.substr(0, 48)).kind, ContentKind::Text);
    EXPECT_EQ(whole(text.substr(0, 47)).kind, ContentKind::Dump);
    for (std::size_t size = 500; size <= 520; ++size) {
        EXPECT_EQ(whole(text.substr(0, size)).kind, ContentKind::Text) << size;
    }
    for (const std::string_view other : {"\0"sv, "\1"sv, "\x7f"sv, "\xff"sv, "\xc2\x85"sv}) {
        std::string changed = text;
        changed.replace(100, other.size(), other);
        EXPECT_EQ(whole(changed).kind, ContentKind::Dump);
        changed = text;
        changed.replace(520, other.size(), other);
        EXPECT_EQ(whole(changed).kind, ContentKind::Text) << "behind the first bytes";
    }
}

TEST(ContentTest, TextOfAKnownKindIsNamed) {
    const std::string rest(60, 'x');
    EXPECT_EQ(whole(" {\n  \"a\": 1}" + rest).name, "JSON");
    EXPECT_EQ(whole("[ {" + rest).name, "JSON");
    EXPECT_EQ(whole("<?xml version='1.0'?>" + rest).name, "an XML document");
    EXPECT_EQ(whole("<!DOCTYPE html>" + rest).name, "an HTML page");
    EXPECT_EQ(whole("<HTML><head>" + rest).name, "an HTML page");
    EXPECT_EQ(whole("{ 'category':" + rest).name, "a text file");
}

TEST(ContentTest, PackedDataAreKnownByTheirHead) {
    const auto packing = [](std::string_view text) { return packing_of(bytes_of(text), true).value(); };
    EXPECT_EQ(packing(cli_tests::gzip("text")), Packing::Gzip);
    EXPECT_EQ(packing(cli_tests::gzip("")), Packing::Gzip);
    EXPECT_EQ(packing(cli_tests::zstd("text")), Packing::Zstd);
    EXPECT_EQ(packing("\x51\x2a\x4d\x18\1\0\0\0x"sv), Packing::Zstd) << "a frame to be skipped";
    EXPECT_EQ(packing("\x1f\x8b\x08\0\0\0\0\0\0"sv), Packing::None) << "nine bytes";
    EXPECT_EQ(packing("\x1f\x8b\x07\0\0\0\0\0\0\3"sv), Packing::None);
    EXPECT_EQ(packing("\x1f\x8b\x08\x20\0\0\0\0\0\3"sv), Packing::None) << "a flag that does not exist";
    EXPECT_EQ(packing("\x1f\x8b\x08\0\0\0\0\0\x7\3"sv), Packing::None) << "a level that does not exist";
    EXPECT_EQ(packing(cli_tests::numbered_reports(2)), Packing::None);
    EXPECT_EQ(packing(""), Packing::None);
}

} // namespace
