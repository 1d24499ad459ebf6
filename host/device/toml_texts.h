/** A TOML file that consists of tables of texts, as plain data: readers of it need not include the parser. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

/** One text. */
struct TomlText {
    std::vector<std::string> path; ///< the keys that lead to it, from the outermost table on
    std::string text;              ///< UTF-8
    std::string place;             ///< "line 3, column 7"
};

/**
 * All texts of a file, in the order of its lines.
 * @param what  the name of such a file in errors, for example "a names file".
 * @param keys  the keys that the file may have outside of all tables.
 * @throws Error with file, line, column and reason when the file cannot be read or is not TOML, when it has another key
 *         than these, and when a value is neither a text nor a table.
 */
std::vector<TomlText> read_toml_texts(const std::string &file, const std::string &what,
                                      const std::vector<std::string_view> &keys);

/** The same of TOML in memory. @param name  of the source, for errors. */
std::vector<TomlText> parse_toml_texts(std::string_view toml, const std::string &name, const std::string &what,
                                       const std::vector<std::string_view> &keys);

} // namespace host
