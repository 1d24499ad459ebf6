#include "host/TallybookStore.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "host/count_text.h"
#include "host/fault_points.h"
#include "platform/TallybookStore.h"

namespace host {
namespace {

void print(const Error &failure, Fate) { std::fprintf(stderr, "analytics store: %s\n", failure.what()); }

std::string loss_of(std::uint64_t operations) {
    return count_text(operations, "operation is lost", "operations are lost");
}

/** The process's store, under its lock, where nothing else is said. */
class Store {
public:
    std::mutex mutex;

    void use(std::unique_ptr<AnalyticsStore> file) {
        exchange_file(std::move(file));
        _in_memory = {};
    }

    /** Not under the lock: a file is read while a writer waits for the lock of another program. */
    StoreContents contents() {
        {
            const std::lock_guard lock(_reading);
            if (_file != nullptr) {
                return _file->contents();
            }
        }
        const std::lock_guard lock(mutex);
        return _in_memory;
    }

    void clear() {
        forget_waiting();
        _in_memory = {};
        _lost = 0;
        if (_file != nullptr) {
            _file->clear();
        }
    }

    /**
     * Applies changes, together with those that wait and after them, or leaves them all waiting. Without the memory
     * for either, these changes are lost, which is said.
     */
    void write(const StoreChanges &changes) noexcept {
        try {
            if (_waiting.is_empty()) {
                apply_or_keep(changes);
            } else {
                keep(changes);
                try_what_waits();
            }
        } catch (const std::bad_alloc &) {
            lose(changes.operations());
        }
    }

    /** The end of the store: the last try. @throws Error saying how many operations are lost, if some are. */
    void close() {
        const std::unique_ptr<AnalyticsStore> closing = exchange_file(nullptr);
        const StoreChanges last = std::exchange(_waiting, {});
        const std::uint64_t lost = std::exchange(_lost, 0);
        _in_memory = {};
        _told.clear();
        try {
            if (!last.is_empty()) {
                closing->apply_last(last);
            }
        } catch (const Error &failure) {
            throw Error(failure.file(), failure.place(), failure.reason() + "; " + loss_of(lost + last.operations()));
        }
        if (lost > 0) {
            throw loss_without_memory(closing.get(), lost);
        }
    }

    StoreFailureReport report = print;

private:
    std::unique_ptr<AnalyticsStore> exchange_file(std::unique_ptr<AnalyticsStore> file) {
        const std::lock_guard lock(_reading);
        return std::exchange(_file, std::move(file));
    }

    static Error loss_without_memory(const AnalyticsStore *file, std::uint64_t operations) {
        return {file != nullptr ? file->path() : kStoreInMemory, "",
                "there was no memory for what came; " + loss_of(operations)};
    }

    void apply_or_keep(const StoreChanges &changes) {
        try {
            if (_file != nullptr) {
                _file->apply(changes);
            } else {
                apply(_in_memory, changes);
            }
            _told.clear();
        } catch (const Error &failure) {
            keep(changes);
            tell(failure);
        }
    }

    /** All of the changes or, without memory, none of them. */
    void keep(const StoreChanges &changes) {
        StoreChanges all;
        all.append(_waiting);
        all.append(changes);
        _waiting = std::move(all);
    }

    void try_what_waits() noexcept {
        try {
            _file->apply(_waiting);
            forget_waiting();
        } catch (const Error &failure) {
            tell(failure);
        } catch (const std::bad_alloc &) {
            // It waits on, and nothing could be said without memory.
        }
    }

    void lose(std::uint64_t operations) noexcept {
        _lost += operations;
        say(Fate::kLost, [&] { return loss_without_memory(_file.get(), operations); });
    }

    void forget_waiting() {
        _waiting.clear();
        _told.clear();
    }

    void tell(const Error &failure) noexcept {
        if (_told == failure.what()) {
            return;
        }
        say(Fate::kKept, [&] {
            _told = failure.what();
            return failure;
        });
    }

    template <typename MakeError>
    void say(Fate operations, const MakeError &make_error) noexcept {
        try {
            report(make_error(), operations);
        } catch (const std::bad_alloc &) {
            std::fputs("analytics store: a failure, and no memory to say which\n", stderr);
        }
    }

    std::mutex _reading;                   ///< taken after the other one, to read from the file or to exchange it
    std::unique_ptr<AnalyticsStore> _file; ///< null: the store is in memory
    StoreContents _in_memory;
    StoreChanges _waiting;   ///< what could not be written yet
    std::uint64_t _lost = 0; ///< operations that there was no memory for
    std::string _told;       ///< the failure that was reported last; empty when the last write was fine
};

/** Never destroyed: a plug-in may still publish while the process exits. */
Store &store() {
    static Store &instance = *new Store;
    return instance;
}

/** The batch of this thread; none outside of batches. */
thread_local StoreChanges *current_batch = nullptr;

/** The changes of this thread's batches, kept for their storage. */
StoreChanges &gathered_on_this_thread() {
    thread_local StoreChanges changes;
    return changes;
}

void write(const StoreChanges &changes) noexcept {
    if (!changes.is_empty()) {
        const std::lock_guard lock(store().mutex);
        store().write(changes);
    }
}

/** Changes this thread's batch, or else the store at once; a change that fails, or that has no key, is none. */
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
        current_batch = &gathered_on_this_thread();
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

/** A distribution has one zero. */
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
