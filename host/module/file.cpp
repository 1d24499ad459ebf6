#include "host/module/file.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include <elf.h>

#include "host/error.h"

namespace host {
namespace {

constexpr std::uintmax_t kLargestFile = std::uintmax_t{1} << 30;

/** A range of the file that consists of entries of type `Entry`. */
template <typename Entry>
struct Table {
    std::uint64_t offset = 0;
    std::uint64_t count = 0;
};

/** The bytes of one file. Reads are bounds-checked. */
class ElfBytes {
public:
    ElfBytes(std::span<const std::byte> bytes, const std::string &file) : _bytes(bytes), _file(file) {}

    [[noreturn]] void fail(std::uint64_t offset, const std::string &reason) const {
        throw Error(_file, "byte " + std::to_string(offset), reason);
    }

    [[noreturn]] void fail(const std::string &reason) const { throw Error(_file, "", reason); }

    /** @param what for the message. */
    template <typename Record>
    Record read(std::uint64_t offset, const char *what) const {
        if (offset > _bytes.size() || _bytes.size() - offset < sizeof(Record)) {
            fail(offset, std::string(what) + " reaches past the end of the file");
        }
        Record record;
        std::memcpy(&record, _bytes.data() + offset, sizeof record);
        return record;
    }

    template <typename Entry>
    Entry entry(const Table<Entry> &table, std::uint64_t index, const char *what) const {
        // The end of a table was checked when it was created.
        return read<Entry>(table.offset + index * sizeof(Entry), what);
    }

    /** @throws Error when the table does not fit into the file. */
    template <typename Entry>
    Table<Entry> table(std::uint64_t offset, std::uint64_t count, const char *what) const {
        if (offset > _bytes.size() || (_bytes.size() - offset) / sizeof(Entry) < count) {
            fail(offset, std::string(what) + " reaches past the end of the file");
        }
        return {offset, count};
    }

    /** The zero-terminated name at `offset`; its zero is before `end`. @param what  for the message. */
    std::string name(std::uint64_t offset, std::uint64_t end, const char *what) const {
        if (end > _bytes.size() || offset >= end) {
            fail(offset, std::string(what) + " is outside the table of names");
        }
        const auto *begin = reinterpret_cast<const char *>(_bytes.data());
        const std::string_view rest(begin + offset, end - offset);
        const std::size_t length = rest.find('\0');
        if (length == std::string_view::npos) {
            fail(offset, std::string(what) + " has no end");
        }
        return std::string(rest.substr(0, length));
    }

    /** These bytes; none when the file does not have them all. */
    std::string_view part(std::uint64_t offset, std::uint64_t size) const {
        if (offset > _bytes.size() || _bytes.size() - offset < size) {
            return {};
        }
        return {reinterpret_cast<const char *>(_bytes.data()) + offset, size};
    }

    std::size_t size() const { return _bytes.size(); }

    bool starts_with(std::string_view magic) const {
        return _bytes.size() >= magic.size() && std::memcmp(_bytes.data(), magic.data(), magic.size()) == 0;
    }

private:
    std::span<const std::byte> _bytes;
    const std::string &_file;
};

/** The relevant entries of the dynamic segment: addresses in memory, not offsets in the file. */
struct DynamicEntries {
    std::optional<std::uint64_t> symbols;
    std::optional<std::uint64_t> names;
    std::optional<std::uint64_t> names_size;
    std::optional<std::uint64_t> hash;
    std::optional<std::uint64_t> gnu_hash;
    std::optional<std::uint64_t> flags;
    std::optional<std::uint64_t> flags_1;
    std::optional<std::uint64_t> binds_at_once;  ///< present or not; the value has no meaning
    std::optional<std::uint64_t> relocates_code; ///< likewise
    std::optional<std::uint64_t> run_path;       ///< as an offset among the names
    std::optional<std::uint64_t> old_run_path;   ///< likewise; of no effect beside the other
    std::vector<std::uint64_t> needed;           ///< likewise

