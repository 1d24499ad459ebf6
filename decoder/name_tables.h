/** The names of ids, arranged for look-ups. */
#ifndef DECODER_NAME_TABLES_H
#define DECODER_NAME_TABLES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "decoder/short_text.h"
#include "qor/field.h"

namespace decoder {

/** For every id of one byte the row that holds it, counted from 1; 0 for none. */
using rows_by_byte = std::array<std::uint8_t, 256>;

inline constexpr rows_by_byte kNoRows{};

/** A table as it is looked up: rows by strictly ascending id, and the same names between apostrophes. */
struct name_table {
    std::span<const qor::NamedId> entries;
    const short_text *quoted_names = nullptr;
    const rows_by_byte *rows = &kNoRows;

    /** The name between apostrophes; null when the table does not hold `id`. Lives as long as the process. */
    const short_text *find(std::uint8_t id) const {
        const unsigned row = (*rows)[id];
        return row != 0 ? &quoted_names[row - 1] : nullptr;
    }
    const short_text *find(std::uint32_t id) const;
};

/** How one category names its components and events. */
struct category_names {
    /** More components than have events of their own in any category. */
    static constexpr std::size_t kComponents = 8;

    name_table components;
    std::array<name_table, kComponents> events_of_components; ///< by component
    name_table events_of_others;

    const name_table &events(std::uint32_t component) const {
        return component < kComponents ? events_of_components[component] : events_of_others;
    }
};

extern const name_table kCategoryTable;
extern const name_table kTypeTable;

/** The names of a category's components and events; empty tables for a category that nobody knows. */
const category_names &names_of_category(std::uint32_t category);

/**
 * The table in which an SSHB trace record of this kind (its component) finds its subject; an empty table for
 * kinds whose subjects have no names.
 */
const name_table &sshb_subtype_table(std::uint32_t kind);

/** A byte in decimal between apostrophes: how an id without a name prints. Lives as long as the process. */
const short_text &quoted_number(std::uint8_t id);

/** What `table` gives for `id`, or its decimal text, between apostrophes. Lives as long as the process. */
inline const short_text &quoted_name(const name_table &table, std::uint8_t id) {
    const short_text *name = table.find(id);
    return name != nullptr ? *name : quoted_number(id);
}

/** What stands between the apostrophes of a quoted text. */
inline std::string_view without_apostrophes(const short_text &text) { return text.view().substr(1, text.size - 2u); }

/**
 * The names of ids as lines show them, without the apostrophes; an id without a name gives its decimal text.
 * Never empty; live as long as the process.
 */
std::string_view category_name(std::uint8_t category);
std::string_view component_name(std::uint8_t category, std::uint8_t component);
std::string_view event_name(std::uint8_t category, std::uint8_t component, std::uint8_t event);
std::string_view type_name(std::uint8_t type);

} // namespace decoder

#endif
