#include "cli/reports/name_listing.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/arguments/whole_number.h"
#include "cli/arguments/wrong_use.h"
#include "cli/terminal/columns.h"
#include "host/error.h"
#include "host/nearest_word.h"
#include "qor/meanings.h"

namespace cli {
namespace {

/** The categories that are wanted. */
std::span<const qor::Category> categories_of(WantedCategory wanted) {
    const std::span all(qor::kCategories);
    return wanted ? all.subspan(*wanted, 1) : all;
}

bool has_fields(const qor::Layout *layout) { return !layout->fields.empty(); }

/** Whether a report of a wanted category can have this layout: that of a type, or that of a rule. */
bool is_wanted(const qor::Layout &layout, WantedCategory wanted) {
    const auto is_it = [&layout](const qor::Layout *other) { return other->name == layout.name; };
    return std::ranges::any_of(qor::kTypes, is_it, &qor::Type::layout) ||
           std::ranges::any_of(categories_of(wanted), [&is_it](const qor::Category &category) {
               return std::ranges::any_of(category.payloads, [&is_it](const qor::PayloadRule &rule) {
                   return std::ranges::any_of(rule.layouts, is_it);
               });
           });
}

/** The components whose traces have the same subjects, one group after the other. */
struct SubjectGroup {
    std::vector<std::uint8_t> components;
    std::span<const qor::NamedId> names;
};

std::vector<SubjectGroup> subject_groups() {
    std::vector<SubjectGroup> groups;
    for (const qor::ComponentEvents &subjects : qor::kSSHBTraceSubjects) {
        const auto same = std::ranges::find(groups, subjects.names.data(),
                                            [](const SubjectGroup &group) { return group.names.data(); });
        if (same != groups.end()) {
            same->components.push_back(subjects.component);
        } else {
            groups.push_back({{subjects.component}, subjects.names});
        }
    }
    return groups;
}

/** The ids that a rule compares. */
struct Condition {
    unsigned type;
    std::optional<unsigned> event;
    std::optional<unsigned> component;
    std::optional<int> version;
};

Condition condition_of(const qor::PayloadRule &rule) {
    Condition condition{rule.type(), std::nullopt, std::nullopt, std::nullopt};
    if (rule.mask != qor::kTypeAlone) {
        condition.event = (rule.header >> 8U) & 0xFFU;
    }
    if (rule.mask == qor::kWholeHeader) {
        condition.component = (rule.header >> 16U) & 0xFFU;
    }
    if (rule.version != qor::kAnyVersion) {
        condition.version = rule.version;
    }
    return condition;
}

/** The rows of the table. Their cells are kind, place, id, name, offset, bytes, how it is read, unit and meaning. */
class NameListing {
public:
    std::vector<std::vector<std::string>> rows = {
        {"kind", "of", "id", "name", "offset", "bytes", "read as", "unit", "meaning"}};

    void add_name(std::string_view kind, std::string of, std::size_t id, std::string_view name,
                  std::string_view meaning) {
        rows.push_back({std::string(kind), std::move(of), std::to_string(id), std::string(name), "", "", "", "",
                        std::string(meaning)});
    }

    void add_names(std::string_view kind, const std::string &of, std::span<const qor::NamedId> names) {
        for (const qor::NamedId &row : names) {
            add_name(kind, of, row.id, row.name, qor::kNotStated);
        }
    }

    void add_text(std::string_view kind, std::string_view of, std::string name, std::string_view meaning) {
        rows.push_back({std::string(kind), std::string(of), "", std::move(name), "", "", "", "", std::string(meaning)});
    }

