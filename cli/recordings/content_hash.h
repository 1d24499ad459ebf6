/** The hash that a dump is known by: XXH3 of 64 bits over its unpacked content. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace cli {

/** Hashes bytes that come in pieces. One thread at a time. */
class ContentHash {
public:
    ContentHash();
    ~ContentHash();
    ContentHash(ContentHash &&other) noexcept;
    ContentHash &operator=(ContentHash &&other) noexcept;

    void add(std::span<const std::byte> bytes);
    /** Of all bytes so far. */
    std::uint64_t value() const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

/** 16 lower-case hexadecimal digits, as the column `dump` has them. */
std::string hash_text(std::uint64_t hash);

} // namespace cli
