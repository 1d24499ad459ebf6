#include "cli/arguments/hosting.h"

#include <filesystem>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/state_folder.h"
#include "cli/arguments/wrong_use.h"
#include "cli/terminal/output.h"
#include "host/module/hosted_device.h"
#include "host/module/platform_library.h"

namespace cli {

std::string default_store_file() {
    const std::optional<std::filesystem::path> folder = state_folder();
    if (!folder) {
        throw host::Error(
            "", "", "no default store: neither XDG_STATE_HOME nor HOME is an absolute path; give one with --store");
    }
    return (*folder / "analytics.db").string();
}

std::string default_store_file_to_write() {
    std::string file = default_store_file();
    create_private_folders(std::filesystem::path(file).parent_path());
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
            .help = "Module to load; default: the one of qorstat",
            .has_variable = true};
}

Argument platform_option(std::string &library) {
    return {.name = "--platform",
            .value_name = "LIB",
            .target =
                [&library](const std::string &name, const std::string &text) {
                    if (text.empty()) { // as from an unset variable, and no reason to use the program's own
                        throw WrongUse(invalid_value(name, text) + ": expected a library");
                    }
                    library = text;
                },
            .help = "Platform library; default: the one of qorstat",
            .kind = ValueKind::File};
}

void use_platform(const std::string &library, const std::string &plug_in) {
    const std::string module = host::plug_in_file(plug_in);
    if (library.empty()) {
        try {
            if (const std::string difference = host::describe_other_platform(module); !difference.empty()) {
                print_message("qorstat: warning: " + module + ": " + difference);
            }
        } catch (const host::Error &) { // hosting the module says what is wrong with it
        }
        return;
    }
    if (host::OtherPlatform::is_in_use(library)) {
        return;
    }
    const host::OtherPlatform platform(library, module);
    if (!platform.has_host()) {
        throw host::Error(library, "",
                          "this platform has the operations alone and no host to run a device; "
                          "qorstat validate --platform checks a module on it");
    }
    platform.restart();
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
