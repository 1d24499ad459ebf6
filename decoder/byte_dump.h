/** Bytes as text: one byte in decimal, and the dump of many bytes. */
#ifndef DECODER_BYTE_DUMP_H
#define DECODER_BYTE_DUMP_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace decoder {

/** A byte's decimal digits, followed by a comma. */
struct byte_text {
    std::array<char, 4> characters{};
    std::uint32_t size = 0; ///< including the comma
};

inline constexpr auto kByteTexts = [] {
    std::array<byte_text, 256> texts{};
    for (unsigned value = 0; value < 256; ++value) {
        byte_text &text = texts[value];
        for (unsigned place = 100; place != 0; place /= 10) {
            if (value >= place || place == 1) {
                text.characters[text.size++] = static_cast<char>('0' + value / place % 10);
            }
        }
        text.characters[text.size++] = ',';
    }
    return texts;
}();

/** Writes the byte in decimal and a comma. Needs room for 4 characters. */
inline char *put_byte_and_comma(char *out, std::uint8_t byte) {
    const byte_text &text = kByteTexts[byte];
    std::memcpy(out, text.characters.data(), text.characters.size());
    return out + text.size;
}

/** The room that `put_dump` needs for `length` bytes: the longest text, and 64 characters that a vector store may
 * touch. */
constexpr std::size_t dump_room(std::size_t length) { return 4 * length + 2 + 64; }

/** Writes "[", the bytes in decimal separated by commas, and "]". Needs room for `dump_room(length)` characters. */
char *put_dump(char *out, const std::uint8_t *data, std::size_t length);

/** The same on any processor. `put_dump` uses it on processors without the vector instructions. */
char *put_dump_portably(char *out, const std::uint8_t *data, std::size_t length);

} // namespace decoder

#endif
