/**
 * The files of a store as SQLite may use them: its default VFS, kept to the store and what belongs to it.
 *
 * SQLite trusts whatever stands beside a database. It follows a link, opens a FIFO and waits, and rolls a journal back,
 * which may name any other file for it to delete. Here a file beside the store is used only when it is a regular file
 * with one name that belongs to the store's owner, to this user, or to somebody who may write to the store. A rollback
 * journal that is not this program's own is never rolled back.
 */
#pragma once

#include <string>

#include "host/store/sqlite_database.h"

namespace host {

/** Who uses a store's files. */
enum class StoreUser {
    kReader, ///< takes locks, but creates, changes and deletes no file
    kHost    ///< writes to the store and to the write-ahead log and its index beside it
};

/** The name by which SQLite knows the VFS for this user. Registered with the first call. @throws std::bad_alloc */
const char *store_vfs_name(StoreUser user);

/**
 * Why a file was refused on this thread since the last call, as the reason of an Error; empty when none was. SQLite
 * itself reports only that it cannot open a file.
 */
std::string take_refusal();

/**
 * Whether what a reader has read is of one moment. It may not be when a write-ahead log has no index beside it, which
 * is where programs lock each other out: then the reader must look whether a program has opened the store meanwhile.
 */
bool is_locked_against_hosts(Database &reader);

/** How a host can close a store. */
enum class Closing {
    kAsLast,    ///< closing the connection moves everything into the store file and leaves nothing beside it
    kNotAsLast, ///< another host has the store open and will be the last
    kInVain     ///< nobody else will do it, but a reader did not end within 5 seconds, or a foreign program has it open
};

/**
 * Prepares a host's connection for being closed; its other connections to the store are closed already. At most one
 * host does this at a time, so that of hosts that close at once one is the last. New readers wait.
 */
Closing prepare_to_close(Database &host);

} // namespace host
