/**
 * The tables that questions are asked of. Every engine has the same ones, with the same names and columns: those of the
 * program itself, and those that an export or a load fills.
 */
#pragma once

#include <span>
#include <string_view>

#include "qor/meanings.h"

namespace cli {

/** What the values of a column are. */
enum class ColumnType {
    Text,
    Unsigned8,
    Unsigned16,
    Unsigned32,
    Unsigned64,
    Signed8,
    Signed32,
    Signed64,
    Real ///< a double
};

struct Column {
    std::string_view name;
    ColumnType type;
    bool may_be_null;
    std::string_view unit; ///< also `qor::kNoUnit` or `qor::kNotStated`
    std::string_view meaning;
};

struct Table {
    std::string_view name;
    std::string_view meaning;
    std::span<const Column> columns;
};

// clang-format off

inline constexpr Column kReportColumns[] = {
    {"device",         ColumnType::Text,       false, qor::kNoUnit,   "the device that the report comes from"},
    {"dump",           ColumnType::Text,       false, qor::kNoUnit,   "the hash of the content that has the report; a key of dumps"},
    {"category",       ColumnType::Text,       false, qor::kNoUnit,   "the category's name; its number in decimal where it has none"},
    {"category_id",    ColumnType::Unsigned8,  false, qor::kNoUnit,   "the category"},
    {"component",      ColumnType::Text,       false, qor::kNoUnit,   "the component's name; its number in decimal where it has none"},
    {"component_id",   ColumnType::Unsigned8,  false, qor::kNoUnit,   "the component, within the category"},
    {"event",          ColumnType::Text,       false, qor::kNoUnit,   "the event's name; its number in decimal where it has none"},
    {"event_id",       ColumnType::Unsigned8,  false, qor::kNoUnit,   "the event, within the component"},
    {"type",           ColumnType::Text,       false, qor::kNoUnit,   "the type's name; its number in decimal where it has none"},
    {"type_id",        ColumnType::Unsigned8,  false, qor::kNoUnit,   "the type of the payload, which determines its layout"},
    {"sequence_num",   ColumnType::Unsigned32, false, qor::kNoUnit,   "the report's number in the firmware's sequence"},
    {"timestamp",      ColumnType::Unsigned64, false, "microseconds", "when it happened, by the coprocessor's clock"},
    {"wall_time",      ColumnType::Text,       true,  qor::kNoUnit,   "when it happened, in ISO 8601; null without a time synchronisation"},
    {"boot_timestamp", ColumnType::Unsigned64, true,  "microseconds", "when the device booted, since 1970; null where it is not known"},
    {"w0",             ColumnType::Unsigned32, false, qor::kNoUnit,   "bytes 0 to 3 of the payload as a little-endian number"},
    {"w1",             ColumnType::Unsigned32, false, qor::kNoUnit,   "bytes 4 to 7"},
    {"w2",             ColumnType::Unsigned32, false, qor::kNoUnit,   "bytes 8 to 11"},
    {"w3",             ColumnType::Unsigned32, false, qor::kNoUnit,   "bytes 12 to 15"},
    {"w4",             ColumnType::Unsigned32, false, qor::kNoUnit,   "bytes 16 to 19"},
    {"w5",             ColumnType::Unsigned32, false, qor::kNoUnit,   "bytes 20 to 23"},
    {"w6",             ColumnType::Unsigned32, false, qor::kNoUnit,   "bytes 24 to 27"},
    {"w7",             ColumnType::Unsigned32, false, qor::kNoUnit,   "bytes 28 to 31"},
};

/** The columns of `reports` before the words: every view of a payload begins with them. */
inline constexpr std::span kHeaderColumns = std::span(kReportColumns).first<14>();

inline constexpr Column kDumpColumns[] = {
    {"device",          ColumnType::Text,       false, qor::kNoUnit,   "the device that the dump comes from"},
    {"dump",            ColumnType::Text,       false, qor::kNoUnit,   "the hash of the dump's content, unpacked: XXH3 of 64 bits in 16 hexadecimal digits"},
    {"file",            ColumnType::Text,       false, qor::kNoUnit,   "the dump's file as it was named; a byte that is not UTF-8 as U+FFFD"},
    {"reports",         ColumnType::Unsigned64, false, "reports",      "how many reports it has"},
    {"first_timestamp", ColumnType::Unsigned64, true,  "microseconds", "the least time stamp; null without reports"},
    {"last_timestamp",  ColumnType::Unsigned64, true,  "microseconds", "the greatest time stamp; null without reports"},
    {"gaps",            ColumnType::Unsigned64, false, "gaps",         "how many reports do not follow the one before by their number"},
    {"missing",         ColumnType::Unsigned64, false, "reports",      "how many numbers these gaps skip"},
    {"trailing_bytes",  ColumnType::Unsigned8,  false, "bytes",        "the bytes behind the last whole report, 0 to 47"},
    {"sync_qor",        ColumnType::Unsigned64, true,  "nanoseconds",  "a moment by the coprocessor's clock; null without a time synchronisation"},
    {"sync_calendar",   ColumnType::Unsigned64, true,  "nanoseconds",  "the same moment since 1970"},
    {"boot_timestamp",  ColumnType::Unsigned64, true,  "microseconds", "when the device booted, since 1970; null where it is not known"},
};

inline constexpr Column kScalarColumns[] = {
    {"device", ColumnType::Text,     false, qor::kNoUnit,    "the device that the store comes from"},
    {"store",  ColumnType::Text,     false, qor::kNoUnit,    "the store's file as it was named; a byte that is not UTF-8 as U+FFFD"},
    {"taken",  ColumnType::Signed64, false, "microseconds",  "when the store was last written to, or the time given for it, since 1970"},
    {"key",    ColumnType::Text,     false, qor::kNoUnit,    "the scalar's key"},
    {"value",  ColumnType::Signed64, false, qor::kNotStated, "its value"},
};

inline constexpr Column kDistributionColumns[] = {
    {"device", ColumnType::Text,       false, qor::kNoUnit,    "the device that the store comes from"},
    {"store",  ColumnType::Text,       false, qor::kNoUnit,    "the store's file as it was named; a byte that is not UTF-8 as U+FFFD"},
    {"taken",  ColumnType::Signed64,   false, "microseconds",  "when the store was last written to, or the time given for it, since 1970"},
    {"key",    ColumnType::Text,       false, qor::kNoUnit,    "the distribution's key"},
    {"value",  ColumnType::Real,       false, qor::kNotStated, "a value that was pushed; may be infinite"},
    {"count",  ColumnType::Unsigned64, false, "values",        "how many times it was, 1 to 2^63 - 1"},
};

inline constexpr Column kRecordColumns[] = {
    {"device",  ColumnType::Text,       false, qor::kNoUnit, "the device that the record comes from: the name of its folder"},
    {"file",    ColumnType::Text,       false, qor::kNoUnit, "the record's file as it was named; a byte that is not UTF-8 as U+FFFD"},
    {"number",  ColumnType::Unsigned32, false, qor::kNoUnit, "the record's place in the file, from 1"},
    {"title",   ColumnType::Text,       true,  qor::kNoUnit, "the record's title; null where it is not UTF-8"},
    {"reports", ColumnType::Unsigned64, false, "reports",    "how many of its lines end with a report"},
    {"content", ColumnType::Text,       false, qor::kNoUnit, "the whole record as qorstat show --json prints it, on one line"},
};

inline constexpr Table kTables[] = {
    {"reports",      "Every report, with its ids and their names, its time and the words of its payload", kReportColumns},
    {"dumps",        "Every dump, and every record with reports",                                         kDumpColumns},
    {"scalar",       "The scalars of analytics stores",                                                   kScalarColumns},
    {"distribution", "The distributions of analytics stores: a row for each distinct value",              kDistributionColumns},
    {"records",      "State-capture records",                                                             kRecordColumns},
};

inline constexpr Column kLabelColumns[] = {
    {"device", ColumnType::Text, false, qor::kNoUnit, "the device that has the label"},
    {"key",    ColumnType::Text, false, qor::kNoUnit, "the label's key"},
    {"value",  ColumnType::Text, false, qor::kNoUnit, "its value: the newest one that was loaded"},
};

// clang-format on

/** What only a load has: recordings have no labels. */
inline constexpr Table kLabelTable = {"labels", "The labels of devices", kLabelColumns};

} // namespace cli
