#include "cli/arguments/state_folder.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <sys/stat.h>

#include "host/error.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

/** Only the user may read them, as the XDG base directory rules require. */
constexpr mode_t kFolderMode = 0700;

/** An absolute path from the environment; empty when the variable is not set or relative. */
fs::path folder_from(const char *variable) {
    const char *value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nothing changes the environment
    const fs::path folder = value != nullptr ? value : "";
    return folder.is_absolute() ? folder : fs::path();
}

} // namespace

std::optional<fs::path> state_folder() {
    if (const fs::path chosen = folder_from("XDG_STATE_HOME"); !chosen.empty()) {
        return chosen / "qorstat";
    }
    const fs::path home = folder_from("HOME");
    return home.empty() ? std::nullopt : std::optional(home / ".local" / "state" / "qorstat");
}

void create_private_folders(const fs::path &folder) {
    if (folder.has_relative_path()) {
        create_private_folders(folder.parent_path());
    }
    if (::mkdir(folder.c_str(), kFolderMode) == 0) {
        return;
    }
    const int error = errno;
    if (std::error_code ignored; !fs::is_directory(folder, ignored)) {
        throw host::Error(folder.string(), "", std::generic_category().message(error));
    }
}

} // namespace cli
