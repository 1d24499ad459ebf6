/**
 * The process's analytics store, behind `platform/TallybookStore.h`. Any thread.
 *
 * Operations inside a batch are collected and written when the batch ends; any other operation is written at once.
 * Operations that cannot be written are kept and tried again with the next write; they are dropped, and reported, when
 * memory is exhausted or more than `kMostWaiting` would wait. The store is in memory until another one is opened.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "host/error.h"
#include "host/store/analytics_store.h"

namespace host {

/** In place of a path: an empty store in memory. */
inline constexpr const char *kStoreInMemory = ":memory:";

/**
 * How many keys and distinct values of distributions may wait to be written. A batch that would bring more is dropped
 * as a whole, unless what waits can be written before it.
 */
inline constexpr std::size_t kMostWaiting = 100'000;

/**
 * Opens a store file (see `AnalyticsStore`), or an empty store in memory, as the process's store. The previous one is
 * closed as by `close_store`.
 * @throws Error when it cannot be opened, in which case the previous store stays open, and when closing the previous
 *         one loses operations.
 */
void open_store(const std::string &path);

/**
 * Tries a last time to write the operations that wait, and closes the store. From then on there is an empty store in
 * memory. Meant for the end of a run, when no more operations come.
 * @throws Error with the number of lost operations, if any; the store is closed even then.
 */
void close_store();

/**
 * Reads the store, without the operations of open batches and those that wait to be written. Reading a file does not
 * wait for writers of that file.
 * @throws Error when it cannot be read, and when its file was moved, removed or replaced after it was opened: then
 * other programs find something else at its path.
 */
StoreContents store_contents();

/** Numbers of operations on the store. */
struct UnwrittenOperations {
    std::uint64_t waiting; ///< could not be written yet, and will be tried again
    std::uint64_t lost; ///< dropped since the process started: without memory, beyond the limit, or at the store's end
};

/** Answers at once, also while another thread waits for a lock of the store. */
UnwrittenOperations unwritten_operations();

/** Removes everything from the store, and the operations that wait. @throws Error when it cannot be written. */
void clear_store();

/** The fate of operations that could not be written, or not to the store file itself. */
enum class Fate {
    kKept,  ///< they will be tried again
    kLost,  ///< dropped because memory is exhausted or too many wait
    kBeside ///< written, but to a file beside the closed store, which cannot be copied alone
};

using StoreFailureReport = std::function<void(const Error &failure, Fate operations)>;

/**
 * Sets the function called when operations could not be written, on the thread that wrote them. While operations are
 * kept, it is called once for a series of equal failures; when operations are lost, it is called each time, but only
 * once for a series of losses beyond `kMostWaiting`, and the error gives their number. Closing a store calls it when
 * operations stay beside the file. It may throw only `std::bad_alloc` and must not call this store. The default, also
 * for an empty function, prints the error to standard error.
 */
void on_store_failure(StoreFailureReport report);

/**
 * While this object lives, the operations of its thread form one batch, which is written at the end in one transaction.
 * A batch inside another one is part of it.
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
