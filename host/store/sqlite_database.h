/** One connection to SQLite and its statements, with errors as `host::Error`. One thread at a time. */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace host {

/**
 * A connection that trusts nothing it finds in a file: no triggers, no views, no functions called from the schema.
 * Waits up to 5 seconds for another program's lock; when that was in vain, it waits for none from then on, until
 * `wait_for_locks`.
 */
class Database {
public:
    enum class Access {
        kRead,         ///< an existing file; joins the locking of whoever writes
        kReadAtRest,   ///< an existing file that nobody writes: no locks, no files beside it
        kReadAndWrite, ///< an existing file
        kMemory        ///< a new, empty database in memory; `file` is not used
    };

    /**
     * @param name  what errors call the file.
     * @param file  an absolute path.
     */
    Database(std::string name, const std::string &file, Access access);

    sqlite3 *handle() const { return _connection.get(); }
    const std::string &name() const { return _name; }

    /** Runs statements that answer nothing. */
    void execute(const char *sql);

    /** The first column of the first row of a statement, as a number; 0 when there is none. */
    std::int64_t number(const char *sql);

    /** Whether the file is still the one at its path. */
    bool is_in_place() const;

    /** Waits for locks again, if it has given that up. */
    void wait_for_locks();

    /** @throws Error for an SQLite result code of this connection. */
    [[noreturn]] void fail(int code);

private:
    struct Close {
        void operator()(sqlite3 *connection) const;
    };

    std::string _name;
    std::unique_ptr<sqlite3, Close> _connection;
};

/** A prepared statement, used again and again. Outlived by its database. */
class Statement {
public:
    Statement(Database &database, std::string_view sql);

    /** Binds the parameters in order; text is borrowed until `reset`. */
    template <typename... Values>
    Statement &with(const Values &...values) {
        int index = 0;
        (bind(++index, values), ...);
        return *this;
    }

    /** Steps once. @return whether there is a row. */
    bool next();

    /** Runs a statement to its end and makes it ready for the next time. */
    void run();

    void reset();

    enum class Type { kNull, kInteger, kReal, kText, kBytes };
    Type type(int column) const;
    std::int64_t integer(int column) const;
    double real(int column) const;
    /** Valid until the next step. */
    std::string_view text(int column) const;

private:
    void bind(int index, std::string_view text);
    void bind(int index, std::int64_t value);
    void bind(int index, double value);

    struct Finalize {
        void operator()(sqlite3_stmt *statement) const;
    };

    Database &_database;
    std::unique_ptr<sqlite3_stmt, Finalize> _statement;
};

/** One consistent view of the database, as long as this object lives. */
class ReadTransaction {
public:
    explicit ReadTransaction(Database &database) : ReadTransaction(database, "BEGIN") {}
    ~ReadTransaction();
    ReadTransaction(const ReadTransaction &) = delete;
    ReadTransaction &operator=(const ReadTransaction &) = delete;

protected:
    ReadTransaction(Database &database, const char *begin);

    Database &_database;
};

/** A transaction that may write, from its start; undone unless committed. */
class Transaction : public ReadTransaction {
public:
    explicit Transaction(Database &database) : ReadTransaction(database, "BEGIN IMMEDIATE") {}

    void commit() { _database.execute("COMMIT"); }
};

} // namespace host
