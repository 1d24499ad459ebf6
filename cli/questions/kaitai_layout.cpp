#include <algorithm>
#include <cstdint>
#include <iterator>
#include <set>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/questions/name_rows.h"
#include "cli/questions/payload_sql.h"
#include "cli/questions/tool_formats.h"
#include "qor/meanings.h"

namespace cli {
namespace {

using qor::How;

static_assert(
    [] {
        std::size_t end = 0;
        for (const qor::Field &field : qor::kHeaderFields) {
            if (field.offset != end) {
                return false;
            }
            end += field.size;
        }
        return end == qor::kPayloadOffset;
    }(),
    "the header's fields stand one behind the other, as the items of a sequence do");

bool is_upper(char c) { return 'A' <= c && c <= 'Z'; }
bool is_lower_or_digit(char c) { return ('a' <= c && c <= 'z') || ('0' <= c && c <= '9'); }

/** A name as identifiers have to look: lower case, with '_' between the words. */
std::string identifier(std::string_view name) {
    std::string result;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (is_upper(c)) {
            const bool begins_word = i > 0 && (is_lower_or_digit(name[i - 1]) ||
                                               (i + 1 < name.size() && is_upper(name[i - 1]) && name[i + 1] >= 'a'));
            result += begins_word ? "_" : "";
            result += static_cast<char>(c - 'A' + 'a');
        } else {
            result += is_lower_or_digit(c) ? c : '_';
        }
    }
    return result;
}

/** Identifiers that are taken, so that no two are the same. */
class Identifiers {
public:
    /** The identifier, with a number behind it where it is taken. */
    std::string take(const std::string &wanted) {
        std::string free = wanted;
        for (int number = 2; !_taken.insert(free).second; ++number) {
            free = wanted + "_" + std::to_string(number);
        }
        return free;
    }

private:
    std::set<std::string> _taken;
};

/** A text of YAML. The tables' texts have no control characters. */
std::string yaml_string(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        result += c == '"' || c == '\\' ? "\\" : "";
        result += c;
    }
    return result + "\"";
}

/** Lines of YAML, each with its depth. */
class Yaml {
public:
    void add(unsigned depth, std::string_view line) {
        _text.append(2 * std::size_t{depth}, ' ').append(line).append("\n");
    }
    const std::string &text() const { return _text; }

private:
    std::string _text;
};

// ---- names of ids

/** The names of the ids of one kind, category and component. */
struct NameTable {
    std::string name;
    std::string enum_name; ///< that of the first table with the same names
    std::vector<const NameRow *> rows;
};

bool have_same_names(const NameTable &a, const NameTable &b) {
    return std::ranges::equal(a.rows, b.rows, [](const NameRow *x, const NameRow *y) {
        return x->kind == y->kind && x->category == y->category && x->id == y->id && x->name == y->name;
    });
}

std::string category_name(std::uint8_t category) { return qor::kCategories[category].name; }

std::string component_name(std::uint8_t category, std::uint8_t component) {
    for (const qor::NamedId &row : qor::kCategories[category].components) {
        if (row.id == component) {
            return row.name;
        }
    }
    return std::to_string(component);
}

/** "sensor_component", "sensor_event", "exec_scheduler_event", "sshb_latency_subject", "category". */
std::string table_name(const NameRow &row) {
    std::string name;
    if (row.category) {
        name = category_name(*row.category) + "_";
        if (row.component) {
            name += component_name(*row.category, *row.component) + "_";
        }
    }
    return identifier(name) + std::string(text_of(row.kind));
}

std::vector<NameTable> name_tables() {
    std::vector<NameTable> tables;
    for (const NameRow &row : name_rows()) {
        const std::string name = table_name(row);
        if (tables.empty() || tables.back().name != name) {
            tables.push_back({name, "", {}});
        }
        tables.back().rows.push_back(&row);
    }
    for (NameTable &table : tables) {
        table.enum_name =
            std::ranges::find_if(tables, [&](const NameTable &other) { return have_same_names(other, table); })->name;
    }
    return tables;
}

