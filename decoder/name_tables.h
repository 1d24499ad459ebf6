/** The names of ids, arranged for fast look-ups. */
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

/** For every one-byte id the number of its row, counted from 1; 0 if there is none. */
using rows_by_byte = std::array<std::uint8_t, 256>;

inline constexpr rows_by_byte kNoRows{};

/** A name table with its index: rows by strictly ascending id, and the same names as lines and as JSON show them. */
struct name_table {
    std::span<const qor::NamedId> entries;
    const short_text *quoted_names = nullptr; ///< between apostrophes
    const short_text *json_names = nullptr;   ///< between quotation marks; no name needs an escape
    const rows_by_byte *rows = &kNoRows;

    /** The name between apostrophes; null if the table does not hold `id`. Valid as long as the process. */
    const short_text *find(std::uint8_t id) const { return text_of((*rows)[id], quoted_names); }
    const short_text *find(std::uint32_t id) const { return text_of(row_of(id), quoted_names); }

    /** The name as JSON; null if the table does not hold `id`. Valid as long as the process. */
    const short_text *find_json(std::uint8_t id) const { return text_of((*rows)[id], json_names); }
    const short_text *find_json(std::uint32_t id) const { return text_of(row_of(id), json_names); }

private:
    static const short_text *text_of(unsigned row, const short_text *texts) {
        return row != 0 ? &texts[row - 1] : nullptr;
    }
    /** The number of the row of `id`, counted from 1; 0 if there is none. */
    unsigned row_of(std::uint32_t id) const { return id < rows->size() ? (*rows)[id] : row_of_large(id); }
    unsigned row_of_large(std::uint32_t id) const;
};

/** The names of one category's components and events. */
struct category_names {
    /** An exclusive upper bound for the components that have their own event names, in any category. */
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

/** The names of a category's components and events; empty tables for an unknown category. */
const category_names &names_of_category(std::uint32_t category);

/**
 * The names of the subjects of SSHB traces of this kind (their component). An empty table for kinds whose subjects have
 * no names.
 */
const name_table &sshb_subtype_table(std::uint32_t kind);

/** An id without a name: the byte in decimal between apostrophes. Valid as long as the process. */
const short_text &quoted_number(std::uint8_t id);

/** The name of `id` in `table`, or `id` in decimal, between apostrophes. Valid as long as the process. */
inline const short_text &quoted_name(const name_table &table, std::uint8_t id) {
    const short_text *name = table.find(id);
    return name != nullptr ? *name : quoted_number(id);
}

/** By id: an id without a name as a string of JSON. */
extern const std::array<short_text, 256> kJsonNumbers;

/** The name of `id` in `table`, or `id` in decimal, as a string of JSON. Valid as long as the process. */
inline const short_text &json_name(const name_table &table, std::uint8_t id) {
    const short_text *name = table.find_json(id);
    return *(name != nullptr ? name : &kJsonNumbers[id]);
}

/** Removes the apostrophes around a quoted text. */
inline std::string_view strip_apostrophes(const short_text &text) { return text.view().substr(1, text.size - 2u); }

/**
 * The names of ids as lines show them, without the apostrophes; for an id without a name, its number in decimal.
 * Never empty. Valid as long as the process.
 */
std::string_view category_name(std::uint8_t category);
std::string_view component_name(std::uint8_t category, std::uint8_t component);
std::string_view event_name(std::uint8_t category, std::uint8_t component, std::uint8_t event);
std::string_view type_name(std::uint8_t type);

} // namespace decoder

#endif