    void add_fields(std::string_view kind, std::string_view of, std::span<const qor::Field> fields,
                    std::span<const qor::FieldMeaning> meanings) {
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const qor::Field &field = fields[i];
            const bool is_stored = field.how != qor::How::Constant;
            rows.push_back({std::string(kind), std::string(of), "", std::string(field.name),
                            is_stored ? std::to_string(field.offset) : "", is_stored ? std::to_string(field.size) : "",
                            reading_of(field), std::string(meanings[i].unit), std::string(meanings[i].meaning)});
        }
    }

private:
    static std::string reading_of(const qor::Field &field) {
        const std::string kind(qor::kind_name(field.how));
        return field.how == qor::How::Constant || field.how == qor::How::FixedPoint
                   ? kind + " " + std::to_string(field.parameter)
                   : kind;
    }
};

void add_category(NameListing &table, const qor::Category &category) {
    const std::string name = category.name;
    table.add_name("category", "", category.id, name,
                   qor::meaning_of(qor::kCategoryNameMeanings, category.id, category.id));
    table.add_names("component", name, category.components);
    for (const qor::ComponentEvents &events : category.events_of_components) {
        table.add_names("event", name + "." + category.components[events.component].name, events.names);
    }
    for (const qor::NamedId &event : category.events) {
        table.add_name("event", name, event.id, event.name,
                       qor::meaning_of(qor::kEventNameMeanings, category.id, event.id));
    }
    if (category.id != qor::kSSHB) {
        return;
    }
    for (const SubjectGroup &group : subject_groups()) {
        std::string of = name + ".";
        for (const std::uint8_t component : group.components) {
            of += (of.back() == '.' ? "" : ",") + std::string(category.components[component].name);
        }
        table.add_names("subject", of, group.names);
    }
}

std::string condition_text(const Condition &condition) {
    std::string text = "type " + std::to_string(condition.type);
    text += condition.event ? " event " + std::to_string(*condition.event) : "";
    text += condition.component ? " component " + std::to_string(*condition.component) : "";
    return text + (condition.version ? " version " + std::to_string(*condition.version) : "");
}

/** The layouts of a payload by their views. */
std::vector<std::string_view> views_of(const qor::PayloadRule &rule) {
    std::vector<std::string_view> views;
    for (const qor::Layout *layout : rule.layouts) {
        if (has_fields(layout)) {
            views.push_back(qor::meaning_of(*layout).view);
        }
    }
    return views;
}

void add_payloads(NameListing &table, WantedCategory wanted) {
    for (const qor::Type &type : qor::kTypes) {
        if (has_fields(type.layout)) {
            table.add_text("payload", "", "type " + std::to_string(type.id), qor::meaning_of(*type.layout).view);
        }
    }
    for (const qor::Category &category : categories_of(wanted)) {
        for (const qor::PayloadRule &rule : category.payloads) {
            std::string views;
            for (const std::string_view view : views_of(rule)) {
                views += (views.empty() ? "" : ", then ") + std::string(view);
            }
            table.add_text("payload", category.name, condition_text(condition_of(rule)), views);
        }
    }
}

Json stated(std::string_view text) { return text == qor::kNotStated ? Json() : Json(text); }

Json name_json(std::size_t id, std::string_view name, std::string_view meaning) {
    return Json::object({{"id", id}, {"name", name}, {"meaning", stated(meaning)}});
}

Json names_of(std::span<const qor::NamedId> names) {
    Json array = Json::array();
    for (const qor::NamedId &row : names) {
        array.push_back(name_json(row.id, row.name, qor::kNotStated));
    }
    return array;
}

Json fields_json(std::span<const qor::Field> fields, std::span<const qor::FieldMeaning> meanings) {
    Json array = Json::array();
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const qor::Field &field = fields[i];
        Json entry = Json::object({{"name", field.name}, {"kind", qor::kind_name(field.how)}});
        if (field.how == qor::How::Constant) {
            entry["value"] = field.parameter;
        } else {
            entry["offset"] = field.offset;
            entry["bytes"] = field.size;
        }
        if (field.how == qor::How::FixedPoint) {
            entry["fraction_bits"] = field.parameter;
        } else if (field.how == qor::How::CountedBytes) {
            entry["count_offset"] = field.parameter;
        }
        entry["unit"] = stated(meanings[i].unit);
        entry["meaning"] = stated(meanings[i].meaning);
        array.push_back(std::move(entry));
    }
    return array;
}

/** With the components that the names are for, or with null for all others. */
Json group_json(Json components, Json names) {
    return Json::object({{"components", std::move(components)}, {"names", std::move(names)}});
}

