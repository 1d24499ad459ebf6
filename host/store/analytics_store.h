/**
 * An analytics store as a file: an SQLite database of scalars and of distributions, which are distinct values with
 * their counts. `docs/analytics-store.md` has the schema and shows how to read a store with other tools.
 *
 * A file is accepted only when it is marked as a store (application number, schema version) and has exactly the store's
 * tables. Anything else is refused with an Error that names the file, which is left unchanged.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "host/store/changes.h"

namespace host {

/** The count of each distinct value of a distribution: 1 to 2^63 - 1. No value is NaN or -0. */
using Distribution = std::map<double, std::uint64_t>;

/**
 * How many distinct values a host lets a distribution and a whole store have. A new value beyond that is counted in the
 * scalar with the distribution's key and `kBeyondLimit`, which is cleared with the distribution.
 */
inline constexpr std::int64_t kMostValuesOfKey = 10'000;
inline constexpr std::int64_t kMostValuesOfStore = 100'000;
inline constexpr const char *kBeyondLimit = ".beyond_limit";

/** The contents of a store at one moment. A distribution has at least one value. */
struct StoreContents {
    std::map<std::string, std::int64_t> scalars;
    std::map<std::string, Distribution> distributions;

    friend bool operator==(const StoreContents &, const StoreContents &) = default;
};

/** Adds `more` to `sum`: scalars wrap at 64 bits, counts stop at 2^63 - 1. There is no limit of values. */
void merge_into(StoreContents &sum, const StoreContents &more);

/** Applies changes to contents in memory. */
void apply(StoreContents &contents, const StoreChanges &changes);

/**
 * The contents of a store file at one moment; hosts may write to it meanwhile. Creates, changes and deletes no file.
 * @throws Error when the file does not exist, is not a store, has a newer version or is damaged, when what stands
 * beside it is not its own, and when it stays locked for more than 5 seconds.
 */
StoreContents read_analytics_store(const std::string &path);

/** The longest image that `read_analytics_store_image` reads. */
inline constexpr std::size_t kLargestStoreImage = std::size_t{256} << 20;

/**
 * The contents of a store whose file is in memory, such as one from a pipe. What only its write-ahead log has is
 * missing, so no host may have had it open when it was copied.
 * @param image  the bytes of the file, at most `kLargestStoreImage`. Changed and used while it is read.
 * @param name   for errors.
 * @throws Error as `read_analytics_store`.
 */
StoreContents read_analytics_store_image(std::span<std::byte> image, const std::string &name);

/**
 * Creates a store file. It appears complete or not at all.
 * @param check  called every few milliseconds until the file gets its name, to throw if it is no longer wanted.
 * @throws Error when `path` already exists or cannot be written, and what `check` throws. Nothing is left then.
 */
void write_new_analytics_store(
    const std::string &path, const StoreContents &contents, const std::function<void()> &check = [] {});

/**
 * An open store. Other hosts may have it open too. One thread at a time may change it; another thread may call
 * `contents` meanwhile, which has its own connection.
 *
 * Changes survive the process as soon as `apply` returns, even if it is killed. A power loss or a crash of the
 * operating system may lose the last calls of `apply`, each as a whole; everything before them is intact.
 */
class AnalyticsStore {
public:
    /**
     * Opens a store; creates it when the file does not exist.
     * @throws Error as `read_analytics_store`, and when the file cannot be written.
     */
    explicit AnalyticsStore(const std::string &path);
    ~AnalyticsStore();
    AnalyticsStore(const AnalyticsStore &) = delete;
    AnalyticsStore &operator=(const AnalyticsStore &) = delete;

    /** The path given to the constructor. */
    const std::string &path() const;

    /**
     * Applies all changes or none. Waits up to 5 seconds for another program's lock. After such a wait has failed,
     * later calls fail at once when the store is locked, until one succeeds.
     * @throws Error when no change was applied.
     */
    void apply(const StoreChanges &changes);

    /** The same for the last changes: waits even after a failed wait. */
    void apply_last(const StoreChanges &changes);

    /** The contents at one moment. Waits for locks as `apply` does. @throws Error as `read_analytics_store`. */
    StoreContents contents();

    /** Removes everything. */
    void clear();

    /**
     * Closes the store; only the destructor may follow. The last host to close it moves everything into the file and
     * removes the files beside it, for which it waits up to 5 seconds for readers. The destructor closes, too.
     * @return why data stays beside the file, as the reason of an Error; empty when none does.
     */
    std::string close();

private:
    struct Connection;
    std::unique_ptr<Connection> _connection;
};

} // namespace host
