#include "cli/reports/brief.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>

#include "cli/terminal/category_colours.h"
#include "cli/terminal/display_width.h"
#include "decoder/digits.h"
#include "decoder/name_tables.h"
#include "decoder/payload_walk.h"
#include "decoder/short_text.h"

namespace cli {
namespace {

using decoder::put_literal;
using qor::How;

constexpr std::size_t kElapsedWidth = 14;
constexpr std::size_t kWallTimeWidth = 22;
constexpr std::size_t kPlaceWidth = 30; ///< a longer place shifts the rest of its line

/** The field at `place` of `decoder::kPayloads[payload]`. */
constexpr const qor::Field &field_at(std::size_t payload, std::size_t place) {
    const std::span<const qor::Field> first = decoder::kPayloads[payload][0]->fields;
    return place < first.size() ? first[place] : decoder::kPayloads[payload][1]->fields[place - first.size()];
}

constexpr bool show_the_same(const qor::Field &left, const qor::Field &right) {
    return left.offset < right.offset + right.size && right.offset < left.offset + left.size;
}

/** How much people see in a field of this kind, beside one that shows the same bytes. */
constexpr int weight_of(How how) {
    switch (how) {
    case How::Text:
        return 4;
    case How::Subject:
    case How::FixedPoint:
        return 3;
    case How::Number:
    case How::Signed:
        return 2;
    case How::Hexadecimal:
        return 1;
    default:
        return 0;
    }
}

enum class Showing {
    Never,
    Always,
    WhenLegible,  ///< a text beside a number
    WhenIllegible ///< the number
};

/** Whether a payload's field is shown, provided that it is not zero. */
template <std::size_t payload>
constexpr Showing showing_of(std::size_t place) {
    const qor::Field &field = field_at(payload, place);
    Showing showing = field.how == How::Constant ? Showing::Never : Showing::Always;
    for (std::size_t i = 0; i < decoder::kFieldCount<payload>; ++i) {
        const qor::Field &other = field_at(payload, i);
        if (i == place || !show_the_same(field, other)) {
            continue;
        }
        if (field.how == How::Text && other.how == How::Number) {
            showing = Showing::WhenLegible;
        } else if (field.how == How::Number && other.how == How::Text) {
            showing = Showing::WhenIllegible;
        } else if (weight_of(other.how) > weight_of(field.how) ||
                   (weight_of(other.how) == weight_of(field.how) && i < place)) {
            return Showing::Never;
        }
    }
    return showing;
}

/** The field of text that shows the same bytes as `field`. There must be one. */
template <std::size_t payload>
constexpr const qor::Field &text_beside(const qor::Field &field) {
    std::size_t place = 0;
    while (field_at(payload, place).how != How::Text || !show_the_same(field, field_at(payload, place))) {
        ++place;
    }
    return field_at(payload, place);
}

bool is_plain(char character) { return ' ' <= character && character <= '~'; }

/** Whether a field that is also a number is meant as a text: a single character may well be a number. */
bool is_legible(const _QorProfileReport &report, const qor::Field &field) {
    const std::string_view text = decoder::text_in(report, field);
    const std::span<const std::uint8_t> rest = std::span(report.bytes).subspan(field.offset, field.size);
    return text.size() > 1 && std::all_of(text.begin(), text.end(), is_plain) &&
           std::all_of(rest.begin() + static_cast<std::ptrdiff_t>(text.size()), rest.end(),
                       [](std::uint8_t byte) { return byte == 0; });
}

bool are_zero(std::span<const std::uint8_t> bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

/** The room for an escaped text: no byte becomes more than `\xNN`. */
constexpr std::size_t escaped_room(std::size_t size) { return 4 * size; }

char *put_text(char *out, std::string_view text) {
    if (std::all_of(text.begin(), text.end(), is_plain)) {
        return std::copy(text.begin(), text.end(), out);
    }
    const std::string escaped = escape_controls(text);
    return std::copy(escaped.begin(), escaped.end(), out);
}

/** The fields of a payload, each behind a blank: its name, "=" and its value. */
struct BriefFields {
    const _QorProfileReport &report;
    const OwnerNames &names;

    template <typename Field>
    static constexpr std::size_t kRoom = [] {
        constexpr std::size_t kNumber = 32;
        constexpr How kHow = Field::row.how;
        constexpr bool kIsBytes = kHow == How::Bytes || kHow == How::CountedBytes;
        return Field::row.name.size() + 4 +
               (kHow == How::Text ? escaped_room(Field::row.size)
                : kIsBytes        ? 2 * Field::row.size
                                  : std::max({kNumber, decoder::short_text::kCapacity, OwnerName::kBytesAtMost}));
    }();

    template <typename Field, typename Value>
    char *put(char *out, const Value &value) const {
        constexpr Showing kShowing = showing_of<Field::payload>(Field::place);
        if constexpr (kShowing == Showing::Never) {
            return out;
        } else if constexpr (kShowing == Showing::WhenLegible) {
            return is_legible(report, Field::row) ? put_value<Field>(out, value) : out;
        } else if constexpr (kShowing == Showing::WhenIllegible) {
            return is_legible(report, text_beside<Field::payload>(Field::row)) ? out : put_value<Field>(out, value);
        } else {
            return put_value<Field>(out, value);
        }
    }

private:
    template <typename Field>
    static char *put_key(char *out) {
        static constexpr decoder::text_of_at_most<48> kKey{{" ", Field::row.name, "="}};
        return decoder::put_constant<kKey>(out);
    }

    template <typename Field>
    static char *put_name(char *out, std::string_view name) {
        return std::copy(name.begin(), name.end(), put_key<Field>(out));
    }

    template <typename Field>
    char *put_value(char *out, decoder::number_value value) const {
        static constexpr std::size_t kNumber = field_number(Field::layout, Field::row.name);
        if (const OwnerName *name = names.value(kNumber, value.number)) {
            return put_name<Field>(out, name->plain);
        }
        return value.number == 0 ? out : decoder::put_decimal(put_key<Field>(out), value.number);
    }

    template <typename Field>
    static char *put_value(char *out, decoder::hexadecimal_value value) {
        return value.number == 0 ? out : decoder::put_hexadecimal(put_literal(put_key<Field>(out), "0x"), value.number);
    }

    template <typename Field>
    static char *put_value(char *out, decoder::real_value value) {
        if (value.number == 0) {
            return out;
        }
        constexpr std::ptrdiff_t kRealRoom = 24;
        out = put_key<Field>(out);
        return std::to_chars(out, out + kRealRoom, value.number, std::chars_format::general, 6).ptr;
    }

    template <typename Field>
    char *put_value(char *out, const decoder::name_value &value) const {
        if (const decoder::short_text *name = value.names.find(value.id)) {
            return put_name<Field>(out, decoder::strip_apostrophes(*name));
        }
        if (const OwnerName *name = names.subject(report.component_id(), value.id)) {
            return put_name<Field>(out, name->plain);
        }
        return value.id == 0 ? out : decoder::put_decimal(put_key<Field>(out), value.id);
    }

    template <typename Field>
    static char *put_value(char *out, decoder::text_value value) {
        if (value.text.empty()) {
            return out;
        }
        out = put_literal(put_key<Field>(out), "'");
        return put_literal(put_text(out, value.text), "'");
    }

    template <typename Field>
    static char *put_value(char *out, decoder::bytes_value value) {
        return are_zero(value.bytes) ? out : decoder::put_hexadecimal_pairs(put_key<Field>(out), value.bytes);
    }
};

/** The bytes of a payload that has no layout. */
char *put_raw(char *out, const _QorProfileReport &report) {
    std::span<const std::uint8_t> bytes = std::span(report.bytes).subspan(qor::kPayloadOffset);
    while (!bytes.empty() && bytes.back() == 0) {
        bytes = bytes.first(bytes.size() - 1);
    }
    return bytes.empty() ? out : decoder::put_hexadecimal_pairs(put_literal(out, " raw="), bytes);
}

constexpr std::string_view kUsualType = "event";

/** Whether each word of a type's name stands in `place`: "sensorinfo" in "sensor.accel.sensor-info". */
bool says_nothing_new(std::string_view type, std::string_view place) {
    std::string joined(place);
    joined.erase(std::remove(joined.begin(), joined.end(), '-'), joined.end());
    while (!type.empty()) {
        const std::string_view word = type.substr(0, type.find('-'));
        if (joined.find(word) == std::string::npos) {
            return false;
        }
        type.remove_prefix(std::min(word.size() + 1, type.size()));
    }
    return true;
}

char *put_type(char *out, const _QorProfileReport &report, const OwnerNames &names, std::string_view place,
               bool has_layout) {
    const std::string_view type = names.type_name(report.type_id());
    const bool has_name =
        decoder::kTypeTable.find(report.type_id()) != nullptr || names.type(report.type_id()) != nullptr;
    if (type == kUsualType || (has_name ? says_nothing_new(type, place) : has_layout)) {
        return out;
    }
    out = has_name ? put_literal(out, " [") : put_literal(out, " [type ");
    return put_literal(std::copy(type.begin(), type.end(), out), "]");
}

/** Category, component and event. */
char *put_place(char *out, const _QorProfileReport &report, const OwnerNames &names) {
    const auto put_name = [](char *at, std::string_view name) { return std::copy(name.begin(), name.end(), at); };
    const std::uint8_t category = report.category_id();
    out = put_name(out, names.category_name(category));
    out = put_name(put_literal(out, "."), names.component_name(category, report.component_id()));
    return put_name(put_literal(out, "."), names.event_name(category, report.component_id(), report.event_id()));
}

/** Writes the sign, the seconds, their fraction and the unit. Needs room for 32 characters. */
char *put_elapsed(char *out, std::uint64_t since, std::uint64_t time) {
    constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
    const std::uint64_t elapsed = time < since ? since - time : time - since;
    *out++ = time < since ? '-' : '+';
    out = put_literal(decoder::put_decimal(out, elapsed / kMicrosecondsPerSecond), ".");
    out = decoder::put_six_digits(out, static_cast<std::uint32_t>(elapsed % kMicrosecondsPerSecond));
    return put_literal(out, "s");
}

/** Writes the time in its column: the wall-clock time where there is one. */
char *put_time(char *out, std::uint64_t timestamp, const decoder::device_clock &clock, std::uint64_t since) {
    constexpr std::size_t kTimeRoom = 64;
    std::array<char, kTimeRoom> time;
    char *end = time.data();
    if (clock.sync) {
        end = decoder::put_wall_time(end, decoder::wall_time(timestamp, *clock.sync));
    }
    if (end == time.data()) {
        end = put_elapsed(end, since, timestamp);
    }
    const std::size_t width = clock.sync ? kWallTimeWidth : kElapsedWidth;
    const std::size_t size = static_cast<std::size_t>(end - time.data());
    out = std::fill_n(out, size < width ? width - size : 0, ' ');
    return std::copy(time.data(), end, out);
}

/** The room for everything but the fields: the time, the place and its blanks, and the type or the raw bytes. */
constexpr std::size_t kRoomAroundFields = 64 + 4 * OwnerName::kBytesAtMost + kPlaceWidth + 128;
static_assert(decoder::short_text::kCapacity <= OwnerName::kBytesAtMost);

const OwnerNames &no_names() {
    static const OwnerNames names;
    return names;
}

/** A line without its newline, and where its place stands in it. */
struct Line {
    std::array<char, kRoomAroundFields + decoder::kPayloadRoom<BriefFields>> characters;
    std::size_t size;
    std::size_t place_begin;
    std::size_t place_end;

    Line(const _QorProfileReport &report, const OwnerNames &names, const decoder::device_clock &clock,
         std::uint64_t since) {
        char *const begin = characters.data();
        char *const place = put_literal(put_time(begin, report.timestamp(), clock, since), "  ");
        char *const end_of_place = put_place(place, report, names);
        const std::string_view place_text(place, static_cast<std::size_t>(end_of_place - place));
        const std::size_t width = display_width(place_text);
        char *const fields = std::fill_n(end_of_place, width < kPlaceWidth ? kPlaceWidth - width : 0, ' ');
        const std::size_t payload = decoder::payload_index(report);
        const bool has_layout = !decoder::kPayloads[payload][0]->fields.empty();
        char *end = put_type(fields, report, names, place_text, has_layout);
        end = has_layout ? decoder::put_payload_fields(end, report, payload, BriefFields{report, names})
                         : put_raw(end, report);
        size = static_cast<std::size_t>((end == fields ? end_of_place : end) - begin);
        place_begin = static_cast<std::size_t>(place - begin);
        place_end = static_cast<std::size_t>(end_of_place - begin);
    }

    std::string_view text() const { return {characters.data(), size}; }
};

} // namespace

BriefLines::BriefLines(const TextStyle &style, const OwnerNames *names)
    : _style(style), _names(names != nullptr ? *names : no_names()), _cut_mark(style.shows_blocks ? "…" : "...") {}

void BriefLines::append(text_buffer &out, std::string_view start, const _QorProfileReport &report,
                        const decoder::device_clock &clock, std::uint64_t since) const {
    const Line line(report, _names, clock, since);
    if (!_style.escapes_controls) {
        out.append(start);
        out.append(line.text());
        out.append("\n");
        return;
    }
    const std::string whole = std::string(start) + std::string(line.text());
    const CutText text = cut_to_width(whole, _style.columns, _cut_mark);
    const std::size_t begin = std::min(start.size() + line.place_begin, text.start.size());
    const std::size_t end = std::min(start.size() + line.place_end, text.start.size());
    const std::string place(text.start.substr(begin, end - begin));
    const std::optional<int> colour = colour_of_category(report.category_id());
    out.append(text.start.substr(0, begin));
    out.append(colour ? _style.colour(place, *colour) : place);
    out.append(text.start.substr(end));
    out.append(text.mark);
    out.append("\n");
}

void BriefLines::append_remark(text_buffer &out, std::string_view start, std::string_view text) const {
    std::string line = std::string(start) + "-- " + std::string(text) + " --";
    if (_style.escapes_controls) {
        const CutText cut = cut_to_width(line, _style.columns, _cut_mark);
        line = std::string(cut.start) + std::string(cut.mark);
    }
    out.append(_style.heading(line));
    out.append("\n");
}

std::string elapsed_text(std::uint64_t since, std::uint64_t time) {
    std::array<char, 64> text;
    return {text.data(), put_elapsed(text.data(), since, time)};
}

} // namespace cli
