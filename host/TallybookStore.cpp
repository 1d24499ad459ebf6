#include "host/TallybookStore.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <sys/stat.h>

#include "host/count_text.h"
#include "host/fault_points.h"
#include "platform/TallybookStore.h"

namespace host {
namespace {

void print(const Error &failure, Fate) { std::fprintf(stderr, "analytics store: %s\n", failure.what()); }

std::string loss_text(std::uint64_t operations) {
    return count_text(operations, "operation is lost", "operations are lost");
}

/** Which file a path leads to. */
struct FileIdentity {
    dev_t device = 0;
    ino_t number = 0;

    /** Of no file when the path leads to none. */
    static FileIdentity of(const std::string &path) {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 ? FileIdentity{status.st_dev, status.st_ino} : FileIdentity{};
    }

    friend bool operator==(const FileIdentity &, const FileIdentity &) = default;
};

/** The process's store. Members are called with `mutex` held, unless stated otherwise. */
class Store {
public:
    std::mutex mutex;

    void use(std::unique_ptr<AnalyticsStore> file) {
        exchange_file(std::move(file));
        _in_memory = {};
    }

    /** Called without `mutex`: a file can be read while a writer waits for the lock of another program. */
    StoreContents contents() {
        {
            const std::lock_guard lock(_reading);
            if (_file != nullptr) {
                if (FileIdentity::of(_file->path()) != _identity) {
                    throw Error(_file->path(), "", "was moved or deleted while it was open");
                }
                return _file->contents();
            }
        }
        const std::lock_guard lock(mutex);
        return _in_memory;
    }

    void clear() {
        clear_waiting();
        _in_memory = {};
        _lost = 0;
        if (_file != nullptr) {
            _file->clear();
        }
    }

    /**
     * Applies the changes that wait and then `changes`, or leaves them all waiting. When memory is exhausted or too
     * much waits, `changes` are dropped and reported.
     */
    void write(const StoreChanges &changes) noexcept {
        try {
            if (!_waiting.is_empty() && !may_wait(changes)) {
                write_waiting();
            }
            if (_waiting.is_empty()) {
                apply_or_keep(changes);
            } else if (may_wait(changes)) {
                keep(changes);
                write_waiting();
            } else {
                drop_beyond_limit(changes.operations());
            }
        } catch (const std::bad_alloc &) {
            drop_without_memory(changes.operations());
        }
    }

    /** Tries a last time and closes the store. @throws Error with the number of lost operations, if any. */
    void close() {
        const std::unique_ptr<AnalyticsStore> closing = exchange_file(nullptr);
        const StoreChanges last = std::exchange(_waiting, {});
        _waiting_operations = 0;
        const std::uint64_t lost = std::exchange(_lost, 0);
        _in_memory = {};
        forget_reports();
        try {
            if (!last.is_empty()) {
                closing->apply_last(last);
            }
        } catch (const Error &failure) {
            _lost_operations += last.operations();
            throw Error(failure.file(), failure.place(), failure.reason() + "; " + loss_text(lost + last.operations()));
        }
        const std::optional<Error> loss =
            lost > 0 ? std::optional(loss_of(closing.get(), lost, _loss_reason)) : std::nullopt;
        if (closing != nullptr) {
            close_file(*closing);
        }
        if (loss) {
            throw Error(*loss);
        }
    }

    /** Called without `mutex`. */
    UnwrittenOperations unwritten() const {
        return {_waiting_operations.load(std::memory_order_relaxed), _lost_operations.load(std::memory_order_relaxed)};
    }

    StoreFailureReport report = print;

private:
    std::unique_ptr<AnalyticsStore> exchange_file(std::unique_ptr<AnalyticsStore> file) {
        const std::lock_guard lock(_reading);
        _identity = file != nullptr ? FileIdentity::of(file->path()) : FileIdentity{};
        return std::exchange(_file, std::move(file));
    }

