// Kernels for processors with AVX2: vectors of 8 cells.
#include "search/kernels.h"

#if defined(__AVX2__) && defined(__POPCNT__)
#include <immintrin.h>

namespace {

constexpr int N = 8;
typedef uint32_t vec __attribute__((vector_size(N * 4)));
typedef uint32_t loosevec __attribute__((vector_size(N * 4), aligned(4), may_alias));

inline bool anybit(vec x)
{
    return !_mm256_testz_si256((__m256i) x, (__m256i) x);
}

// Top bits of fields stand at odd places, so the upper half fits in between.
inline uint32_t countbits(vec e)
{
    __m128i low = _mm256_castsi256_si128((__m256i) e), high = _mm256_extracti128_si256((__m256i) e, 1);
    __m128i x = _mm_or_si128(low, _mm_srli_epi64(high, 1));
    return uint32_t(_mm_popcnt_u64(uint64_t(_mm_cvtsi128_si64(x))) + _mm_popcnt_u64(uint64_t(_mm_extract_epi64(x, 1))));
}

// Bits of any vector, in parts that can be added up, up to 31 of them, before they are summed.
inline vec partcounts(vec e)
{
    const __m256i nibbles = _mm256_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4,
                                             0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4);
    __m256i x = (__m256i) e, mask = _mm256_set1_epi8(15);
    return (vec) _mm256_add_epi8(_mm256_shuffle_epi8(nibbles, _mm256_and_si256(x, mask)),
                                 _mm256_shuffle_epi8(nibbles, _mm256_and_si256(_mm256_srli_epi32(x, 4), mask)));
}

inline uint32_t sumparts(vec bytes)
{
    __m256i n = _mm256_sad_epu8((__m256i) bytes, _mm256_setzero_si256());
    __m128i x = _mm_add_epi64(_mm256_castsi256_si128(n), _mm256_extracti128_si256(n, 1));
    return uint32_t(_mm_cvtsi128_si64(x) + _mm_extract_epi64(x, 1));
}

inline vec countcells(vec e)
{
    return (vec) _mm256_madd_epi16(_mm256_maddubs_epi16((__m256i) partcounts(e), _mm256_set1_epi8(1)), _mm256_set1_epi16(1));
}

inline uint32_t sumcells(vec v)
{
    __m128i x = _mm_add_epi32(_mm256_castsi256_si128((__m256i) v), _mm256_extracti128_si256((__m256i) v, 1));
    x = _mm_add_epi32(x, _mm_shuffle_epi32(x, 0x4e));
    x = _mm_add_epi32(x, _mm_shuffle_epi32(x, 0xb1));
    return uint32_t(_mm_cvtsi128_si32(x));
}

// A bit for each byte: its top bit.
inline uint64_t bytemask(vec x) { return uint32_t(_mm256_movemask_epi8((__m256i) x)); }

// Bytes of w where the byte of x has its top bit, added up in pairs of cells, the sum in the first.
inline vec addbytes(vec x, vec w)
{
    const __m256i zero = _mm256_setzero_si256();
    __m256i marked = _mm256_cmpgt_epi8(zero, (__m256i) x);
    return (vec) _mm256_sad_epu8(_mm256_and_si256(marked, (__m256i) w), zero);
}

inline vec tofeet(vec e, vec shift)
{
    return e >> shift;
}

#include "search/kernels_body.h"

const kernelset thesekernels = makekernels("avx2");

}  // namespace

const kernelset *const avx2kernels = &thesekernels;
#else
const kernelset *const avx2kernels = nullptr;
#endif
