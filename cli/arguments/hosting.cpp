#include "cli/arguments/hosting.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"
#include "cli/terminal/output.h"

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

fs::path state_folder() {
    fs::path chosen = folder_from("XDG_STATE_HOME");
    if (!chosen.empty()) {
        return chosen;
    }
    const fs::path home = folder_from("HOME");
    if (home.empty()) {
        throw host::Error(
            "", "", "no default store: neither XDG_STATE_HOME nor HOME is an absolute path; give one with --store");
    }
    return home / ".local" / "state";
}

void create_folders(const fs::path &folder) {
    if (folder.has_relative_path()) {
        create_folders(folder.parent_path());
    }
    if (::mkdir(folder.c_str(), kFolderMode) == 0) {
        return;
    }
    const int error = errno;
    if (std::error_code ignored; !fs::is_directory(folder, ignored)) {
        throw host::Error(folder.string(), "", std::generic_category().message(error));
    }
}

} // namespace

std::string default_store_file() { return (state_folder() / "qorstat" / "analytics.db").string(); }

std::string default_store_file_to_write() {
    std::string file = default_store_file();
    create_folders(fs::path(file).parent_path());
    return file;
}

void print_store_failure(const host::Error &failure, host::Fate operations) {
    const char *const kept = "; analytics are kept and will be written when possible";
    print_message(std::string("qorstat: ") + failure.what() + (operations == host::Fate::kKept ? kept : ""));
}

Argument plug_in_option(std::string &plug_in) {
    return {.name = "--plugin",
            .value_name = "FILE",
            .target = &plug_in,
            .help = "Module to load; default: the one next to qorstat",
            .has_variable = true};
}

Argument confine_option(std::optional<std::string> &folder) {
    return {.name = "--confine",
            .value_name = "DIR",
            .target =
                [&folder](const std::string &name, const std::string &text) {
                    if (text.empty()) { // as from an unset variable, and no reason to confine nothing
                        throw WrongUse(invalid_value(name, text) + ": expected a folder");
                    }
                    folder = text;
                },
            .help = "Let the description name only files beneath DIR",
            .kind = ValueKind::Folder};
}

Argument store_option(std::optional<std::string> &store) {
    return {.name = "--store",
            .value_name = "FILE",
            .target = &store,
            .help = "Analytics store; :memory: creates no file;\n"
                    "default: qorstat/analytics.db in $XDG_STATE_HOME"};
}

} // namespace cli
