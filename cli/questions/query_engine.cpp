#include "cli/questions/query_engine.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <exception>
#include <new>

#include <sqlite3.h>

#include "cli/questions/aggregates.h"
#include "cli/questions/kept_recordings.h"
#include "cli/questions/payload_views.h"
#include "cli/questions/recording_tables.h"
#include "cli/questions/report_table.h"
#include "cli/terminal/interruption.h"
#include "decoder/remembered_second.h"
#include "host/nearest_word.h"

namespace cli {
namespace {

using Clock = std::chrono::steady_clock;

/** Of the engine's own steps between two looks at the time. */
constexpr int kStepsBetweenLooks = 4096;

struct Close {
    void operator()(sqlite3 *connection) const { sqlite3_close(connection); }
};
struct Finalize {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};
using Connection = std::unique_ptr<sqlite3, Close>;
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

// ---- what a statement may do

/** What each action that the engine asks about is called; empty for what reads. */
std::string_view name_of_action(int action) {
    switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE:
    case SQLITE_FUNCTION:
    case SQLITE_PRAGMA:
        return "";
    case SQLITE_ATTACH:
        return "ATTACH and VACUUM";
    case SQLITE_DETACH:
        return "DETACH";
    case SQLITE_INSERT:
        return "INSERT";
    case SQLITE_UPDATE:
        return "UPDATE";
    case SQLITE_DELETE:
        return "DELETE";
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT:
        return "a transaction";
    case SQLITE_ALTER_TABLE:
        return "ALTER";
    case SQLITE_ANALYZE:
        return "ANALYZE";
    case SQLITE_REINDEX:
        return "REINDEX";
    default:
        return "CREATE and DROP";
    }
}

/** Functions of the library that reach beyond their arguments. */
constexpr std::string_view kRefusedFunctions[] = {"load_extension", "fts3_tokenizer", "sqlite_log"};

/** The PRAGMAs that only show what there is. */
constexpr std::string_view kReadingPragmas[] = {"collation_list", "compile_options", "function_list",
                                                "table_info",     "table_list",      "table_xinfo"};

bool is_same_word(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b,
                              [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

template <typename Words>
bool has_word(const Words &words, const char *word) {
    return word != nullptr &&
           std::ranges::any_of(words, [word](std::string_view one) { return is_same_word(one, word); });
}

/** Why the action is refused; empty when it is not. */
std::string refusal_of(int action, const char *first, const char *second) {
    if (first != nullptr && std::string_view(first).starts_with("sqlite_") && action != SQLITE_READ &&
        action != SQLITE_FUNCTION) {
        return "a change of the tables is refused: a query can only read";
    }
    if (const std::string_view name = name_of_action(action); !name.empty()) {
        return std::string(name) + (name.find(" and ") != std::string_view::npos ? " are" : " is") +
               " refused: a query can only read";
    }
    if (action == SQLITE_PRAGMA && !has_word(kReadingPragmas, first)) {
        return "PRAGMA " + std::string(first == nullptr ? "" : first) + " is refused: a query can only read";
    }
    if (action == SQLITE_FUNCTION && has_word(kRefusedFunctions, second)) {
        return "the function " + std::string(second) + " is refused: a query can only read its tables";
    }
    return "";
}

// ---- what there is

std::vector<QueryTable> make_tables() {
    std::vector<QueryTable> tables;
    for (const Table &table : kTables) {
        QueryTable &made = tables.emplace_back(QueryTable{std::string(table.name), table.meaning, {}});
        for (const Column &column : table.columns) {
            made.columns.push_back(
                {std::string(column.name), column.type, column.may_be_null, column.unit, std::string(column.meaning)});
        }
    }
    for (const PayloadView &view : payload_views()) {
        QueryTable &made = tables.emplace_back(QueryTable{std::string(view.name), view.meaning, {}});
        for (const Column &column : kHeaderColumns) {
            made.columns.push_back(
                {std::string(column.name), column.type, column.may_be_null, column.unit, std::string(column.meaning)});
        }
        for (const ViewColumn &column : view.columns) {
            made.columns.push_back({column.name, column.type, column.may_be_null, column.unit, column.meaning});
        }
    }
    return tables;
}

/** The tables that a statement names. */
std::vector<const QueryTable *> tables_in(std::string_view sql) {
    const auto is_of_name = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c >= 0x80; };
    std::vector<const QueryTable *> found;
    for (std::size_t begin = 0; begin < sql.size();) {
        std::size_t end = begin;
        while (end < sql.size() && is_of_name(static_cast<unsigned char>(sql[end]))) {
            ++end;
        }
        for (const QueryTable &table : query_tables()) {
            if (is_same_word(table.name, sql.substr(begin, end - begin)) && std::ranges::count(found, &table) == 0) {
                found.push_back(&table);
            }
        }
        begin = std::max(end, begin + 1);
    }
    return found;
}

std::string suggest(std::string_view word, const std::vector<std::string> &known) {
    return host::suggestion(word, {known.begin(), known.end()});
}

std::string unknown_table(const std::string &name) {
    std::vector<std::string> known;
    std::string tables;
    for (const QueryTable &table : query_tables()) {
        known.push_back(table.name);
    }
    for (const Table &table : kTables) {
        tables += (tables.empty() ? "" : ", ") + std::string(table.name);
    }
    return "no table " + host::in_quotes(name) + ": there are " + tables + " and " +
           std::to_string(payload_views().size()) + " views of payloads" + suggest(name, known);
}

std::string unknown_column(const std::string &name, std::string_view sql) {
    const std::string own = name.substr(name.rfind('.') + 1);
    std::vector<std::string> known;
    std::string listed;
    for (const QueryTable *const table : tables_in(sql)) {
        std::string columns;
        for (const QueryTable::Column &column : table->columns) {
            known.push_back(column.name);
            columns += (columns.empty() ? "" : ", ") + column.name;
        }
        listed += "; " + table->name + " has " + columns;
    }
    return "no column " + host::in_quotes(name) + listed + suggest(own, known);
}

std::string unknown_function(sqlite3 *connection, const std::string &name) {
    std::vector<std::string> known;
    sqlite3_stmt *made = nullptr;
    sqlite3_prepare_v2(connection, "SELECT DISTINCT name FROM pragma_function_list", -1, &made, nullptr);
    const Statement statement(made);
    while (made != nullptr && sqlite3_step(made) == SQLITE_ROW) {
        const void *const text = sqlite3_column_text(made, 0);
        known.emplace_back(static_cast<const char *>(text));
    }
    return "no function " + host::in_quotes(name) + suggest(name, known);
}

/** In words, what is wrong with the statement of `sql` that begins at `start`. */
std::string fault_of(sqlite3 *connection, const std::string &sql, std::size_t start) {
    const std::string message = sqlite3_errmsg(connection);
    const auto rest_after = [&message](std::string_view words) {
        return message.starts_with(words) ? message.substr(words.size()) : "";
    };
    const int offset = sqlite3_error_offset(connection);
    if (const std::string name = rest_after("no such table: "); !name.empty()) {
        return unknown_table(name);
    }
    if (const std::string name = rest_after("no such column: "); !name.empty()) {
        return unknown_column(name, std::string_view(sql).substr(start));
    }
    if (const std::string name = rest_after("no such function: "); !name.empty()) {
        return unknown_function(connection, name);
    }
    return message + (offset < 0 ? "" : ", at byte " + std::to_string(start + static_cast<std::size_t>(offset)));
}

// ---- inputs and results

/** Within the limit of time: what cannot be opened again may have no end. */
KeptRecordings keep(RecordingSequence sequence, const std::optional<std::chrono::milliseconds> &timeout) {
    std::optional<InputDeadline> deadline;
    if (timeout) {
        deadline.emplace(Clock::now() + *timeout);
    }
    try {
        return KeptRecordings(std::move(sequence));
    } catch (const InputTooLate &) {
        throw host::Error("", "", "the query was not begun: reading its inputs took longer than its limit of time");
    }
}

QueryValue value_of(sqlite3_stmt *statement, int column) {
    const auto text = [&](const void *bytes) {
        return std::string_view(static_cast<const char *>(bytes),
                                static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
    };
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        return {.type = QueryValue::Type::Integer, .integer = sqlite3_column_int64(statement, column)};
    case SQLITE_FLOAT:
        return {.type = QueryValue::Type::Real, .real = sqlite3_column_double(statement, column)};
    case SQLITE_TEXT:
        return {.type = QueryValue::Type::Text, .text = text(sqlite3_column_text(statement, column))};
    case SQLITE_BLOB:
        return {.type = QueryValue::Type::Bytes, .text = text(sqlite3_column_blob(statement, column))};
    default:
        return {};
    }
}

std::vector<std::string> columns_of(sqlite3_stmt *statement) {
    std::vector<std::string> columns;
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const char *const name = sqlite3_column_name(statement, i);
        if (name == nullptr) {
            throw std::bad_alloc();
        }
        columns.emplace_back(name);
    }
    return columns;
}

} // namespace

