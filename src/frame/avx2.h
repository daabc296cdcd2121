#pragma once

// Words that the AVX2 kernels share. A kernel is marked TRELLIS_AVX2, because the library is built
// for every x86-64 processor, and runs only where use_avx2() of cpu.h says so.

#include <immintrin.h>

#define TRELLIS_AVX2 __attribute__((target("avx2")))

namespace trellis::avx2 {

TRELLIS_AVX2 inline __m256i load(const void* source) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(source));
}

TRELLIS_AVX2 inline void store(void* destination, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(destination), value);
}

TRELLIS_AVX2 inline __m128i load16(const void* source) {
    return _mm_loadu_si128(static_cast<const __m128i*>(source));
}

TRELLIS_AVX2 inline void store16(void* destination, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i*>(destination), value);
}

TRELLIS_AVX2 inline __m128i load8(const void* source) {
    return _mm_loadl_epi64(static_cast<const __m128i*>(source));
}

TRELLIS_AVX2 inline void store8(void* destination, __m128i value) {
    _mm_storel_epi64(static_cast<__m128i*>(destination), value);
}

/// The same byte shuffle within each half of 16 bytes.
TRELLIS_AVX2 inline __m256i pattern(char b0, char b1, char b2, char b3, char b4, char b5, char b6,
                                    char b7, char b8, char b9, char b10, char b11, char b12,
                                    char b13, char b14, char b15) {
    return _mm256_broadcastsi128_si256(
        _mm_setr_epi8(b0, b1, b2, b3, b4, b5, b6, b7, b8, b9, b10, b11, b12, b13, b14, b15));
}

/// Packing works within halves of 16 bytes. This puts what two packings have made of four registers
/// back in their order.
TRELLIS_AVX2 inline __m256i in_order(__m256i packed_twice) {
    return _mm256_permutevar8x32_epi32(packed_twice, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

}  // namespace trellis::avx2
