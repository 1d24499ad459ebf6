/** Every name of the system as a row, for engines that have names in a table. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "cli/questions/tables.h"

namespace cli {

// clang-format off

inline constexpr Column kNameColumns[] = {
    {"kind",         ColumnType::Text,       false, qor::kNoUnit, "what has the name: category, component, event, type or subject"},
    {"category_id",  ColumnType::Unsigned8,  true,  qor::kNoUnit, "the category of a component, an event or a subject; otherwise null"},
    {"component_id", ColumnType::Unsigned8,  true,  qor::kNoUnit, "the component of an event or a subject; null for the events of components without rows of their own"},
    {"id",           ColumnType::Unsigned32, false, qor::kNoUnit, "the id"},
    {"name",         ColumnType::Text,       false, qor::kNoUnit, "its name"},
};

// clang-format on

inline constexpr Table kNameTable = {"names", "The names of ids", kNameColumns};

enum class NameKind { Category, Component, Event, Type, Subject };

/** How the column `kind` calls it. */
std::string_view text_of(NameKind kind);

struct NameRow {
    NameKind kind;
    std::optional<std::uint8_t> category;
    std::optional<std::uint8_t> component;
    std::uint32_t id;
    std::string_view name;
};

/** The rows by kind, category, component and id. Valid as long as the process. Any thread. */
std::span<const NameRow> name_rows();

} // namespace cli
