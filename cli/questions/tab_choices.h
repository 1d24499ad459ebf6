/** What the Tab key offers while a statement is being entered. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/** A table or view with the names of its columns. */
struct OfferedTable {
    std::string name;
    std::vector<std::string> columns;
};

/** The names that can be offered. */
struct OfferedNames {
    std::vector<OfferedTable> tables;
    std::vector<std::string> commands; ///< with their dots
    std::vector<std::string> formats;
};

/** The words that could stand at the end of a text, and how much of them stands there. */
struct TabChoices {
    std::size_t typed = 0;            ///< the bytes of the word so far
    std::vector<std::string> choices; ///< sorted, each once
};

/**
 * The names and keywords that begin with the word at the end of `before`, whatever their case: columns behind the name
 * of a table and a dot, else tables, columns of the tables that `before` names, or of all if it names none, keywords of
 * SQL and functions. Nothing within quotes and comments. For a line that begins with a dot: commands, and what they
 * take.
 * @param before  what was entered of the statement, up to the cursor.
 */
TabChoices find_choices(std::string_view before, const OfferedNames &names);

/**
 * What the choices have in common at their start. A letter whose case differs counts as common, and is the first
 * choice's.
 * @param choices  not empty.
 */
std::string common_start(const std::vector<std::string> &choices);

} // namespace cli