std::string_view meaning_of(const NameRow &row) {
    switch (row.kind) {
    case NameKind::Category:
        return qor::meaning_of(qor::kCategoryNameMeanings, row.id, row.id);
    case NameKind::Event:
        return row.component ? qor::kNotStated : qor::meaning_of(qor::kEventNameMeanings, *row.category, row.id);
    case NameKind::Type:
        return qor::meaning_of(qor::kTypes[row.id]);
    case NameKind::Component:
    case NameKind::Subject:
        return qor::kNotStated;
    }
    return qor::kNotStated;
}

void add_enums(Yaml &yaml) {
    yaml.add(0, "enums:");
    for (const NameTable &table : name_tables()) {
        if (table.enum_name != table.name) {
            continue;
        }
        yaml.add(1, table.name + ":");
        Identifiers identifiers;
        for (const NameRow *row : table.rows) {
            yaml.add(2, std::to_string(row->id) + ":");
            yaml.add(3, "id: " + identifiers.take(identifier(row->name)));
            yaml.add(3, "-orig-id: " + yaml_string(row->name));
            if (const std::string_view meaning = meaning_of(*row); meaning != qor::kNotStated) {
                yaml.add(3, "doc: " + yaml_string(meaning));
            }
        }
    }
}

/** When the names of a table are those of a report's ids. Of an event: also of which components they are not. */
std::string use_of(const NameRow &row, std::string_view report) {
    const std::string of(report);
    std::string condition;
    if (row.category && row.kind != NameKind::Subject) {
        condition = of + "category_id == " + std::to_string(*row.category);
    }
    if (row.component) {
        condition += (condition.empty() ? "" : " and ") + of + "component_id == " + std::to_string(*row.component);
    } else if (row.kind == NameKind::Event) {
        for (const qor::ComponentEvents &own : qor::kCategories[*row.category].events_of_components) {
            condition += " and " + of + "component_id != " + std::to_string(own.component);
        }
    }
    return condition;
}

/** The names of ids beside the ids, one instance for each table. */
void add_header_names(Yaml &yaml) {
    for (const NameTable &table : name_tables()) {
        const NameRow &row = *table.rows.front();
        if (row.kind == NameKind::Subject) {
            continue;
        }
        yaml.add(3, table.name + ":");
        yaml.add(4, "value: " + std::string(text_of(row.kind)) + "_id");
        yaml.add(4, "enum: " + table.enum_name);
        if (const std::string condition = use_of(row, ""); !condition.empty()) {
            yaml.add(4, "if: " + condition);
        }
    }
}

// ---- the choice of layouts

/** A rule of the choice: the first one that holds decides. */
struct Rule {
    std::string condition;
    std::vector<const qor::Layout *> layouts; ///< without `kNoLayout`
};

std::string condition_of(std::uint32_t header, std::uint32_t mask, int version) {
    static constexpr std::pair<std::string_view, unsigned> kIds[] = {
        {"category_id", 24}, {"component_id", 16}, {"event_id", 8}, {"type_id", 0}};
    std::string text;
    for (const auto &[name, shift] : kIds) {
        if (((mask >> shift) & 0xFF) != 0) {
            text.append(text.empty() ? "" : " and ")
                .append(name)
                .append(" == " + std::to_string((header >> shift) & 0xFF));
        }
    }
    return version == qor::kAnyVersion ? text : text + " and payload_version == " + std::to_string(version);
}

Rule make_rule(std::string condition, std::span<const qor::Layout *const> layouts) {
    Rule rule{std::move(condition), {}};
    std::ranges::copy_if(layouts, std::back_inserter(rule.layouts),
                         [](const qor::Layout *layout) { return !layout->fields.empty(); });
    return rule;
}

