#include "host/analytics_store.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <span>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/error.h"
#include "host/sqlite_database.h"
#include "host/typed_values.h"

namespace host {
namespace {

namespace fs = std::filesystem;

/** "QORA": what marks an SQLite database as an analytics store. */
constexpr std::int64_t kApplicationNumber = 0x514F5241;
constexpr std::int64_t kSchemaVersion = 1;

constexpr std::uint64_t kLargestCount = std::numeric_limits<std::int64_t>::max();

struct Table {
    const char *name;
    const char *sql; ///< as the database keeps it, character by character
};

constexpr std::array<Table, 2> kTables = {{
    {"distribution", "CREATE TABLE distribution (key TEXT NOT NULL, value REAL NOT NULL, "
                     "count INTEGER NOT NULL CHECK (count > 0), PRIMARY KEY (key, value)) STRICT, WITHOUT ROWID"},
    {"scalar", "CREATE TABLE scalar (key TEXT NOT NULL PRIMARY KEY, value INTEGER NOT NULL) STRICT, WITHOUT ROWID"},
}};

// ---- SQL

constexpr const char *kClearScalar = "DELETE FROM scalar WHERE key = ?";
constexpr const char *kSetScalar =
    "INSERT INTO scalar VALUES (?, ?) ON CONFLICT (key) DO UPDATE SET value = excluded.value";
// The database's own addition would leave the integers where it should wrap.
constexpr const char *kAddToScalar =
    "INSERT INTO scalar VALUES (?, ?) ON CONFLICT (key) DO UPDATE SET value = wrapping_sum(value, excluded.value)";
constexpr const char *kEmptyDistribution = "DELETE FROM distribution WHERE key = ?";
// Stops at the largest count instead of overflowing.
constexpr const char *kPush = "INSERT INTO distribution VALUES (?, ?, ?) ON CONFLICT (key, value) DO UPDATE "
                              "SET count = min(count, 9223372036854775807 - excluded.count) + excluded.count";

/** The SQL function `wrapping_sum(a, b)`. */
void wrapping_sum_function(sqlite3_context *context, int, sqlite3_value **arguments) {
    sqlite3_result_int64(context, wrapping_sum(sqlite3_value_int64(arguments[0]), sqlite3_value_int64(arguments[1])));
}

void add_functions(Database &database) {
    constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_DIRECTONLY;
    if (const int result = sqlite3_create_function(database.handle(), "wrapping_sum", 2, kFlags, nullptr,
                                                   wrapping_sum_function, nullptr, nullptr)) {
        database.fail(result);
    }
}

void create_schema(Database &database) {
    for (const Table &table : kTables) {
        database.execute(table.sql);
    }
    database.execute(("PRAGMA application_id = " + std::to_string(kApplicationNumber)).c_str());
    database.execute(("PRAGMA user_version = " + std::to_string(kSchemaVersion)).c_str());
}

// ---- telling a store from other files

[[noreturn]] void refuse_foreign(const std::string &name) { throw Error(name, "", "is not an analytics store"); }

[[noreturn]] void refuse_damaged(const std::string &name, const std::string &how) {
    throw Error(name, "", "is damaged: " + how);
}

[[noreturn]] void fail(const std::string &name, int error) {
    throw Error(name, "", std::generic_category().message(error));
}

/**
 * Looks at the file before the database library does, which would act on what a database that is not ours left
 * unfinished.
 */
void require_mark(const std::string &name, const std::string &file) {
    constexpr std::string_view kMagic("SQLite format 3\0", 16);
    constexpr std::size_t kApplicationNumberOffset = 68;
    constexpr std::size_t kHeaderSize = 100;

    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor == -1) {
        fail(name, errno);
    }
    std::array<unsigned char, kHeaderSize> header{};
    const ssize_t size = ::pread(descriptor, header.data(), header.size(), 0);
    const int error = errno;
    ::close(descriptor);
    if (size == -1) {
        fail(name, error);
    }
    std::int64_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = number << 8 | header[kApplicationNumberOffset + i];
    }
    if (size != kHeaderSize || !std::equal(kMagic.begin(), kMagic.end(), header.begin()) ||
        number != kApplicationNumber) {
        refuse_foreign(name);
    }
}

