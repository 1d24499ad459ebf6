#include "tests/sweep/module_memory.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

namespace sweep::module_memory {
namespace {

std::atomic<std::uint64_t> counted{0};
std::atomic<std::uint64_t> struck{0};
std::atomic<std::uint64_t> first_to_fail{UINT64_MAX};
std::atomic<bool> fails_for_good{false};
std::atomic<std::int64_t> blocks{0};

bool fails() {
    const std::uint64_t call = counted++;
    const std::uint64_t first = first_to_fail;
    const bool hit = call == first || (fails_for_good && call > first);
    struck += hit ? 1 : 0;
    return hit;
}

// The original entries of the module's table; the same for every module of the process.
void *(*original_new)(std::size_t);
void *(*original_new_array)(std::size_t);
void *(*original_new_nothrow)(std::size_t, const std::nothrow_t &);
void *(*original_new_array_nothrow)(std::size_t, const std::nothrow_t &);
void *(*original_malloc)(std::size_t);
void *(*original_calloc)(std::size_t, std::size_t);
void (*original_delete)(void *);
void (*original_delete_sized)(void *, std::size_t);
void (*original_delete_array)(void *);
void (*original_delete_array_sized)(void *, std::size_t);

void *count_block(void *block) {
    blocks += block != nullptr ? 1 : 0;
    return block;
}

void *watched_new(std::size_t size) { return fails() ? throw std::bad_alloc() : count_block(original_new(size)); }
void *watched_new_array(std::size_t size) {
    return fails() ? throw std::bad_alloc() : count_block(original_new_array(size));
}
void *watched_new_nothrow(std::size_t size, const std::nothrow_t &tag) {
    return fails() ? nullptr : count_block(original_new_nothrow(size, tag));
}
void *watched_new_array_nothrow(std::size_t size, const std::nothrow_t &tag) {
    return fails() ? nullptr : count_block(original_new_array_nothrow(size, tag));
}
// Blocks from these two are freed by the host, so they are not counted.
void *watched_malloc(std::size_t size) { return fails() ? nullptr : original_malloc(size); }
void *watched_calloc(std::size_t count, std::size_t size) { return fails() ? nullptr : original_calloc(count, size); }

void count_deletion(const void *block) { blocks -= block != nullptr ? 1 : 0; }

void watched_delete(void *block) {
    count_deletion(block);
    original_delete(block);
}
void watched_delete_sized(void *block, std::size_t size) {
    count_deletion(block);
    original_delete_sized(block, size);
}
void watched_delete_array(void *block) {
    count_deletion(block);
    original_delete_array(block);
}
void watched_delete_array_sized(void *block, std::size_t size) {
    count_deletion(block);
    original_delete_array_sized(block, size);
}

struct Watched {
    const char *symbol;
    void *replacement;
    void **original;
};

template <typename Function>
Watched watch(const char *symbol, Function *replacement, Function *&original) {
    return {symbol, reinterpret_cast<void *>(replacement), reinterpret_cast<void **>(&original)};
}

const Watched kWatched[] = {
    watch("_Znwm", watched_new, original_new),
    watch("_Znam", watched_new_array, original_new_array),
    watch("_ZnwmRKSt9nothrow_t", watched_new_nothrow, original_new_nothrow),
    watch("_ZnamRKSt9nothrow_t", watched_new_array_nothrow, original_new_array_nothrow),
    watch("malloc", watched_malloc, original_malloc),
    watch("calloc", watched_calloc, original_calloc),
    watch("_ZdlPv", watched_delete, original_delete),
    watch("_ZdlPvm", watched_delete_sized, original_delete_sized),
    watch("_ZdaPv", watched_delete_array, original_delete_array),
    watch("_ZdaPvm", watched_delete_array_sized, original_delete_array_sized),
};

/** A module that starts to call one of these needs a line in the table above. */
constexpr std::string_view kUnknown[] = {"realloc",
                                         "reallocarray",
                                         "strdup",
                                         "strndup",
                                         "aligned_alloc",
                                         "asprintf",
                                         "vasprintf",
                                         "posix_memalign",
                                         "_ZnwmSt11align_val_t",
                                         "_ZnamSt11align_val_t"};

/** The parts of a loaded module's dynamic section that describe its imports. */
struct Imports {
    const ElfW(Sym) *symbols = nullptr;
    const char *names = nullptr;
    const ElfW(Rela) * tables[2] = {};
    std::size_t sizes[2] = {};
};

Imports imports_of(const link_map &map) {
    Imports found;
    for (const ElfW(Dyn) *entry = map.l_ld; entry->d_tag != DT_NULL; ++entry) {
        switch (entry->d_tag) {
        case DT_SYMTAB:
            found.symbols = reinterpret_cast<const ElfW(Sym) *>(entry->d_un.d_ptr);
            break;
        case DT_STRTAB:
            found.names = reinterpret_cast<const char *>(entry->d_un.d_ptr);
            break;
        case DT_RELA:
            found.tables[0] = reinterpret_cast<const ElfW(Rela) *>(entry->d_un.d_ptr);
            break;
        case DT_RELASZ:
            found.sizes[0] = entry->d_un.d_val;
            break;
        case DT_JMPREL:
            found.tables[1] = reinterpret_cast<const ElfW(Rela) *>(entry->d_un.d_ptr);
            break;
        case DT_PLTRELSZ:
            found.sizes[1] = entry->d_un.d_val;
            break;
        default:
            break;
        }
    }
    return found;
}

/** The table of imported addresses is read-only once the module is loaded. */
void write_address(void **slot, void *address) {
    const auto page_size = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    void *page = reinterpret_cast<void *>(reinterpret_cast<std::uintptr_t>(slot) & ~(page_size - 1));
    if (::mprotect(page, page_size, PROT_READ | PROT_WRITE) != 0) {
        throw std::runtime_error("the module's table of imports cannot be made writable");
    }
    *slot = address;
    ::mprotect(page, page_size, PROT_READ);
}

/** @return whether the slot belongs to an allocation function and now holds its replacement. */
bool take_over(std::string_view symbol, void **slot) {
    if (std::find(std::begin(kUnknown), std::end(kUnknown), symbol) != std::end(kUnknown)) {
        throw std::runtime_error("the module allocates with " + std::string(symbol) + ", which is not watched");
    }
    for (const Watched &watch : kWatched) {
        if (symbol == watch.symbol) {
            if (*slot != watch.replacement) {
                *watch.original = *slot;
                write_address(slot, watch.replacement);
            }
            return true;
        }
    }
    return false;
}

link_map *map_of(const host::Module &module) {
    void *handle = ::dlopen(module.path().c_str(), RTLD_NOW | RTLD_NOLOAD);
    link_map *map = nullptr;
    if (handle == nullptr || ::dlinfo(handle, RTLD_DI_LINKMAP, static_cast<void *>(&map)) != 0) {
        throw std::runtime_error(module.path() + " is not loaded");
    }
    ::dlclose(handle);
    return map;
}

} // namespace

void watch(const host::Module &module) {
    const link_map &map = *map_of(module);
    const Imports imports = imports_of(map);
    int taken = 0;
    for (int table = 0; table < 2; ++table) {
        for (std::size_t i = 0; i < imports.sizes[table] / sizeof(ElfW(Rela)); ++i) {
            const ElfW(Rela) &relocation = imports.tables[table][i];
            if (const auto symbol = ELF64_R_SYM(relocation.r_info); symbol != 0) {
                const char *name = imports.names + imports.symbols[symbol].st_name;
                taken += take_over(name, reinterpret_cast<void **>(map.l_addr + relocation.r_offset)) ? 1 : 0;
            }
        }
    }
    if (taken == 0) {
        throw std::runtime_error(module.path() + " imports no allocation function");
    }
}

void arm(std::uint64_t call, host::Strikes strikes) {
    count();
    fails_for_good = strikes == host::Strikes::ForGood;
    first_to_fail = call;
}

void count() {
    disarm();
    counted = 0;
    struck = 0;
}

void disarm() { first_to_fail = UINT64_MAX; }

std::uint64_t calls() { return counted; }
std::uint64_t strikes() { return struck; }
std::int64_t live_blocks() { return blocks; }

} // namespace sweep::module_memory
