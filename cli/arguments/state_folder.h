/** Where the program keeps what outlives a run, as the XDG base directory rules say. */
#pragma once

#include <filesystem>
#include <optional>

namespace cli {

/** `$XDG_STATE_HOME/qorstat`, or `~/.local/state/qorstat`; nothing when neither variable is an absolute path. */
std::optional<std::filesystem::path> state_folder();

/** Creates a folder and those above it, which only the user may read. @throws host::Error when they cannot be created.
 */
void create_private_folders(const std::filesystem::path &folder);

} // namespace cli
