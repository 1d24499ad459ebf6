/** Text on its way to a person's terminal. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

/**
 * `text` with everything that a terminal could take for a command made visible: control characters below
 * U+0020 and U+007F as `\xNN`, those from U+0080 to U+009F as `\u00NN`, bytes that are not UTF-8 as `\xNN`.
 */
std::string escape_controls(std::string_view text);

/** How text is shown: escaped and coloured for a terminal, untouched for everything else. */
struct TextStyle {
    bool escapes_controls = false;
    bool is_coloured = false;
    std::size_t columns = 80;  ///< what a line has room for, where the text depends on it
    bool shows_blocks = false; ///< has characters beyond ASCII to draw with

    /** `text` as this style shows it. */
    std::string shown(std::string_view text) const;
    /** `text` as a heading. */
    std::string heading(std::string_view text) const;
    /** `text` as a name beside a value. */
    std::string key(std::string_view text) const;
    /** `text` as something that is there but switched off. */
    std::string dimmed(std::string_view text) const;
    /** `text` in a colour. @param colour the number that terminals know it by: 30 to 37 or 90 to 97. */
    std::string coloured(std::string_view text, int colour) const;
};

/**
 * The style for an open file descriptor: both for a terminal, and as many columns as it has, but no colours when
 * `NO_COLOR` is set and not empty. Whether there are characters to draw with is for the locale of the environment to
 * say, also for what is no terminal.
 */
TextStyle style_for(int descriptor);

} // namespace cli
