/** The options of the verbs that host a plug-in, and what they mean. */
#pragma once

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "host/TallybookStore.h"
#include "host/error.h"

namespace cli {

/** Adds `--plugin FILE`; `plug_in` stays empty when it is not given. */
void add_plug_in_option(CLI::App &verb, std::string &plug_in);

/** Adds `--store FILE`; without it analytics go to `default_store_file_to_write()`. */
void add_store_option(CLI::App &verb, std::optional<std::string> &store);

/**
 * Where analytics go when nobody says: `qorstat/analytics.db` in `$XDG_STATE_HOME`, or else in `~/.local/state`.
 * @throws host::Error when there is no such place.
 */
std::string default_store_file();

/** The same, with its folders made when they are missing. @throws host::Error when they cannot be made. */
std::string default_store_file_to_write();

/** Says that a write failed and what becomes of the operations. For a host that goes on. */
void say_store_failure(const host::Error &failure, host::Fate operations);

} // namespace cli
