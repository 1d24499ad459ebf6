#include "cli/terminal/display_width.h"

#include <locale.h>
#include <wchar.h>

#include "host/utf8.h"

namespace cli {
namespace {

/** The C library knows the widths, but answers by the thread's locale. Null where the system lacks this one. */
locale_t unicode_locale() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

/** Of a character beyond ASCII. */
std::size_t width_of(char32_t character) {
    if (unicode_locale() == nullptr) {
        return 1;
    }
    const locale_t before = uselocale(unicode_locale());
    const int width = wcwidth(static_cast<wchar_t>(character));
    uselocale(before);
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

/** A character of a line, or a byte that is none. */
struct Character {
    std::size_t bytes;
    std::size_t columns;
};

Character first_of(std::string_view line) {
    const std::size_t bytes = host::utf8_sequence_length(line);
    if (bytes <= 1) {
        return {1, 1};
    }
    return {bytes, width_of(host::decode_utf8(line.substr(0, bytes)))};
}

/** The longest beginning of `line`, in whole characters, that takes at most `columns`. */
std::string_view fitting_start(std::string_view line, std::size_t columns) {
    std::size_t size = 0;
    while (size < line.size()) {
        const Character next = first_of(line.substr(size));
        if (next.columns > columns) {
            break;
        }
        columns -= next.columns;
        size += next.bytes;
    }
    return line.substr(0, size);
}

} // namespace

std::size_t display_width(std::string_view line) {
    if (host::is_ascii(line)) {
        return line.size();
    }
    std::size_t columns = 0;
    while (!line.empty()) {
        const Character first = first_of(line);
        columns += first.columns;
        line.remove_prefix(first.bytes);
    }
    return columns;
}

CutText cut_to_width(std::string_view line, std::size_t columns, std::string_view mark) {
    if (display_width(line) <= columns) {
        return {line, {}};
    }
    const std::string_view fitting_mark = fitting_start(mark, columns);
    return {fitting_start(line, columns - display_width(fitting_mark)), fitting_mark};
}

} // namespace cli
