#include "decoder/name_tables.h"

#include <algorithm>
#include <utility>

#include "qor/categories.h"

namespace decoder {

namespace {

using qor::kCategories;
using qor::NamedId;

// Each table is represented by a type with a constant `names`, so that everything derived from it is computed once, at
// compile time.

template <typename Named, std::size_t count>
constexpr std::array<NamedId, count> rows_of(const Named (&named)[count]) {
    std::array<NamedId, count> rows{};
    std::transform(std::begin(named), std::end(named), rows.begin(), [](const Named &row) {
        return NamedId{row.id, row.name};
    });
    return rows;
}

struct category_ids {
    static constexpr auto rows = rows_of(kCategories);
    static constexpr std::span<const NamedId> names = rows;
};

struct type_ids {
    static constexpr auto rows = rows_of(qor::kTypes);
    static constexpr std::span<const NamedId> names = rows;
};

template <std::size_t category>
struct component_ids {
    static constexpr std::span<const NamedId> names = kCategories[category].components;
};

template <std::size_t category>
struct event_ids {
    static constexpr std::span<const NamedId> names = kCategories[category].events;
};

/** Row number `row` of the table of a category's events by component. */
template <std::size_t category, std::size_t row>
struct component_event_ids {
    static constexpr std::span<const NamedId> names = kCategories[category].events_of_components[row].names;
};

/** Row number `row` of the table of subjects by component. */
template <std::size_t row>
struct subject_ids {
    static constexpr std::span<const NamedId> names = qor::kSSHBTraceSubjects[row].names;
};

constexpr std::size_t kNoRow = ~std::size_t{0};

constexpr bool are_equal(std::span<const NamedId> a, std::span<const NamedId> b) {
    return std::ranges::equal(a, b, [](const NamedId &x, const NamedId &y) {
        return x.id == y.id && std::string_view(x.name) == std::string_view(y.name);
    });
}

/** The first row that has the same names as `component`'s row: components that share names share a table. */
constexpr std::size_t row_of(std::span<const qor::ComponentEvents> tables, std::size_t component) {
    for (const qor::ComponentEvents &wanted : tables) {
        for (std::size_t row = 0; wanted.component == component && row < tables.size(); ++row) {
            if (are_equal(tables[row].names, wanted.names)) {
                return row;
            }
        }
    }
    return kNoRow;
}

template <std::size_t count>
consteval std::array<short_text, count> quote_names(std::span<const NamedId> entries) {
    std::array<short_text, count> names;
    for (std::size_t index = 0; index < count; ++index) {
        if (index > 0 && entries[index - 1].id >= entries[index].id) {
            throw "ids must ascend strictly: look-ups rely on it for speed, and no id may have two names";
        }
        names[index] = quote_name(entries[index].name);
    }
    return names;
}

template <std::size_t count>
consteval std::array<short_text, count> quote_names_for_json(std::span<const NamedId> entries) {
    std::array<short_text, count> names;
    for (std::size_t index = 0; index < count; ++index) {
        const std::string_view name = entries[index].name;
        if (!std::ranges::all_of(name,
                                 [](char c) { return ' ' < c && c <= '~' && c != '"' && c != '\\' && c != ','; })) {
            throw "a name must stand in JSON and in CSV as it is";
        }
        names[index] = short_text{{"\"", name, "\""}};
    }
    return names;
}

template <typename Table>
constexpr auto kQuoted = quote_names<Table::names.size()>(Table::names);

template <typename Table>
constexpr auto kJson = quote_names_for_json<Table::names.size()>(Table::names);

consteval rows_by_byte number_rows(std::span<const NamedId> entries) {
    if (entries.size() >= 255) {
        throw "a row's number must fit into a byte";
    }
    rows_by_byte rows{};
    for (std::size_t index = 0; index < entries.size() && entries[index].id < rows.size(); ++index) {
        rows[entries[index].id] = static_cast<std::uint8_t>(index + 1);
    }
    return rows;
}

template <typename Table>
constexpr rows_by_byte kRows = number_rows(Table::names);

template <typename Table>
constexpr name_table make_table() {
    if constexpr (Table::names.empty()) {
        return {};
    } else {
        return {Table::names, kQuoted<Table>.data(), kJson<Table>.data(), &kRows<Table>};
    }
}

template <std::size_t category, std::size_t component>
constexpr name_table make_events() {
    constexpr std::size_t row = row_of(kCategories[category].events_of_components, component);
    if constexpr (row == kNoRow) {
        return make_table<event_ids<category>>();
    } else {
        return make_table<component_event_ids<category, row>>();
    }
}

template <std::size_t component>
constexpr name_table make_subjects() {
    constexpr std::size_t row = row_of(qor::kSSHBTraceSubjects, component);
    if constexpr (row == kNoRow) {
        return {};
    } else {
        return make_table<subject_ids<row>>();
    }
}

template <std::size_t category>
constexpr category_names make_category() {
    static_assert(
        std::ranges::all_of(kCategories[category].events_of_components, [](const qor::ComponentEvents &events) {
            return events.component < category_names::kComponents;
        }));
    return []<std::size_t... component>(std::index_sequence<component...>) {
        return category_names{make_table<component_ids<category>>(),
                              {make_events<category, component>()...},
                              make_table<event_ids<category>>()};
    }
    (std::make_index_sequence<category_names::kComponents>{});
}

/** By category. The last element has no names. */
constexpr auto kCategoryNames = []<std::size_t... category>(std::index_sequence<category...>) {
    return std::array<category_names, sizeof...(category) + 1>{make_category<category>()...};
}
(std::make_index_sequence<std::size(kCategories)>{});

/** By component. The last table is empty. */
constexpr auto kSubjectTables = []<std::size_t... component>(std::index_sequence<component...>) {
    return std::array<name_table, sizeof...(component) + 1>{make_subjects<component>()...};
}
(std::make_index_sequence<category_names::kComponents>{});

/** All bytes in decimal between two quotes. */
constexpr std::array<short_text, 256> quote_numbers(std::string_view quote) {
    std::array<short_text, 256> numbers;
    for (unsigned value = 0; value < 256; ++value) {
        char digits[] = {static_cast<char>('0' + value / 100), static_cast<char>('0' + value / 10 % 10),
                         static_cast<char>('0' + value % 10)};
        std::size_t count = value >= 100 ? 3 : value >= 10 ? 2 : 1;
        numbers[value] = short_text{{quote, std::string_view(digits + 3 - count, count), quote}};
    }
    return numbers;
}

constexpr auto kQuotedNumbers = quote_numbers("'");

} // namespace

constexpr std::array<short_text, 256> kJsonNumbers = quote_numbers("\"");

constexpr name_table kCategoryTable = make_table<category_ids>();
constexpr name_table kTypeTable = make_table<type_ids>();

unsigned name_table::row_of_large(std::uint32_t id) const {
    const auto found = std::lower_bound(entries.begin(), entries.end(), id,
                                        [](const NamedId &row, std::uint32_t wanted) { return row.id < wanted; });
    return found != entries.end() && found->id == id ? static_cast<unsigned>(found - entries.begin()) + 1 : 0;
}

const category_names &names_of_category(std::uint32_t category) {
    return kCategoryNames[std::min<std::size_t>(category, kCategoryNames.size() - 1)];
}

const name_table &sshb_subtype_table(std::uint32_t kind) {
    return kSubjectTables[std::min<std::size_t>(kind, kSubjectTables.size() - 1)];
}

const short_text &quoted_number(std::uint8_t id) { return kQuotedNumbers[id]; }

std::string_view category_name(std::uint8_t category) {
    return strip_apostrophes(quoted_name(kCategoryTable, category));
}

std::string_view component_name(std::uint8_t category, std::uint8_t component) {
    return strip_apostrophes(quoted_name(names_of_category(category).components, component));
}

std::string_view event_name(std::uint8_t category, std::uint8_t component, std::uint8_t event) {
    return strip_apostrophes(quoted_name(names_of_category(category).events(component), event));
}

std::string_view type_name(std::uint8_t type) { return strip_apostrophes(quoted_name(kTypeTable, type)); }

} // namespace decoder
