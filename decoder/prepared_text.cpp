#include "decoder/prepared_text.h"

namespace decoder {

#if QOR_DECODER_HAS_VECTORS

namespace {

/** The digits that a number besides words has at most. */
constexpr std::size_t kNumberDigits = 16;

/** The byte of a lane of `two` that has the sign of its number, behind the digits. */
constexpr std::size_t kSign = 2;

constexpr std::size_t size_at_most(const prepared_text::piece &piece) {
    const bool is_word = piece.what == prepared_text::kind::word;
    return piece.what == prepared_text::kind::text ? piece.text.size()
                                                   : (is_word ? 1 + word_vectors::kDecimalDigits : kNumberDigits);
}

/** The digits of the payload's words, and their signs. */
[[gnu::always_inline]] QOR_DECODER_VECTORS inline word_vectors::digits_of_words
digits_of_words_of(const _QorProfileReport &report, bool are_signed) {
    using namespace vectors; // NOLINT(google-build-using-namespace): the masks
    constexpr __mmask64 kDigitsOfTwo = 0x0303'0303'0303'0303;
    const void *const payload = report.bytes + qor::kPayloadOffset;
    const __m256i loaded = _mm256_loadu_si256(static_cast<const __m256i *>(payload));
    const __m512i numbers = _mm512_maskz_cvtepi32_epi64(kLanesOf64Bits, loaded);
    const __mmask8 is_negative = are_signed ? _mm512_cmplt_epi64_mask(numbers, _mm512_setzero_si512()) : __mmask8{0};
    const __m512i words = are_signed ? _mm512_maskz_abs_epi64(kLanesOf64Bits, numbers)
                                     : _mm512_maskz_cvtepu32_epi64(kLanesOf64Bits, loaded);
    word_vectors::digits_of_words digits = word_vectors::digits_of(words);
    const __m512i signs = _mm512_maskz_set1_epi64(is_negative, std::int64_t{'-'} << (8 * kSign));
    digits.two = _mm512_or_si512(_mm512_maskz_mov_epi8(kDigitsOfTwo, digits.two), signs);
    return digits;
}

/** The sixteen digits of a number as characters, zero for those that are not shown. */
[[gnu::always_inline]] QOR_DECODER_VECTORS inline __m128i digits_of_number(std::uint64_t number) {
    const std::uint64_t first = eight_digits(static_cast<std::uint32_t>(number / kTenToThe8));
    const std::uint64_t last = eight_digits(static_cast<std::uint32_t>(number % kTenToThe8));
    const std::uint64_t shown_of_first = first != 0 ? ~std::uint64_t{0} << leading_zero_bits(first) : 0;
    const std::uint64_t shown_of_last = first != 0 ? ~std::uint64_t{0} : ~std::uint64_t{0} << leading_zero_bits(last);
    return _mm_set_epi64x(static_cast<std::int64_t>((last + kEightZeros) & shown_of_last),
                          static_cast<std::int64_t>((first + kEightZeros) & shown_of_first));
}

} // namespace

prepared_text::prepared_text(std::span<const piece> pieces, words all_words) : _words(all_words) {
    if (!vectors::are_supported()) {
        return;
    }
    std::size_t size = 0;
    for (const piece &added : pieces) {
        size += size_at_most(added);
    }
    _parts.resize((size + vectors::kSize - 1) / vectors::kSize);
    word_vectors::pattern_writer writer(_parts);
    for (const piece &added : pieces) {
        if (added.what == kind::text) {
            writer.add_text(added.text);
        } else if (added.what == kind::word) {
            writer.add_decimal_character(vectors::kSize + word_vectors::kLane * added.index + kSign, false);
            writer.add_decimal(added.index, false);
        } else {
            writer.add_other(kNumberDigits * added.index, kNumberDigits);
        }
    }
}

template <std::size_t count>
requires(count == 1 || count == 2) QOR_DECODER_VECTORS
    char *prepared_text::put(char *out, const _QorProfileReport &report,
                             const std::array<std::uint64_t, count> &numbers) const {
    word_vectors::digits_of_words digits = digits_of_words_of(report, _words == words::are_signed);
    digits.other = _mm512_zextsi128_si512(digits_of_number(numbers[0]));
    if constexpr (count > 1) {
        digits.other = _mm512_maskz_inserti32x4(vectors::kLanesOf32Bits, digits.other, digits_of_number(numbers[1]), 1);
    }
    for (const word_vectors::pattern_part &part : _parts) {
        // Without a look at what the part has: a branch for each would cost more.
        const __m512i characters = _mm512_loadu_si512(part.characters.data());
        const __m512i indexes = _mm512_loadu_si512(part.other_indexes.data());
        const __m512i text = _mm512_mask2_permutex2var_epi8(digits.eight, characters, part.decimal, digits.two);
        out = vectors::put_nonzero(out, _mm512_mask_permutexvar_epi8(text, part.other, indexes, digits.other));
    }
    return out;
}

template char *prepared_text::put(char *, const _QorProfileReport &, const std::array<std::uint64_t, 1> &) const;
template char *prepared_text::put(char *, const _QorProfileReport &, const std::array<std::uint64_t, 2> &) const;

#else

prepared_text::prepared_text(std::span<const piece>, words) {}

#endif

} // namespace decoder
