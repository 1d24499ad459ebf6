// Reading a module's file, and refusing malformed files.

#include "host/module/file.h"

#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>

#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/error.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

/**
 * A shared library written by hand, loaded from offset 0 to address 0: header, one loaded and one dynamic segment,
 * three symbols, their names, and an old hash table. Tests spoil one field each.
 */
struct HandMadeLibrary {
    Elf64_Ehdr header{};
    Elf64_Phdr segments[3]{};
    Elf64_Dyn dynamic[6]{};
    Elf64_Sym symbols[4]{};
    std::uint32_t hash[2]{0, 4};
    char names[24] = "\0borrowed\0given\0own";

    static constexpr std::uint32_t kBorrowed = 1;
    static constexpr std::uint32_t kGiven = 10;
    static constexpr std::uint32_t kOwn = 16;

    HandMadeLibrary() {
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = ELFCLASS64;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_type = ET_DYN;
        header.e_phoff = offsetof(HandMadeLibrary, segments);
        header.e_phentsize = sizeof(Elf64_Phdr);
        header.e_phnum = 3;
        segments[0] = {PT_LOAD, PF_R, 0, 0, 0, sizeof *this, sizeof *this, 1};
        segments[1] = {PT_DYNAMIC, PF_R, offsetof(HandMadeLibrary, dynamic), 0, 0, sizeof dynamic, sizeof dynamic, 8};
        segments[2] = {PT_GNU_STACK, PF_R | PF_W, 0, 0, 0, 0, 0, 0};
        dynamic[0] = {DT_SYMTAB, {offsetof(HandMadeLibrary, symbols)}};
        dynamic[1] = {DT_STRTAB, {offsetof(HandMadeLibrary, names)}};
        dynamic[2] = {DT_STRSZ, {sizeof names}};
        dynamic[3] = {DT_HASH, {offsetof(HandMadeLibrary, hash)}};
        dynamic[4] = {DT_NULL, {0}};
        symbols[1] = {kBorrowed, ELF64_ST_INFO(STB_GLOBAL, STT_FUNC), 0, SHN_UNDEF, 0, 0};
        symbols[2] = {kGiven, ELF64_ST_INFO(STB_GLOBAL, STT_FUNC), 0, 1, 0, 0};
        symbols[3] = {kOwn, ELF64_ST_INFO(STB_LOCAL, STT_FUNC), 0, 1, 0, 0};
    }

    std::span<const std::byte> bytes() const { return std::as_bytes(std::span(this, 1)); }
};

host::ModuleFile parse(const HandMadeLibrary &library) { return host::parse_module_file(library.bytes(), "made.so"); }

