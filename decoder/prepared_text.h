/** A text about a report that is put together once and then written for many. */
#ifndef DECODER_PREPARED_TEXT_H
#define DECODER_PREPARED_TEXT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "decoder/digits.h"
#include "decoder/vectors.h"
#include "qor/report.h"

#if QOR_DECODER_HAS_VECTORS
#include "decoder/word_vectors.h"
#endif

namespace decoder {

/**
 * Constant texts and, between them, words of a report's payload and other numbers. The numbers are filled in with
 * vector instructions, sixty-four characters at a time. Where the processor lacks them, a text shows nothing, and its
 * user has another way. Any number of threads may write a text.
 */
class prepared_text {
public:
    enum class kind { text, word, number };

    struct piece {
        kind what;
        std::string_view text = {}; ///< without zeros
        std::size_t index = 0;      ///< of the word in the payload, from 0 to 7, or of the number among those for `put`
    };

    enum class words { are_unsigned, are_signed };

    /** Shows nothing. */
    prepared_text() = default;
    /** Copies the pieces. @throws std::bad_alloc */
    prepared_text(std::span<const piece> pieces, words all_words);

#if QOR_DECODER_HAS_VECTORS
    bool shows_anything() const { return !_parts.empty(); }

    /** The characters that `put` may write. */
    std::size_t room() const { return _parts.size() * vectors::kSize; }

    /**
     * Only if the text shows anything.
     * @param out      has room for `room()` characters.
     * @param numbers  each one that can be put.
     * @return the end of the text.
     */
    template <std::size_t count>
    requires(count == 1 || count == 2) char *put(char *out, const _QorProfileReport &report,
                                                 const std::array<std::uint64_t, count> &numbers) const;

private:
    std::vector<word_vectors::pattern_part> _parts;
    words _words = words::are_unsigned;
#else
    static bool shows_anything() { return false; }
    static std::size_t room() { return 0; }
    template <std::size_t count>
    static char *put(char *out, const _QorProfileReport &, const std::array<std::uint64_t, count> &) {
        return out;
    }
#endif
};

/** Whether a text can show a number besides words. */
constexpr bool can_be_prepared(std::uint64_t number) { return number < kTenToThe16; }

} // namespace decoder

#endif
