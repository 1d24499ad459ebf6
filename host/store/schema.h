/** The tables of an analytics store, and how one is told from any other file. */
#pragma once

#include <string>

#include "host/store/sqlite_database.h"

namespace host {

/** Makes the tables in a database that has none, and marks it as a store. */
void create_store_schema(Database &database);

/**
 * Looks at a file's first bytes, before the database library does, which would act on what a database that is not
 * ours left unfinished.
 * @param name  what errors call the file.
 * @throws Error when the file cannot be read or is not marked as a store.
 */
void require_store_mark(const std::string &name, const std::string &file);

/**
 * That it is marked as a store of the version known here and holds exactly the store's tables: no index, view or
 * trigger with effects of its own. @throws Error otherwise.
 */
void require_store_schema(Database &database);

/** That every page and row is sound. Reads the whole database. @throws Error otherwise. */
void require_sound_pages(Database &database);

/** What the operating system answered about a store's file, by its error number. */
[[noreturn]] void throw_system_error(const std::string &name, int number);

/** A store that holds what no store can hold. */
[[noreturn]] void refuse_damaged_store(const std::string &name, const std::string &how);

} // namespace host
