#include "cli/reports/filter.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <set>
#include <span>
#include <string_view>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/whole_number.h"
#include "cli/arguments/wrong_use.h"
#include "host/nearest_word.h"

namespace cli {
namespace {

using Ids = std::bitset<256>;

constexpr unsigned kLargestId = 255;

std::uint8_t id_of(std::size_t value) { return static_cast<std::uint8_t>(value); }

bool is_decimal(char character) { return '0' <= character && character <= '9'; }

bool is_number(std::string_view word) { return !word.empty() && std::all_of(word.begin(), word.end(), is_decimal); }

[[noreturn]] void refuse(const std::string &option, const std::string &word, const std::set<std::string> &known) {
    throw WrongUse(invalid_value(option, word) + ": unknown name" +
                   host::suggestion(word, {known.begin(), known.end()}));
}

/** The name of an id in a row of a table. */
using NameOfId = std::function<std::string_view(std::size_t row, std::uint8_t id)>;

/**
 * Adds the ids of one row that `word` means; several may share a name.
 * @param known  gets the names that `word` was compared with.
 * @return whether `word` means any.
 */
bool add_ids(Ids &ids, std::size_t row, const std::string &word, const NameOfId &name_of,
             std::set<std::string> &known) {
    bool found = false;
    for (std::size_t id = 0; id <= kLargestId; ++id) {
        const std::string_view name = name_of(row, id_of(id));
        if (name == word) {
            ids.set(id);
            found = true;
        } else if (!is_number(name)) {
            known.emplace(name);
        }
    }
    return found;
}

/** Adds to every row the ids that the word of `option` means there. A name must mean one somewhere. */
void add_word(std::span<Ids> rows, const std::string &option, const std::string &word, const NameOfId &name_of) {
    if (const std::optional<std::uint64_t> id = parse_id(word)) {
        if (*id > kLargestId) {
            throw WrongUse(invalid_value(option, word) + ": expected 0 to 255 or a name");
        }
        for (Ids &ids : rows) {
            ids.set(*id);
        }
        return;
    }
    bool found = false;
    std::set<std::string> known;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        found |= add_ids(rows[row], row, word, name_of, known);
    }
    if (!found) {
        refuse(option, word, known);
    }
}

/** Adds what the words mean, each of which may be a list with commas. */
void add_words(std::span<Ids> rows, const std::string &option, const std::vector<std::string> &words,
               const NameOfId &name_of) {
    for (const std::string &list : words) {
        for (std::size_t begin = 0; begin <= list.size();) {
            const std::size_t end = std::min(list.find(',', begin), list.size());
            add_word(rows, option, list.substr(begin, end - begin), name_of);
            begin = end + 1;
        }
    }
}

/** The words of an option, such as `--type`, and of its negation, `--not-type`. */
struct Choice {
    std::string name; ///< without the hyphens
    const std::vector<std::string> &wanted;
    const std::vector<std::string> &unwanted;

    bool is_open() const { return wanted.empty() && unwanted.empty(); }
};

/** Fills the table: all ids when none are wanted by name, without those that are unwanted. */
void choose_ids(std::span<Ids> rows, const Choice &choice, const NameOfId &name_of) {
    if (choice.wanted.empty()) {
        std::for_each(rows.begin(), rows.end(), [](Ids &ids) { ids.set(); });
    }
    add_words(rows, "--" + choice.name, choice.wanted, name_of);
    std::vector<Ids> unwanted(choice.unwanted.empty() ? 0 : rows.size());
    add_words(unwanted, "--not-" + choice.name, choice.unwanted, name_of);
    for (std::size_t row = 0; row < unwanted.size(); ++row) {
        rows[row] &= ~unwanted[row];
    }
}

} // namespace

ReportFilter::ReportFilter(const FilterWords &words) : _since(words.since), _until(words.until) {
    const Choice categories{"category", words.categories, words.unwanted_categories};
    const Choice components{"component", words.components, words.unwanted_components};
    const Choice events{"event", words.events, words.unwanted_events};
    const Choice types{"type", words.types, words.unwanted_types};
    _takes_all_places = components.is_open() && events.is_open();
    _has_conditions = !categories.is_open() || !types.is_open() || !_takes_all_places || _since || _until;
    static const OwnerNames no_names;
    const OwnerNames &names = words.names != nullptr ? *words.names : no_names;
    choose_ids(std::span(&_categories, 1), categories,
               [&names](std::size_t, std::uint8_t id) { return names.category_name(id); });
    choose_ids(std::span(&_types, 1), types, [&names](std::size_t, std::uint8_t id) { return names.type_name(id); });
    const std::vector<std::uint8_t> categories_of_rows = assign_rows(names);
    _components.resize(categories_of_rows.size());
    choose_ids(_components, components,
               [&](std::size_t row, std::uint8_t id) { return names.component_name(categories_of_rows[row], id); });
    _events.resize(events.is_open() ? 0 : categories_of_rows.size() * kIds);
    choose_ids(_events, events, [&](std::size_t row, std::uint8_t id) {
        return names.event_name(categories_of_rows[row / kIds], id_of(row % kIds), id);
    });
    limits_in({}); // what is wrong with a date is told before any input is opened
}

std::vector<std::uint8_t> ReportFilter::assign_rows(const OwnerNames &names) {
    std::vector<std::uint8_t> categories(kCategoryRows);
    std::iota(categories.begin(), categories.end(), std::uint8_t{0});
    for (std::size_t category = 0; category < _rows.size(); ++category) {
        _rows[category] = id_of(std::min(category, kCategoryRows - 1));
    }
    const std::bitset<kIds> named = names.categories_with_places();
    for (std::size_t category = kIds - 1; category >= kCategoryRows - 1; --category) {
        if (named[category]) {
            _rows[category] = id_of(categories.size());
            categories.push_back(id_of(category));
        } else {
            categories[kCategoryRows - 1] = id_of(category); // stands for all without names
        }
    }
    return categories;
}

bool ReportFilter::passes_place(std::size_t category, std::size_t component, std::size_t event) const {
    const std::size_t row = _rows[category];
    return _components[row][component] && (_events.empty() || _events[row * kIds + component][event]);
}

void ReportFilter::append_passing(std::span<const _QorProfileReport> reports, const TimeLimits &limits,
                                  const std::optional<decoder::time_sync> &sync,
                                  std::vector<_QorProfileReport> &passing) const {
    for (const _QorProfileReport &report : reports) {
        if (passes(report, limits, sync)) {
            passing.push_back(report);
        }
    }
}

} // namespace cli