    void close_file(AnalyticsStore &file) {
        const std::string path = file.path();
        if (const std::string left = file.close(); !left.empty()) {
            call_report(Fate::kBeside, [&] { return Error(path, "", left); });
        }
    }

    static Error loss_of(const AnalyticsStore *file, std::uint64_t operations, const char *reason) {
        return {file != nullptr ? file->path() : kStoreInMemory, "",
                std::string(reason) + "; " + loss_text(operations)};
    }

    bool may_wait(const StoreChanges &changes) const { return _waiting.size() + changes.size() <= kMostWaiting; }

    void apply_or_keep(const StoreChanges &changes) {
        try {
            if (_file != nullptr) {
                _file->apply(changes);
            } else {
                apply(_in_memory, changes);
            }
            forget_reports();
        } catch (const Error &failure) {
            if (may_wait(changes)) {
                keep(changes);
                report_kept(failure);
            } else {
                drop_beyond_limit(changes.operations());
            }
        }
    }

    /** Keeps all of the changes, or none of them when memory is exhausted. */
    void keep(const StoreChanges &changes) {
        StoreChanges all;
        all.append(_waiting);
        all.append(changes);
        _waiting = std::move(all);
        _waiting_operations = _waiting.operations();
    }

    void write_waiting() noexcept {
        try {
            _file->apply(_waiting);
            clear_waiting();
        } catch (const Error &failure) {
            report_kept(failure);
        } catch (const std::bad_alloc &) {
            // The changes keep waiting; there is no memory to report it.
        }
    }

    void drop_without_memory(std::uint64_t operations) noexcept { drop(operations, "out of memory", true); }

    /** The store may stay away for days, so only the first loss is reported. Closing gives the number of all. */
    void drop_beyond_limit(std::uint64_t operations) noexcept {
        drop(operations, "too many operations wait to be written", !std::exchange(_limit_is_reported, true));
    }

    void drop(std::uint64_t operations, const char *reason, bool is_reported) noexcept {
        _lost += operations;
        _lost_operations += operations;
        _loss_reason = reason;
        if (is_reported) {
            call_report(Fate::kLost, [&] { return loss_of(_file.get(), operations, reason); });
        }
    }

    void clear_waiting() {
        _waiting.clear();
        _waiting_operations = 0;
        forget_reports();
    }

    /** The next failure is the first of a new series. */
    void forget_reports() {
        _last_reported.clear();
        _limit_is_reported = false;
    }

    void report_kept(const Error &failure) noexcept {
        if (_last_reported == failure.what()) {
            return;
        }
        call_report(Fate::kKept, [&] {
            _last_reported = failure.what();
            return failure;
        });
    }

    template <typename MakeError>
    void call_report(Fate operations, const MakeError &make_error) noexcept {
        try {
            report(make_error(), operations);
        } catch (const std::bad_alloc &) {
            std::fputs("analytics store: an operation failed and there is no memory to report why\n", stderr);
        }
    }