std::vector<std::byte> content_of(const char *path) {
    std::ifstream stream(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

TEST(ModuleFile, ExportsWhatIsDefinedAndGlobal) {
    EXPECT_THAT(parse(HandMadeLibrary()).exported, testing::ElementsAre("given"));
}

TEST(ModuleFile, ImportsWhatIsUndefinedAndGlobal) {
    HandMadeLibrary library;
    EXPECT_THAT(parse(library).imported, testing::ElementsAre("borrowed"));

    library.symbols[1].st_info = ELF64_ST_INFO(STB_WEAK, STT_FUNC); // nobody has to define it
    EXPECT_THAT(parse(library).imported, IsEmpty());
}

TEST(ModuleFile, AWeakNameIsExportedButNotStrongly) {
    HandMadeLibrary library;
    EXPECT_THAT(parse(library).strongly_exported, testing::ElementsAre("given"));

    library.symbols[2].st_info = ELF64_ST_INFO(STB_WEAK, STT_FUNC);
    EXPECT_THAT(parse(library).exported, testing::ElementsAre("given"));
    EXPECT_THAT(parse(library).strongly_exported, IsEmpty());
}

TEST(ModuleFile, LibrariesAndThePathToThemAreRead) {
    HandMadeLibrary library;
    EXPECT_THAT(parse(library).needed, IsEmpty());
    EXPECT_EQ(parse(library).run_path, "");

    library.dynamic[4] = {DT_NEEDED, {HandMadeLibrary::kOwn}};
    EXPECT_THAT(parse(library).needed, testing::ElementsAre("own"));

    library.dynamic[4] = {DT_RPATH, {HandMadeLibrary::kGiven}};
    EXPECT_EQ(parse(library).run_path, "given");

    library.dynamic[5] = {DT_RUNPATH, {HandMadeLibrary::kOwn}}; // makes the other one void
    EXPECT_EQ(parse(library).run_path, "own");
}

/** A library with a segment of notes. @param size  of the segment; as long as the notes unless a test lies. */
std::string build_id_in(const std::string &notes, std::size_t size, std::uint64_t alignment = 4) {
    HandMadeLibrary library;
    library.segments[2] = {PT_NOTE, PF_R, sizeof library, 0, 0, size, size, alignment};
    std::vector<std::byte> all(library.bytes().begin(), library.bytes().end());
    for (const char byte : notes) {
        all.push_back(static_cast<std::byte>(byte));
    }
    return host::parse_module_file(all, "made.so").build_id;
}

std::string note(std::uint32_t type, const std::string &owner, const std::string &description) {
    const std::uint32_t sizes[] = {static_cast<std::uint32_t>(owner.size()),
                                   static_cast<std::uint32_t>(description.size()), type};
    std::string text(reinterpret_cast<const char *>(sizes), sizeof sizes);
    for (const std::string &part : {owner, description}) {
        text += part;
        text.resize((text.size() + 3) / 4 * 4);
    }
    return text;
}

TEST(ModuleFile, TheBuildIdIsTheLinkersNote) {
    const std::string owner = {'G', 'N', 'U', '\0'};
    const std::string sought = note(NT_GNU_BUILD_ID, owner, "\x01\xAB\x7F");
    const struct {
        const char *what;
        std::string notes;
        std::string id;
    } rows[] = {
        {"the note alone", sought, "01ab7f"},
        {"after another one", note(NT_GNU_ABI_TAG, owner, "12345") + sought, "01ab7f"},
        {"after one without contents", note(9, "", "") + sought, "01ab7f"},
        {"of another owner", note(NT_GNU_BUILD_ID, "Gnu", "id"), ""},
        {"none", "", ""},
        {"half a note", sought.substr(0, 8), ""},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(build_id_in(row.notes, row.notes.size()), row.id) << row.what;
    }
    const std::string aligned = note(NT_GNU_ABI_TAG, owner, "1234") + std::string(4, '\0') + sought;
    EXPECT_EQ(build_id_in(aligned, aligned.size(), 8), "01ab7f") << "aligned to 8 bytes";
    EXPECT_EQ(build_id_in(sought, sought.size() + 1), "") << "a segment beyond the file";
    std::string longer = sought;
    longer[4] = 100;
    EXPECT_EQ(build_id_in(longer, longer.size()), "") << "a description beyond the segment";
}

TEST(ModuleFile, HiddenAndInternalNamesAreNotExported) {
    for (const int visibility : {STV_HIDDEN, STV_INTERNAL}) {
        HandMadeLibrary library;
        library.symbols[2].st_other = static_cast<unsigned char>(visibility);
        EXPECT_THAT(parse(library).exported, IsEmpty());
    }
}

TEST(ModuleFile, AnEmptyGnuHashTableExportsNothing) {
    HandMadeLibrary library;
    library.dynamic[3].d_tag = DT_GNU_HASH;
    library.hash[0] = 0;              // buckets
    library.hash[1] = 1;              // the first symbol that is exported
    std::memset(library.names, 0, 8); // words of the filter, and its shift

    EXPECT_THAT(parse(library).exported, IsEmpty());
}

TEST(ModuleFile, ProtectionsAreReadFromSegmentsAndFlags) {
    HandMadeLibrary bare;
    EXPECT_FALSE(parse(bare).is_read_only_after_relocation);
    EXPECT_FALSE(parse(bare).is_bound_at_once);
    EXPECT_FALSE(parse(bare).relocates_code);
    EXPECT_FALSE(parse(bare).wants_executable_stack);

    const struct {
        const char *what;
        std::function<void(HandMadeLibrary &)> change;
        bool host::ModuleFile::*found;
    } rows[] = {
        {"a segment for RELRO", [](HandMadeLibrary &l) { l.segments[2].p_type = PT_GNU_RELRO; },
         &host::ModuleFile::is_read_only_after_relocation},
        {"BIND_NOW", [](HandMadeLibrary &l) { l.dynamic[4].d_tag = DT_BIND_NOW; }, &host::ModuleFile::is_bound_at_once},
        {"FLAGS with BIND_NOW",
         [](HandMadeLibrary &l) {
             l.dynamic[4] = {DT_FLAGS, {DF_BIND_NOW}};
         },
         &host::ModuleFile::is_bound_at_once},
        {"FLAGS_1 with NOW",
         [](HandMadeLibrary &l) {
             l.dynamic[4] = {DT_FLAGS_1, {DF_1_NOW}};
         },
         &host::ModuleFile::is_bound_at_once},
        {"TEXTREL", [](HandMadeLibrary &l) { l.dynamic[4].d_tag = DT_TEXTREL; }, &host::ModuleFile::relocates_code},
        {"FLAGS with TEXTREL",
         [](HandMadeLibrary &l) {
             l.dynamic[4] = {DT_FLAGS, {DF_TEXTREL}};
         },
         &host::ModuleFile::relocates_code},
        {"a stack with code", [](HandMadeLibrary &l) { l.segments[2].p_flags |= PF_X; },
         &host::ModuleFile::wants_executable_stack},
        {"no word about the stack", [](HandMadeLibrary &l) { l.segments[2].p_type = PT_NULL; },
         &host::ModuleFile::wants_executable_stack},
    };
    for (const auto &row : rows) {
        HandMadeLibrary library;
        row.change(library);
        EXPECT_TRUE(parse(library).*row.found) << row.what;
    }
}

TEST(ModuleFile, LiesAreRefusedWithAReason) {
    constexpr std::uint64_t kFar = std::uint64_t{1} << 63;
    const struct {
        const char *reason;
        std::function<void(HandMadeLibrary &)> change;
    } rows[] = {
        {"does not begin like an ELF file", [](HandMadeLibrary &l) { l.header.e_ident[1] = 'e'; }},
        {"not 64-bit", [](HandMadeLibrary &l) { l.header.e_ident[EI_CLASS] = ELFCLASS32; }},
        {"not 64-bit little-endian", [](HandMadeLibrary &l) { l.header.e_ident[EI_DATA] = ELFDATA2MSB; }},
        {"not a shared library", [](HandMadeLibrary &l) { l.header.e_type = ET_EXEC; }},
        {"segment headers do not have the size", [](HandMadeLibrary &l) { l.header.e_phentsize = 1; }},
        {"the list of segments reaches past", [](HandMadeLibrary &l) { l.header.e_phoff = kFar; }},
        {"the list of segments reaches past", [](HandMadeLibrary &l) { l.header.e_phnum = 0xFFFF; }},
        {"no dynamic segment", [](HandMadeLibrary &l) { l.segments[1].p_type = PT_NULL; }},
        {"the dynamic segment reaches past", [](HandMadeLibrary &l) { l.segments[1].p_offset = kFar; }},
        {"the dynamic segment reaches past", [](HandMadeLibrary &l) { l.segments[1].p_filesz = kFar; }},
        {"no dynamic symbols", [](HandMadeLibrary &l) { l.dynamic[0].d_tag = DT_NULL; }},
        {"no dynamic symbols", [](HandMadeLibrary &l) { l.dynamic[1].d_tag = DT_DEBUG; }},
        {"no hash table", [](HandMadeLibrary &l) { l.dynamic[3].d_tag = DT_DEBUG; }},
        {"is not in a segment", [](HandMadeLibrary &l) { l.dynamic[0].d_un.d_ptr = kFar; }},
        {"is not in a segment", [](HandMadeLibrary &l) { l.dynamic[1].d_un.d_ptr = kFar; }},
        {"is not in a segment", [](HandMadeLibrary &l) { l.dynamic[3].d_un.d_ptr = kFar; }},
        {"reaches past the end", [](HandMadeLibrary &l) { l.segments[0].p_offset = kFar; }},
        {"the table of dynamic symbols reaches past", [](HandMadeLibrary &l) { l.hash[1] = 0xFFFFFFFF; }},
        {"the table of names reaches past", [](HandMadeLibrary &l) { l.dynamic[2].d_un.d_val = kFar; }},
        {"outside the table of names", [](HandMadeLibrary &l) { l.symbols[2].st_name = 0xFFFFFFFF; }},
        {"has no end", [](HandMadeLibrary &l) { l.dynamic[2].d_un.d_val = HandMadeLibrary::kGiven + 2; }},
        {"a library's name is outside the table of names",
         [](HandMadeLibrary &l) {
             l.dynamic[4] = {DT_NEEDED, {kFar}};
         }},
        {"a library's name is outside the table of names",
         [](HandMadeLibrary &l) {
             l.dynamic[4] = {DT_NEEDED, {~std::uint64_t{0}}};
         }},
        {"the path to libraries is outside",
         [](HandMadeLibrary &l) {
             l.dynamic[4] = {DT_RUNPATH, {sizeof l.names}};
         }},
        {"the GNU hash table reaches past",
         [](HandMadeLibrary &l) {
             l.dynamic[3].d_tag = DT_GNU_HASH;
             l.hash[0] = 0xFFFFFFFF;
         }},
    };
    for (const auto &row : rows) {
        HandMadeLibrary library;
        row.change(library);
        try {
            parse(library);
            ADD_FAILURE() << "not refused: " << row.reason;
        } catch (const host::Error &error) {
            EXPECT_THAT(error.what(), HasSubstr(row.reason));
            EXPECT_EQ(error.file(), "made.so");
        }
    }
}

TEST(ModuleFile, NamesThatShareALongTextAreRefused) {
    const auto parse_with_symbols = [](std::size_t count) {
        constexpr std::size_t kLength = 1000;
        HandMadeLibrary library;
        const std::vector<Elf64_Sym> symbols(count, {0, ELF64_ST_INFO(STB_GLOBAL, STT_FUNC), 0, 1, 0, 0});
        const std::size_t names = sizeof library + count * sizeof(Elf64_Sym);
        library.segments[0].p_filesz = names + kLength + 1;
        library.hash[1] = static_cast<std::uint32_t>(count);
        library.dynamic[0].d_un.d_ptr = sizeof library;
        library.dynamic[1].d_un.d_ptr = names;
        library.dynamic[2].d_un.d_val = kLength + 1;
        std::vector<std::byte> all(library.bytes().begin(), library.bytes().end());
        const auto table = std::as_bytes(std::span(symbols));
        all.insert(all.end(), table.begin(), table.end());
        all.insert(all.end(), kLength, std::byte{'n'});
        all.push_back({});
        return host::parse_module_file(all, "made.so");
    };

    EXPECT_EQ(parse_with_symbols(1).exported.size(), 1u);
    EXPECT_THAT([&] { parse_with_symbols(20); },
                testing::ThrowsMessage<host::Error>(HasSubstr("its names are longer together than the file")));
}

TEST(ModuleFile, EveryCutIsRefusedOrReadWithoutHarm) {
    const HandMadeLibrary library;
    for (std::size_t size = 0; size < sizeof library; ++size) {
        // A copy of exactly that size: a sanitizer sees a read beyond it.
        const auto all = library.bytes();
        const std::vector<std::byte> cut(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(host::parse_module_file(cut, "cut.so"), host::Error) << size;
    }
}

TEST(ModuleFile, SpoiledBytesOfARealModuleDoNoHarm) {
    const std::vector<std::byte> sound = content_of(FAKE_PLUG_IN);
    std::mt19937 random(20260); // NOLINT(bugprone-random-generator-seed): the same bytes every time
    int refused = 0;
    for (int round = 0; round < 500; ++round) {
        std::vector<std::byte> spoiled = sound;
        for (int i = 0; i < 20; ++i) {
            // Header, segments and the tables that are read stand at the beginning.
            spoiled[random() % std::min<std::size_t>(spoiled.size(), 4096)] = static_cast<std::byte>(random());
        }
        try {
            host::parse_module_file(spoiled, "spoiled.so");
        } catch (const host::Error &) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 0);
}

TEST(ModuleFile, ARealModulesFactoryIsFoundByTheTableOfTheLinker) {
    EXPECT_THAT(host::read_module_file(FAKE_PLUG_IN).exported, testing::Contains("OndreQORHIDStatisticsFactory"));
}

TEST(ModuleFile, WhatIsNoFileIsNamedWithItsReason) {
    const struct {
        const char *path;
        const char *reason;
    } rows[] = {
        {"/nowhere/module.so", "/nowhere/module.so: "},
        {"/", "it is not a regular file"},
        {"/dev/zero", "it is not a regular file"},
        {NO_MODULE, "does not begin like an ELF file"},
    };
    for (const auto &row : rows) {
        try {
            host::read_module_file(row.path);
            ADD_FAILURE() << row.path << " is not refused";
        } catch (const host::Error &error) {
            EXPECT_THAT(error.what(), HasSubstr(row.reason));
        }
    }
}

} // namespace
