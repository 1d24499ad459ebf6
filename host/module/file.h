/** Reads facts about a module from the bytes of its file, without loading it. */
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace host {

/** The dynamic symbols and the protections of a shared library: 64-bit little-endian ELF. */
struct ModuleFile {
    /** The exported names; sorted, without duplicates. */
    std::vector<std::string> exported;
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
