#include "cli/recordings/content_hash.h"

#define XXH_INLINE_ALL // no library to load at every start, for one verb's hash
#include <xxhash.h>

namespace cli {

struct ContentHash::State {
    State() { XXH3_64bits_reset(&xxh3); }

    XXH3_state_t xxh3{};
};

ContentHash::ContentHash() : _state(std::make_unique<State>()) {}
ContentHash::~ContentHash() = default;
ContentHash::ContentHash(ContentHash &&other) noexcept = default;
ContentHash &ContentHash::operator=(ContentHash &&other) noexcept = default;

void ContentHash::add(std::span<const std::byte> bytes) {
    XXH3_64bits_update(&_state->xxh3, bytes.data(), bytes.size());
}

std::uint64_t ContentHash::value() const { return XXH3_64bits_digest(&_state->xxh3); }

std::string hash_text(std::uint64_t hash) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text(16, '0');
    for (auto digit = text.rbegin(); digit != text.rend(); ++digit, hash >>= 4) {
        *digit = kDigits[hash & 0xF];
    }
    return text;
}

} // namespace cli