    /** Of a repeated entry the last one counts, as for the dynamic linker. */
    void take(const Elf64_Dyn &entry) {
        static constexpr std::pair<Elf64_Sxword, std::optional<std::uint64_t> DynamicEntries::*> kWanted[] = {
            {DT_SYMTAB, &DynamicEntries::symbols},         {DT_STRTAB, &DynamicEntries::names},
            {DT_STRSZ, &DynamicEntries::names_size},       {DT_HASH, &DynamicEntries::hash},
            {DT_GNU_HASH, &DynamicEntries::gnu_hash},      {DT_FLAGS, &DynamicEntries::flags},
            {DT_FLAGS_1, &DynamicEntries::flags_1},        {DT_BIND_NOW, &DynamicEntries::binds_at_once},
            {DT_TEXTREL, &DynamicEntries::relocates_code}, {DT_RUNPATH, &DynamicEntries::run_path},
            {DT_RPATH, &DynamicEntries::old_run_path},
        };
        if (entry.d_tag == DT_NEEDED) {
            needed.push_back(entry.d_un.d_val);
        }
        for (const auto &[tag, member] : kWanted) {
            if (tag == entry.d_tag) {
                this->*member = entry.d_un.d_val;
            }
        }
    }
};

std::string hex(std::string_view bytes) {
    static constexpr const char *kDigits = "0123456789abcdef";
    std::string digits;
    for (const char byte : bytes) {
        digits.push_back(kDigits[static_cast<unsigned char>(byte) / 16]);
        digits.push_back(kDigits[static_cast<unsigned char>(byte) % 16]);
    }
    return digits;
}

class ElfReader {
public:
    ElfReader(std::span<const std::byte> bytes, const std::string &file) : _elf(bytes, file) {}

    ModuleFile read() {
        read_header();
        const DynamicEntries dynamic = read_dynamic();
        ModuleFile file;
        read_symbols(dynamic, file);
        read_libraries(dynamic, file);
        file.build_id = read_build_id();
        file.is_read_only_after_relocation = has_segment(PT_GNU_RELRO);
        const std::uint64_t flags = dynamic.flags.value_or(0);
        file.is_bound_at_once =
            dynamic.binds_at_once || (flags & DF_BIND_NOW) != 0 || (dynamic.flags_1.value_or(0) & DF_1_NOW) != 0;
        file.relocates_code = dynamic.relocates_code || (flags & DF_TEXTREL) != 0;
        file.wants_executable_stack = wants_executable_stack();
        return file;
    }

private:
    void read_header() {
        if (!_elf.starts_with(ELFMAG)) {
            _elf.fail("this is not a module: it does not begin like an ELF file");
        }
        const auto header = _elf.read<Elf64_Ehdr>(0, "the header");
        if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_ident[EI_DATA] != ELFDATA2LSB) {
            _elf.fail("this is not a module for this machine: it is not 64-bit little-endian");
        }
        if (header.e_type != ET_DYN) {
            _elf.fail("this is not a module: it is an ELF file but not a shared library");
        }
        if (header.e_phentsize != sizeof(Elf64_Phdr)) {
            _elf.fail(offsetof(Elf64_Ehdr, e_phentsize),
                      "segment headers do not have the size that they have in a 64-bit ELF file");
        }
        _segments = _elf.table<Elf64_Phdr>(header.e_phoff, header.e_phnum, "the list of segments");
    }

    /** The first segment for which `wanted` holds. */
    template <typename Wanted>
    std::optional<Elf64_Phdr> find_segment(Wanted wanted) const {
        for (std::uint64_t i = 0; i < _segments.count; ++i) {
            const auto segment = _elf.entry(_segments, i, "the list of segments");
            if (wanted(segment)) {
                return segment;
            }
        }
        return std::nullopt;
    }

    std::optional<Elf64_Phdr> segment_of_type(std::uint32_t type) const {
        return find_segment([type](const Elf64_Phdr &segment) { return segment.p_type == type; });
    }

    bool has_segment(std::uint32_t type) const { return segment_of_type(type).has_value(); }

    bool wants_executable_stack() const {
        const std::optional<Elf64_Phdr> stack = segment_of_type(PT_GNU_STACK);
        return !stack || (stack->p_flags & PF_X) != 0;
    }

    DynamicEntries read_dynamic() const {
        const std::optional<Elf64_Phdr> segment = segment_of_type(PT_DYNAMIC);
        if (!segment) {
            _elf.fail("this is not a module: it has no dynamic segment");
        }
        const auto table =
            _elf.table<Elf64_Dyn>(segment->p_offset, segment->p_filesz / sizeof(Elf64_Dyn), "the dynamic segment");
        DynamicEntries entries;
        for (std::uint64_t i = 0; i < table.count; ++i) {
            const auto entry = _elf.entry(table, i, "the dynamic segment");
            if (entry.d_tag == DT_NULL) {
                break;
            }
            entries.take(entry);
        }
        return entries;
    }

