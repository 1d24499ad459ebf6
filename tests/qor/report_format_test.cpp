// The tables of docs/report-format.md are those of qor/. QOR_RENEW_GOLDEN=1 in the environment writes them instead.

#include <map>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "qor/categories.h"
#include "tests/qor/generated_page.h"

namespace {

/** How a page says that a field is read. */
std::string reading_of(const qor::Field &field) {
    switch (field.how) {
    case qor::How::Number:
        return "unsigned";
    case qor::How::Signed:
        return "signed";
    case qor::How::Constant:
        return "always " + std::to_string(field.parameter);
    case qor::How::Hexadecimal:
        return "unsigned, in hexadecimal";
    case qor::How::Text:
        return "text up to the first zero byte, or all of it";
    case qor::How::Bytes:
        return "bytes";
    case qor::How::CountedBytes:
        return "bytes, as many as the number at offset " + std::to_string(field.parameter) + " says, but no more";
    case qor::How::FixedPoint:
        return "signed, with " + std::to_string(field.parameter) + " fraction bits";
    case qor::How::Subject:
        return "a subject's id";
    }
    return "";
}

std::string field_table(std::span<const qor::Field> fields) {
    std::ostringstream table;
    table << "| offset | size | field | how |\n|---|---|---|---|\n";
    for (const qor::Field &field : fields) {
        const bool has_place = field.how != qor::How::Constant;
        table << "| " << (has_place ? std::to_string(field.offset) : "") << " | "
              << (has_place ? std::to_string(field.size) : "") << " | `" << field.name << "` | " << reading_of(field)
              << " |\n";
    }
    return table.str();
}

std::string header_table() {
    namespace header = qor::header;
    constexpr qor::Field kFields[] = {header::kTypeId,     header::kEventId,     header::kComponentId,
                                      header::kCategoryId, header::kSequenceNum, header::kTimestamp};
    return field_table(kFields);
}

std::string names_text(std::span<const qor::NamedId> names) {
    std::string text;
    for (const qor::NamedId &name : names) {
        text += (text.empty() ? "" : ", ") + std::to_string(name.id) + " `" + name.name + "`";
    }
    return text;
}

std::string category_table() {
    std::ostringstream table;
    table << "| id | category | components | events |\n|---|---|---|---|\n";
    for (const qor::Category &category : qor::kCategories) {
        table << "| " << +category.id << " | `" << category.name << "` | " << names_text(category.components) << " | ";
        std::string separator;
        for (const qor::ComponentEvents &events : category.events_of_components) {
            table << separator << "component " << +events.component << ": " << names_text(events.names);
            separator = "; ";
        }
        if (!category.events.empty()) {
            table << separator << (separator.empty() ? "" : "others: ") << names_text(category.events);
        }
        table << " |\n";
    }
    return table.str();
}

std::string type_table() {
    std::ostringstream table;
    table << "| id | type | payload |\n|---|---|---|\n";
    for (const qor::Type &type : qor::kTypes) {
        table << "| " << +type.id << " | `" << type.name << "` | "
              << (type.layout->fields.empty() ? "not shown" : std::string(type.layout->name)) << " |\n";
    }
    return table.str();
}

/** The ids that a rule looks at, in words. */
std::string condition_of(const qor::PayloadRule &rule) {
    std::string text = "type " + std::to_string(rule.header & 0xFF);
    if (rule.mask != qor::kTypeAlone) {
        text += ", event " + std::to_string(rule.header >> 8 & 0xFF);
    }
    if (rule.mask == qor::kWholeHeader) {
        text += ", component " + std::to_string(rule.header >> 16 & 0xFF);
    }
    if (rule.version != qor::kAnyVersion) {
        text += ", version " + std::to_string(rule.version);
    }
    return text;
}

std::string rule_table() {
    std::ostringstream table;
    table << "| category | report | payload |\n|---|---|---|\n";
    for (const qor::Category &category : qor::kCategories) {
        for (const qor::PayloadRule &rule : category.payloads) {
            table << "| `" << category.name << "` | " << condition_of(rule) << " | " << rule.layouts[0]->name
                  << (rule.layouts[1]->fields.empty() ? "" : ", then " + std::string(rule.layouts[1]->name)) << " |\n";
        }
    }
    return table.str();
}

/** Every layout, in the order in which types and categories name them. */
std::string layout_tables() {
    std::map<std::string_view, bool> is_written;
    std::string text;
    const auto add = [&](const qor::Layout *layout) {
        if (!layout->fields.empty() && !std::exchange(is_written[layout->name], true)) {
            text +=
                (text.empty() ? "### " : "\n### ") + std::string(layout->name) + "\n\n" + field_table(layout->fields);
        }
    };
    for (const qor::Type &type : qor::kTypes) {
        add(type.layout);
    }
    for (const qor::Category &category : qor::kCategories) {
        for (const qor::PayloadRule &rule : category.payloads) {
            add(rule.layouts[0]);
            add(rule.layouts[1]);
        }
    }
    return text;
}

std::string subject_table() {
    std::ostringstream table;
    table << "| component | subjects |\n|---|---|\n";
    for (const qor::ComponentEvents &subjects : qor::kSSHBTraceSubjects) {
        table << "| " << +subjects.component << " | " << names_text(subjects.names) << " |\n";
    }
    return table.str();
}

TEST(ReportFormatTest, ThePageHasTheTablesOfTheDecoder) {
    generated_page::expect_tables(QOR_FORMAT_PAGE, {
                                                       {"header", header_table()},
                                                       {"categories", category_table()},
                                                       {"types", type_table()},
                                                       {"rules", rule_table()},
                                                       {"layouts", layout_tables()},
                                                       {"subjects", subject_table()},
                                                   });
}

} // namespace
