#include "host/tallybook_store.h"

#include <mutex>
#include <new>

#include "host/fault_points.h"
#include "platform/TallybookStore.h"

namespace host {
namespace {

struct Store {
    std::mutex mutex;
    StoreContents contents;
};

/** Never destroyed: a plug-in may still publish while the process exits. */
Store &store() {
    static Store &instance = *new Store;
    return instance;
}

FaultPoint scalar_clear_fault("TallybookScalarClear");
FaultPoint scalar_set_fault("TallybookScalarSet");
FaultPoint scalar_add_fault("TallybookScalarAdd");
FaultPoint distribution_clear_fault("TallybookDistributionClear");
FaultPoint distribution_set_fault("TallybookDistributionSet");
FaultPoint distribution_push_fault("TallybookDistributionPush");

/** Changes the store under its lock; a change that fails, or that has no key, leaves it as it was. */
template <typename Change>
void change_store(FaultPoint &fault, TvStringRef key, Change change) {
    const char *name = TvStringGetCString(key);
    if (fault.strikes() || name == nullptr) {
        return;
    }
    try {
        const std::lock_guard lock(store().mutex);
        change(store().contents, std::string(name));
    } catch (const std::bad_alloc &) {
        return;
    }
}

/** The sum, wrapped at 64 bits. */
std::int64_t wrapping_sum(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

} // namespace

StoreContents store_contents() {
    const std::lock_guard lock(store().mutex);
    return store().contents;
}

void clear_store() {
    const std::lock_guard lock(store().mutex);
    store().contents = StoreContents{};
}

} // namespace host

using host::change_store;
using host::StoreContents;

void TallybookScalarClear(TvStringRef key) {
    change_store(host::scalar_clear_fault, key,
                 [](StoreContents &contents, const std::string &name) { contents.scalars.erase(name); });
}

void TallybookScalarSet(TvStringRef key, int64_t value) {
    change_store(host::scalar_set_fault, key,
                 [value](StoreContents &contents, const std::string &name) { contents.scalars[name] = value; });
}

void TallybookScalarAdd(TvStringRef key, int64_t delta) {
    change_store(host::scalar_add_fault, key, [delta](StoreContents &contents, const std::string &name) {
        std::int64_t &scalar = contents.scalars[name];
        scalar = host::wrapping_sum(scalar, delta);
    });
}

void TallybookDistributionClear(TvStringRef key) {
    change_store(host::distribution_clear_fault, key,
                 [](StoreContents &contents, const std::string &name) { contents.distributions.erase(name); });
}

void TallybookDistributionSet(TvStringRef key, double value) {
    change_store(host::distribution_set_fault, key, [value](StoreContents &contents, const std::string &name) {
        host::Distribution only{{value, 1}};
        contents.distributions[name].swap(only);
    });
}

void TallybookDistributionPush(TvStringRef key, double value) {
    change_store(host::distribution_push_fault, key, [value](StoreContents &contents, const std::string &name) {
        host::Distribution one{{value, 0}};
        host::Distribution &distribution = contents.distributions[name];
        distribution.merge(one);
        ++distribution[value];
    });
}
