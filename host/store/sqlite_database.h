/** SQLite connections to stores, and statements, that report errors as `host::Error`. One thread at a time. */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace host {

/**
 * A connection that does not trust the file: no triggers, no views, no functions called from the schema. Waits up to
 * 5 seconds for another program's lock. After such a wait has failed it does not wait again, until `wait_for_locks`.
 */
class Database {
public:
    enum class Access {
        kRead,         ///< an existing store; takes part in locking, but changes no file at all
        kReadAsHost,   ///< the same for a program that has the store open for writing: uses the index of its log
        kReadAndWrite, ///< an existing store
        kMemory        ///< a new, empty database in memory; `file` is not used
    };

    /**
     * @param name  the name of the file in errors.
     * @param file  an absolute path without links.
     */
    Database(std::string name, std::string file, Access access);

    sqlite3 *handle() const { return _connection.get(); }
    const std::string &name() const { return _name; }
    const std::string &file() const { return _file; }

    /** Runs statements without results. */
    void execute(const char *sql);

    /** The first column of the first row of a query, as a number; 0 when there is no row. */
    std::int64_t query_number(const char *sql);

    /** Whether the open file is still the one at its path. */
    bool is_in_place() const;

    /** Lets the connection wait for locks again after a failed wait. */
    void wait_for_locks();

    /** @throws Error for an SQLite result code of this connection. */
    [[noreturn]] void fail(int code);

private:
    struct Close {
        void operator()(sqlite3 *connection) const;
    };

    std::string _name;
    std::string _file;
    std::unique_ptr<sqlite3, Close> _connection;
};

/** A prepared statement, used many times. Its database must outlive it. */
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
    bool step();

    /** Runs the statement to its end and resets it. */
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

/** A consistent view of the database while this object lives. */
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

/** A write transaction. Rolled back unless committed. */
class Transaction : public ReadTransaction {
public:
    explicit Transaction(Database &database) : ReadTransaction(database, "BEGIN IMMEDIATE") {}

    void commit() { _database.execute("COMMIT"); }
};

} // namespace host
