/** Packed bytes, unpacked in constant memory. */
#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "cli/inputs/content.h"

namespace cli {

/** Thrown for packed bytes that cannot be unpacked. */
struct UnpackError {
    const char *reason; ///< a sentence without a full stop
};

/** Unpacks what comes in pieces of any size. One thread at a time. */
class Unpacker {
public:
    Unpacker() = default;
    Unpacker(const Unpacker &) = delete;
    Unpacker &operator=(const Unpacker &) = delete;
    virtual ~Unpacker() = default;

    /**
     * Unpacks from the front of `packed`, until there is no room or nothing left of it.
     * @param packed  what was used is taken off its front, also before an error.
     * @param room    not empty.
     * @return how many bytes were put into `room`. When that is 0, all of `packed` was used.
     * @throws UnpackError for damage; std::bad_alloc.
     */
    virtual std::size_t unpack(std::span<const std::byte> &packed, std::span<std::byte> room) = 0;

    /** Whether packed bytes may end here. */
    virtual bool may_end() const = 0;
};

/** The most memory that unpacking may need for what it refers back to. */
inline constexpr std::size_t kLargestWindow = std::size_t{128} << 20;

/** @param packing  not None. */
std::unique_ptr<Unpacker> make_unpacker(Packing packing);

} // namespace cli
