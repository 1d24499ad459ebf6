#include "cli/metrics/side_by_side.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "cli/metrics/figures.h"
#include "cli/metrics/json.h"
#include "cli/metrics/keys.h"
#include "cli/terminal/columns.h"
#include "cli/terminal/json_text.h"
#include "host/utf8.h"

namespace cli {
namespace {

constexpr std::size_t kIndent = 2;

/** One value of every store that has the key, by the number of the store. */
template <typename Value>
using Row = std::map<std::size_t, Value>;

/** What the stores have of one kind in one subsystem, by key. */
template <typename Value>
using Rows = std::map<std::string, Row<Value>>;

/** @param member  the scalars or the distributions of a store. */
template <typename Value>
Rows<Value> rows_in(const std::vector<NamedStore> &stores, std::size_t subsystem,
                    std::map<std::string, Value> host::StoreContents::*member) {
    Rows<Value> rows;
    for (std::size_t i = 0; i < stores.size(); ++i) {
        for (const auto &[key, value] : stores[i].contents.*member) {
            if (short_key(key).subsystem == subsystem) {
                rows[key].emplace(i, value);
            }
        }
    }
    return rows;
}

/** As it is printed, so that a key is one line. */
std::string shown_key(const std::string &key) { return escape_controls(short_key(key).name); }

std::string indented(std::size_t steps, const std::string &text) { return std::string(steps * kIndent, ' ') + text; }

/** The lines of a table whose first columns are names, and the others numbers. */
std::vector<std::string> table_lines(const std::vector<std::vector<std::string>> &rows, std::size_t names) {
    std::vector<Align> columns(rows.front().size(), Align::Right);
    std::fill_n(columns.begin(), names, Align::Left);
    return align_rows(rows, columns);
}

/** A heading, and below it the others without colour. */
std::string text_of(const std::vector<std::string> &lines, const TextStyle &style) {
    std::string text = style.dim(lines.front()) + "\n";
    for (std::size_t i = 1; i < lines.size(); ++i) {
        text += lines[i].substr(0, lines[i].find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

/** @return nothing when the lines are too long. */
std::string scalars_in_columns(const std::vector<NamedStore> &stores, const Rows<std::int64_t> &rows,
                               const TextStyle &style) {
    std::vector<std::vector<std::string>> cells = {{""}};
    for (const NamedStore &store : stores) {
        cells.front().push_back(store.name);
    }
    for (const auto &[key, row] : rows) {
        std::vector<std::string> &line = cells.emplace_back(std::vector<std::string>{indented(1, shown_key(key))});
        for (std::size_t i = 0; i < stores.size(); ++i) {
            const auto found = row.find(i);
            line.push_back(found == row.end() ? "-" : std::to_string(found->second));
        }
    }
    const std::vector<std::string> lines = table_lines(cells, 1);
    const bool fits = !style.folds_tables || host::character_count(lines.front()) <= style.columns;
    return fits ? text_of(lines, style) : "";
}

/**
 * For each key and each store that has it a line with the store's name, cells, and what is drawn behind them. The key
 * stands above its lines where tables are folded, and elsewhere on each of them.
 */
class Lines {
public:
    Lines(const std::vector<std::string> &titles, const TextStyle &style)
        : _style(style), _cells{names("", "")}, _behind{""}, _keys{""} {
        _cells.front().insert(_cells.front().end(), titles.begin(), titles.end());
    }

    void add(const std::string &key, const std::string &store, const std::vector<std::string> &cells,
             const std::string &behind) {
        std::vector<std::string> &line = _cells.emplace_back(names(key, store));
        line.insert(line.end(), cells.begin(), cells.end());
        _behind.push_back(behind);
        _keys.push_back(key);
    }

    std::string text() const {
        const std::size_t name_columns = names("", "").size();
        const std::vector<std::string> lines = table_lines(_cells, name_columns);
        const bool has_titles = lines.front().find_first_not_of(' ') != std::string::npos;
        std::string text = has_titles ? _style.dim(lines.front()) + "\n" : "";
        for (std::size_t i = 1; i < lines.size(); ++i) {
            if (_style.folds_tables && (i == 1 || _keys[i] != _keys[i - 1])) {
                text += indented(1, _style.key(shown_key(_keys[i]))) + "\n";
            }
            const std::string line = lines[i] + "  " + _behind[i];
            text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
        }
        return text;
    }

private:
    std::vector<std::string> names(const std::string &key, const std::string &store) const {
        return _style.folds_tables ? std::vector{indented(2, store)} : std::vector{indented(1, shown_key(key)), store};
    }

    const TextStyle &_style;
    std::vector<std::vector<std::string>> _cells; ///< the first line has the titles
    std::vector<std::string> _behind;
    std::vector<std::string> _keys;
};

std::string scalars_in_lines(const std::vector<NamedStore> &stores, const Rows<std::int64_t> &rows,
                             const TextStyle &style) {
    Lines lines({""}, style);
    for (const auto &[key, row] : rows) {
        for (const auto &[store, value] : row) {
            lines.add(key, stores[store].name, {std::to_string(value)}, "");
        }
    }
    return lines.text();
}

std::string scalars_text(const std::vector<NamedStore> &stores, std::size_t subsystem, const TextStyle &style) {
    const auto rows = rows_in(stores, subsystem, &host::StoreContents::scalars);
    if (rows.empty()) {
        return "";
    }
    const std::string columns = scalars_in_columns(stores, rows, style);
    return columns.empty() ? scalars_in_lines(stores, rows, style) : columns;
}

std::string distributions_text(const std::vector<NamedStore> &stores, std::size_t subsystem, const TextStyle &style) {
    const auto rows = rows_in(stores, subsystem, &host::StoreContents::distributions);
    if (rows.empty()) {
        return "";
    }
    Lines lines(figure_titles(), style);
    for (const auto &[key, row] : rows) {
        for (const auto &[store, distribution] : row) {
            lines.add(key, stores[store].name, figures_of(distribution), bars_of(distribution, style));
        }
    }
    return lines.text();
}

} // namespace

void add_store(std::vector<NamedStore> &stores, const std::string &name, host::StoreContents contents) {
    const std::string escaped = escape_controls(name);
    std::string own = escaped;
    const auto is_taken = [&own](const NamedStore &store) { return store.name == own; };
    for (std::size_t number = 2; std::any_of(stores.begin(), stores.end(), is_taken); ++number) {
        own = escaped + " (" + std::to_string(number) + ")";
    }
    stores.push_back({own, std::move(contents)});
}

std::string side_by_side_table(const std::vector<NamedStore> &stores, const TextStyle &style) {
    std::string text;
    for (std::size_t i = 0; i < kSubsystems.size(); ++i) {
        const std::string lines = scalars_text(stores, i, style) + distributions_text(stores, i, style);
        if (!lines.empty()) {
            text += (text.empty() ? "" : "\n") + style.heading(kSubsystems[i]) + "\n" + lines;
        }
    }
    return text.empty() ? "the stores are empty\n" : text;
}

std::string side_by_side_json(const std::vector<NamedStore> &stores) {
    Json all = Json::array();
    for (const NamedStore &store : stores) {
        Json json;
        json["store"] = store.name;
        put_metrics(json, store.contents);
        all.push_back(std::move(json));
    }
    return json_lines(all);
}

std::vector<MetricFamily> side_by_side_families(const std::vector<NamedStore> &stores) {
    std::vector<MetricFamily> all;
    std::map<std::string, std::size_t> places;
    for (const NamedStore &store : stores) {
        for (MetricFamily &family : families_of(store.contents)) {
            for (MetricSeries &series : family.series) {
                series.labels.emplace_back("store", store.name);
            }
            const auto [place, is_new] = places.emplace(family.name, all.size());
            if (is_new) {
                all.push_back(std::move(family));
            } else {
                std::vector<MetricSeries> &known = all[place->second].series;
                std::move(family.series.begin(), family.series.end(), std::back_inserter(known));
            }
        }
    }
    return all;
}

} // namespace cli
