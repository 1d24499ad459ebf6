/** SipHash-2-4 of 64 bits with a key of zeros: the engine's function `sipHash64` of one text. */
#pragma once

#include <bit>
#include <cstdint>
#include <string_view>

namespace cli {

namespace sip {

struct State {
    std::uint64_t v0 = 0x736f6d6570736575;
    std::uint64_t v1 = 0x646f72616e646f6d;
    std::uint64_t v2 = 0x6c7967656e657261;
    std::uint64_t v3 = 0x7465646279746573;

    constexpr void round() {
        v0 += v1;
        v1 = std::rotl(v1, 13) ^ v0;
        v0 = std::rotl(v0, 32);
        v2 += v3;
        v3 = std::rotl(v3, 16) ^ v2;
        v0 += v3;
        v3 = std::rotl(v3, 21) ^ v0;
        v2 += v1;
        v1 = std::rotl(v1, 17) ^ v2;
        v2 = std::rotl(v2, 32);
    }

    constexpr void take(std::uint64_t word) {
        v3 ^= word;
        round();
        round();
        v0 ^= word;
    }
};

} // namespace sip

/** The hash of a text. It decides on the shard of a device, so it never changes. */
constexpr std::uint64_t sip_hash(std::string_view text) {
    sip::State state;
    std::uint64_t word = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        word |= std::uint64_t{static_cast<unsigned char>(text[index])} << (index % 8 * 8);
        if (index % 8 == 7) {
            state.take(word);
            word = 0;
        }
    }
    state.take(word | std::uint64_t{text.size()} << 56);
    state.v2 ^= 0xff;
    for (int round = 0; round < 4; ++round) {
        state.round();
    }
    return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

} // namespace cli
