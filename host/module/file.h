/** What a module's file says about itself, read from its bytes and never by loading it. */
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace host {

/** The dynamic symbols and the protections of a shared library of 64 bits, little-endian, in the ELF format. */
struct ModuleFile {
    /** The names that the loader gives to others; sorted, each once. */
    std::vector<std::string> exported;
    /** A part is made read-only once its addresses are filled in. */
    bool is_read_only_after_relocation = false;
    /** Every name is bound before the first line runs. */
    bool is_bound_at_once = false;
    /** Its code is written to while it is loaded. */
    bool relocates_code = false;
    /** It asks for a stack that may hold code, if only by not saying otherwise. */
    bool wants_executable_stack = false;
};

/**
 * Reads the format from a file's bytes. They are hostile: every offset, size and count is checked against them.
 * @param file  named in errors.
 * @throws Error naming the file, the byte and the reason.
 */
ModuleFile parse_module_file(std::span<const std::byte> bytes, const std::string &file);

/** @throws Error also when the file cannot be read, is no regular file or is larger than 1 GiB. */
ModuleFile read_module_file(const std::string &path);

} // namespace host
