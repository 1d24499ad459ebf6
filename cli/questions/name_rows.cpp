#include "cli/questions/name_rows.h"

#include "qor/categories.h"

namespace cli {
namespace {

using Ids = std::span<const qor::NamedId>;

std::vector<NameRow> make_rows() {
    std::vector<NameRow> rows;
    const auto add = [&rows](NameKind kind, std::optional<std::uint8_t> category, std::optional<std::uint8_t> component,
                             Ids ids) {
        for (const qor::NamedId &row : ids) {
            rows.push_back({kind, category, component, row.id, row.name});
        }
    };
    for (const qor::Category &category : qor::kCategories) {
        rows.push_back({NameKind::Category, {}, {}, category.id, category.name});
    }
    for (const qor::Category &category : qor::kCategories) {
        add(NameKind::Component, category.id, {}, category.components);
    }
    for (const qor::Category &category : qor::kCategories) {
        for (const qor::ComponentEvents &events : category.events_of_components) {
            add(NameKind::Event, category.id, events.component, events.names);
        }
        add(NameKind::Event, category.id, {}, category.events);
    }
    for (const qor::Type &type : qor::kTypes) {
        rows.push_back({NameKind::Type, {}, {}, type.id, type.name});
    }
    for (const qor::ComponentEvents &subjects : qor::kSSHBTraceSubjects) {
        add(NameKind::Subject, qor::kSSHB, subjects.component, subjects.names);
    }
    return rows;
}

} // namespace

std::string_view text_of(NameKind kind) {
    switch (kind) {
    case NameKind::Category:
        return "category";
    case NameKind::Component:
        return "component";
    case NameKind::Event:
        return "event";
    case NameKind::Type:
        return "type";
    case NameKind::Subject:
        return "subject";
    }
    return "";
}

std::span<const NameRow> name_rows() {
    static const std::vector<NameRow> rows = make_rows();
    return rows;
}

} // namespace cli
