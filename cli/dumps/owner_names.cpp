#include "cli/dumps/owner_names.h"

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

#include "cli/arguments/whole_number.h"
#include "cli/terminal/csv_field.h"
#include "cli/terminal/json_values.h"
#include "decoder/name_tables.h"
#include "host/error.h"
#include "host/nearest_word.h"
#include "host/utf8.h"

namespace cli {
namespace {

constexpr std::uint64_t kLargestByte = 255;
constexpr std::uint64_t kLargestWord = std::numeric_limits<std::uint32_t>::max();

bool has_control_characters(std::string_view text) {
    for (; !text.empty(); text.remove_prefix(1)) {
        if (host::control_character_length(text) != 0) {
            return true;
        }
    }
    return false;
}

bool is_decimal(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return '0' <= c && c <= '9'; });
}

/** What is wrong with a name; empty for nothing. */
std::string fault_of(std::string_view name) {
    if (name.empty()) {
        return "a name cannot be empty";
    }
    if (name.size() > OwnerName::kBytesAtMost) {
        return "a name has at most " + std::to_string(OwnerName::kBytesAtMost) + " bytes, not " +
               std::to_string(name.size());
    }
    if (has_control_characters(name)) {
        return "a name cannot hold control characters";
    }
    if (name.find('\'') != std::string_view::npos) {
        return "a name cannot hold an apostrophe, which ends it in a line";
    }
    return is_decimal(name) ? "a name of digits alone would read as an id" : "";
}

std::string json_inside(std::string_view name, std::string_view mark) {
    std::string text(json_text_room(name.size()), '\0');
    text.resize(static_cast<std::size_t>(put_json_text(text.data(), name, mark) - text.data()));
    return text;
}

std::string join(const std::vector<std::string> &path) {
    std::string text;
    for (const std::string &key : path) {
        text += (text.empty() ? "" : ".") + key;
    }
    return text;
}

/** What a section's keys are called, from the outermost on; the last one is the id. */
struct Section {
    std::string_view name;
    std::string_view shape;
};

constexpr Section kShapes[] = {
    {"category", "category.ID"},
    {"component", "component.CATEGORY.ID"},
    {"event", "event.CATEGORY.ID"},
    {"event_of", "event_of.CATEGORY.COMPONENT.ID"},
    {"field", "field.FIELD.ID"},
    {"field_of", "field_of.LAYOUT.FIELD.ID"},
    {"subject", "subject.ID"},
    {"subject_of", "subject_of.COMPONENT.ID"},
    {"type", "type.ID"},
};

} // namespace

const std::vector<std::string_view> OwnerNames::kSections = [] {
    std::vector<std::string_view> names;
    for (const Section &section : kShapes) {
        names.push_back(section.name);
    }
    return names;
}();

/** Puts the texts of a file into the tables. */
class OwnerNames::Reader {
public:
    Reader(OwnerNames &names, std::string file) : _names(names), _file(std::move(file)) {}

    /** Names of categories may stand in the keys of components, and names of components in those of events. */
    void read(const std::vector<host::TomlText> &texts) {
        for (const host::TomlText &text : texts) {
            require_shape(text);
        }
        for (const std::vector<std::string_view> &sections :
             {std::vector<std::string_view>{"category"},
              {"component"},
              {"event", "event_of", "type", "subject", "subject_of", "field", "field_of"}}) {
            for (const host::TomlText &text : texts) {
                if (std::ranges::find(sections, text.path[0]) != sections.end()) {
                    read(text);
                }
            }
        }
        connect_fields();
    }

private:
    using SystemName = std::function<bool(std::uint64_t id)>;

    host::Error error(const host::TomlText &text, const std::string &reason) const {
        return {_file, text.place, join(text.path) + ": " + reason};
    }

    void require_shape(const host::TomlText &text) const {
        const auto *section = std::ranges::find(kShapes, text.path[0], &Section::name);
        if (text.path.size() != std::size_t(std::ranges::count(section->shape, '.')) + 1) {
            throw error(text, "names are written as " + std::string(section->shape) + " = \"NAME\"");
        }
        if (const std::string fault = fault_of(text.text); !fault.empty()) {
            throw error(text, fault);
        }
    }

