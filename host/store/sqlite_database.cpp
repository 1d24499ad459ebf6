#include "host/store/sqlite_database.h"

#include <cctype>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>

#include <sqlite3.h>

#include "host/error.h"
#include "host/store/store_vfs.h"

namespace host {
namespace {

constexpr int kBusyTimeoutMilliseconds = 5000;

/** A path as a URI, with every special character escaped. */
std::string uri_of(const std::string &path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string uri = "file:";
    for (const char character : path) {
        const auto byte = static_cast<unsigned char>(character);
        if (std::isalnum(byte) != 0 || character == '/') {
            uri += character;
        } else {
            uri += {'%', kHex[byte >> 4], kHex[byte & 15]};
        }
    }
    return uri;
}

/** The last `errno` of the journal or write-ahead log; 0 when there was none. */
int last_error_of_log(sqlite3 *connection) {
    int error = 0;
    sqlite3_file *log = nullptr;
    sqlite3_file_control(connection, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
    if (log != nullptr && log->pMethods != nullptr) {
        log->pMethods->xFileControl(log, SQLITE_FCNTL_LAST_ERRNO, &error);
    }
    return error;
}

/** The operating system's reason for a failure; empty when it was not involved. */
std::string system_reason(sqlite3 *connection) {
    // The library does not record the number when a commit fails.
    const int recorded = sqlite3_system_errno(connection);
    const int error = recorded != 0 ? recorded : last_error_of_log(connection);
    return error == 0 ? "" : ": " + std::generic_category().message(error);
}

std::string reason_for(int code, sqlite3 *connection) {
    const char *const message = sqlite3_errmsg(connection);
    if (std::string refusal = take_refusal(); !refusal.empty() && (code & 0xFF) != SQLITE_BUSY) {
        return refusal;
    }
    if (code == SQLITE_READONLY_ROLLBACK) {
        const std::filesystem::path file = sqlite3_db_filename(connection, "main");
        return "has an unfinished transaction of another program in " +
               in_quotes(file.filename().string() + "-journal");
    }
    switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return "is locked by another program for more than 5 seconds";
    case SQLITE_NOMEM: // also the result for some damaged files
        return "cannot be read: out of memory, or the file is damaged";
    case SQLITE_CORRUPT:
        return "is damaged: " + std::string(message);
    case SQLITE_NOTADB:
        return "is not an analytics store";
    case SQLITE_READONLY:
        return "cannot be written to: " + std::string(message);
    case SQLITE_FULL:
        return "cannot grow: the disk is full";
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
    case SQLITE_PERM:
        return "cannot be read or written: " + std::string(message) + system_reason(connection);
    default:
        return message;
    }
}

int open_connection(const std::string &file, Database::Access access, sqlite3 **connection) {
    constexpr int kOwnLock = SQLITE_OPEN_NOMUTEX; // one thread at a time
    if (access == Database::Access::kMemory) {
        return sqlite3_open_v2(":memory:", connection, kOwnLock | SQLITE_OPEN_READWRITE, nullptr);
    }
    const StoreUser user = access == Database::Access::kRead ? StoreUser::kReader : StoreUser::kHost;
    const int rights = access == Database::Access::kReadAndWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    const std::string uri = uri_of(file) + (user == StoreUser::kReader ? "?readonly_shm=1" : "");
    take_refusal(); // of another connection
    return sqlite3_open_v2(uri.c_str(), connection, kOwnLock | rights | SQLITE_OPEN_URI, store_vfs_name(user));
}

void configure(sqlite3 *connection, int option, int value) { sqlite3_db_config(connection, option, value, nullptr); }

} // namespace

Database::Database(std::string name, std::string file, Access access) : _name(std::move(name)), _file(std::move(file)) {
    sqlite3 *connection = nullptr;
    const int result = open_connection(_file, access, &connection);
    _connection.reset(connection);
    if (connection == nullptr) {
        throw std::bad_alloc();
    }
    if (result != SQLITE_OK) {
        fail(result);
    }
    sqlite3_extended_result_codes(connection, 1);
    wait_for_locks();
    configure(connection, SQLITE_DBCONFIG_DEFENSIVE, 1);
    configure(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0);
    configure(connection, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0);
    configure(connection, SQLITE_DBCONFIG_ENABLE_VIEW, 0);
    configure(connection, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0);
    configure(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, access == Access::kReadAndWrite ? 0 : 1);
    execute("PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY");
}

void Database::Close::operator()(sqlite3 *connection) const { sqlite3_close(connection); }

void Database::wait_for_locks() { sqlite3_busy_timeout(_connection.get(), kBusyTimeoutMilliseconds); }

void Database::fail(int code) {
    if ((code & 0xFF) == SQLITE_BUSY) {
        sqlite3_busy_timeout(_connection.get(), 0);
    }
    throw Error(_name, "", reason_for(code, _connection.get()));
}

void Database::execute(const char *sql) {
    const int result = sqlite3_exec(_connection.get(), sql, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) {
        fail(result);
    }
}

std::int64_t Database::query_number(const char *sql) {
    Statement statement(*this, sql);
    return statement.step() ? statement.integer(0) : 0;
}

bool Database::is_in_place() const {
    int has_moved = 0;
    return sqlite3_file_control(_connection.get(), "main", SQLITE_FCNTL_HAS_MOVED, &has_moved) != SQLITE_OK ||
           has_moved == 0;
}

Statement::Statement(Database &database, std::string_view sql) : _database(database) {
    sqlite3_stmt *statement = nullptr;
    const int result = sqlite3_prepare_v3(database.handle(), sql.data(), static_cast<int>(sql.size()),
                                          SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    _statement.reset(statement);
    if (result != SQLITE_OK) {
        database.fail(result);
    }
}

void Statement::Finalize::operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }

void Statement::bind(int index, std::string_view text) {
    if (const int result =
            sqlite3_bind_text(_statement.get(), index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC)) {
        _database.fail(result);
    }
}

void Statement::bind(int index, std::int64_t value) {
    if (const int result = sqlite3_bind_int64(_statement.get(), index, value)) {
        _database.fail(result);
    }
}

void Statement::bind(int index, double value) {
    if (const int result = sqlite3_bind_double(_statement.get(), index, value)) {
        _database.fail(result);
    }
}

bool Statement::step() {
    const int result = sqlite3_step(_statement.get());
    if (result == SQLITE_ROW) {
        return true;
    }
    if (result == SQLITE_DONE) {
        return false;
    }
    sqlite3_reset(_statement.get());
    _database.fail(result);
}

void Statement::run() {
    while (step()) {
    }
    reset();
}

void Statement::reset() { sqlite3_reset(_statement.get()); }

Statement::Type Statement::type(int column) const {
    switch (sqlite3_column_type(_statement.get(), column)) {
    case SQLITE_INTEGER:
        return Type::kInteger;
    case SQLITE_FLOAT:
        return Type::kReal;
    case SQLITE_TEXT:
        return Type::kText;
    case SQLITE_BLOB:
        return Type::kBytes;
    default:
        return Type::kNull;
    }
}

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(_statement.get(), column); }

double Statement::real(int column) const { return sqlite3_column_double(_statement.get(), column); }

std::string_view Statement::text(int column) const {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(_statement.get(), column));
    if (text == nullptr) {
        return {};
    }
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(_statement.get(), column))};
}

ReadTransaction::ReadTransaction(Database &database, const char *begin) : _database(database) {
    _database.execute(begin);
}

ReadTransaction::~ReadTransaction() {
    // After a commit, and after some failures, there is no transaction left.
    if (sqlite3_get_autocommit(_database.handle()) == 0) {
        sqlite3_exec(_database.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

} // namespace host