void require_version(Database &database) {
    if (database.number("PRAGMA application_id") != kApplicationNumber) {
        refuse_foreign(database.name());
    }
    const std::int64_t version = database.number("PRAGMA user_version");
    if (version > kSchemaVersion) {
        throw Error(database.name(), "",
                    "is an analytics store of version " + std::to_string(version) +
                        ", newer than this program, which knows version " + std::to_string(kSchemaVersion));
    }
    if (version < kSchemaVersion) {
        refuse_damaged(database.name(), "it has no version");
    }
}

/** Exactly the store's tables and nothing else: no index, view or trigger with effects of its own. */
void require_tables(Database &database) {
    Statement statement(database, "SELECT name, sql FROM sqlite_schema ORDER BY name");
    std::size_t found = 0;
    for (; statement.next(); ++found) {
        if (found == kTables.size() || statement.text(0) != kTables[found].name ||
            statement.text(1) != kTables[found].sql) {
            refuse_damaged(database.name(), "it does not hold exactly the tables of an analytics store");
        }
    }
    if (found != kTables.size()) {
        refuse_damaged(database.name(), "it does not hold exactly the tables of an analytics store");
    }
}

void require_soundness(Database &database) {
    Statement statement(database, "PRAGMA integrity_check(1)");
    if (!statement.next() || statement.text(0) != "ok") {
        refuse_damaged(database.name(), std::string(statement.text(0)));
    }
}

// ---- reading

std::string key_in(Database &database, const Statement &row) {
    if (row.type(0) != Statement::Type::kText || !is_string_text(row.text(0))) {
        refuse_damaged(database.name(), "a key is no text");
    }
    return std::string(row.text(0));
}

void read_scalars(Database &database, StoreContents &contents) {
    Statement row(database, "SELECT key, value FROM scalar ORDER BY key");
    while (row.next()) {
        std::string key = key_in(database, row);
        if (row.type(1) != Statement::Type::kInteger) {
            refuse_damaged(database.name(), "the scalar " + in_quotes(key) + " is no integer");
        }
        contents.scalars.insert_or_assign(std::move(key), row.integer(1));
    }
}

void read_distributions(Database &database, StoreContents &contents) {
    Statement row(database, "SELECT key, value, count FROM distribution ORDER BY key, value");
    while (row.next()) {
        std::string key = key_in(database, row);
        const bool is_sound =
            row.type(1) == Statement::Type::kReal && row.type(2) == Statement::Type::kInteger && row.integer(2) > 0;
        if (!is_sound) {
            refuse_damaged(database.name(), "the distribution " + in_quotes(key) + " has a value without a count");
        }
        // Adding 0 makes a 0 of a -0, which only a foreign hand can have put there.
        contents.distributions[std::move(key)][row.real(1) + 0.0] += static_cast<std::uint64_t>(row.integer(2));
    }
}

enum class Checks { kSchema, kEveryPage };

/** One moment of a store. */
StoreContents contents_of(Database &database, Checks checks) {
    const ReadTransaction one_moment(database);
    require_version(database);
    require_tables(database);
    if (checks == Checks::kEveryPage) {
        require_soundness(database);
    }
    StoreContents contents;
    read_scalars(database, contents);
    read_distributions(database, contents);
    return contents;
}

/** A file as it is now, to see later whether it has changed. */
struct FileState {
    dev_t device;
    ino_t inode;
    off_t size;
    std::int64_t seconds;
    std::int64_t nanoseconds;

    friend bool operator==(const FileState &, const FileState &) = default;
};

