/** Every name of the system: categories, components, events, types, subjects, layouts and fields. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cli/terminal/json_value.h"
#include "cli/terminal/text_style.h"

namespace cli {

/** What of the names is wanted: a category with everything that its reports can show, or everything. */
using WantedCategory = std::optional<std::uint8_t>;

/** The category with this name or id. @throws WrongUse for any other word. */
std::uint8_t find_category(const std::string &word);

/** A table with a row for each name and a line of headings. */
std::string name_table_text(WantedCategory wanted, const TextStyle &style);

/** The same as an object; what the system does not state is null. */
Json names_json(WantedCategory wanted);

} // namespace cli
