#include "cli/terminal/text_style.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cstdlib>
#include <optional>
#include <system_error>

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

/** What `COLUMNS` says, as of shells and programs that know better than the terminal. */
std::optional<std::size_t> wanted_columns() {
    // Nothing in this program changes the environment.
    const char *const value = std::getenv("COLUMNS"); // NOLINT(concurrency-mt-unsafe)
    const std::string_view text = value != nullptr ? value : "";
    unsigned short columns = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), columns);
    const bool is_number = error == std::errc() && end == text.data() + text.size() && columns > 0;
    return is_number ? std::optional<std::size_t>(columns) : std::nullopt;
}

/** The character that `text` begins with, or its first byte. */
std::string_view first_of(std::string_view text) {
    return text.substr(0, std::max<std::size_t>(1, host::utf8_sequence_length(text)));
}

void append_escaped(std::string &escaped, std::string_view character) {
    const std::size_t control_length = host::control_character_length(character);
    if (control_length == 1 || host::utf8_sequence_length(character) == 0) {
        escaped += "\\x" + hex(character);
    } else if (control_length == 2) {
        escaped += "\\u00" + hex(character.substr(1));
    } else {
        escaped += character;
    }
}

/** The length of the line end that `text` begins with, or 0. */
std::size_t line_end_length(std::string_view text) {
    return text.starts_with('\n') ? 1 : text.starts_with("\r\n") ? 2 : 0;
}

/** The length of the colour that `text` begins with: one of those above or in `terminal/log.cpp`; otherwise 0. */
std::size_t colour_length(std::string_view text) {
    constexpr std::string_view kStart = "\x1b[";
    if (!text.starts_with(kStart)) {
        return 0;
    }
    unsigned code = 0;
    const std::string_view digits = text.substr(kStart.size(), 2);
    const char *const end = std::from_chars(digits.data(), digits.data() + digits.size(), code).ptr;
    const bool is_ours = code <= 2 || code == 41 || (30 <= code && code <= 37) || (90 <= code && code <= 97);
    const auto length = static_cast<std::size_t>(end - text.data());
    return is_ours && text.substr(length).starts_with('m') ? length + 1 : 0;
}

} // namespace

std::string escape_controls(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    while (!text.empty()) {
        append_escaped(escaped, first_of(text));
        text.remove_prefix(first_of(text).size());
    }
    return escaped;
}

std::string escape_for_terminal(std::string_view text, Colours colours) {
    std::string escaped;
    escaped.reserve(text.size());
    while (!text.empty()) {
        const std::size_t kept = line_end_length(text) + (colours == Colours::Kept ? colour_length(text) : 0);
        const std::string_view next = kept == 0 ? first_of(text) : text.substr(0, kept);
        if (kept == 0) {
            append_escaped(escaped, next);
        } else {
            escaped += next;
        }
        text.remove_prefix(next.size());
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
        style.folds_tables = true;
        style.columns = terminal_columns(descriptor).value_or(style.columns);
    }
    style.columns = wanted_columns().value_or(style.columns);
    return style;
}

} // namespace cli
