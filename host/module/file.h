/** Reads facts about a module from the bytes of its file, without loading it. */
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace host {

/** What a shared library says of itself: 64-bit little-endian ELF. */
struct ModuleFile {
    /** The exported names; sorted, without duplicates. */
    std::vector<std::string> exported;
    /** Those of them that no other definition replaces at link time: not weak, as those of inline functions are. */
    std::vector<std::string> strongly_exported;
    /** The names that other libraries must define; sorted, without duplicates. */
    std::vector<std::string> imported;
    /** The names of the libraries that it was linked with, in order. */
    std::vector<std::string> needed;
    /** Where the loader looks for them first: folders separated by colons, with `$ORIGIN` for the file's own. */
    std::string run_path;
    /** The linker's mark of this build, in hex; empty when there is none. */
    std::string build_id;
    /** Relocated data is made read-only after relocation. */
    bool is_read_only_after_relocation = false;
    /** All names are bound at load, before any code runs. */
    bool is_bound_at_once = false;
    /** Its code is modified while it is loaded. */
    bool relocates_code = false;
    /** It requests an executable stack, explicitly or by saying nothing about it. */
    bool wants_executable_stack = false;
};

/**
 * Parses a file's bytes. They are untrusted: every offset, size and count is checked.
 * @param file  named in errors.
 * @throws Error naming the file, the byte and the reason.
 */
ModuleFile parse_module_file(std::span<const std::byte> bytes, const std::string &file);

/** @throws Error also when the file cannot be read, is not a regular file or is larger than 1 GiB. */
ModuleFile read_module_file(const std::string &path);

} // namespace host
