#include "host/store/analytics_store.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/TvValues.h"
#include "host/error.h"
#include "host/store/schema.h"
#include "host/store/sqlite_database.h"
#include "host/store/store_header.h"
#include "host/store/store_vfs.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestCount = std::numeric_limits<std::int64_t>::max();

std::uint64_t sum_of_counts(std::uint64_t a, std::uint64_t b) {
    const std::uint64_t added = std::min(b, kLargestCount);
    return std::min(a, kLargestCount - added) + added;
}

// ---- reading

/** The name of the row's key, from its first column. */
std::string key_of(Database &database, const Statement &row) {
    if (row.type(0) != Statement::Type::kText || !is_string_text(row.text(0))) {
        refuse_damaged_store(database.name(), "a key has no name, or its name is not text");
    }
    return std::string(row.text(0));
}

void read_scalars(Database &database, StoreContents &contents) {
    Statement row(database, "SELECT name, value FROM scalar LEFT JOIN key ON key.id = scalar.key");
    while (row.step()) {
        std::string key = key_of(database, row);
        if (row.type(1) != Statement::Type::kInteger) {
            refuse_damaged_store(database.name(), "the scalar " + in_quotes(key) + " is not an integer");
        }
        contents.scalars.insert_or_assign(std::move(key), row.integer(1));
    }
}

void read_distributions(Database &database, StoreContents &contents) {
    Statement row(database, "SELECT name, value, count FROM distribution LEFT JOIN key ON key.id = distribution.key");
    while (row.step()) {
        std::string key = key_of(database, row);
        const bool is_sound =
            row.type(1) == Statement::Type::kReal && row.type(2) == Statement::Type::kInteger && row.integer(2) > 0;
        if (!is_sound) {
            refuse_damaged_store(database.name(),
                                 "the distribution " + in_quotes(key) + " has a value without a count");
        }
        // Adding 0 turns -0 into 0. Only another program can have written a -0.
        std::uint64_t &count = contents.distributions[std::move(key)][row.real(1) + 0.0];
        count = sum_of_counts(count, static_cast<std::uint64_t>(row.integer(2)));
    }
}

/** The state of a file, for detecting changes. */
struct FileState {
    dev_t device;
    ino_t inode;
    off_t size;
    std::int64_t seconds;
    std::int64_t nanoseconds;

    friend bool operator==(const FileState &, const FileState &) = default;
};

FileState state_of(const struct stat &status) {
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

/** Empty when there is no such file. */
std::optional<FileState> state_beside(const std::string &file, const char *ending) {
    struct stat status {};
    if (::lstat((file + ending).c_str(), &status) == -1) {
        return std::nullopt;
    }
    return state_of(status);
}

/** A store's file and what stands beside it, for finding out whether a program has opened it meanwhile. */
struct StoreState {
    FileState store;
    std::optional<FileState> log;
    std::optional<FileState> index;

    bool has_log() const { return log && log->size > 0; }
    friend bool operator==(const StoreState &, const StoreState &) = default;
};

StoreState state_of(const std::string &name, const std::string &file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) == -1) {
        throw_system_error(name, errno);
    }
    return {state_of(status), state_beside(file, "-wal"), state_beside(file, "-shm")};
}

enum class Checks { kSchema, kEveryPage };

/** Where the file format says how a database is written and read. */
constexpr std::size_t kWriteVersion = 18;
constexpr std::size_t kReadVersion = 19;
constexpr std::byte kWithJournal{1};
constexpr std::byte kWithLog{2};

/**
 * Refuses a file that ends before its last page does: the database library would read what is missing as zeros. Called
 * in a transaction.
 */
void require_pages_in(Database &database, std::int64_t file_size) {
    const std::int64_t size = database.query_number("PRAGMA page_count") * database.query_number("PRAGMA page_size");
    if (size > file_size) {
        refuse_damaged_store(database.name(), "its end is missing");
    }
}

