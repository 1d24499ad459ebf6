/** The arguments that name what a verb reads, and where and how its result goes: the same for every verb. */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/arguments/declaration.h"

namespace cli {

/**
 * `INPUT...`: files, folders and "-".
 * @param help  what the verb reads, for the help page.
 */
Argument inputs_argument(std::vector<std::string> &inputs, const char *help);

/** `--files-from LIST`. @param file  stays empty when the option is not given. */
Argument files_from_argument(std::optional<std::string> &file);

/** `--device NAME`. @param device  stays empty when the option is not given. */
Argument device_argument(std::optional<std::string> &device);

/** `-o FILE` or `--output FILE`. @param file  stays empty when the option is not given. */
Argument output_argument(std::optional<std::string> &file,
                         const char *help = "Write to this file: whole, or not at all");

/** `--no-pager`. */
Argument no_pager_argument(bool &has_no_pager);

} // namespace cli
