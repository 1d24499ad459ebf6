#include "cli/terminal/text_style.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <optional>

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "cli/terminal/hex.h"
#include "host/utf8.h"

namespace cli {
namespace {

constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kFaint = "\x1b[2m";
constexpr std::string_view kCyan = "\x1b[36m";
constexpr std::string_view kPlain = "\x1b[0m";

std::string surround(std::string_view before, const std::string &text) {
    return text.empty() ? text : std::string(before) + text + std::string(kPlain);
}

bool wants_no_colour() {
    // Nothing in this program changes the environment.
    const char *const value = std::getenv("NO_COLOR"); // NOLINT(concurrency-mt-unsafe)
    return value != nullptr && *value != '\0';
}

/** Asks the locale of the environment; the process keeps its own. */
bool locale_is_utf8() {
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr) {
        return false;
    }
    const bool is_utf8 = std::string_view(nl_langinfo_l(CODESET, locale)) == "UTF-8";
    freelocale(locale);
    return is_utf8;
}

std::optional<std::size_t> terminal_columns(int descriptor) {
    struct winsize size {};
    if (ioctl(descriptor, TIOCGWINSZ, &size) == -1 || size.ws_col == 0) {
        return std::nullopt;
    }
    return size.ws_col;
}

} // namespace

std::string escape_controls(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = host::utf8_sequence_length(text);
        const std::string_view sequence = text.substr(0, std::max<std::size_t>(1, length));
        const std::size_t control_length = host::control_character_length(text);
        if (length == 0 || control_length == 1) {
            escaped += "\\x" + hex(sequence);
        } else if (control_length == 2) {
            escaped += "\\u00" + hex(sequence.substr(1));
        } else {
            escaped += sequence;
        }
        text.remove_prefix(sequence.size());
    }
    return escaped;
}

std::string TextStyle::show(std::string_view text) const {
    return escapes_controls ? escape_controls(text) : std::string(text);
}

std::string TextStyle::heading(std::string_view text) const {
    return is_coloured ? surround(kBold, show(text)) : show(text);
}

std::string TextStyle::key(std::string_view text) const {
    return is_coloured ? surround(kCyan, show(text)) : show(text);
}

std::string TextStyle::dim(std::string_view text) const {
    return is_coloured ? surround(kFaint, show(text)) : show(text);
}

std::string TextStyle::colour(std::string_view text, int code) const {
    return is_coloured ? surround("\x1b[" + std::to_string(code) + "m", show(text)) : show(text);
}

TextStyle style_for(int descriptor) {
    TextStyle style;
    style.shows_blocks = locale_is_utf8();
    if (isatty(descriptor) == 1) {
        style.escapes_controls = true;
        style.is_coloured = !wants_no_colour();
        style.columns = terminal_columns(descriptor).value_or(style.columns);
    }
    return style;
}

} // namespace cli
