#include "host/store/schema.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <system_error>

#include "host/error.h"
#include "host/store/store_header.h"

namespace host {
namespace {

constexpr std::int64_t kVersion = 1;

/** One row of the table `sqlite_schema`, which must match exactly. */
struct SchemaEntry {
    const char *name;
    const char *sql; ///< empty for an entry that the database adds by itself
};

// In the order of the names. Rows refer to keys by number: the names are long and would be most of every row.
constexpr std::array<SchemaEntry, 4> kSchema = {{
    {"distribution", "CREATE TABLE distribution (key INTEGER NOT NULL REFERENCES key (id), value REAL NOT NULL, "
                     "count INTEGER NOT NULL CHECK (count > 0), PRIMARY KEY (key, value)) STRICT, WITHOUT ROWID"},
    {"key", "CREATE TABLE key (id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE) STRICT"},
    {"scalar", "CREATE TABLE scalar (key INTEGER PRIMARY KEY REFERENCES key (id), value INTEGER NOT NULL) STRICT"},
    {"sqlite_autoindex_key_1", ""},
}};

[[noreturn]] void refuse_foreign(const std::string &name) { throw Error(name, "", "is not an analytics store"); }

} // namespace

void create_store_schema(Database &database) {
    for (const SchemaEntry &entry : kSchema) {
        database.execute(entry.sql);
    }
    database.execute(("PRAGMA application_id = " + std::to_string(kApplicationNumber)).c_str());
    database.execute(("PRAGMA user_version = " + std::to_string(kVersion)).c_str());
}

void require_store_schema(Database &database) {
    if (database.query_number("PRAGMA application_id") != kApplicationNumber) {
        refuse_foreign(database.name());
    }
    const std::int64_t version = database.query_number("PRAGMA user_version");
    if (version > kVersion) {
        throw Error(database.name(), "",
                    "is an analytics store of version " + std::to_string(version) +
                        ", newer than this program, which knows version " + std::to_string(kVersion));
    }
    if (version < kVersion) {
        refuse_damaged_store(database.name(), "it has no version");
    }
    Statement listed(database, "SELECT name, sql FROM sqlite_schema ORDER BY name");
    const auto is_next = [&](const SchemaEntry &entry) {
        return listed.step() && listed.text(0) == entry.name && listed.text(1) == entry.sql;
    };
    if (!std::all_of(kSchema.begin(), kSchema.end(), is_next) || listed.step()) {
        refuse_damaged_store(database.name(), "it does not hold exactly the tables of an analytics store");
    }
}

void require_sound_pages(Database &database) {
    Statement check(database, "PRAGMA integrity_check(1)");
    const std::string_view answer = check.step() ? check.text(0) : "";
    if (answer != "ok") {
        // A first line may name the database; the finding follows it.
        refuse_damaged_store(database.name(), std::string(answer.substr(answer.rfind('\n') + 1)));
    }
}

void throw_system_error(const std::string &name, int number) {
    throw Error(name, "", std::generic_category().message(number));
}

void refuse_damaged_store(const std::string &name, const std::string &how) {
    throw Error(name, "", "is damaged: " + how);
}

} // namespace host
