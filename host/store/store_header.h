/** The first bytes of a store file, which say whether it is one. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace host {

/** "QORA": marks an SQLite database as an analytics store. */
inline constexpr std::int64_t kApplicationNumber = 0x514F5241;

class StoreHeader {
public:
    using Bytes = std::array<unsigned char, 100>;

    /** @param bytes  the first of the file; zeros where it is shorter. */
    explicit StoreHeader(const Bytes &bytes) : _bytes(bytes) {}
    /** The same of a file in memory, or its first bytes; all zeros when they are fewer than a header has. */
    explicit StoreHeader(std::span<const std::byte> file);

    /** Whether the file is an SQLite database with the store's application number. */
    bool is_of_store() const;

    /** Whether the database is written in one of the two ways that there are. */
    bool is_writable() const;

private:
    Bytes _bytes;
};

} // namespace host
