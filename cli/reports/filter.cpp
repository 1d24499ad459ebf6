#include "cli/reports/filter.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <limits>
#include <set>
#include <string_view>

#include "cli/arguments/invalid_value.h"
#include "cli/arguments/wrong_use.h"
#include "decoder/name_tables.h"
#include "host/nearest_word.h"

namespace cli {
namespace {

constexpr unsigned kLargestId = 255;

std::uint8_t id_of(std::size_t value) { return static_cast<std::uint8_t>(value); }

bool is_number(std::string_view word) {
    return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) { return '0' <= c && c <= '9'; });
}

/** @param word  digits. */
std::size_t parse_id(const std::string &option, const std::string &word) {
    unsigned id = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), id);
    if (error != std::errc() || id > kLargestId) {
        throw WrongUse(invalid_value(option, word) + ": expected 0 to 255 or a name");
    }
    return id;
}

[[noreturn]] void refuse(const std::string &option, const std::string &word, const std::set<std::string> &known) {
    throw WrongUse(invalid_value(option, word) + ": unknown name" +
                   host::suggestion(word, {known.begin(), known.end()}));
}

using NameOfId = std::function<std::string_view(std::uint8_t id)>;

/**
 * Adds the ids that `word` means; several may share a name.
 * @param known  gets the names that `word` was compared with.
 * @return whether `word` means any.
 */
bool add_ids(std::bitset<256> &ids, const std::string &option, const std::string &word, const NameOfId &name_of,
             std::set<std::string> &known) {
    if (is_number(word)) {
        ids.set(parse_id(option, word));
        return true;
    }
    bool found = false;
    for (std::size_t id = 0; id <= kLargestId; ++id) {
        const std::string_view name = name_of(id_of(id));
        if (name == word) {
            ids.set(id);
            found = true;
        } else if (!is_number(name)) {
            known.emplace(name);
        }
    }
    return found;
}

/** All ids when there are no words. */
std::bitset<256> parse_ids(const std::string &option, const std::vector<std::string> &words, const NameOfId &name_of) {
    std::bitset<256> ids;
    for (const std::string &word : words) {
        std::set<std::string> known;
        if (!add_ids(ids, option, word, name_of, known)) {
            refuse(option, word, known);
        }
    }
    return words.empty() ? ids.set() : ids;
}

} // namespace

ReportFilter::ReportFilter(const FilterWords &words)
    : _has_conditions(!words.categories.empty() || !words.components.empty() || !words.events.empty() ||
                      !words.types.empty() || words.since || words.until),
      _takes_all_places(words.components.empty() && words.events.empty()), _since(words.since.value_or(0)),
      _until(words.until.value_or(std::numeric_limits<std::uint64_t>::max())),
      _categories(parse_ids("--category", words.categories, decoder::category_name)),
      _types(parse_ids("--type", words.types, decoder::type_name)) {
    set_components(words.components);
    set_events(words.events);
}

void ReportFilter::set_components(const std::vector<std::string> &words) {
    for (const std::string &word : words) {
        bool found = false;
        std::set<std::string> known;
        for (std::size_t category = 0; category < kCategoryRows; ++category) {
            const auto name_of = [category](std::uint8_t id) { return decoder::component_name(id_of(category), id); };
            found |= add_ids(_components[category], "--component", word, name_of, known);
        }
        if (!found) {
            refuse("--component", word, known);
        }
    }
    if (words.empty()) {
        for (Ids &ids : _components) {
            ids.set();
        }
    }
}

void ReportFilter::set_events(const std::vector<std::string> &words) {
    if (!words.empty()) {
        _events.resize(kCategoryRows * kIds);
    }
    for (const std::string &word : words) {
        bool found = false;
        std::set<std::string> known;
        for (std::size_t row = 0; row < _events.size(); ++row) {
            const auto name_of = [row](std::uint8_t id) {
                return decoder::event_name(id_of(row / kIds), id_of(row % kIds), id);
            };
            found |= add_ids(_events[row], "--event", word, name_of, known);
        }
        if (!found) {
            refuse("--event", word, known);
        }
    }
}

bool ReportFilter::passes_place(std::size_t category, std::size_t component, std::size_t event) const {
    const std::size_t row = std::min(category, kCategoryRows - 1);
    return _components[row][component] && (_events.empty() || _events[row * kIds + component][event]);
}

void ReportFilter::append_passing(std::span<const _QorProfileReport> reports,
                                  std::vector<_QorProfileReport> &passing) const {
    if (!_has_conditions) {
        passing.insert(passing.end(), reports.begin(), reports.end());
        return;
    }
    for (const _QorProfileReport &report : reports) {
        if (passes(report)) {
            passing.push_back(report);
        }
    }
}

} // namespace cli