/** The same for the open file. A log with data in it may hold the last pages. */
void require_whole_file(Database &database) {
    if (const StoreState state = state_of(database.name(), database.file()); !state.has_log()) {
        require_pages_in(database, state.store.size);
    }
}

/** Called in a transaction. */
StoreContents read_tables(Database &database) {
    StoreContents contents;
    read_scalars(database, contents);
    read_distributions(database, contents);
    return contents;
}

/** Reads the contents at one moment. */
StoreContents read_contents(Database &database, Checks checks) {
    const ReadTransaction transaction(database);
    require_store_schema(database);
    if (checks == Checks::kEveryPage) {
        require_whole_file(database);
        require_sound_pages(database);
    }
    return read_tables(database);
}

/** @return nothing when what was read may not be of one moment. */
std::optional<StoreContents> try_to_read(const std::string &name, const std::string &file) {
    const StoreState before = state_of(name, file);
    Database database(name, file, Database::Access::kRead);
    const auto is_of_one_moment = [&] { return is_locked_against_hosts(database) || state_of(name, file) == before; };
    try {
        StoreContents contents = read_contents(database, Checks::kEveryPage);
        return is_of_one_moment() ? std::optional(std::move(contents)) : std::nullopt;
    } catch (const Error &) {
        if (is_of_one_moment()) {
            throw;
        }
        return std::nullopt;
    }
}

void require_name(const std::string &path) {
    if (path.empty()) {
        throw Error("", "", "the name of the analytics store is empty");
    }
}

/** The absolute path with all links resolved, as the database library needs it. */
std::string real_path(const std::string &name) {
    std::error_code error;
    const fs::path path = fs::canonical(name, error);
    if (error) {
        throw_system_error(name, error.value());
    }
    return path.string();
}

// ---- changing

/** The SQL function `wrapping_sum(a, b)`. The database's own addition turns to floating point on overflow. */
void wrapping_sum_function(sqlite3_context *context, int, sqlite3_value **arguments) {
    sqlite3_result_int64(context, wrapping_sum(sqlite3_value_int64(arguments[0]), sqlite3_value_int64(arguments[1])));
}

/** Adds the SQL functions that the statements use. @return the same database. */
Database &add_functions(Database &database) {
    constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_DIRECTONLY;
    if (const int result = sqlite3_create_function(database.handle(), "wrapping_sum", 2, kFlags, nullptr,
                                                   wrapping_sum_function, nullptr, nullptr)) {
        database.fail(result);
    }
    return database;
}

enum class Limit { kOfValues, kNone };

/** The key of the scalar that counts what a distribution has no room for. */
std::string beyond_limit(std::string_view key) { return std::string(key) + kBeyondLimit; }

/** The statements that change a store, run inside a transaction. */
class Writer {
public:
    explicit Writer(Database &database, Limit limit) : _database(add_functions(database)), _limit(limit) {}

    /** Begins to write, inside a transaction that the caller has begun. */
    void begin() {
        // What was counted holds until another program writes, or until a transaction does not come to its end.
        const std::int64_t version = _database.query_number("PRAGMA data_version");
        const bool is_alone = version == std::exchange(_counted_version, version);
        const bool was_committed = std::exchange(_is_committed, false);
        if (!is_alone || !was_committed) {
            forget_counts();
        }
    }

    /** Says that the caller has committed the transaction. */
    void end() { _is_committed = true; }

    void write(std::string_view key, const ScalarChange &change) {
        switch (change.kind) {
        case ScalarChange::kNone:
            break;
        case ScalarChange::kClear:
            _clear_scalar.with(find_or_add_number(key)).run();
            break;
        case ScalarChange::kSet:
            _set_scalar.with(find_or_add_number(key), change.value).run();
            break;
        case ScalarChange::kAdd:
            _add_to_scalar.with(find_or_add_number(key), change.value).run();
            break;
        }
    }

