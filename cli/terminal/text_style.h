/** Escapes and colours for terminals. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

/**
 * Escapes everything in `text` that a terminal could take for a command: control characters below U+0020 and U+007F
 * as `\xNN`, U+0080 to U+009F as `\u00NN`, and bytes that are not UTF-8 as `\xNN`.
 */
std::string escape_controls(std::string_view text);

/** What `escape_for_terminal` does with the sequences that `TextStyle` and the log colour text with. */
enum class Colours { Escaped, Kept };

/** The same for whole lines: newlines stay, also those after a carriage return. */
std::string escape_for_terminal(std::string_view text, Colours colours);

/** How text is printed: escaped and coloured on a terminal, unchanged elsewhere. */
struct TextStyle {
    bool escapes_controls = false;
    bool is_coloured = false;
    std::size_t columns = 80;  ///< the width of a line, for texts that depend on it
    bool shows_blocks = false; ///< block characters beyond ASCII can be drawn
    bool folds_tables = false; ///< a row of a table may take several lines; elsewhere a program reads line by line

    /** `text` in this style. */
    std::string show(std::string_view text) const;
    /** `text` as a heading. */
    std::string heading(std::string_view text) const;
    /** `text` as the name of a value. */
    std::string key(std::string_view text) const;
    /** `text` as an item that is present but disabled. */
    std::string dim(std::string_view text) const;
    /** `text` in a colour. @param code  the terminal's number for the colour: 30 to 37 or 90 to 97. */
    std::string colour(std::string_view text, int code) const;
};

/**
 * The style for an open file descriptor. A terminal gets escapes, folded tables, its own number of columns, and colours
 * unless `NO_COLOR` is set and not empty. `COLUMNS` overrides the number of columns, also for files and pipes, when it
 * is a whole number above 0. `shows_blocks` depends on the locale of the environment alone, also for files and pipes.
 */
TextStyle style_for(int descriptor);

} // namespace cli