    void read(const host::TomlText &text) {
        const std::string &section = text.path[0];
        if (section == "category") {
            add(_names._categories, 0, text, kLargestByte, decoder::kCategoryTable);
        } else if (section == "type") {
            add(_names._types, 0, text, kLargestByte, decoder::kTypeTable);
        } else if (section == "subject") {
            add(_names._subjects, 0, text, kLargestWord, {});
        } else if (section == "subject_of") {
            const std::uint8_t component = component_of(text, qor::kSSHB, 1);
            add(_names._component_subjects, component, text, kLargestWord, decoder::sshb_subtype_table(component));
        } else if (section == "field") {
            add_field(text, std::nullopt);
        } else if (section == "field_of") {
            add_field(text, layout_of(text));
        } else {
            read_of_category(text);
        }
    }

    void read_of_category(const host::TomlText &text) {
        const std::uint8_t category = category_of(text);
        const decoder::category_names &known = decoder::names_of_category(category);
        if (text.path[0] == "component") {
            add(_names._components, category, text, kLargestByte, known.components);
        } else if (text.path[0] == "event") {
            add(_names._events, category, text, kLargestByte, known.events_of_others);
        } else {
            const std::uint8_t component = component_of(text, category, 2);
            add(_names._component_events, place_of(category, component), text, kLargestByte, known.events(component));
        }
    }

    /** @param outer  what stands for the keys before the id; 0 for none. */
    void add(Ids &ids, std::uint64_t outer, const host::TomlText &text, std::uint64_t largest,
             const decoder::name_table &known) {
        const std::uint64_t id = id_of(text, largest);
        if (const decoder::short_text *name = known.find(static_cast<std::uint32_t>(id))) {
            throw error(text, std::to_string(id) +
                                  " has a name already: " + host::in_quotes(decoder::strip_apostrophes(*name)));
        }
        add(ids, key_of(outer, id), text);
    }

    void add(Ids &ids, std::uint64_t key, const host::TomlText &text) {
        OwnerName name{text.text, json_inside(text.text, "\""), json_inside(text.text, "\"\""), csv_field(text.text)};
        if (!ids.emplace(key, std::move(name)).second) {
            throw error(text, "this id has a name in the file already");
        }
    }

    std::uint64_t id_of(const host::TomlText &text, std::uint64_t largest) const {
        const std::optional<std::uint64_t> id = parse_id(text.path.back());
        if (!id || *id > largest) {
            throw error(text, host::in_quotes(text.path.back()) + " is no id: expected 0 to " +
                                  std::to_string(largest) + ", in decimal or behind 0x in hexadecimal");
        }
        return *id;
    }

    /** The id of a category or component in a key: a number, or a name of which the first id counts. */
    template <typename NameOf>
    std::uint8_t named_id(const host::TomlText &text, std::size_t place, const char *what,
                          const NameOf &name_of) const {
        const std::string &word = text.path[place];
        std::vector<std::string_view> known;
        for (unsigned id = 0; id <= kLargestByte; ++id) {
            const std::string_view name = name_of(static_cast<std::uint8_t>(id));
            if (name == word) {
                return static_cast<std::uint8_t>(id);
            }
            if (!is_decimal(name)) {
                known.push_back(name);
            }
        }
        if (const std::optional<std::uint64_t> id = parse_id(word); id && *id <= kLargestByte) {
            return static_cast<std::uint8_t>(*id);
        }
        throw error(text, "no " + std::string(what) + " " + host::in_quotes(word) + host::suggestion(word, known));
    }

    std::uint8_t category_of(const host::TomlText &text) const {
        return named_id(text, 1, "category", [this](std::uint8_t id) { return _names.category_name(id); });
    }

    std::uint8_t component_of(const host::TomlText &text, std::uint8_t category, std::size_t place) const {
        return named_id(text, place, "component", [&](std::uint8_t id) { return _names.component_name(category, id); });
    }

