/**
 * What functions share that use vector instructions: the instructions, and whether the processor has them. Other
 * processors than those of x86-64 have none of this, and QOR_DECODER_HAS_VECTORS is 0 there.
 */
#ifndef DECODER_VECTORS_H
#define DECODER_VECTORS_H

#if defined(__x86_64__)
#define QOR_DECODER_HAS_VECTORS 1

#include <cstddef>
#include <cstdint>

#include <immintrin.h>

/** Stands before a function that uses the instructions. Only such functions may call it inline. */
#define QOR_DECODER_VECTORS __attribute__((target("avx512vbmi2,avx512vbmi,avx512bw,avx512vl,bmi2,popcnt")))

namespace decoder::vectors {

/** Whether the processor has all the instructions of QOR_DECODER_VECTORS. */
inline bool are_supported() {
    return __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("avx512vbmi") &&
           __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("bmi2") &&
           __builtin_cpu_supports("popcnt");
}

// Masks of all lanes: the intrinsics without a mask start from undefined registers, and g++ 12 wrongly warns about
// that.
inline constexpr __mmask8 kLanesOf64Bits = 0xFF;
inline constexpr __mmask16 kLanesOf32Bits = 0xFFFF;
inline constexpr __mmask32 kLanesOf16Bits = ~__mmask32{0};
inline constexpr __mmask64 kLanesOf8Bits = ~__mmask64{0};

/** The characters in a vector. */
inline constexpr std::size_t kSize = 64;

/** Appends the characters of `text` that are not zero. Writes `kSize` characters. */
[[gnu::always_inline]] QOR_DECODER_VECTORS inline char *put_nonzero(char *out, __m512i text) {
    const __mmask64 shown = _mm512_test_epi8_mask(text, text);
    _mm512_storeu_si512(out, _mm512_maskz_compress_epi8(shown, text));
    return out + _mm_popcnt_u64(shown);
}

} // namespace decoder::vectors

#else
#define QOR_DECODER_HAS_VECTORS 0

namespace decoder::vectors {

constexpr bool are_supported() { return false; }

} // namespace decoder::vectors

#endif

#endif
