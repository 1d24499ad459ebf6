#include "cli/hosted_store.h"

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/stat.h>

#include "cli/output.h"
#include "host/error.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

/** State is the user's own, as the rules for such folders ask. */
constexpr mode_t kFolderMode = 0700;

/** An absolute path from the environment; empty when there is none. */
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
        throw host::Error("", "", "neither XDG_STATE_HOME nor HOME says where analytics go; --store does");
    }
    return home / ".local" / "state";
}

void make_folders(const fs::path &folder) {
    if (folder.has_relative_path()) {
        make_folders(folder.parent_path());
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
    make_folders(fs::path(file).parent_path());
    return file;
}

void say_store_failure(const host::Error &failure, host::Fate operations) {
    const char *const kept = "; analytics are kept and written when that is possible";
    print_message(std::string("qorstat: ") + failure.what() + (operations == host::Fate::kKept ? kept : ""));
}

HostedStore::HostedStore(const std::string &path, host::StoreFailureReport on_failure) {
    host::open_store(path);
    host::on_store_failure(std::move(on_failure));
}

HostedStore::~HostedStore() {
    try {
        close();
    } catch (const std::exception &loss) {
        print_message(std::string("qorstat: ") + loss.what());
    }
}

void HostedStore::close() {
    if (std::exchange(_is_open, false)) {
        host::on_store_failure({});
        host::close_store();
    }
}

} // namespace cli
