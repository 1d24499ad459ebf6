/**
 * The parts of a line that depend on the four ids alone, prepared at compile time: everything before the time stamp,
 * and the ids behind the payload. Together they are about a third of a line. Copying six constant texts instead of
 * looking up names, aligning them and putting keys between them saves 13 of 98 ns of a line (`decoder_bench`).
 */
#ifndef DECODER_LINE_PIECES_H
#define DECODER_LINE_PIECES_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "decoder/short_text.h"
#include "qor/categories.h"
#include "qor/report.h"

namespace decoder {

namespace line_pieces {

// The pieces cover all ids below these, with a name or without. They are powers of two, so that one mask tells whether
// a header is covered.
inline constexpr std::size_t kCategories = 16;
inline constexpr std::size_t kComponents = 8;
inline constexpr std::size_t kEvents = 32;
inline constexpr std::size_t kTypes = 16;

/** The bits of the header's word that no covered header has. */
inline constexpr std::uint32_t kUncovered =
    ~static_cast<std::uint32_t>((kTypes - 1) | (kEvents - 1) << 8 | (kComponents - 1) << 16 | (kCategories - 1) << 24);

/** The widths of the columns of names. */
inline constexpr std::size_t kPlaceWidth = 8; ///< of category and component
inline constexpr std::size_t kKindWidth = 12; ///< of event and type

/** A number below 100 as text. */
constexpr short_text number_text(std::size_t number) {
    const char digits[] = {static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
    const std::size_t skipped = number < 10 ? 1 : 0;
    return short_text{{std::string_view(digits + skipped, 2 - skipped)}};
}

/** The name of `id`, or `id` in decimal without one, between apostrophes and right-aligned in `width` characters. */
constexpr short_text column(const std::span<const qor::NamedId> &names, std::size_t id, std::size_t width) {
    const short_text number = number_text(id);
    const auto named = std::find_if(names.begin(), names.end(), [id](const qor::NamedId &row) { return row.id == id; });
    const std::string_view text = named != names.end() ? std::string_view(named->name) : number.view();
    const std::size_t size = text.size() + 2;
    return short_text{{blanks(size < width ? width - size : 0), "'", text, "'"}};
}

/** One element of the table of categories or of types, as a name table. */
template <typename Named, std::size_t count>
constexpr short_text column(const Named (&table)[count], std::size_t id, std::size_t width) {
    const qor::NamedId row = id < count ? qor::NamedId{table[id].id, table[id].name} : qor::NamedId{~0U, ""};
    return column(std::span(&row, 1), id, width);
}

/** A field's key, behind a blank. */
constexpr short_text key(const qor::Field &field) { return short_text{{" '", field.name, "':"}}; }

/** What a category and a component give. */
struct place {
    text_of_at_most<64> start; ///< from the brace to the event's key
    short_text ids;            ///< from the category's number to the component's
    std::uint8_t events = 0;   ///< the row of `kEventTexts`
};

/** What an event gives. */
struct event {
    text_of_at_most<48> start; ///< from its name to the type's key
    short_text ids;            ///< from its key to the key of the bytes
};

/** What a type gives. */
struct type {
    short_text start; ///< from its name to the key of the time stamp
    short_text ids;   ///< from its key to the category's
};

/** The number of tables of events: one without names, and for each category its own and those of single components. */
inline constexpr std::size_t kEventTables = [] {
    std::size_t count = 1;
    for (const qor::Category &category : qor::kCategories) {
        count += 1 + category.events_of_components.size();
    }
    return count;
}();
static_assert(kEventTables <= 256, "a place has the number of its table in a byte");

/** The names of a table, which is numbered from 0. */
constexpr std::span<const qor::NamedId> event_names(std::size_t table) {
    std::size_t first = 1;
    for (const qor::Category &category : qor::kCategories) {
        const auto &own = category.events_of_components;
        if (table == first) {
            return category.events;
        }
        if (first < table && table <= first + own.size()) {
            return own[table - first - 1].names;
        }
        first += 1 + own.size();
    }
    return {};
}

/** The number of the table of a component. */
constexpr std::size_t event_table_of(std::size_t category, std::size_t component) {
    if (category >= std::size(qor::kCategories)) {
        return 0;
    }
    std::size_t first = 1;
    for (std::size_t before = 0; before < category; ++before) {
        first += 1 + qor::kCategories[before].events_of_components.size();
    }
    const auto &own = qor::kCategories[category].events_of_components;
    const auto found = std::find_if(own.begin(), own.end(), [component](const qor::ComponentEvents &events) {
        return events.component == component;
    });
    return found != own.end() ? first + 1 + static_cast<std::size_t>(found - own.begin()) : first;
}

template <std::size_t category>
constexpr auto make_places() {
    std::array<place, kComponents> places{};
    constexpr auto components = category < std::size(qor::kCategories)
                                    ? qor::kCategories[category % std::size(qor::kCategories)].components
                                    : std::span<const qor::NamedId>();
    for (std::size_t component = 0; component < kComponents; ++component) {
        places[component].start =
            text_of_at_most<64>{{"{  'category':", column(qor::kCategories, category, kPlaceWidth).view(),
                                 ", 'component':", column(components, component, kPlaceWidth).view(), ", 'event':"}};
        places[component].ids = short_text{{number_text(category).view(), ",", key(qor::header::kComponentId).view(),
                                            number_text(component).view(), ","}};
        places[component].events = static_cast<std::uint8_t>(event_table_of(category, component));
    }
    return places;
}

template <std::size_t table>
constexpr auto make_events() {
    const std::span<const qor::NamedId> names = event_names(table);
    std::array<event, kEvents> events{};
    for (std::size_t id = 0; id < kEvents; ++id) {
        events[id].start = text_of_at_most<48>{{column(names, id, kKindWidth).view(), ", 'type':"}};
        events[id].ids = short_text{{key(qor::header::kEventId).view(), number_text(id).view(), ", 'binary-data':"}};
    }
    return events;
}

inline constexpr auto kPlaceTexts = []<std::size_t... category>(std::index_sequence<category...>) {
    return std::array{make_places<category>()...};
}
(std::make_index_sequence<kCategories>{});

inline constexpr auto kEventTexts = []<std::size_t... table>(std::index_sequence<table...>) {
    return std::array{make_events<table>()...};
}
(std::make_index_sequence<kEventTables>{});

inline constexpr auto kTypeTexts = [] {
    std::array<type, kTypes> types{};
    for (std::size_t id = 0; id < kTypes; ++id) {
        types[id].start =
            short_text{{column(qor::kTypes, id, kKindWidth).view(), ",", key(qor::header::kTimestamp).view()}};
        types[id].ids = short_text{
            {key(qor::header::kTypeId).view(), number_text(id).view(), ",", key(qor::header::kCategoryId).view()}};
    }
    return types;
}();

} // namespace line_pieces

} // namespace decoder

#endif
