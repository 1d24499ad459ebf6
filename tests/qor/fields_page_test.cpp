// The tables of docs/fields.md are those of qor/meanings.h. QOR_RENEW_GOLDEN=1 in the environment writes them instead.

#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "qor/meanings.h"
#include "tests/qor/generated_page.h"

namespace {

std::string field_table(std::span<const qor::FieldMeaning> meanings) {
    std::ostringstream table;
    table << "| field | unit | meaning |\n|---|---|---|\n";
    for (const qor::FieldMeaning &row : meanings) {
        table << "| `" << row.field << "` | " << row.unit << " | " << row.meaning << " |\n";
    }
    return table.str();
}

std::string layout_tables() {
    std::ostringstream text;
    for (const qor::LayoutMeaning &row : qor::kLayoutMeanings) {
        text << (text.tellp() == 0 ? "" : "\n") << "### " << row.layout->name << "\n\n`" << row.view
             << "`: " << row.meaning << ".\n\n"
             << field_table(row.fields);
    }
    return text.str();
}

std::string name_table() {
    std::ostringstream table;
    table << "| kind | of | id | name | meaning |\n|---|---|---|---|---|\n";
    const auto add = [&](const char *kind, const std::string &of, std::size_t id, std::string_view name,
                         std::string_view meaning) {
        table << "| " << kind << " | " << of << " | " << id << " | `" << name << "` | " << meaning << " |\n";
    };
    for (const qor::Category &category : qor::kCategories) {
        add("category", "", category.id, category.name,
            qor::meaning_of(qor::kCategoryNameMeanings, category.id, category.id));
    }
    for (const qor::NameMeaning &event : qor::kEventNameMeanings) {
        add("event", "`" + std::string(qor::kCategories[event.category].name) + "`", event.id, event.name,
            event.meaning);
    }
    for (const qor::Type &type : qor::kTypes) {
        add("type", "", type.id, type.name, qor::meaning_of(type));
    }
    return table.str();
}

TEST(FieldsPageTest, ThePageHasTheMeaningsOfTheTables) {
    generated_page::expect_tables(
        QOR_FIELDS_PAGE,
        {{"header", field_table(qor::kHeaderMeanings)}, {"layouts", layout_tables()}, {"names", name_table()}});
}

} // namespace
