/** C++ only: a handle that gives back what it owns when it goes. */
#ifndef PLATFORM_OWNED_H
#define PLATFORM_OWNED_H

#include <utility>

#include "platform/RvPlugIn.h"
#include "platform/RvRegistry.h"
#include "platform/TvValues.h"

namespace platform {

/**
 * Owns one handle of type `Handle`, whose null value is `Handle{}`; the owned handle is given back with
 * `release` exactly once. Not copyable; moving leaves null behind.
 */
template <typename Handle, void (*release)(Handle)>
class Owned {
public:
    Owned() = default;
    explicit Owned(Handle handle) : _handle(handle) {}
    Owned(Owned &&other) noexcept : _handle(std::exchange(other._handle, Handle{})) {}
    Owned &operator=(Owned &&other) noexcept {
        if (this != &other) {
            reset(std::exchange(other._handle, Handle{}));
        }
        return *this;
    }
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;
    ~Owned() { reset(); }

    Handle get() const { return _handle; }
    explicit operator bool() const { return _handle != Handle{}; }

    /** Hands the handle to the caller, who owns it from then on. */
    [[nodiscard]] Handle detach() { return std::exchange(_handle, Handle{}); }

    /** Gives back what is held, if anything, and holds `handle` instead. */
    void reset(Handle handle = Handle{}) {
        if (Handle old = std::exchange(_handle, handle); old != Handle{}) {
            release(old);
        }
    }

private:
    Handle _handle{};
};

inline void release_mutable_value(TvMutableDictionaryRef value) { TvRelease(value); }
inline void release_interface(RvInterfaceRef interface) { (*interface)->Release(interface); }

using OwnedValue = Owned<TvRef, TvRelease>;
/** A dictionary or an array being built. */
using OwnedMutableValue = Owned<TvMutableDictionaryRef, release_mutable_value>;
using OwnedUUID = Owned<RvUUIDRef, RvUUIDRelease>;
using OwnedEntry = Owned<RvRegistryEntry, RvRegistryEntryRelease>;
using OwnedInterface = Owned<RvInterfaceRef, release_interface>;

} // namespace platform

#endif
