/** Questions in SQL, asked of recordings where they are: the tables are read in place, nothing is imported. */
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/dumps/clock.h"
#include "cli/questions/tables.h"
#include "cli/recordings/recordings.h"
#include "host/error.h"
#include "host/state_records.h"

namespace cli {

/** Thrown for SQL that cannot be run: it is wrong, asks for what does not exist, or would do more than read. */
struct WrongQuery : host::Error {
    explicit WrongQuery(std::string reason) : Error("", "", std::move(reason)) {}
};

/** A value of a result. */
struct QueryValue {
    enum class Type { Null, Integer, Real, Text, Bytes };

    Type type = Type::Null;
    std::int64_t integer = 0;
    double real = 0;
    std::string_view text{}; ///< of a text, which need not be UTF-8, or bytes; valid until the next row
};

/** Where results go. What it throws ends the query and comes out of `QueryEngine::run`. */
class QuerySink {
public:
    QuerySink() = default;
    QuerySink(const QuerySink &) = delete;
    QuerySink &operator=(const QuerySink &) = delete;
    virtual ~QuerySink() = default;

    /** Each statement with a result begins once, also without rows. */
    virtual void begin(const std::vector<std::string> &columns) = 0;
    /** As many values as columns. */
    virtual void add(std::span<const QueryValue> row) = 0;
    virtual void end() = 0;
};

/** A table or view that can be asked. */
struct QueryTable {
    struct Column {
        std::string name;
        ColumnType type;
        bool may_be_null;
        std::string_view unit; ///< also `qor::kNoUnit` or `qor::kNotStated`
        std::string meaning;
    };

    std::string name;
    std::string_view meaning;
    std::vector<Column> columns;
};

/** Every table and view, in the order in which they are listed. Valid as long as the process. */
const std::vector<QueryTable> &query_tables();

/** The one of this name, whatever the case of its letters. @throws WrongQuery, with what there is. */
const QueryTable &find_query_table(const std::string &name);

/** The type of a column as SQLite shows it: "TEXT", "INTEGER" or "REAL". */
std::string_view sqlite_type(ColumnType type);

/**
 * The content of a record as one line of JSON.
 * @param name   of its file, byte for byte.
 * @param bytes  those that the record was parsed from.
 */
using RecordText = std::function<std::string(const std::string &name, const host::StateRecord &record,
                                             std::span<const std::byte> bytes)>;

struct QueryOptions {
    ClockWords clock{};
    RecordText record_text{};
    bool shows_blocks = true;                           ///< histograms may have block characters
    std::optional<std::chrono::milliseconds> timeout{}; ///< of opening, and of each `run`; nothing: none
    std::uint64_t memory = std::uint64_t{1} << 30;      ///< bytes for each query, about
    std::function<void()> check = [] {};                ///< called every few milliseconds, to throw
};

/**
 * An SQL engine over recordings. Its statements read these and nothing else: they open no file, write nothing, load
 * nothing and change no setting. One object at a time in a process, since its limit of memory is the process's; one
 * thread at a time.
 */
class QueryEngine {
public:
    /**
     * Opens each recording as far as it takes to see what it is, and keeps it.
     * @throws WrongUse for a malformed clock; host::Error, also when that takes longer than the limit; Interrupted.
     */
    QueryEngine(RecordingSequence recordings, QueryOptions options);
    ~QueryEngine();
    QueryEngine(const QueryEngine &) = delete;
    QueryEngine &operator=(const QueryEngine &) = delete;

    /**
     * Runs the statements of `sql` in their order. None is run when one of them is wrong. A recording that turns out
     * damaged is named on standard error; what is whole before the damage is there.
     * @throws WrongQuery; host::Error when a query fails or reaches a limit; what `check` and the sink throw.
     */
    void run(const std::string &sql, QuerySink &sink);

    /** Whether `sql` ends in a whole statement, with its semicolon: for a prompt that reads line by line. */
    static bool is_complete(const std::string &sql);

    /** Whether any recording could be opened. */
    bool has_recordings() const;
    /** Whether anything was named on standard error so far: the exit code is 1 then. */
    bool has_failed() const;

private:
    struct Parts;
    std::unique_ptr<Parts> _parts;
};

} // namespace cli
