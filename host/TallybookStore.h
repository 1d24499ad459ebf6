/**
 * The process's analytics store, behind `platform/TallybookStore.h`. Any thread.
 *
 * An operation inside a batch is gathered, and written with the others when the batch ends; outside of one it is
 * written by itself. What cannot be written is kept, and written together with what comes next; what there is no memory
 * to keep is lost, which is reported. Until somebody opens another store, the process has one in memory.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/error.h"
#include "host/store/analytics_store.h"

namespace host {

/** The name of a store in memory, in place of a path. */
inline constexpr const char *kStoreInMemory = ":memory:";

/**
 * Makes `AnalyticsStore(path)`, or an empty store in memory, the process's store. The one before is closed as by
 * `close_store`.
 * @throws Error when it cannot be opened, with the one before staying, or when closing the one before loses something.
 */
void open_store(const std::string &path);

/**
 * Tries once more to write what could not be written, and closes the store; there is an empty one in memory from now
 * on. For the end of a run, when no more operations come.
 * @throws Error saying how many operations are lost, if some are; the store is closed then, too.
 */
void close_store();

/**
 * What the store holds now. What is gathered in a batch, or waits to be written, is not in it. Waits for nobody who
 * writes to a file, also not while that one waits.
 * @throws Error when it cannot be read.
 */
StoreContents store_contents();

/** Removes everything from the store, and what waits to be written. @throws Error when it cannot be written. */
void clear_store();

/** What becomes of operations that could not be written. */
enum class Fate {
    kKept, ///< they are tried again
    kLost  ///< for want of memory
};

using StoreFailureReport = std::function<void(const Error &failure, Fate operations)>;

/**
 * Chooses what is called when operations could not be written, on the thread that wrote them: once for a series of
 * equal failures, while the operations are kept, and each time that some are lost; how many, the error says then. It
 * may throw nothing but `std::bad_alloc` and must not call into this store. By default the error goes to standard
 * error.
 */
void on_store_failure(StoreFailureReport report);

/**
 * As long as this object lives, operations that its thread calls are one batch: written in one transaction at its
 * end, whole or not at all. A batch inside another is part of it.
 */
class StoreBatch {
public:
    StoreBatch();
    /** Writes the batch. */
    ~StoreBatch();
    StoreBatch(const StoreBatch &) = delete;
    StoreBatch &operator=(const StoreBatch &) = delete;

private:
    bool _is_outermost;
};

} // namespace host
