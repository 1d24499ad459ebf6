/**
 * Words of a payload that are shown one behind the other. Most payloads consist of such runs, and where the processor
 * has the instructions, all words of a run become text together. A run is a constant `std::array` of `shown_word`.
 */
#ifndef DECODER_WORD_RUNS_H
#define DECODER_WORD_RUNS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "decoder/fastest_function.h"
#include "decoder/vectors.h"
#include "decoder/word_look.h"
#include "qor/field.h"

#if QOR_DECODER_HAS_VECTORS
#include "decoder/word_vectors.h"
#endif

namespace decoder {

/** What a run needs more room for than for its words at most: the rest of the last vector. */
inline constexpr std::size_t kRoomBehindRun = 64;

/** Writes the words of `run`. `put_words` uses it on processors without the vector instructions. */
template <const auto &run>
char *put_words_portably(char *out, const std::uint8_t *words) {
    [&]<std::size_t... index>(std::index_sequence<index...>) {
        ((out = put_word_as(out, run[index].look,
                            qor::load_little_endian<std::uint32_t>(words + sizeof(std::uint32_t) * run[index].number))),
         ...);
    }
    (std::make_index_sequence<run.size()>{});
    return out;
}

/**
 * Writes the words of `run`.
 * @param out  room for the sizes of all words at most and `kRoomBehindRun`, all of which may be written.
 * @param words  the eight words of a payload, 32 bytes.
 * @return the end of the text.
 */
template <const auto &run>
char *put_words(char *out, const std::uint8_t *words) {
#if QOR_DECODER_HAS_VECTORS
    return fastest_function<word_vectors::put_words<run>, put_words_portably<run>, vectors::are_supported>::call(out,
                                                                                                                 words);
#else
    return put_words_portably<run>(out, words);
#endif
}

} // namespace decoder

#endif