    void write(std::string_view key, const DistributionChange &change) {
        if (change.is_none()) {
            return;
        }
        const std::int64_t number = find_or_add_number(key);
        if (change.is_cleared_first) {
            _empty_distribution.with(number).run();
            forget_counts();
            if (const auto beyond = find_number(beyond_limit(key))) {
                _clear_scalar.with(*beyond).run();
            }
        }
        std::uint64_t left_over = 0;
        for (const auto &[value, count] : change.pushed) {
            if (!push(number, value, static_cast<std::int64_t>(std::min(count, kLargestCount)))) {
                left_over = sum_of_counts(left_over, count);
            }
        }
        if (left_over > 0) {
            write(beyond_limit(key), ScalarChange{ScalarChange::kAdd, static_cast<std::int64_t>(left_over)});
        }
    }

private:
    /** @return false when the value is new and there is no room for it. */
    bool push(std::int64_t number, double value, std::int64_t count) {
        _push_again.with(count, number, value).run();
        if (sqlite3_changes64(_database.handle()) == 1) {
            return true;
        }
        if (_limit == Limit::kOfValues && !take_room(number)) {
            return false;
        }
        _push.with(number, value, count).run();
        return true;
    }

    /** Counts one more value of a distribution, unless it or the store has as many as it may have. */
    bool take_room(std::int64_t number) {
        if (_values_of_keys.empty()) {
            _values_of_store = _database.query_number("SELECT count(*) FROM distribution");
        }
        const auto [of_key, is_new] = _values_of_keys.try_emplace(number, 0);
        if (is_new) {
            _count_values.with(number).step();
            of_key->second = _count_values.integer(0);
            _count_values.reset();
        }
        if (of_key->second >= kMostValuesOfKey || _values_of_store >= kMostValuesOfStore) {
            return false;
        }
        ++of_key->second;
        ++_values_of_store;
        return true;
    }

    void forget_counts() { _values_of_keys.clear(); }

    /** The number of a key; adds the key when it is new. */
    std::int64_t find_or_add_number(std::string_view key) {
        std::optional<std::int64_t> number = find_number(key);
        if (!number) {
            _add_key.with(key).run();
            number = find_number(key);
        }
        return number.value();
    }

    std::optional<std::int64_t> find_number(std::string_view key) {
        const bool is_known = _find_key.with(key).step();
        const auto number = is_known ? std::optional(_find_key.integer(0)) : std::nullopt;
        _find_key.reset();
        return number;
    }

    Database &_database;
    Limit _limit;
    std::map<std::int64_t, std::int64_t> _values_of_keys; ///< those counted so far, by the numbers of their keys
    std::int64_t _values_of_store = 0;                    ///< counted when that of a key is
    std::int64_t _counted_version = 0;
    bool _is_committed = true;
    Statement _find_key{_database, "SELECT id FROM key WHERE name = ?"};
    Statement _add_key{_database, "INSERT INTO key (name) VALUES (?)"};
    Statement _clear_scalar{_database, "DELETE FROM scalar WHERE key = ?"};
    Statement _set_scalar{_database, "INSERT INTO scalar VALUES (?, ?) "
                                     "ON CONFLICT (key) DO UPDATE SET value = excluded.value"};
    Statement _add_to_scalar{_database, "INSERT INTO scalar VALUES (?, ?) "
                                        "ON CONFLICT (key) DO UPDATE SET value = wrapping_sum(value, excluded.value)"};
    Statement _empty_distribution{_database, "DELETE FROM distribution WHERE key = ?"};
    Statement _count_values{_database, "SELECT count(*) FROM distribution WHERE key = ?"};
    Statement _push{_database, "INSERT INTO distribution VALUES (?, ?, ?)"};
    // Stops at the largest count instead of overflowing.
    Statement _push_again{_database, "UPDATE distribution SET count = min(count, 9223372036854775807 - ?1) + ?1 "
                                     "WHERE key = ?2 AND value = ?3"};
};