Json category_json(const qor::Category &category) {
    Json entry =
        name_json(category.id, category.name, qor::meaning_of(qor::kCategoryNameMeanings, category.id, category.id));
    entry["components"] = names_of(category.components);
    entry["events"] = Json::array();
    for (const qor::ComponentEvents &events : category.events_of_components) {
        Json components = Json::array();
        components.push_back(events.component);
        entry["events"].push_back(group_json(std::move(components), names_of(events.names)));
    }
    Json others = Json::array();
    for (const qor::NamedId &event : category.events) {
        others.push_back(
            name_json(event.id, event.name, qor::meaning_of(qor::kEventNameMeanings, category.id, event.id)));
    }
    entry["events"].push_back(group_json(Json(), std::move(others)));
    if (category.id == qor::kSSHB) {
        entry["subjects"] = Json::array();
        for (const SubjectGroup &group : subject_groups()) {
            Json components = Json::array();
            for (const std::uint8_t component : group.components) {
                components.push_back(component);
            }
            entry["subjects"].push_back(group_json(std::move(components), names_of(group.names)));
        }
    }
    return entry;
}

Json payloads_json(WantedCategory wanted) {
    Json array = Json::array();
    for (const qor::Category &category : categories_of(wanted)) {
        for (const qor::PayloadRule &rule : category.payloads) {
            const Condition condition = condition_of(rule);
            const auto number = [](const auto &id) { return id ? Json(*id) : Json(); };
            Json layouts = Json::array();
            for (const std::string_view view : views_of(rule)) {
                layouts.push_back(view);
            }
            array.push_back(Json::object({{"category", unsigned{category.id}},
                                          {"type", condition.type},
                                          {"event", number(condition.event)},
                                          {"component", number(condition.component)},
                                          {"version", number(condition.version)},
                                          {"layouts", std::move(layouts)}}));
        }
    }
    return array;
}

} // namespace

std::uint8_t find_category(const std::string &word) {
    const std::optional<std::uint64_t> id = parse_id(word);
    std::vector<std::string_view> known;
    for (const qor::Category &category : qor::kCategories) {
        if (word == category.name || id == category.id) {
            return category.id;
        }
        known.emplace_back(category.name);
    }
    throw WrongUse("unknown category " + host::in_quotes(word) + host::suggestion(word, known));
}

std::string name_table_text(WantedCategory wanted, const TextStyle &style) {
    NameListing table;
    table.add_fields("header", "", qor::kHeaderFields, qor::kHeaderMeanings);
    for (const qor::Category &category : categories_of(wanted)) {
        add_category(table, category);
    }
    for (const qor::Type &type : qor::kTypes) {
        table.add_name("type", "", type.id, type.name, qor::meaning_of(type));
    }
    add_payloads(table, wanted);
    for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
        if (is_wanted(*row.layout, wanted)) {
            table.add_text("layout", "", std::string(row.view), row.meaning);
            table.add_fields("field", row.view, row.layout->fields, row.fields);
        }
    }
    using enum Align;
    std::string text;
    for (std::string &line : align_rows(table.rows, {Left, Left, Right, Left, Right, Right, Left, Left, Left})) {
        line.erase(line.find_last_not_of(' ') + 1);
        text += (text.empty() ? style.heading(line) : line) + "\n";
    }
    return text;
}

Json names_json(WantedCategory wanted) {
    Json json;
    json["header"] = fields_json(qor::kHeaderFields, qor::kHeaderMeanings);
    json["categories"] = Json::array();
    for (const qor::Category &category : categories_of(wanted)) {
        json["categories"].push_back(category_json(category));
    }
    json["types"] = Json::array();
    for (const qor::Type &type : qor::kTypes) {
        Json entry = name_json(type.id, type.name, qor::meaning_of(type));
        entry["layout"] = has_fields(type.layout) ? Json(qor::meaning_of(*type.layout).view) : Json();
        json["types"].push_back(std::move(entry));
    }
    json["payloads"] = payloads_json(wanted);
    json["layouts"] = Json::array();
    for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
        if (is_wanted(*row.layout, wanted)) {
            json["layouts"].push_back(Json::object({{"name", row.view},
                                                    {"meaning", stated(row.meaning)},
                                                    {"fields", fields_json(row.layout->fields, row.fields)}}));
        }
    }
    return json;
}

} // namespace cli
