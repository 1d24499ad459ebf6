/** Names that only the owner of a device's firmware can give: `--names FILE.toml`. */
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "decoder/short_text.h"
#include "host/device/toml_texts.h"
#include "qor/meanings.h"

namespace cli {

/** A name, as each form writes it. No control characters, apostrophes or line ends. */
struct OwnerName {
    /** Of the plain name, in bytes. Escapes make it at most three times as long. */
    static constexpr std::size_t kBytesAtMost = 64;
    static constexpr std::size_t kEscapedBytesAtMost = 3 * kBytesAtMost;

    std::string plain;       ///< UTF-8
    std::string json;        ///< the inside of a JSON string
    std::string json_in_csv; ///< the same inside of a quoted CSV field
    std::string csv;         ///< as a CSV field, quoted when it has to be
};

/** The number of fields of all layouts. */
inline constexpr std::size_t kLayoutFieldCount = [] {
    std::size_t count = 0;
    for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
        count += row.layout->fields.size();
    }
    return count;
}();

/** The number of a layout's field among the fields of all layouts; `kLayoutFieldCount` for none. */
constexpr std::size_t field_number(const qor::Layout &layout, std::string_view field) {
    std::size_t number = 0;
    for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
        for (const qor::Field &other : row.layout->fields) {
            if (row.layout->name == layout.name && other.name == field) {
                return number;
            }
            ++number;
        }
    }
    return number;
}

/** Whether the numbers of a field may have names. */
constexpr bool may_have_names(const qor::Field &field) { return field.how == qor::How::Number; }

/**
 * The owner's names. An id that the system names keeps its name, so the first five functions are asked only about ids
 * without one. All of them return null for an id without a name; what they return is valid as long as the object.
 * Any thread.
 */
class OwnerNames {
public:
    /** The keys that a file of names may have outside of all tables. */
    static const std::vector<std::string_view> kSections;

    /** No names. */
    OwnerNames();

    /** @throws host::Error with file, line and reason. */
    static OwnerNames read(const std::string &file);

    /** The same from texts that were read from `file` with `kSections`. */
    OwnerNames(const std::vector<host::TomlText> &texts, const std::string &file);

    OwnerNames(OwnerNames &&) = default;
    OwnerNames &operator=(OwnerNames &&) = default;
    OwnerNames(const OwnerNames &) = delete;
    OwnerNames &operator=(const OwnerNames &) = delete;
    ~OwnerNames() = default;

    const OwnerName *category(std::uint8_t id) const { return find(_categories, id); }
    const OwnerName *component(std::uint8_t category, std::uint8_t id) const {
        return find(_components, key_of(category, id));
    }
    /** A name for one component's events goes before a name for those of the whole category. */
    const OwnerName *event(std::uint8_t category, std::uint8_t component, std::uint8_t id) const;
    const OwnerName *type(std::uint8_t id) const { return find(_types, id); }
    /** Of SSHB traces. A name for one component goes before a name for all. */
    const OwnerName *subject(std::uint8_t component, std::uint32_t id) const;

    /** The name of a field's value. @param field  from `field_number`. */
    const OwnerName *value(std::size_t field, std::uint64_t number) const {
        const Ids *names = _fields[field];
        return names == nullptr ? nullptr : find(*names, number);
    }

    /**
     * The names as texts: the system's, else the owner's, else the number in decimal. Never empty. Valid as long as the
     * object.
     */
    std::string_view category_name(std::uint8_t id) const;
    std::string_view component_name(std::uint8_t category, std::uint8_t id) const;
    std::string_view event_name(std::uint8_t category, std::uint8_t component, std::uint8_t id) const;
    std::string_view type_name(std::uint8_t id) const;

    /** The categories of which a component or an event has a name. */
    std::bitset<256> categories_with_places() const;

    /** The name of one of a report's ids. */
    struct IdName {
        std::uint8_t id;
        const decoder::short_text &system; ///< as a string of JSON; the id in decimal if only the owner names it
        const OwnerName *owner;            ///< null unless only the owner names it
    };

    /** Those of the category, the component, the event and the type. */
    std::array<IdName, 4> id_names(const _QorProfileReport &report) const;

private:
    class Reader;

    /** Names by id, or by the ids that lead to it, in one number. */
    using Ids = std::unordered_map<std::uint64_t, OwnerName>;

    static constexpr std::uint64_t key_of(std::uint64_t outer, std::uint64_t inner) { return outer << 32 | inner; }
    static constexpr std::uint64_t place_of(std::uint64_t category, std::uint64_t component) {
        return category << 8 | component;
    }
    static const OwnerName *find(const Ids &names, std::uint64_t id) {
        const auto found = names.find(id);
        return found != names.end() ? &found->second : nullptr;
    }

    Ids _categories;
    Ids _components;                                       ///< by category
    Ids _events;                                           ///< by category
    Ids _component_events;                                 ///< by category and component
    Ids _types;                                            //
    Ids _subjects;                                         //
    Ids _component_subjects;                               ///< by component
    std::map<std::string, Ids, std::less<>> _named_fields; ///< by a field's name, with its layout's before a point
    std::array<const Ids *, kLayoutFieldCount> _fields{};  ///< into `_named_fields`, whose elements never move
};

} // namespace cli
