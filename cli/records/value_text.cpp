#include "cli/records/value_text.h"

#include <algorithm>
#include <cstdint>
#include <span>

#include "cli/terminal/hex.h"
#include "host/TvValues.h"
#include "host/utf8.h"

namespace cli {
namespace {

constexpr std::size_t kIndent = 2;

/** Longer keys exceed the column: a wider column would pad every other line, and a file can contain many of both. */
constexpr std::size_t kWidestKeyColumn = 40;

bool is_of(TvRef value, TvTypeID kind) { return TvGetTypeID(value) == kind; }

bool is_scalar(TvRef value) { return !is_of(value, TvArrayGetTypeID()) && !is_of(value, TvDictionaryGetTypeID()); }

std::string number_text(TvNumberRef number) {
    std::int64_t value = 0;
    TvNumberGetSInt64(number, &value);
    return std::to_string(value);
}

class ValueText {
public:
    explicit ValueText(const TextStyle &style) : _style(style) {}

    void append_lines(TvRef value, std::size_t indent) {
        if (fits_on_one_line(value)) {
            _text += std::string(indent, ' ') + one_line(value) + "\n";
        } else if (is_of(value, TvDictionaryGetTypeID())) {
            append_dictionary(value, indent);
        } else {
            append_array(value, indent);
        }
    }

    void append_entries(const std::vector<DictionaryEntry> &entries, std::size_t indent) {
        std::size_t width = 0;
        for (const auto &[key, value] : entries) {
            const std::size_t length = host::character_count(_style.show(key));
            if (fits_on_one_line(value) && length <= kWidestKeyColumn) {
                width = std::max(width, length);
            }
        }
        for (const auto &[key, value] : entries) {
            append_entry(key, value, indent, width);
        }
    }

    std::string one_line(TvRef value) const {
        if (is_of(value, TvStringGetTypeID())) {
            return _style.show(std::string_view(TvStringGetCString(value), TvStringGetLength(value)));
        }
        if (is_of(value, TvNumberGetTypeID())) {
            return number_text(value);
        }
        if (is_of(value, TvBooleanGetTypeID())) {
            return TvBooleanGetValue(value) ? "true" : "false";
        }
        if (is_of(value, TvDataGetTypeID())) {
            return "<" + hex(std::as_bytes(std::span(TvDataGetBytes(value), TvDataGetLength(value)))) + ">";
        }
        return is_of(value, TvDictionaryGetTypeID()) ? "{}" : list(value);
    }

    std::string take() { return std::move(_text); }

private:
    std::string list(TvArrayRef array) const {
        std::string text = "[";
        for (std::size_t i = 0; i < TvArrayGetCount(array); ++i) {
            text += (i == 0 ? "" : ", ") + one_line(TvArrayGetValue(array, i));
        }
        return text + "]";
    }

    void append_array(TvArrayRef array, std::size_t indent) {
        for (std::size_t i = 0; i < TvArrayGetCount(array); ++i) {
            const TvRef entry = TvArrayGetValue(array, i);
            if (is_scalar(entry)) {
                append_lines(entry, indent);
            } else {
                append_entry("[" + std::to_string(i) + "]", entry, indent, 0);
            }
        }
    }

    void append_dictionary(TvDictionaryRef dictionary, std::size_t indent) {
        std::vector<DictionaryEntry> entries;
        host::for_each_entry(dictionary, [&](std::string_view key, TvRef value) { entries.emplace_back(key, value); });
        append_entries(entries, indent);
    }

    /** @param width  of the column of keys, in characters. */
    void append_entry(std::string_view key, TvRef value, std::size_t indent, std::size_t width) {
        _text += std::string(indent, ' ') + _style.key(key) + ":";
        if (fits_on_one_line(value)) {
            const std::size_t used = std::min(width, host::character_count(_style.show(key)));
            _text += std::string(width - used + 1, ' ') + one_line(value) + "\n";
        } else {
            _text += "\n";
            append_lines(value, indent + kIndent);
        }
    }

    std::string _text;
    const TextStyle &_style;
};

} // namespace

bool fits_on_one_line(TvRef value) {
    if (is_of(value, TvDictionaryGetTypeID())) {
        return TvDictionaryGetCount(value) == 0;
    }
    for (std::size_t i = 0; i < TvArrayGetCount(value); ++i) {
        const TvRef entry = TvArrayGetValue(value, i);
        if (!is_of(entry, TvNumberGetTypeID()) && !is_of(entry, TvBooleanGetTypeID())) {
            return false;
        }
    }
    return true;
}

std::string value_line(TvRef value, const TextStyle &style) { return ValueText(style).one_line(value); }

std::string value_lines(TvRef value, std::size_t indent, const TextStyle &style) {
    ValueText text(style);
    text.append_lines(value, indent);
    return text.take();
}

std::string entry_lines(const std::vector<DictionaryEntry> &entries, std::size_t indent, const TextStyle &style) {
    ValueText text(style);
    text.append_entries(entries, indent);
    return text.take();
}

} // namespace cli
