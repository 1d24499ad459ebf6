#include "host/shared_library.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <dlfcn.h>

#include "host/error.h"

namespace host {
namespace {

/** The folder of the program's own platform library. */
std::filesystem::path own_folder() {
    if (const char *own = ::secure_getenv(kOwnPlatformVariable)) {
        return std::filesystem::path(own).parent_path();
    }
    Dl_info place{};
    (void)::dladdr(reinterpret_cast<const void *>(&own_folder), &place);
    // Installed, the library was found by a path that goes up from the program's folder.
    return std::filesystem::path(place.dli_fname).parent_path().lexically_normal();
}

Error unusable(const std::string &path) {
    return {path, "", "this part of the program cannot be loaded: " + loader_reason(path)};
}

} // namespace

std::string loader_reason(const std::string &path) {
    const char *text = ::dlerror(); // NOLINT(concurrency-mt-unsafe): glibc keeps the reason per thread
    std::string reason = text == nullptr ? "unknown reason" : text;
    if (const std::string prefix = path + ": "; reason.compare(0, prefix.size(), prefix) == 0) {
        reason.erase(0, prefix.size());
    }
    return reason;
}

std::filesystem::path own_file(const std::string &file) {
    const std::filesystem::path folder = own_folder();
    const std::filesystem::path module_folder = folder / "qorstat";
    std::error_code unreadable; // counts as a folder that is not there
    return (std::filesystem::is_directory(module_folder, unreadable) ? module_folder : folder) / file;
}

const void *symbol_of_own_library(const std::string &file, const char *symbol) {
    const std::string path = own_file(file);
    void *const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    const void *const address = library == nullptr ? nullptr : ::dlsym(library, symbol);
    if (address == nullptr) {
        throw unusable(path);
    }
    return address;
}

} // namespace host