    /** The file offset of the byte that is loaded at `address`. */
    std::uint64_t offset_of(std::uint64_t address, const char *what) const {
        const std::optional<Elf64_Phdr> segment = find_segment([address](const Elf64_Phdr &s) {
            return s.p_type == PT_LOAD && address >= s.p_vaddr && address - s.p_vaddr < s.p_filesz;
        });
        if (!segment) {
            _elf.fail(std::string(what) + " is not in a segment that is loaded from the file");
        }
        const std::uint64_t within = address - segment->p_vaddr;
        if (segment->p_offset > kLargestFile || within > kLargestFile) {
            _elf.fail(std::string(what) + " reaches past the end of the file");
        }
        return segment->p_offset + within;
    }

    /** The number of dynamic symbols, from the older hash table. */
    std::uint64_t count_by_hash(std::uint64_t address) const {
        constexpr const char *kWhat = "the hash table";
        const std::uint64_t offset = offset_of(address, kWhat);
        return _elf.read<std::uint32_t>(offset + sizeof(std::uint32_t), kWhat);
    }

    /** The same from the newer hash table, which leads to the last exported symbol. Later ones do not matter. */
    std::uint64_t count_by_gnu_hash(std::uint64_t address) const {
        constexpr const char *kWhat = "the GNU hash table";
        struct Header {
            std::uint32_t bucket_count, first_symbol, bloom_count, bloom_shift;
        };
        const std::uint64_t offset = offset_of(address, kWhat);
        const auto header = _elf.read<Header>(offset, kWhat);
        const auto bloom = _elf.table<std::uint64_t>(offset + sizeof header, header.bloom_count, kWhat);
        const auto buckets =
            _elf.table<std::uint32_t>(bloom.offset + bloom.count * sizeof(std::uint64_t), header.bucket_count, kWhat);
        std::uint32_t last = 0;
        for (std::uint64_t i = 0; i < buckets.count; ++i) {
            last = std::max(last, _elf.entry(buckets, i, kWhat));
        }
        if (last < header.first_symbol) {
            return header.first_symbol; // every bucket is empty
        }
        const std::uint64_t chains = buckets.offset + buckets.count * sizeof(std::uint32_t);
        const auto hash_of = [&](std::uint64_t symbol) {
            return _elf.read<std::uint32_t>(chains + (symbol - header.first_symbol) * sizeof(std::uint32_t), kWhat);
        };
        std::uint64_t symbol = last;
        while ((hash_of(symbol) & 1) == 0) { // a set lowest bit ends a chain
            ++symbol;
        }
        return symbol + 1;
    }

    std::uint64_t symbol_count(const DynamicEntries &dynamic) const {
        if (dynamic.gnu_hash) {
            return count_by_gnu_hash(*dynamic.gnu_hash);
        }
        if (dynamic.hash) {
            return count_by_hash(*dynamic.hash);
        }
        _elf.fail("this is not a module: it has no hash table of symbols");
    }

    static bool is_exported(const Elf64_Sym &symbol) {
        const unsigned binding = ELF64_ST_BIND(symbol.st_info);
        const unsigned visibility = ELF64_ST_VISIBILITY(symbol.st_other);
        return symbol.st_shndx != SHN_UNDEF && binding != STB_LOCAL &&
               (visibility == STV_DEFAULT || visibility == STV_PROTECTED);
    }

    static bool is_imported(const Elf64_Sym &symbol) {
        return symbol.st_shndx == SHN_UNDEF && ELF64_ST_BIND(symbol.st_info) == STB_GLOBAL;
    }

    static void sort_names(std::vector<std::string> &names) {
        std::sort(names.begin(), names.end());
        names.erase(std::unique(names.begin(), names.end()), names.end());
    }

    /** The table of all names, as a range of the file. */
    Table<char> names(const DynamicEntries &dynamic) const {
        constexpr const char *kWhat = "the table of names";
        return _elf.table<char>(offset_of(*dynamic.names, kWhat), dynamic.names_size.value_or(0), kWhat);
    }

    std::string name_at(const Table<char> &names, std::uint64_t place, const char *what) {
        // No file reaches that far. A larger place could carry the sum beyond 64 bits.
        constexpr std::uint64_t kFarthest = std::numeric_limits<std::uint32_t>::max();
        std::string name = _elf.name(names.offset + std::min(place, kFarthest), names.offset + names.count, what);
        // Names may share their bytes. Many that share a long one would take far more memory than the file.
        _name_bytes += name.size();
        if (_name_bytes > _elf.size()) {
            _elf.fail("its names are longer together than the file");
        }
        return name;
    }