    std::mutex _reading;                   ///< guards `_file`; taken after `mutex` where both are held
    std::unique_ptr<AnalyticsStore> _file; ///< null: the store is in memory
    FileIdentity _identity;                ///< of the file, as it was opened; guarded by `_reading`
    StoreContents _in_memory;
    StoreChanges _waiting;                             ///< could not be written yet
    std::uint64_t _lost = 0;                           ///< operations dropped since the store was opened
    const char *_loss_reason = "";                     ///< why the last of them were
    std::atomic<std::uint64_t> _waiting_operations{0}; ///< as many as `_waiting` has
    std::atomic<std::uint64_t> _lost_operations{0};    ///< of all stores of the process
    std::string _last_reported;                        ///< the last reported failure; empty after a successful write
    bool _limit_is_reported = false;                   ///< since the last successful write
};

/** Never destroyed: a plug-in may still publish while the process exits. */
Store &store() {
    static Store &instance = *new Store;
    return instance;
}

/** The open batch of this thread; null outside of batches. */
thread_local StoreChanges *current_batch = nullptr;

/** The storage of this thread's batches, reused from one to the next. */
StoreChanges &batch_storage() {
    thread_local StoreChanges changes;
    return changes;
}

void write(const StoreChanges &changes) noexcept {
    if (!changes.is_empty()) {
        const std::lock_guard lock(store().mutex);
        store().write(changes);
    }
}

/** Adds a change to this thread's batch, or writes it at once outside of a batch. Ignores a null key. */
template <typename Change>
void change_store(FaultPoint &fault, TvStringRef key, Change change) {
    const char *text = TvStringGetCString(key);
    if (fault.strikes() || text == nullptr) {
        return;
    }
    const std::string_view name(text, TvStringGetLength(key));
    try {
        if (current_batch != nullptr) {
            change(*current_batch, name);
            return;
        }
        StoreChanges alone;
        change(alone, name);
        write(alone);
    } catch (const std::bad_alloc &) {
        return;
    }
}

FaultPoint scalar_clear_fault("TallybookScalarClear");
FaultPoint scalar_set_fault("TallybookScalarSet");
FaultPoint scalar_add_fault("TallybookScalarAdd");
FaultPoint distribution_clear_fault("TallybookDistributionClear");
FaultPoint distribution_set_fault("TallybookDistributionSet");
FaultPoint distribution_push_fault("TallybookDistributionPush");

} // namespace

void open_store(const std::string &path) {
    std::unique_ptr<AnalyticsStore> file;
    if (path != kStoreInMemory) {
        file = std::make_unique<AnalyticsStore>(path);
    }
    close_store();
    const std::lock_guard lock(store().mutex);
    store().use(std::move(file));
}

void close_store() {
    const std::lock_guard lock(store().mutex);
    store().close();
}

StoreContents store_contents() { return store().contents(); }

UnwrittenOperations unwritten_operations() { return store().unwritten(); }

void clear_store() {
    const std::lock_guard lock(store().mutex);
    store().clear();
}

void on_store_failure(StoreFailureReport report) {
    const std::lock_guard lock(store().mutex);
    store().report = report ? std::move(report) : StoreFailureReport(print);
}

StoreBatch::StoreBatch() : _is_outermost(current_batch == nullptr) {
    if (_is_outermost) {
        current_batch = &batch_storage();
    }
}

StoreBatch::~StoreBatch() {
    if (_is_outermost) {
        write(*current_batch);
        current_batch->clear();
        current_batch = nullptr;
    }
}

} // namespace host

using host::change_store;
using host::StoreChanges;

namespace {

/** Distributions store -0.0 as 0.0. */
double without_negative_zero(double value) { return value + 0.0; }

} // namespace

void TallybookScalarClear(TvStringRef key) {
    change_store(host::scalar_clear_fault, key,
                 [](StoreChanges &changes, std::string_view name) { changes.clear_scalar(name); });
}

void TallybookScalarSet(TvStringRef key, int64_t value) {
    change_store(host::scalar_set_fault, key,
                 [value](StoreChanges &changes, std::string_view name) { changes.set_scalar(name, value); });
}

void TallybookScalarAdd(TvStringRef key, int64_t delta) {
    change_store(host::scalar_add_fault, key,
                 [delta](StoreChanges &changes, std::string_view name) { changes.add_to_scalar(name, delta); });
}

void TallybookDistributionClear(TvStringRef key) {
    change_store(host::distribution_clear_fault, key,
                 [](StoreChanges &changes, std::string_view name) { changes.clear_distribution(name); });
}

void TallybookDistributionSet(TvStringRef key, double value) {
    change_store(host::distribution_set_fault, key, [value](StoreChanges &changes, std::string_view name) {
        if (!std::isnan(value)) {
            changes.set_distribution(name, without_negative_zero(value));
        }
    });
}

void TallybookDistributionPush(TvStringRef key, double value) {
    change_store(host::distribution_push_fault, key, [value](StoreChanges &changes, std::string_view name) {
        if (!std::isnan(value)) {
            changes.push(name, without_negative_zero(value));
        }
    });
}
