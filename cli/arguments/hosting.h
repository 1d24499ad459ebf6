/** The options of the verbs that host a plug-in, and their defaults. */
#pragma once

#include <optional>
#include <string>

#include "cli/arguments/declaration.h"
#include "host/TallybookStore.h"
#include "host/error.h"

namespace cli {

/** `--plugin FILE`; `plug_in` stays empty when it is not given. */
Argument plug_in_option(std::string &plug_in);

/** `--platform LIB`; `library` stays empty when it is not given. For `use_platform`, or for processes of checks. */
Argument platform_option(std::string &library);

/**
 * Lets the module run on the platform `library`: returns when this process has it, and otherwise starts the program
 * again with it. Without one, says so on standard error when the module was linked with another build than it will run
 * on. Call it before anything is read or started.
 * @param plug_in  as `plug_in_option` leaves it.
 * @throws host::Error when the library cannot take that place.
 */
void use_platform(const std::string &library, const std::string &plug_in);

/** `--confine DIR`; `folder` stays empty when it is not given. For `host::read_device_description`. */
Argument confine_option(std::optional<std::string> &folder);

/** `--store FILE`. When it is not given, analytics go to `default_store_file_to_write()`. */
Argument store_option(std::optional<std::string> &store);

/**
 * The default store: `qorstat/analytics.db` in `$XDG_STATE_HOME`, or in `~/.local/state` when that is not set.
 * @throws host::Error when neither XDG_STATE_HOME nor HOME is an absolute path.
 */
std::string default_store_file();

/** The same; creates its folders when they are missing. @throws host::Error also when they cannot be created. */
std::string default_store_file_to_write();

/** Reports a failed write on standard error, and whether its operations are kept. For a host that continues. */
void print_store_failure(const host::Error &failure, host::Fate operations);

} // namespace cli
