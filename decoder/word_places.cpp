#include "decoder/word_places.h"

#include <cstring>

#include "decoder/digits.h"
#include "decoder/fastest_function.h"
#include "qor/field.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace decoder {

namespace {

#if defined(__x86_64__)

// The intrinsics without a mask start from undefined registers, and g++ 12 wrongly warns about that.
constexpr __mmask8 kAllLanes = 0xFF;
constexpr __mmask16 kAllHalves = 0xFFFF;

/**
 * Writes four slots, whose digits come as numbers of two digits.
 *
 * In `shown`, the bit of each byte that is a digit other than zero, or the last of its slot. Taking 1 from the bits of
 * a slot turns those below its lowest: these are the blanks.
 */
__attribute__((target("avx512bw"))) inline void put_slots(char *out, __m512i twos) {
    constexpr std::uint64_t kFirstOfSlot = 0x0001'0001'0001'0001;
    constexpr std::uint64_t kLastOfSlot = kFirstOfSlot << (word_places::kSlot - 1);
    const __m512i tens = _mm512_srli_epi16(_mm512_mullo_epi16(twos, _mm512_set1_epi16(103)), 10);
    const __m512i ones = _mm512_sub_epi16(twos, _mm512_mullo_epi16(tens, _mm512_set1_epi16(10)));
    const __m512i digits = _mm512_or_si512(tens, _mm512_slli_epi16(ones, 8));
    const std::uint64_t shown = _mm512_test_epi8_mask(digits, digits) | kLastOfSlot;
    const std::uint64_t blanks = (shown - kFirstOfSlot) & ~shown;
    const __m512i text = _mm512_or_si512(digits, _mm512_set1_epi8('0'));
    _mm512_storeu_si512(out, _mm512_mask_mov_epi8(text, blanks, _mm512_set1_epi8(' ')));
}

/**
 * The arithmetic of `eight_digits` for all words, one in each 64-bit lane. Divisions of 32-bit numbers are
 * multiplications: by 10^8 with 1441151881 / 2^57, by 10^4 with 3518437209 / 2^45, both exact below 2^32, and by 100
 * with 5243 / 2^19, exact below 43,699.
 *
 * In a mix where seven of ten reports show six such numbers, a line takes 87 ns this way and 98 ns with one at a time
 * (`bench/whole-program`).
 */
__attribute__((target("avx512bw"))) void put_word_places_vectors(word_places &places, const std::uint8_t *bytes,
                                                                 std::uint8_t) {
    __m256i words;
    std::memcpy(&words, bytes, sizeof words);
    const __m512i value = _mm512_maskz_cvtepu32_epi64(kAllLanes, words);
    const __m512i high = _mm512_maskz_srli_epi64(
        kAllLanes, _mm512_maskz_mul_epu32(kAllLanes, value, _mm512_set1_epi64(1'441'151'881)), 57);
    const __m512i low = _mm512_sub_epi64(value, _mm512_maskz_mul_epu32(kAllLanes, high, _mm512_set1_epi64(kTenToThe8)));
    const __m512i first = _mm512_maskz_srli_epi64(
        kAllLanes, _mm512_maskz_mul_epu32(kAllLanes, low, _mm512_set1_epi64(3'518'437'209)), 45);
    const __m512i last = _mm512_sub_epi64(low, _mm512_maskz_mul_epu32(kAllLanes, first, _mm512_set1_epi64(10'000)));
    const __m512i fours = _mm512_or_si512(first, _mm512_maskz_slli_epi64(kAllLanes, last, 32));
    const __m512i hundreds = _mm512_srli_epi16(_mm512_mulhi_epu16(fours, _mm512_set1_epi16(5'243)), 3);
    const __m512i rest = _mm512_sub_epi16(fours, _mm512_mullo_epi16(hundreds, _mm512_set1_epi16(100)));
    const __m512i twos = _mm512_or_si512(hundreds, _mm512_maskz_slli_epi32(kAllHalves, rest, 16));
    // A slot has three numbers that are zero, the highest two digits, and the other eight.
    const __m512i highest = _mm512_maskz_slli_epi64(kAllLanes, high, 48);
    put_slots(places.slots.data(), _mm512_maskz_unpacklo_epi64(kAllLanes, highest, twos));
    put_slots(places.slots.data() + places.slots.size() / 2, _mm512_maskz_unpackhi_epi64(kAllLanes, highest, twos));
}

bool has_vectors() { return __builtin_cpu_supports("avx512bw"); }

#endif

} // namespace

void put_word_places_portably(word_places &places, const std::uint8_t *bytes, std::uint8_t wanted) {
    for (std::size_t word = 0; word < word_places::kWords; ++word) {
        if ((wanted >> word & 1) != 0) {
            put_ten_places(places.slots.data() + word_places::place_of(word),
                           qor::load_little_endian<std::uint32_t>(bytes + word * word_places::kWordBytes));
        }
    }
}

void put_word_places(word_places &places, const std::uint8_t *bytes, std::uint8_t wanted) {
#if defined(__x86_64__)
    fastest_function<put_word_places_vectors, put_word_places_portably, has_vectors>::call(places, bytes, wanted);
#else
    put_word_places_portably(places, bytes, wanted);
#endif
}

} // namespace decoder
