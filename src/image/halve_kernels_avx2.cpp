// Halving for processors with AVX2. What does not fill a register is left to the loops for any processor.
#include "halve_kernels_p.h"

#include "vector_kernels_avx2_p.h"

namespace yk::img {
namespace {

/// Sixteen means of four bytes: pairs of adjacent ones of two rows.
__m256i MeansOfPairs(__m256i upper, __m256i lower) noexcept {
  __m256i const one = _mm256_set1_epi8(1);
  return _mm256_srli_epi16(
      _mm256_add_epi16(_mm256_maddubs_epi16(upper, one), _mm256_maddubs_epi16(lower, one)), 2);
}

void HalveGrey(uint8_t const* upper, uint8_t const* lower, uint8_t* target, size_t pixels) noexcept {
  size_t i = 0;
  for (; i + 32 <= pixels; i += 32) {
    __m256i const low = MeansOfPairs(LoadWide(upper + 2 * i), LoadWide(lower + 2 * i));
    __m256i const high = MeansOfPairs(LoadWide(upper + 2 * i + 32), LoadWide(lower + 2 * i + 32));
    StoreWide(target + i, _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8));
  }
  HALVE_BASE.grey(upper + 2 * i, lower + 2 * i, target + i, pixels - i);
}

/// Four pixels of three bytes at `at` and four at `at` + 24, two by two: channel by channel, then zeros.
__m256i LoadPairs(uint8_t const* at) noexcept {
  __m256i const both =
      _mm256_inserti128_si256(_mm256_castsi128_si256(LoadVector(at)), LoadVector(at + 24), 1);
  return _mm256_shuffle_epi8(both,
                             Twice(_mm_setr_epi8(0, 3, 1, 4, 2, 5, -1, -1, 6, 9, 7, 10, 8, 11, -1, -1)));
}

void HalveColour(uint8_t const* upper, uint8_t const* lower, uint8_t* target, size_t pixels) noexcept {
  size_t i = 0;
  // The last store extends into pixel 10, the loads into the one after the last.
  for (; i + 11 <= pixels; i += 8) {
    uint8_t const *const above = upper + 6 * i, *const below = lower + 6 * i;
    __m256i const even = MeansOfPairs(LoadPairs(above), LoadPairs(below));
    __m256i const odd = MeansOfPairs(LoadPairs(above + 12), LoadPairs(below + 12));
    StoreTwelves(target + 3 * i, DropFourth(_mm256_packus_epi16(even, odd)), 11);
  }
  HALVE_BASE.colour(upper + 6 * i, lower + 6 * i, target + 3 * i, pixels - i);
}

}  // namespace

HalveKernels const HALVE_AVX2 = {HalveGrey, HalveColour};

}  // namespace yk::img