    void read_symbols(const DynamicEntries &dynamic, ModuleFile &file) {
        if (!dynamic.symbols || !dynamic.names) {
            _elf.fail("this is not a module: it has no dynamic symbols");
        }
        constexpr const char *kWhat = "the table of dynamic symbols";
        const auto symbols = _elf.table<Elf64_Sym>(offset_of(*dynamic.symbols, kWhat), symbol_count(dynamic), kWhat);
        constexpr const char *kName = "a symbol's name";
        const Table<char> all_names = names(dynamic);
        for (std::uint64_t i = 0; i < symbols.count; ++i) {
            const auto symbol = _elf.entry(symbols, i, kWhat);
            if (is_exported(symbol)) {
                file.exported.push_back(name_at(all_names, symbol.st_name, kName));
                if (ELF64_ST_BIND(symbol.st_info) == STB_GLOBAL) {
                    file.strongly_exported.push_back(file.exported.back());
                }
            } else if (is_imported(symbol)) {
                file.imported.push_back(name_at(all_names, symbol.st_name, kName));
            }
        }
        sort_names(file.exported);
        sort_names(file.strongly_exported);
        sort_names(file.imported);
    }

    void read_libraries(const DynamicEntries &dynamic, ModuleFile &file) {
        constexpr const char *kName = "a library's name";
        const Table<char> all_names = names(dynamic);
        for (const std::uint64_t place : dynamic.needed) {
            file.needed.push_back(name_at(all_names, place, kName));
        }
        if (const auto place = dynamic.run_path ? dynamic.run_path : dynamic.old_run_path) {
            file.run_path = name_at(all_names, *place, "the path to libraries");
        }
    }

    /** The build identity among the notes of one segment; empty when it is not there. */
    std::string find_build_id(const Elf64_Phdr &segment) const {
        static constexpr char kOwnerText[] = "GNU";
        static constexpr std::string_view kOwner(kOwnerText, sizeof kOwnerText); // with its zero
        const std::string_view notes = _elf.part(segment.p_offset, segment.p_filesz);
        const std::uint64_t alignment = segment.p_align == 8 ? 8 : 4;
        const auto align = [alignment](std::uint64_t size) { return (size + alignment - 1) / alignment * alignment; };
        std::uint64_t place = 0;
        while (place < notes.size() && notes.size() - place >= sizeof(Elf64_Nhdr)) {
            const auto note = _elf.read<Elf64_Nhdr>(segment.p_offset + place, "a note");
            const std::uint64_t owner = place + sizeof note;
            const std::uint64_t description = align(owner + note.n_namesz);
            const std::uint64_t end = description + note.n_descsz;
            if (end > notes.size()) {
                break;
            }
            if (note.n_type == NT_GNU_BUILD_ID && notes.substr(owner, note.n_namesz) == kOwner) {
                return hex(notes.substr(description, note.n_descsz));
            }
            place = align(end);
        }
        return "";
    }

    std::string read_build_id() const {
        std::string id;
        for (std::uint64_t i = 0; i < _segments.count && id.empty(); ++i) {
            const auto segment = _elf.entry(_segments, i, "the list of segments");
            if (segment.p_type == PT_NOTE) {
                id = find_build_id(segment);
            }
        }
        return id;
    }

    ElfBytes _elf;
    Table<Elf64_Phdr> _segments;
    std::size_t _name_bytes = 0; ///< of all names that were read
};

} // namespace

ModuleFile parse_module_file(std::span<const std::byte> bytes, const std::string &file) {
    return ElfReader(bytes, file).read();
}

ModuleFile read_module_file(const std::string &path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        throw Error(path, "", error ? error.message() : "there is no such file");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw Error(path, "", "this is not a module: it is not a regular file");
    }
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error) {
        throw Error(path, "", error.message());
    }
    if (size > kLargestFile) {
        throw Error(path, "", "this is not a module: it is larger than 1 GiB");
    }
    std::vector<std::byte> bytes(size);
    std::ifstream stream(path, std::ios::binary);
    stream.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!stream) {
        throw Error(path, "", "it cannot be read: " + std::system_category().message(errno));
    }
    return parse_module_file(bytes, path);
}

} // namespace host
