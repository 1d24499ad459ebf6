/** C++ only: handles that release what they own when they are destroyed. */
#ifndef PLATFORM_OWNED_H
#define PLATFORM_OWNED_H

#include <utility>

#include "platform/RvPlugIn.h"
#include "platform/RvRegistry.h"
#include "platform/TvValues.h"

namespace platform {

/**
 * Owns one handle of type `Handle`, or none: the null value is `Handle{}`. Calls `release` exactly once for each
 * handle that it owns, and never for null. Movable, not copyable; a moved-from object holds null.
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

    /** Gives up ownership: returns the handle, which the caller now owns, and holds null. */
    [[nodiscard]] Handle detach() { return std::exchange(_handle, Handle{}); }

    /** Releases the handle that it holds, if any, and takes ownership of `handle`. */
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
/** A dictionary or an array that is still being built. */
using OwnedMutableValue = Owned<TvMutableDictionaryRef, release_mutable_value>;
using OwnedUUID = Owned<RvUUIDRef, RvUUIDRelease>;
using OwnedEntry = Owned<RvRegistryEntry, RvRegistryEntryRelease>;
using OwnedInterface = Owned<RvInterfaceRef, release_interface>;

} // namespace platform

#endif