// ---- changing contents in memory

void apply(std::map<std::string, std::int64_t> &scalars, const std::string &key, const ScalarChange &change) {
    switch (change.kind) {
    case ScalarChange::kNone:
        break;
    case ScalarChange::kClear:
        scalars.erase(key);
        break;
    case ScalarChange::kSet:
        scalars[key] = change.value;
        break;
    case ScalarChange::kAdd: {
        std::int64_t &scalar = scalars[key];
        scalar = wrapping_sum(scalar, change.value);
        break;
    }
    }
}

/** The same as `Writer::write`. @param values  in all distributions. */
void apply(StoreContents &contents, const std::string &key, const DistributionChange &change, std::size_t &values) {
    if (change.is_cleared_first) {
        const auto cleared = contents.distributions.extract(key);
        values -= cleared.empty() ? 0 : cleared.mapped().size();
        contents.scalars.erase(beyond_limit(key));
    }
    if (change.pushed.empty()) {
        return;
    }
    Distribution &distribution = contents.distributions[key];
    std::uint64_t left_over = 0;
    for (const auto &[value, count] : change.pushed) {
        const auto known = distribution.find(value);
        if (known != distribution.end()) {
            known->second = sum_of_counts(known->second, count);
        } else if (distribution.size() < kMostValuesOfKey && values < kMostValuesOfStore) {
            distribution.emplace(value, sum_of_counts(0, count));
            ++values;
        } else {
            left_over = sum_of_counts(left_over, count);
        }
    }
    if (distribution.empty()) {
        contents.distributions.erase(key);
    }
    if (left_over > 0) {
        apply(contents.scalars, beyond_limit(key),
              ScalarChange{ScalarChange::kAdd, static_cast<std::int64_t>(left_over)});
    }
}

// ---- new files

/** What is done between one of these and the next takes a moment only. */
constexpr std::size_t kRowsAtOnce = 1000;
constexpr std::size_t kBytesAtOnce = std::size_t{1} << 20;

/** Adds a distribution. */
void write_in_pieces(Writer &writer, const std::string &key, const Distribution &distribution,
                     const std::function<void()> &check) {
    DistributionChange piece;
    for (const auto &[value, count] : distribution) {
        piece.pushed.add(value, count);
        if (piece.pushed.size() == kRowsAtOnce) {
            check();
            writer.write(key, piece);
            piece.pushed.clear();
        }
    }
    check();
    writer.write(key, piece);
}

/** The bytes of a store file with these contents. */
std::string image_of(const StoreContents &contents, const std::function<void()> &check) {
    Database database("", "", Database::Access::kMemory);
    create_store_schema(database);
    {
        Transaction transaction(database);
        Writer writer(database, Limit::kNone);
        for (const auto &[key, value] : contents.scalars) {
            check();
            writer.write(key, ScalarChange{ScalarChange::kSet, value});
        }
        for (const auto &[key, distribution] : contents.distributions) {
            write_in_pieces(writer, key, distribution, check);
        }
        transaction.commit();
    }

    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, void (*)(void *)> bytes(sqlite3_serialize(database.handle(), "main", &size, 0),
                                                                 sqlite3_free);
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    std::string image(reinterpret_cast<const char *>(bytes.get()), static_cast<std::size_t>(size));
    image[kWriteVersion] = image[kReadVersion] = std::to_integer<char>(kWithLog);
    return image;
}