const std::vector<QueryTable> &query_tables() {
    static const std::vector<QueryTable> tables = make_tables();
    return tables;
}

const QueryTable &find_query_table(const std::string &name) {
    const auto found = std::ranges::find_if(
        query_tables(), [&name](const QueryTable &table) { return is_same_word(table.name, name); });
    if (found == query_tables().end()) {
        throw WrongQuery(unknown_table(name));
    }
    return *found;
}

std::string_view sqlite_type(ColumnType type) {
    return type == ColumnType::Text ? "TEXT" : type == ColumnType::Real ? "REAL" : "INTEGER";
}

struct QueryEngine::Parts {
    Parts(RecordingSequence sequence, QueryOptions given)
        : options(std::move(given)), clock(options.clock), recordings(keep(std::move(sequence), options.timeout)) {
        open();
        make_tables();
        confine();
    }

    ~Parts() {
        connection.reset();
        sqlite3_hard_heap_limit64(former_memory);
    }
    Parts(const Parts &) = delete;
    Parts &operator=(const Parts &) = delete;

    // ---- the connection

    void open() {
        sqlite3 *made = nullptr;
        const int code = sqlite3_open_v2(":memory:", &made, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
        connection.reset(made);
        if (code != SQLITE_OK) {
            throw std::bad_alloc();
        }
        sqlite3_exec(made, "PRAGMA temp_store = memory", nullptr, nullptr, nullptr); // sorting writes no file
    }

    void make_tables() {
        auto description = query_tables().begin();
        tables.push_back(make_report_table(*description++, context, nullptr));
        tables.push_back(make_dump_table(*description++, context));
        tables.push_back(make_scalar_table(*description++, context));
        tables.push_back(make_distribution_table(*description++, context));
        tables.push_back(make_record_table(*description++, context, options.record_text));
        for (const PayloadView &view : payload_views()) {
            tables.push_back(make_report_table(*description++, context, &view));
        }
        for (const std::unique_ptr<SqliteTable> &table : tables) {
            add_table(connection.get(), *table, error);
            declare(table->description().name);
        }
        for (const char *const name : {"json_each", "json_tree"}) {
            declare(name);
        }
        for (const std::string_view pragma : kReadingPragmas) {
            declare("pragma_" + std::string(pragma));
        }
        register_aggregates(connection.get(), options.shows_blocks);
    }

    /** Makes a table of a module known by its first use, which is refused later. */
    void declare(const std::string &name) const {
        sqlite3_stmt *made = nullptr;
        sqlite3_prepare_v2(connection.get(), ("SELECT 1 FROM " + name).c_str(), -1, &made, nullptr);
        const Statement statement(made);
    }

    /** From now on statements can read the tables, and nothing else. */
    void confine() {
        sqlite3 *const handle = connection.get();
        constexpr std::pair<int, int> kSettings[] = {
            {SQLITE_DBCONFIG_DEFENSIVE, 1},
            {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
            {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
            {SQLITE_DBCONFIG_ENABLE_VIEW, 0},
            {SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0},
            {SQLITE_DBCONFIG_ENABLE_FTS3_TOKENIZER, 0},
            // A word between double quotes is a name, so that a wrong one is told.
            {SQLITE_DBCONFIG_DQS_DML, 0},
            {SQLITE_DBCONFIG_DQS_DDL, 0}};
        for (const auto &[setting, value] : kSettings) {
            sqlite3_db_config(handle, setting, value, nullptr);
        }
        constexpr int kMiB = 1 << 20;
        constexpr std::pair<int, int> kLimits[] = {{SQLITE_LIMIT_LENGTH, 64 * kMiB},
                                                   {SQLITE_LIMIT_SQL_LENGTH, kMiB},
                                                   {SQLITE_LIMIT_EXPR_DEPTH, 200},
                                                   {SQLITE_LIMIT_COMPOUND_SELECT, 100},
                                                   {SQLITE_LIMIT_VDBE_OP, kMiB},
                                                   {SQLITE_LIMIT_ATTACHED, 0},
                                                   {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 1000},
                                                   {SQLITE_LIMIT_TRIGGER_DEPTH, 1},
                                                   {SQLITE_LIMIT_WORKER_THREADS, 0}};
        for (const auto &[limit, value] : kLimits) {
            sqlite3_limit(handle, limit, value);
        }
        sqlite3_set_authorizer(handle, authorize, this);
        sqlite3_progress_handler(handle, kStepsBetweenLooks, go_on, this);
        former_memory = sqlite3_hard_heap_limit64(static_cast<sqlite3_int64>(options.memory));
    }

    static int authorize(void *data, int action, const char *first, const char *second, const char *, const char *) {
        auto &parts = *static_cast<Parts *>(data);
        try {
            std::string refusal = refusal_of(action, first, second);
            if (refusal.empty()) {
                return SQLITE_OK;
            }
            parts.refusal = std::move(refusal);
        } catch (...) {
            parts.error = std::current_exception();
        }
        return SQLITE_DENY;
    }

    static int go_on(void *data) {
        auto &parts = *static_cast<Parts *>(data);
        try {
            parts.look();
            return 0;
        } catch (...) {
            parts.error = std::current_exception();
            return 1;
        }
    }

    void look_around() const {
        options.check();
        if (deadline && Clock::now() > *deadline) {
            throw host::Error("", "", "the query was ended: it took longer than its limit of time");
        }
    }

    // ---- statements

    /** @throws WrongQuery when any of them is wrong. */
    std::vector<Statement> compile(const std::string &sql) {
        std::vector<Statement> statements;
        const char *rest = sql.c_str();
        while (*rest != '\0') {
            look(); // however many there are
            sqlite3_stmt *made = nullptr;
            const auto start = static_cast<std::size_t>(rest - sql.c_str());
            const int code = sqlite3_prepare_v2(connection.get(), rest, -1, &made, &rest);
            Statement statement(made);
            if (code != SQLITE_OK) {
                fail_to_compile(code, sql, start);
            }
            if (!statement) {
                continue; // a comment, or nothing
            }
            if (sqlite3_stmt_readonly(made) == 0 || sqlite3_column_count(made) == 0) {
                throw WrongQuery("a query can only read");
            }
            if (sqlite3_bind_parameter_count(made) != 0) {
                throw WrongQuery("a query has no parameters: " +
                                 std::string(sqlite3_bind_parameter_name(made, 1) == nullptr
                                                 ? "?"
                                                 : sqlite3_bind_parameter_name(made, 1)) +
                                 " has no value");
            }
            statements.push_back(std::move(statement));
        }
        if (statements.empty()) {
            throw WrongQuery("there is no statement");
        }
        return statements;
    }

    /** @param start  of the statement in `sql`. */
    [[noreturn]] void fail_to_compile(int code, const std::string &sql, std::size_t start) {
        rethrow_error();
        if (const std::string why = std::exchange(refusal, ""); !why.empty()) {
            throw WrongQuery(why);
        }
        if (code == SQLITE_NOMEM) {
            fail_for_memory();
        }
        throw WrongQuery(fault_of(connection.get(), sql, start));
    }

    void run(sqlite3_stmt *statement, QuerySink &sink) {
        sink.begin(columns_of(statement));
        std::vector<QueryValue> row(static_cast<std::size_t>(sqlite3_column_count(statement)));
        int code = SQLITE_OK;
        while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                row[i] = value_of(statement, static_cast<int>(i));
            }
            sink.add(row);
        }
        if (code != SQLITE_DONE) {
            fail_to_run(code);
        }
        sink.end();
    }

    [[noreturn]] void fail_to_run(int code) {
        rethrow_error();
        if (const std::string why = std::exchange(refusal, ""); !why.empty()) {
            throw WrongQuery(why);
        }
        if (code == SQLITE_NOMEM) {
            fail_for_memory();
        }
        throw host::Error("", "", sqlite3_errmsg(connection.get()));
    }

    void rethrow_error() {
        if (const std::exception_ptr thrown = std::exchange(error, nullptr)) {
            std::rethrow_exception(thrown);
        }
    }

    [[noreturn]] static void fail_for_memory() {
        throw host::Error("", "", "the query was ended: it needs more memory than its limit");
    }

    QueryOptions options;
    DumpClock clock;
    KeptRecordings recordings;
    std::optional<Clock::time_point> deadline;
    std::function<void()> look = [this] { look_around(); };
    QuestionContext context{recordings, clock, look, options.memory / 4};
    std::vector<std::unique_ptr<SqliteTable>> tables;
    std::exception_ptr error; ///< what a table or a look has thrown
    std::string refusal;      ///< why a statement was refused
    Connection connection;    ///< closed before what its tables use
    sqlite3_int64 former_memory = 0;
};

QueryEngine::QueryEngine(RecordingSequence recordings, QueryOptions options)
    : _parts(std::make_unique<Parts>(std::move(recordings), std::move(options))) {}

QueryEngine::~QueryEngine() = default;

void QueryEngine::run(const std::string &sql, QuerySink &sink) {
    const decoder::unchanging_zone zone;
    if (sql.find('\0') != std::string::npos) {
        throw WrongQuery("a zero character is no part of a query");
    }
    _parts->deadline = _parts->options.timeout ? std::optional(Clock::now() + *_parts->options.timeout) : std::nullopt;
    for (const Statement &statement : _parts->compile(sql)) {
        _parts->run(statement.get(), sink);
    }
}

bool QueryEngine::is_complete(const std::string &sql) { return sqlite3_complete(sql.c_str()) != 0; }

bool QueryEngine::has_recordings() const { return _parts->recordings.size() != 0; }

bool QueryEngine::has_failed() const { return _parts->recordings.has_failed(); }

} // namespace cli
