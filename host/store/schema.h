/** The tables of an analytics store, and the checks that a file is one. */
#pragma once

#include <string>

#include "host/store/sqlite_database.h"

namespace host {

/** Creates the tables in an empty database and marks it as a store. */
void create_store_schema(Database &database);

/**
 * Checks that the database is marked as a store of the known version and has exactly the store's tables: an index, view
 * or trigger could have effects of its own. @throws Error otherwise.
 */
void require_store_schema(Database &database);

/** Checks every page and row; reads the whole database. @throws Error for damage. */
void require_sound_pages(Database &database);

/** Throws an Error for a store's file with the message of an `errno` value. */
[[noreturn]] void throw_system_error(const std::string &name, int number);

/** Throws an Error for a store with impossible contents. */
[[noreturn]] void refuse_damaged_store(const std::string &name, const std::string &how);

} // namespace host
