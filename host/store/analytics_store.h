/**
 * An analytics store as a file: an SQLite database with scalars, and distributions as distinct values with their
 * counts. `docs/analytics-store.md` has the schema and how to look into one with other tools.
 *
 * A file is taken for a store only when it says so (application number, schema version) and holds exactly the
 * store's tables; everything else is refused with an Error that names the file, and the file stays as it was.
 */
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "host/store/changes.h"

namespace host {

/** How often each distinct value was put into a distribution: 1 to 2^63 - 1 times. No value is not-a-number or -0. */
using Distribution = std::map<double, std::uint64_t>;

/** Everything that a store holds at one moment. A distribution that is there holds at least one value. */
struct StoreContents {
    std::map<std::string, std::int64_t> scalars;
    std::map<std::string, Distribution> distributions;

    friend bool operator==(const StoreContents &, const StoreContents &) = default;
};

/** Adds two stores up: scalars wrap at 64 bits, counts stop at 2^63 - 1. */
void merge_into(StoreContents &sum, const StoreContents &more);

/** What changes make of a store. */
void apply(StoreContents &contents, const StoreChanges &changes);

/**
 * What a store file holds, read at one moment while hosts may write to it. Creates nothing, and changes nothing but
 * to undo a transaction that another program was killed in.
 * @throws Error when there is no such file; when it is no store, one of a newer version or a damaged one; and when
 *         it stays locked for longer than 5 seconds.
 */
StoreContents read_analytics_store(const std::string &path);

/**
 * Makes a new store file. It appears whole or not at all.
 * @throws Error when there is anything at `path` already, and when it cannot be written.
 */
void write_new_analytics_store(const std::string &path, const StoreContents &contents);

/**
 * An open store, which other hosts may have open, too. One thread at a time changes it; another one may ask for its
 * contents meanwhile, on a connection of their own.
 *
 * Changes are on the disk's side of this process as soon as `apply` returns: the end of the process by any
 * signal loses none of them. The end of power or of the operating system may lose the last ones, each `apply` whole,
 * and leaves what was before.
 */
class AnalyticsStore {
public:
    /**
     * Opens a store, and makes it first when there is no file.
     * @throws Error as `read_analytics_store`, and for a file that cannot be written to.
     */
    explicit AnalyticsStore(const std::string &path);
    ~AnalyticsStore();
    AnalyticsStore(const AnalyticsStore &) = delete;
    AnalyticsStore &operator=(const AnalyticsStore &) = delete;

    /** As it was given. */
    const std::string &path() const;

    /**
     * Applies all changes as one, or none of them. A lock of another program is waited for, up to 5 seconds; but after
     * a wait in vain there are no more, so that changes fail at once until some can be applied.
     * @throws Error in which case none is applied.
     */
    void apply(const StoreChanges &changes);

    /** The same for the last time: it waits in any case. */
    void apply_at_last(const StoreChanges &changes);

    /** What it holds at one moment; waits for locks as `apply` does. @throws Error as `read_analytics_store`. */
    StoreContents contents();

    /** Removes everything. */
    void clear();

private:
    struct Connection;
    std::unique_ptr<Connection> _connection;
};

} // namespace host
