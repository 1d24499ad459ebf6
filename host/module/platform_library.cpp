#include "host/module/platform_library.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <system_error>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include "host/count_text.h"
#include "host/error.h"
#include "host/module/file.h"
#include "host/shared_library.h"

namespace host {
namespace {

constexpr const char *kLoaderList = "LD_PRELOAD";

/** What the loader's list of libraries cannot hold: the first two divide it, the last one begins a name that is
 * replaced. */
constexpr const char *kSpecialToLoader = " :$";

/** The descriptors of validate's children begin below. */
constexpr int kLeastInheritedDescriptor = 64;

/** The names of `wanted` that are not in `defined`. Both are sorted. */
std::vector<std::string> names_without(const std::vector<std::string> &wanted,
                                       const std::vector<std::string> &defined) {
    std::vector<std::string> rest;
    std::set_difference(wanted.begin(), wanted.end(), defined.begin(), defined.end(), std::back_inserter(rest));
    return rest;
}

std::vector<std::string> names_in_both(const std::vector<std::string> &a, const std::vector<std::string> &b) {
    std::vector<std::string> both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(both));
    return both;
}

std::string join(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

bool is_same_file(const std::filesystem::path &a, const std::filesystem::path &b) {
    std::error_code missing; // counts as another file
    return std::filesystem::equivalent(a, b, missing);
}

/** The folders of a path to libraries; `own_folder` is that of the file that has it. */
std::vector<std::filesystem::path> folders_of(const std::string &run_path, const std::string &own_folder) {
    std::vector<std::filesystem::path> folders;
    std::istringstream parts(run_path);
    for (std::string part; std::getline(parts, part, ':');) {
        for (const std::string token : {"$ORIGIN", "${ORIGIN}"}) {
            if (const std::size_t place = part.find(token); place != std::string::npos) {
                part.replace(place, token.size(), own_folder);
            }
        }
        if (!part.empty()) { // the current folder for the loader, but not a place that a build names
            folders.emplace_back(part);
        }
    }
    return folders;
}

/** A library among those that a module was linked with. */
struct LinkedLibrary {
    std::filesystem::path path;
    std::string build_id;
};

/** The library that defines some of `operations`; its path is empty when the module's own path leads to none. */
LinkedLibrary find_linked_platform(const ModuleFile &module, const std::filesystem::path &own_folder,
                                   const std::vector<std::string> &operations) {
    for (const std::string &name : module.needed) {
        for (const std::filesystem::path &folder : folders_of(module.run_path, own_folder.string())) {
            const std::filesystem::path path = (folder / name).lexically_normal();
            try {
                const ModuleFile library = read_module_file(path.string());
                if (!names_in_both(operations, library.exported).empty()) {
                    return {path, library.build_id};
                }
                break;                // found, and about something else
            } catch (const Error &) { // the loader looks on as well
            }
        }
    }
    return {};
}

std::string path_and_build(const LinkedLibrary &library) {
    return library.path.string() + " (" + (library.build_id.empty() ? "no build id" : "build " + library.build_id) +
           ")";
}

/** Its messages are about a library that is not a module. */
ModuleFile read_platform_file(const std::string &path) {
    try {
        return read_module_file(path);
    } catch (const Error &error) {
        static constexpr std::string_view kBegin = "this is not a module";
        std::string reason = error.reason();
        if (reason.compare(0, kBegin.size(), kBegin) == 0) {
            reason.replace(0, kBegin.size(), "this is not a platform library");
        }
        throw Error(error.file(), error.place(), reason);
    }
}

/** Whether another process of the program started this one with a platform library. */
bool was_given_platform() { return ::secure_getenv(kOwnPlatformVariable) != nullptr; }

} // namespace

std::filesystem::path platform_library_in_use() {
    // Any operation; this library's own calls are bound to itself.
    void *const operation = ::dlsym(RTLD_DEFAULT, "RvStatusGetText");
    Dl_info place{};
    if (operation == nullptr || ::dladdr(operation, &place) == 0) {
        throw Error("", "", "this process has no platform library");
    }
    return std::filesystem::canonical(place.dli_fname);
}

std::string describe_other_platform(const std::string &module) {
    if (was_given_platform()) {
        return "";
    }
    const std::filesystem::path used = platform_library_in_use();
    const ModuleFile used_file = read_module_file(used.string());
    const ModuleFile module_file = read_module_file(module);
    const LinkedLibrary linked = find_linked_platform(module_file, std::filesystem::absolute(module).parent_path(),
                                                      names_in_both(module_file.imported, used_file.exported));
    const bool is_same_build = !linked.build_id.empty() && linked.build_id == used_file.build_id;
    if (linked.path.empty() || is_same_build || is_same_file(linked.path, used)) {
        return "";
    }
    return "was linked with " + path_and_build(linked) + " and runs on " + path_and_build({used, used_file.build_id}) +
           "; --platform runs it on another library";
}

OtherPlatform::OtherPlatform(const std::string &library, const std::string &module)
    : _library(library), _own(platform_library_in_use()) {
    const ModuleFile own_file = read_module_file(_own);
    const ModuleFile library_file = read_platform_file(library);
    const std::vector<std::string> lacking =
        names_without(names_in_both(read_module_file(module).imported, own_file.exported), library_file.exported);
    if (!lacking.empty()) {
        throw Error(library, "",
                    "this platform lacks " + count_text(lacking.size(), "operation") +
                        " that the module needs: " + join(lacking));
    }
    _has_host = names_without(own_file.strongly_exported, library_file.exported).empty();
    _loaded = path_for_loader(std::filesystem::canonical(library));
    _list = _loaded;
    if (!_has_host) {
        _list += ":" + path_for_loader(_own); // for what the program itself needs
    }
}

bool OtherPlatform::is_in_use(const std::string &library) { return is_same_file(library, platform_library_in_use()); }

std::string OtherPlatform::path_for_loader(const std::filesystem::path &path) {
    if (path.string().find_first_of(kSpecialToLoader) == std::string::npos) {
        return path.string();
    }
    if (path.filename().string().find_first_of(kSpecialToLoader) != std::string::npos) {
        throw Error(_library, "",
                    "the loader divides names at blanks and colons and replaces those after a dollar sign; "
                    "give the file another name");
    }
    // Through a descriptor, whose number has none of these. The library's own $ORIGIN leads through it as well.
    const FileDescriptor folder(::open(path.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    FileDescriptor inherited(folder.get() == -1 ? -1 : ::fcntl(folder.get(), F_DUPFD, kLeastInheritedDescriptor));
    if (inherited.get() == -1) {
        throw Error(path.parent_path().string(), "", std::system_category().message(errno));
    }
    const std::string number = std::to_string(inherited.get());
    _folders.push_back(std::move(inherited));
    return "/proc/self/fd/" + number + "/" + path.filename().string();
}

std::vector<std::pair<std::string, std::string>> OtherPlatform::environment() const {
    const char *given = std::getenv(kLoaderList); // NOLINT(concurrency-mt-unsafe): nothing changes the environment
    const std::string kept = given == nullptr || *given == '\0' ? "" : ":" + std::string(given);
    return {{kLoaderList, _list + kept}, {kOwnPlatformVariable, _own}};
}

void OtherPlatform::restart() const {
    if (was_given_platform()) {
        throw Error(_library, "", "the loader does not use this platform");
    }
    // For the reason when it cannot be loaded: the loader would end the new process with one of its own.
    if (::dlopen(_loaded.c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr) {
        throw Error(_library, "", "this platform cannot be loaded: " + loader_reason(_loaded));
    }
    for (const auto &[name, value] : environment()) {
        ::setenv(name.c_str(), value.c_str(), 1); // NOLINT(concurrency-mt-unsafe): no other thread has begun
    }
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    std::vector<std::string> arguments;
    for (std::string argument; std::getline(file, argument, '\0');) {
        arguments.push_back(argument);
    }
    std::vector<char *> pointers;
    for (std::string &argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    ::execv(program.c_str(), pointers.data());
    throw Error(program, "", "it cannot be started again: " + std::system_category().message(errno));
}

} // namespace host