/** A temporary file in the folder of the wanted one. Deleted with this object. */
class PartialFile {
public:
    explicit PartialFile(const std::string &wanted) : _wanted(wanted) {
        // A killed process may have left a file with this process's number.
        for (int attempt = 0; _descriptor == -1; ++attempt) {
            _path = _wanted + ".partial-" + std::to_string(::getpid()) + "-" + std::to_string(attempt);
            _descriptor = ::open(_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (_descriptor == -1 && errno != EEXIST) {
                throw_system_error(_wanted, errno);
            }
        }
    }
    ~PartialFile() {
        ::close(_descriptor);
        ::unlink(_path.c_str());
    }
    PartialFile(const PartialFile &) = delete;
    PartialFile &operator=(const PartialFile &) = delete;

    void write(std::string_view bytes, const std::function<void()> &check) {
        while (!bytes.empty()) {
            check();
            const ssize_t written = ::write(_descriptor, bytes.data(), std::min(bytes.size(), kBytesAtOnce));
            if (written == -1 && errno != EINTR) {
                throw_system_error(_wanted, errno);
            }
            bytes.remove_prefix(written == -1 ? 0 : static_cast<std::size_t>(written));
        }
        if (::fsync(_descriptor) == -1) {
            throw_system_error(_wanted, errno);
        }
    }

    /** Gives the file the wanted name. @return false when that exists already. */
    bool take_wanted_name() {
        if (::link(_path.c_str(), _wanted.c_str()) == 0 || rename_to_wanted_name()) {
            sync_folder();
            return true;
        }
        if (errno != EEXIST) {
            throw_system_error(_wanted, errno);
        }
        return false;
    }

private:
    /** For file systems without hard links. @return false, with the `errno` of `link` or of the renaming. */
    bool rename_to_wanted_name() const {
        return errno != EEXIST &&
               ::renameat2(AT_FDCWD, _path.c_str(), AT_FDCWD, _wanted.c_str(), RENAME_NOREPLACE) == 0;
    }

    /** Makes the name survive a power loss. Failures are ignored: the file exists in any case. */
    void sync_folder() const {
        const fs::path folder = fs::path(_wanted).parent_path();
        const int descriptor = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (descriptor != -1) {
            ::fsync(descriptor);
            ::close(descriptor);
        }
    }

    std::string _wanted;
    std::string _path;
    int _descriptor = -1;
};

bool write_new_file(const std::string &path, const StoreContents &contents, const std::function<void()> &check) {
    const std::string image = image_of(contents, check);
    PartialFile file(path);
    file.write(image, check);
    check();
    return file.take_wanted_name();
}

bool is_missing(const std::string &path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == -1 && errno == ENOENT;
}

Database open_database(const std::string &path) {
    require_name(path);
    if (is_missing(path)) {
        // If another host creates the file first, that one is used.
        write_new_file(path, {}, [] {});
    }
    read_analytics_store(path);
    Database database(path, real_path(path), Database::Access::kReadAndWrite);
    if (sqlite3_db_readonly(database.handle(), "main") != 0) {
        throw Error(path, "", "cannot be written to");
    }
    database.execute("PRAGMA journal_mode = WAL");
    database.execute("PRAGMA synchronous = NORMAL");
    {
        const Transaction write_check(database); // fails when the store cannot be written
        require_store_schema(database);
    }
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
            total = sum_of_counts(total, count);
        }
    }
}

void apply(StoreContents &contents, const StoreChanges &changes) {
    std::size_t values = 0;
    for (const auto &[key, distribution] : contents.distributions) {
        values += distribution.size();
    }
    changes.for_each([&](const std::string &key, const StoreChanges::KeyChanges &of_key) {
        apply(contents.scalars, key, of_key.scalar);
        apply(contents, key, of_key.distribution, values);
    });
}

StoreContents read_analytics_store(const std::string &path) {
    require_name(path);
    const std::string file = real_path(path);
    constexpr int kMostAttempts = 100;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        if (std::optional<StoreContents> contents = try_to_read(path, file)) {
            return *std::move(contents);
        }
    }
    throw Error(path, "", "is changed by other programs while it is read, without locks");
}

