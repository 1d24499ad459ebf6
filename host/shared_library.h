/** Shared libraries that are loaded while the program runs. */
#pragma once

#include <filesystem>
#include <string>

namespace host {

/**
 * The variable of the environment with the program's own platform library, in a process in which another one has taken
 * its place: the files beside the program's own are the program's.
 */
inline constexpr const char *kOwnPlatformVariable = "QORSTAT_OWN_PLATFORM";

/** The loader's reason for the last failure of this thread, without `path`, which is already in the error. */
std::string loader_reason(const std::string &path);

/**
 * Where a file of the program's own is that is loaded while it runs: in the folder `qorstat` beside the platform
 * library where it is installed, and beside the platform library in a build tree. The file need not exist.
 */
std::filesystem::path own_file(const std::string &file);

/**
 * The symbol of a library that is such a file. Libraries that only some runs use are loaded on
 * first use: linking them would cost every start the time for their relocation. Never unloaded.
 * @throws Error naming the library when it cannot be loaded or lacks the symbol.
 */
const void *symbol_of_own_library(const std::string &file, const char *symbol);

/** The table of functions that such a library exports under the name `symbol`. */
template <typename Table>
const Table &own_library(const std::string &file, const char *symbol) {
    return *static_cast<const Table *>(symbol_of_own_library(file, symbol));
}

} // namespace host