    std::string_view layout_of(const host::TomlText &text) const {
        std::vector<std::string_view> known;
        for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
            if (row.view == text.path[1]) {
                return row.view;
            }
            known.push_back(row.view);
        }
        throw error(text, "no layout " + host::in_quotes(text.path[1]) + host::suggestion(text.path[1], known));
    }

    /** @param view  of the layout that the name is for; nothing for every layout with such a field. */
    void add_field(const host::TomlText &text, std::optional<std::string_view> view) {
        const std::string &field = text.path[text.path.size() - 2];
        std::set<std::string_view> known;
        std::size_t size = 0;
        for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
            for (const qor::Field &other : row.layout->fields) {
                if (may_have_names(other) && (!view || *view == row.view)) {
                    known.insert(other.name);
                    size = std::max<std::size_t>(size, other.name == field ? other.size : 0);
                }
            }
        }
        if (size == 0) {
            throw error(text, "no field " + host::in_quotes(field) + " with numbers" + (view ? " in this layout" : "") +
                                  host::suggestion(field, {known.begin(), known.end()}));
        }
        const std::uint64_t id = id_of(text, std::numeric_limits<std::uint64_t>::max() >> (64 - 8 * size));
        add(_names._named_fields[view ? std::string(*view) + "." + field : field], id, text);
    }

    /** A name for one layout goes before one for all; what neither names has none. */
    void connect_fields() {
        std::size_t number = 0;
        for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
            for (const qor::Field &field : row.layout->fields) {
                if (may_have_names(field)) {
                    _names._fields[number] = ids_of(std::string(row.view) + "." + std::string(field.name), field.name);
                }
                ++number;
            }
        }
    }

    const Ids *ids_of(const std::string &in_layout, std::string_view anywhere) {
        const auto own = _names._named_fields.find(in_layout);
        const auto general = _names._named_fields.find(anywhere);
        if (own == _names._named_fields.end() || general == _names._named_fields.end()) {
            const auto found = own != _names._named_fields.end() ? own : general;
            return found != _names._named_fields.end() ? &found->second : nullptr;
        }
        own->second.insert(general->second.begin(), general->second.end()); // keeps those that are there
        return &own->second;
    }

    OwnerNames &_names;
    std::string _file;
};

OwnerNames::OwnerNames() = default;

OwnerNames::OwnerNames(const std::vector<host::TomlText> &texts, const std::string &file) {
    Reader(*this, file).read(texts);
}

OwnerNames OwnerNames::read(const std::string &file) {
    return {host::read_toml_texts(file, "a file of names", kSections), file};
}

const OwnerName *OwnerNames::event(std::uint8_t category, std::uint8_t component, std::uint8_t id) const {
    const OwnerName *name = find(_component_events, key_of(place_of(category, component), id));
    return name != nullptr ? name : find(_events, key_of(category, id));
}

const OwnerName *OwnerNames::subject(std::uint8_t component, std::uint32_t id) const {
    const OwnerName *name = find(_component_subjects, key_of(component, id));
    return name != nullptr ? name : find(_subjects, id);
}

std::bitset<256> OwnerNames::categories_with_places() const {
    std::bitset<256> categories;
    for (const auto &[key, name] : _components) {
        categories.set(key >> 32U);
    }
    for (const auto &[key, name] : _events) {
        categories.set(key >> 32U);
    }
    for (const auto &[key, name] : _component_events) {
        categories.set(key >> 40U);
    }
    return categories;
}

std::array<OwnerNames::IdName, 4> OwnerNames::id_names(const _QorProfileReport &report) const {
    const std::uint8_t category_id = report.category_id();
    const std::uint8_t component_id = report.component_id();
    const decoder::category_names &known = decoder::names_of_category(category_id);
    const auto name = [](const decoder::name_table &table, std::uint8_t id, const OwnerName *owner) {
        return IdName{id, decoder::json_name(table, id), table.find(id) == nullptr ? owner : nullptr};
    };
    return {name(decoder::kCategoryTable, category_id, category(category_id)),
            name(known.components, component_id, component(category_id, component_id)),
            name(known.events(component_id), report.event_id(), event(category_id, component_id, report.event_id())),
            name(decoder::kTypeTable, report.type_id(), type(report.type_id()))};
}

namespace {

std::string_view text_of(const decoder::name_table &table, std::uint8_t id, std::string_view system,
                         const OwnerName *owner) {
    return owner == nullptr || table.find(id) != nullptr ? system : std::string_view(owner->plain);
}

} // namespace

std::string_view OwnerNames::category_name(std::uint8_t id) const {
    return text_of(decoder::kCategoryTable, id, decoder::category_name(id), category(id));
}

std::string_view OwnerNames::component_name(std::uint8_t category, std::uint8_t id) const {
    return text_of(decoder::names_of_category(category).components, id, decoder::component_name(category, id),
                   component(category, id));
}

std::string_view OwnerNames::event_name(std::uint8_t category, std::uint8_t component, std::uint8_t id) const {
    return text_of(decoder::names_of_category(category).events(component), id,
                   decoder::event_name(category, component, id), event(category, component, id));
}

std::string_view OwnerNames::type_name(std::uint8_t id) const {
    return text_of(decoder::kTypeTable, id, decoder::type_name(id), type(id));
}

} // namespace cli