std::vector<Rule> make_rules() {
    std::vector<Rule> rules;
    for (const qor::Category &category : qor::kCategories) {
        for (const qor::PayloadRule &row : category.payloads) {
            rules.push_back(make_rule(
                condition_of(row.header | std::uint32_t{category.id} << 24, row.mask | 0xFF00'0000u, row.version),
                row.layouts));
        }
    }
    for (const qor::Type &type : qor::kTypes) {
        if (!type.layout->fields.empty()) {
            rules.push_back(make_rule(condition_of(type.id, qor::kTypeAlone, qor::kAnyVersion), {&type.layout, 1}));
        }
    }
    return rules;
}

std::string type_name(const qor::Layout &layout) { return std::string(qor::meaning_of(layout).view) + "_payload"; }

/** The payload that the layouts at `place` of the rules show. */
void add_payload(Yaml &yaml, std::string_view name, std::string_view doc, std::span<const Rule> rules,
                 std::size_t place) {
    yaml.add(3, std::string(name) + ":");
    yaml.add(4, "doc: " + yaml_string(doc));
    yaml.add(4, "pos: 0");
    yaml.add(4, "type:");
    yaml.add(5, "switch-on: rule");
    yaml.add(5, "cases:");
    for (const Rule &rule : rules) {
        if (place < rule.layouts.size()) {
            yaml.add(6, std::to_string(&rule - rules.data() + 1) + ": " + type_name(*rule.layouts[place]));
        }
    }
}

void add_payloads(Yaml &yaml) {
    const std::vector<Rule> rules = make_rules();
    yaml.add(3, "payload_version:");
    yaml.add(4, "pos: " + std::to_string(qor::kPayloadOffset));
    yaml.add(4, "type: u2");
    yaml.add(4, "doc: \"the number at the start of the payload: of some types the version of the layout\"");
    yaml.add(3, "rule:");
    yaml.add(4,
             "doc: \"the first rule that holds, counted from 1; 0 when there is none: it says what the payload is\"");
    yaml.add(4, "value: >-");
    for (const Rule &rule : rules) {
        yaml.add(5, rule.condition + " ? " + std::to_string(&rule - rules.data() + 1) + " :");
    }
    yaml.add(5, "0");
    add_payload(yaml, "payload", "the payload by the layout that is shown first; missing without a layout", rules, 0);
    add_payload(yaml, "second_payload", "the same bytes by the layout that is shown second; mostly missing", rules, 1);
    yaml.add(3, "raw_payload:");
    yaml.add(4, "pos: " + std::to_string(qor::kPayloadOffset));
    yaml.add(4, "size: " + std::to_string(qor::kReportSize - qor::kPayloadOffset));
}

// ---- layouts

/** The instances of one layout. Positions count from the start of the report. */
class LayoutWriter {
public:
    LayoutWriter(Yaml &yaml, const qor::LayoutMeaning &row) : _yaml(yaml) {
        _yaml.add(1, type_name(*row.layout) + ":");
        _yaml.add(2, "doc: " + yaml_string(row.meaning));
        _yaml.add(2, "instances:");
        for (const qor::Field &field : row.layout->fields) {
            _names.push_back(_identifiers.take(identifier(field.name)));
        }
        for (std::size_t i = 0; i < row.fields.size(); ++i) {
            add(row.layout->fields[i], row.fields[i], _names[i]);
        }
    }

private:
    void begin(const std::string &name, unsigned offset) {
        _yaml.add(3, name + ":");
        _yaml.add(4, "pos: " + std::to_string(offset));
    }

    void add_number(const std::string &name, unsigned offset, std::string_view type) {
        begin(name, offset);
        _yaml.add(4, "type: " + std::string(type));
    }

    /** The name in the tables and the meaning. */
    void end(const qor::Field &field, const qor::FieldMeaning &meaning) {
        _yaml.add(4, "-orig-id: " + yaml_string(field.name));
        _yaml.add(4, "doc: " + yaml_string(described(meaning.meaning, meaning.unit)));
    }

    void begin_text(const std::string &name, const qor::Field &field) {
        begin(name, field.offset);
        _yaml.add(4, "size: " + std::to_string(field.size));
        _yaml.add(4, "terminator: 0");
    }

    void add_subject_names(const std::string &name) {
        for (const NameTable &table : name_tables()) {
            const NameRow &row = *table.rows.front();
            if (row.kind == NameKind::Subject) {
                _yaml.add(3,
                          _identifiers.take(name + "_of_" + identifier(component_name(*row.category, *row.component))) +
                              ":");
                _yaml.add(4, "value: " + name);
                _yaml.add(4, "enum: " + table.enum_name);
                _yaml.add(4, "if: " + use_of(row, "_parent."));
            }
        }
    }

    void add(const qor::Field &field, const qor::FieldMeaning &meaning, const std::string &name) {
        switch (field.how) {
        case How::Number:
        case How::Hexadecimal:
        case How::Subject:
            add_number(name, field.offset, "u" + std::to_string(field.size));
            break;
        case How::Signed:
            add_number(name, field.offset, "s" + std::to_string(field.size));
            break;
        case How::Constant:
            _yaml.add(3, name + ":");
            _yaml.add(4, "value: " + std::to_string(field.parameter));
            break;
        case How::FixedPoint: {
            const std::string number = _identifiers.take(name + "_scaled");
            add_number(number, field.offset, "s" + std::to_string(field.size));
            _yaml.add(3, name + ":");
            _yaml.add(4, "value: " + number + " / " + std::to_string(std::uint64_t{1} << field.parameter) + ".0");
            break;
        }
        case How::Text:
            add_text_of(field, name);
            break;
        case How::Bytes:
            begin(name, field.offset);
            _yaml.add(4, "size: " + std::to_string(field.size));
            break;
        case How::CountedBytes: {
            const std::string count = _identifiers.take(name + "_count");
            const std::string most = std::to_string(field.size);
            add_number(count, field.parameter, "u2");
            begin(name, field.offset);
            _yaml.add(4, "size: \"" + count + " > " + most + " ? " + most + " : " + count + "\"");
            break;
        }
        }
        end(field, meaning);
        if (field.how == How::Subject) {
            add_subject_names(name);
        }
    }

    /** The bytes by themselves as well, for those that are not UTF-8. */
    void add_text_of(const qor::Field &field, const std::string &name) {
        begin_text(_identifiers.take(name + "_bytes"), field);
        _yaml.add(4, "doc: \"the bytes of " + name + ", which need not be UTF-8\"");
        begin_text(name, field);
        _yaml.add(4, "type: str");
        _yaml.add(4, "encoding: UTF-8");
    }

    Yaml &_yaml;
    Identifiers _identifiers;
    std::vector<std::string> _names;
};

void add_report(Yaml &yaml) {
    yaml.add(1, "report:");
    yaml.add(2, "doc: \"A report: a header of 16 bytes and a payload of 32\"");
    yaml.add(2, "seq:");
    for (std::size_t i = 0; i < std::size(qor::kHeaderFields); ++i) {
        const qor::Field &field = qor::kHeaderFields[i];
        const qor::FieldMeaning &meaning = qor::kHeaderMeanings[i];
        yaml.add(3, "- id: " + identifier(field.name));
        yaml.add(4, "-orig-id: " + yaml_string(field.name));
        yaml.add(4, "type: u" + std::to_string(field.size));
        yaml.add(4, "doc: " + yaml_string(described(meaning.meaning, meaning.unit)));
    }
    yaml.add(2, "instances:");
    add_header_names(yaml);
    add_payloads(yaml);
}

} // namespace

std::string kaitai_layout() {
    const std::string size = std::to_string(qor::kReportSize);
    Yaml yaml;
    yaml.add(0, "meta:");
    yaml.add(1, "id: qor_dump");
    yaml.add(1, "title: Dump of QOR profile reports");
    yaml.add(1, "endian: le");
    yaml.add(0, "doc: \"Reports of " + size +
                    " bytes, one behind the other. A name of an id is missing where the id has none.\"");
    yaml.add(0, "seq:");
    yaml.add(1, "- id: reports");
    yaml.add(2, "type: report");
    yaml.add(2, "size: " + size);
    yaml.add(2, "repeat: expr");
    yaml.add(2, "repeat-expr: _io.size / " + size);
    yaml.add(1, "- id: trailing_bytes");
    yaml.add(2, "size-eos: true");
    yaml.add(2, "doc: \"what is behind the last whole report\"");
    yaml.add(0, "types:");
    add_report(yaml);
    for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
        LayoutWriter(yaml, row);
    }
    add_enums(yaml);
    return yaml.text();
}

} // namespace cli
