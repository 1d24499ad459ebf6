#include "host/tallybook_store.h"

#include <cmath>
#include <cstdio>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "host/fault_points.h"
#include "platform/TallybookStore.h"

namespace host {
namespace {

void print(const Error &failure) { std::fprintf(stderr, "analytics store: %s\n", failure.what()); }

struct Store {
    std::mutex mutex;
    std::unique_ptr<AnalyticsStore> open = std::make_unique<AnalyticsStore>(kStoreInMemory);
    StoreChanges waiting;     ///< what could not be written yet
    std::string last_failure; ///< reported; empty when the last write was fine
    std::function<void(const Error &)> report = print;
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

void write_waiting(Store &all) {
    all.open->apply(all.waiting);
    all.waiting.forget();
    all.last_failure.clear();
}

void note_failure(Store &all, const Error &failure) {
    if (all.last_failure != failure.what()) {
        all.last_failure = failure.what();
        all.report(Error(failure.file(), failure.place(), failure.reason() + "; operations wait to be written"));
    }
}

/** Writes changes, after those that wait and together with them, or leaves them all waiting. */
void write(const StoreChanges &changes) {
    if (changes.is_empty()) {
        return;
    }
    Store &all = store();
    const std::lock_guard lock(all.mutex);
    try {
        if (all.waiting.is_empty()) {
            all.open->apply(changes);
            return;
        }
    } catch (const Error &failure) {
        all.waiting.append(changes);
        note_failure(all, failure);
        return;
    }
    all.waiting.append(changes);
    try {
        write_waiting(all);
    } catch (const Error &failure) {
        note_failure(all, failure);
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
    auto opened = std::make_unique<AnalyticsStore>(path);
    close_store();
    const std::lock_guard lock(store().mutex);
    store().open = std::move(opened);
}

void close_store() {
    Store &all = store();
    auto in_memory = std::make_unique<AnalyticsStore>(kStoreInMemory);
    const std::lock_guard lock(all.mutex);
    std::optional<Error> failure;
    try {
        if (!all.waiting.is_empty()) {
            write_waiting(all);
        }
    } catch (const Error &last) {
        failure.emplace(last.file(), last.place(),
                        last.reason() + "; " + std::to_string(all.waiting.operations()) + " operations are lost");
        all.waiting.forget();
        all.last_failure.clear();
    }
    all.open = std::move(in_memory);
    if (failure) {
        throw *failure;
    }
}

StoreContents store_contents() {
    const std::lock_guard lock(store().mutex);
    return store().open->contents();
}

void clear_store() {
    const std::lock_guard lock(store().mutex);
    store().waiting.forget();
    store().open->clear();
}

void on_store_failure(std::function<void(const Error &)> report) {
    const std::lock_guard lock(store().mutex);
    store().report = report ? std::move(report) : print;
}

StoreBatch::StoreBatch() : _is_outermost(current_batch == nullptr) {
    if (_is_outermost) {
        current_batch = &gathered_on_this_thread();
    }
}

StoreBatch::~StoreBatch() {
    if (_is_outermost) {
        write(*current_batch);
        current_batch->forget();
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
