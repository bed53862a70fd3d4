// Halving for processors with AVX2. What does not fill a register is left to the loops for any processor.
#include "halve_kernels_p.h"

#include <initializer_list>

#include "unit_avx2_p.h"
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

/// The sums of pairs of pixels with alpha, of the first and of the second row: 255 times the mean, rounded to
/// an integer in the low bits; see VectorRecode<Isa::AVX2, uint8_t, float>.
__m256i SumOfPairs(uint8_t const* upper, uint8_t const* lower) noexcept {
  __m256 sum = _mm256_setzero_ps();
  for (uint8_t const* row : {upper, lower}) {
    __m128i const evenThenOdd = _mm_shuffle_epi32(LoadVector(row), 0xD8);
    sum = _mm256_add_ps(sum, Unit(_mm256_cvtepu8_epi32(evenThenOdd)));
    sum = _mm256_add_ps(sum, Unit(_mm256_cvtepu8_epi32(_mm_unpackhi_epi64(evenThenOdd, evenThenOdd))));
  }
  return _mm256_castps_si256(_mm256_fmadd_ps(sum, _mm256_set1_ps(255.0f / 4), _mm256_set1_ps(UNIT_1)));
}

void HalveAlpha(uint8_t const* upper, uint8_t const* lower, uint8_t* target, size_t pixels) noexcept {
  size_t i = 0;
  for (; i + 8 <= pixels; i += 8) {
    __m256i values[4];
    for (size_t k = 0; k < 4; ++k) {
      size_t const at = 8 * i + 16 * k;
      values[k] = _mm256_and_si256(SumOfPairs(upper + at, lower + at), _mm256_set1_epi32(0xFF));
    }
    StoreWide(target + 4 * i, PackBytes(values));
  }
  HALVE_BASE.alpha(upper + 8 * i, lower + 8 * i, target + 4 * i, pixels - i);
}

}  // namespace

HalveKernels const HALVE_AVX2 = {HalveGrey, HalveColour, HalveAlpha};

}  // namespace yk::img