FileState state_of(const std::string &name, const std::string &file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) == -1) {
        fail(name, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw Error(name, "", "is not a regular file");
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

bool has_log_beside_it(const std::string &file) { return ::access((file + "-wal").c_str(), F_OK) == 0; }

/**
 * Reads a store that no host has open, as its lack of a write-ahead log says, without files of the database
 * library appearing beside it: the folder may be a read-only one.
 * @return nothing when a host came by meanwhile.
 */
std::optional<StoreContents> contents_at_rest(const std::string &name, const std::string &file) {
    const FileState before = state_of(name, file);
    if (has_log_beside_it(file)) {
        return std::nullopt;
    }
    const auto is_at_rest = [&] { return !has_log_beside_it(file) && state_of(name, file) == before; };
    try {
        Database database(name, file, Database::Access::kReadAtRest);
        // The database library would take the missing end of the last page for zeros.
        if (database.number("PRAGMA page_count") * database.number("PRAGMA page_size") > before.size) {
            refuse_damaged(name, "its end is missing");
        }
        StoreContents contents = contents_of(database, Checks::kEveryPage);
        return is_at_rest() ? std::optional(std::move(contents)) : std::nullopt;
    } catch (const Error &) {
        if (is_at_rest()) {
            throw;
        }
        return std::nullopt;
    }
}

std::string real_path(const std::string &name) {
    std::error_code error;
    const fs::path path = fs::canonical(name, error);
    if (error) {
        fail(name, error.value());
    }
    return path.string();
}

// ---- writing

Database made_in_memory() {
    Database database(kStoreInMemory, "", Database::Access::kMemory);
    create_schema(database);
    return database;
}

/** Inserts everything into a database that holds nothing yet. */
void insert(Database &database, const StoreContents &contents) {
    Transaction transaction(database);
    Statement scalar(database, "INSERT INTO scalar VALUES (?, ?)");
    for (const auto &[key, value] : contents.scalars) {
        scalar.with(std::string_view(key), value).run();
    }
    Statement counted_value(database, "INSERT INTO distribution VALUES (?, ?, ?)");
    for (const auto &[key, distribution] : contents.distributions) {
        for (const auto &[value, count] : distribution) {
            counted_value.with(std::string_view(key), value, static_cast<std::int64_t>(std::min(count, kLargestCount)))
                .run();
        }
    }
    transaction.commit();
}

/** The bytes of a store file with these contents. */
std::string image_of(const StoreContents &contents) {
    Database database = made_in_memory();
    insert(database, contents);

    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, void (*)(void *)> bytes(sqlite3_serialize(database.handle(), "main", &size, 0),
                                                                 sqlite3_free);
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    std::string image(reinterpret_cast<const char *>(bytes.get()), static_cast<std::size_t>(size));
    // Offsets 18 and 19 of the file format: written and read with a write-ahead log.
    image[18] = image[19] = 2;
    return image;
}

/** A new file beside the one that is wanted, gone with the object. */
class PartialFile {
public:
    PartialFile(std::string name, const std::string &wanted) : _name(std::move(name)), _wanted(wanted) {
        // Leftovers of a process that was killed may bear this process's number.
        for (int attempt = 0; _descriptor == -1; ++attempt) {
            _path = _wanted + ".partial-" + std::to_string(::getpid()) + "-" + std::to_string(attempt);
            _descriptor = ::open(_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (_descriptor == -1 && errno != EEXIST) {
                fail(_name, errno);
            }
        }
    }
    ~PartialFile() {
        ::close(_descriptor);
        ::unlink(_path.c_str());
    }
    PartialFile(const PartialFile &) = delete;
    PartialFile &operator=(const PartialFile &) = delete;

    void write(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t written = ::write(_descriptor, bytes.data(), bytes.size());
            if (written == -1 && errno != EINTR) {
                fail(_name, errno);
            }
            bytes.remove_prefix(written == -1 ? 0 : static_cast<std::size_t>(written));
        }
        if (::fsync(_descriptor) == -1) {
            fail(_name, errno);
        }
    }

    /** @return false when there is something of the wanted name already. */
    bool take_the_wanted_name() {
        if (::link(_path.c_str(), _wanted.c_str()) == 0) {
            return true;
        }
        if (errno != EEXIST) {
            fail(_name, errno);
        }
        return false;
    }

private:
    std::string _name;
    std::string _wanted;
    std::string _path;
    int _descriptor = -1;
};

bool write_new_file(const std::string &path, const StoreContents &contents) {
    const std::string image = image_of(contents);
    PartialFile file(path, path);
    file.write(image);
    return file.take_the_wanted_name();
}

bool is_missing(const std::string &path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == -1 && errno == ENOENT;
}

Database opened_file(const std::string &path) {
    if (is_missing(path)) {
        // When another host is quicker, its file will do.
        write_new_file(path, {});
    }
    read_analytics_store(path);
    Database database(path, real_path(path), Database::Access::kReadAndWrite);
    if (sqlite3_db_readonly(database.handle(), "main") != 0) {
        throw Error(path, "", "cannot be written to");
    }
    database.execute("PRAGMA journal_mode = WAL");
    database.execute("PRAGMA synchronous = NORMAL");
    {
        const Transaction shows_that_it_can_be_written(database);
        require_version(database);
        require_tables(database);
    }
    return database;
}

Database opened(const std::string &path) {
    if (path.empty()) {
        throw Error("", "", "the name of the analytics store is empty");
    }
    Database database = path == kStoreInMemory ? made_in_memory() : opened_file(path);
    add_functions(database);
    return database;
}

} // namespace

void merge_into(StoreContents &sum, const StoreContents &more) {
    for (const auto &[key, value] : more.scalars) {
        std::int64_t &scalar = sum.scalars[key];
        scalar = wrapping_sum(scalar, value);
    }
    for (const auto &[key, distribution] : more.distributions) {
        for (const auto &[value, count] : distribution) {
            std::uint64_t &total = sum.distributions[key][value];
            total = std::min(total, kLargestCount - std::min(count, kLargestCount)) + std::min(count, kLargestCount);
        }
    }
}

StoreContents read_analytics_store(const std::string &path) {
    const std::string file = real_path(path);
    state_of(path, file);
    require_mark(path, file);
    if (std::optional<StoreContents> contents = contents_at_rest(path, file)) {
        return *std::move(contents);
    }
    Database database(path, file, Database::Access::kRead);
    return contents_of(database, Checks::kEveryPage);
}

void write_new_analytics_store(const std::string &path, const StoreContents &contents) {
    if (!write_new_file(path, contents)) {
        fail(path, EEXIST);
    }
}

// ---- an open store

struct AnalyticsStore::Connection {
    explicit Connection(const std::string &path) : database(opened(path)) {}

    void apply(const std::string &key, const ScalarChange &change) {
        switch (change.kind) {
        case ScalarChange::kNone:
            break;
        case ScalarChange::kClear:
            clear_scalar.with(std::string_view(key)).run();
            break;
        case ScalarChange::kSet:
            set_scalar.with(std::string_view(key), change.value).run();
            break;
        case ScalarChange::kAdd:
            add_to_scalar.with(std::string_view(key), change.value).run();
            break;
        }
    }

    void apply(const std::string &key, const DistributionChange &change) {
        if (change.is_emptied_first) {
            empty_distribution.with(std::string_view(key)).run();
        }
        for (const auto &[value, count] : change.pushed) {
            push.with(std::string_view(key), value, static_cast<std::int64_t>(count)).run();
        }
    }

    Database database;
    Statement clear_scalar{database, kClearScalar};
    Statement set_scalar{database, kSetScalar};
    Statement add_to_scalar{database, kAddToScalar};
    Statement empty_distribution{database, kEmptyDistribution};
    Statement push{database, kPush};
};

AnalyticsStore::AnalyticsStore(const std::string &path) : _connection(std::make_unique<Connection>(path)) {}

AnalyticsStore::~AnalyticsStore() = default;

const std::string &AnalyticsStore::path() const { return _connection->database.name(); }

void AnalyticsStore::apply(const StoreChanges &changes) {
    Database &database = _connection->database;
    if (!database.is_in_place()) {
        throw Error(path(), "", "was moved or deleted while it was open");
    }
    Transaction transaction(database);
    changes.for_each([&](const std::string &key, const StoreChanges::OfKey &of_key) {
        _connection->apply(key, of_key.scalar);
        _connection->apply(key, of_key.distribution);
    });
    transaction.commit();
}

StoreContents AnalyticsStore::contents() { return contents_of(_connection->database, Checks::kSchema); }

void AnalyticsStore::clear() {
    Transaction transaction(_connection->database);
    _connection->database.execute("DELETE FROM scalar; DELETE FROM distribution");
    transaction.commit();
}

} // namespace host
