/** A payload's words of 32 bits in decimal, all at once. */
#ifndef DECODER_WORD_PLACES_H
#define DECODER_WORD_PLACES_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace decoder {

/** Eight words as text, each right-aligned in ten characters. */
struct word_places {
    static constexpr std::size_t kWords = 8;
    static constexpr std::size_t kWordBytes = 4;
    static constexpr std::size_t kPlaces = 10;
    /** A vector has several slots. A word's text stands at the end of its slot. */
    static constexpr std::size_t kSlot = 16;

    /** The ten characters of a word. */
    static constexpr std::size_t place_of(std::size_t word) {
        // Vectors hold the words with even numbers first.
        const std::size_t slot = word % 2 * (kWords / 2) + word / 2;
        return (slot + 1) * kSlot - kPlaces;
    }

    alignas(64) std::array<char, kWords * kSlot> slots;
};

/**
 * Writes the eight little-endian words from `bytes` on, which has all of them.
 * @param wanted  a bit for each word whose text is needed, the first in the lowest. The texts of others are undefined.
 */
void put_word_places(word_places &places, const std::uint8_t *bytes, std::uint8_t wanted);

/** The same on any processor. `put_word_places` uses it on processors without the vector instructions. */
void put_word_places_portably(word_places &places, const std::uint8_t *bytes, std::uint8_t wanted);

} // namespace decoder

#endif