StoreContents read_analytics_store_image(std::span<std::byte> image, const std::string &name) {
    if (image.size() > kLargestStoreImage) {
        throw Error(name, "", "is larger than " + std::to_string(kLargestStoreImage >> 20) + " MB");
    }
    if (!StoreHeader(image).is_of_store()) {
        throw Error(name, "", "is not an analytics store");
    }
    // A database in memory has no log beside it.
    for (const std::size_t place : {kWriteVersion, kReadVersion}) {
        image[place] = image[place] == kWithLog ? kWithJournal : image[place];
    }
    Database database(name, "", Database::Access::kMemory);
    const auto size = static_cast<sqlite3_int64>(image.size());
    auto *const bytes = static_cast<unsigned char *>(static_cast<void *>(image.data()));
    if (const int result =
            sqlite3_deserialize(database.handle(), "main", bytes, size, size, SQLITE_DESERIALIZE_READONLY)) {
        database.fail(result);
    }
    const ReadTransaction transaction(database);
    require_store_schema(database);
    require_pages_in(database, size);
    require_sound_pages(database);
    return read_tables(database);
}

void write_new_analytics_store(const std::string &path, const StoreContents &contents,
                               const std::function<void()> &check) {
    if (!write_new_file(path, contents, check)) {
        throw_system_error(path, EEXIST);
    }
}

// ---- an open store

struct AnalyticsStore::Connection {
    explicit Connection(const std::string &path) : database(open_database(path)) {}

    Database database;
    Writer writer{database, Limit::kOfValues};
    // Closed before `database`, so that closing the last connection removes the files beside the store.
    std::optional<Database> reader{std::in_place, database.name(), database.file(), Database::Access::kReadAsHost};
};

AnalyticsStore::AnalyticsStore(const std::string &path) : _connection(std::make_unique<Connection>(path)) {}

AnalyticsStore::~AnalyticsStore() {
    try {
        close();
    } catch (const std::bad_alloc &) {
        // The database library closes by itself; there is no memory to say what it leaves.
    }
}

const std::string &AnalyticsStore::path() const { return _connection->database.name(); }

void AnalyticsStore::apply(const StoreChanges &changes) {
    Database &database = _connection->database;
    if (!database.is_in_place()) {
        throw Error(path(), "", "was moved or deleted while it was open");
    }
    Transaction transaction(database);
    _connection->writer.begin();
    changes.for_each([&](const std::string &key, const StoreChanges::KeyChanges &of_key) {
        _connection->writer.write(key, of_key.scalar);
        _connection->writer.write(key, of_key.distribution);
    });
    transaction.commit();
    _connection->writer.end();
    database.wait_for_locks();
}

void AnalyticsStore::apply_last(const StoreChanges &changes) {
    _connection->database.wait_for_locks();
    apply(changes);
}

StoreContents AnalyticsStore::contents() {
    Database &reader = _connection->reader.value();
    StoreContents contents = read_contents(reader, Checks::kSchema);
    reader.wait_for_locks();
    return contents;
}

void AnalyticsStore::clear() {
    _connection->database.wait_for_locks();
    Transaction transaction(_connection->database);
    _connection->writer.begin();
    _connection->database.execute("DELETE FROM scalar; DELETE FROM distribution");
    transaction.commit();
}

std::string AnalyticsStore::close() {
    if (_connection == nullptr) {
        return "";
    }
    _connection->reader.reset();
    Database &database = _connection->database;
    const std::string log = database.file() + "-wal";
    std::string reason = "another program has it open";
    const Closing closing = prepare_to_close(database);
    if (closing == Closing::kInVain) {
        try {
            // Also brings everything into the file when the other program does not read just now.
            database.execute("PRAGMA busy_timeout = 0; PRAGMA wal_checkpoint(TRUNCATE)");
        } catch (const Error &failure) {
            reason = failure.reason();
        }
    }
    _connection.reset();
    struct stat status {};
    if (closing == Closing::kNotAsLast || ::lstat(log.c_str(), &status) == -1 || status.st_size == 0) {
        return "";
    }
    return "its last data stays in " + in_quotes(fs::path(log).filename().string()) + " beside it: " + reason;
}

} // namespace host
