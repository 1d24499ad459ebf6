#include "cli/record_text.h"

#include <algorithm>
#include <string_view>

#include "cli/hex.h"
#include "cli/utf8.h"
#include "host/typed_values.h"

namespace cli {
namespace {

constexpr std::size_t kIndent = 2;

bool is_of(TvRef value, TvTypeID kind) { return TvGetTypeID(value) == kind; }

bool is_scalar(TvRef value) { return !is_of(value, TvArrayGetTypeID()) && !is_of(value, TvDictionaryGetTypeID()); }

/** Whether the value stands beside its key: scalars, lists of nothing but numbers and booleans, what is empty. */
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

std::string number_text(TvNumberRef number) {
    std::int64_t value = 0;
    TvNumberGetSInt64(number, &value);
    return std::to_string(value);
}

class ValueText {
public:
    ValueText(std::string &out, const TextStyle &style) : _out(out), _style(style) {}

    /** The value on lines of its own, indented. */
    void append_lines(TvRef value, std::size_t indent) {
        if (fits_on_one_line(value)) {
            _out += std::string(indent, ' ') + one_line(value) + "\n";
        } else if (is_of(value, TvDictionaryGetTypeID())) {
            append_dictionary(value, indent);
        } else {
            append_array(value, indent);
        }
    }

private:
    std::string one_line(TvRef value) const {
        if (is_of(value, TvStringGetTypeID())) {
            return _style.shown(std::string_view(TvStringGetCString(value), TvStringGetLength(value)));
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
        std::size_t width = 0;
        host::for_each_entry(dictionary, [&](std::string_view key, TvRef value) {
            if (fits_on_one_line(value)) {
                width = std::max(width, character_count(_style.shown(key)));
            }
        });
        host::for_each_entry(dictionary,
                             [&](std::string_view key, TvRef value) { append_entry(key, value, indent, width); });
    }

    /** @param width of the column of keys, in characters. */
    void append_entry(std::string_view key, TvRef value, std::size_t indent, std::size_t width) {
        _out += std::string(indent, ' ') + _style.key(key) + ":";
        if (fits_on_one_line(value)) {
            const std::size_t used = std::min(width, character_count(_style.shown(key)));
            _out += std::string(width - used + 1, ' ') + one_line(value) + "\n";
        } else {
            _out += "\n";
            append_lines(value, indent + kIndent);
        }
    }

    std::string &_out;
    const TextStyle &_style;
};

std::string foreign_payload(const host::StateRecord &record, std::span<const std::byte> file) {
    const auto payload = file.subspan(record.offset, record.size).subspan(sizeof(RvStateCaptureRecord));
    return "type code " + std::to_string(record.type_code) + ": <" + hex(payload) + ">\n";
}

} // namespace

std::string record_text(const host::StateRecord &record, std::span<const std::byte> file, const TextStyle &style) {
    std::string text = style.heading(record.title) + "\n";
    if (record.payload) {
        ValueText(text, style).append_lines(record.payload.get(), 0);
    } else {
        text += foreign_payload(record, file);
    }
    return text;
}

} // namespace cli
