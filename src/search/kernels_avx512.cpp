// Kernels for processors with AVX-512 and its population counts: vectors of 16 cells.
#include "search/kernels.h"

#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512DQ__) && defined(__AVX512VL__) && \
    defined(__AVX512VPOPCNTDQ__)
#include <immintrin.h>

namespace {

constexpr int N = 16;
typedef uint32_t vec __attribute__((vector_size(N * 4)));
typedef uint32_t loosevec __attribute__((vector_size(N * 4), aligned(4), may_alias));

inline bool anybit(vec x)
{
    return _mm512_test_epi32_mask((__m512i) x, (__m512i) x) != 0;
}

typedef uint32_t half __attribute__((vector_size(N * 2)));

inline half lower(vec x) { return __builtin_shufflevector(x, x, 0, 1, 2, 3, 4, 5, 6, 7); }
inline half upper(vec x) { return __builtin_shufflevector(x, x, 8, 9, 10, 11, 12, 13, 14, 15); }

// Top bits of fields stand at odd places, so the upper half fits in between.
inline uint32_t countbits(vec e)
{
    __m256i x = _mm256_popcnt_epi64((__m256i) (lower(e) | upper(e) >> 1));
    __m128i y = _mm_add_epi64(_mm256_castsi256_si128(x), _mm256_extracti128_si256(x, 1));
    return uint32_t(_mm_cvtsi128_si64(y) + _mm_extract_epi64(y, 1));
}

// Bits of any vector, in parts that can be added up before they are summed.
inline vec partcounts(vec x) { return (vec) _mm512_popcnt_epi64((__m512i) x); }

inline uint32_t sumparts(vec n)
{
    __m256i x = (__m256i) (lower(n) + upper(n));
    __m128i y = _mm_add_epi64(_mm256_castsi256_si128(x), _mm256_extracti128_si256(x, 1));
    return uint32_t(_mm_cvtsi128_si64(y) + _mm_extract_epi64(y, 1));
}

inline vec countcells(vec e)
{
    return (vec) _mm512_popcnt_epi32((__m512i) e);
}

inline uint32_t sumcells(vec v)
{
    __m256i h = (__m256i) (lower(v) + upper(v));
    __m128i x = _mm_add_epi32(_mm256_castsi256_si128(h), _mm256_extracti128_si256(h, 1));
    x = _mm_add_epi32(x, _mm_shuffle_epi32(x, 0x4e));
    x = _mm_add_epi32(x, _mm_shuffle_epi32(x, 0xb1));
    return uint32_t(_mm_cvtsi128_si32(x));
}

// A bit for each byte: its top bit.
inline uint64_t bytemask(vec x) { return _mm512_movepi8_mask((__m512i) x); }

// Bytes of w where the byte of x has its top bit, added up in pairs of cells, the sum in the first.
inline vec addbytes(vec x, vec w)
{
    __m512i marked = _mm512_maskz_mov_epi8(_mm512_movepi8_mask((__m512i) x), (__m512i) w);
    return (vec) _mm512_sad_epu8(marked, _mm512_setzero_si512());
}

inline vec tofeet(vec e, vec shift)
{
    return e >> shift;
}

#include "search/kernels_body.h"

const kernelset thesekernels = makekernels("avx512");

}  // namespace

const kernelset *const avx512kernels = &thesekernels;
#else
const kernelset *const avx512kernels = nullptr;
#endif
