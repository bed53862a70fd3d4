// Halving for any x86-64 processor.
#include "halve_kernels_p.h"

#include <string.h>

#include <algorithm>

#include "core/vectors_p.h"
#include "recode_p.h"

namespace yk::img {
namespace {

/// Sums of the horizontal pairs of sixteen bytes.
__m128i PairSums(__m128i bytes) noexcept {
  return _mm_add_epi16(_mm_and_si128(bytes, _mm_set1_epi16(0xFF)), _mm_srli_epi16(bytes, 8));
}

void HalveGrey(uint8_t const* upper, uint8_t const* lower, uint8_t* target, size_t pixels) noexcept {
  size_t i = 0;
  for (; i + 8 <= pixels; i += 8) {
    __m128i const sums =
        _mm_add_epi16(PairSums(LoadVector(upper + 2 * i)), PairSums(LoadVector(lower + 2 * i)));
    __m128i const means = _mm_packus_epi16(_mm_srli_epi16(sums, 2), _mm_setzero_si128());
    StoreHalf(target + i, means);
  }
  for (; i < pixels; ++i) {
    target[i] =
        static_cast<uint8_t>((upper[2 * i] + upper[2 * i + 1] + lower[2 * i] + lower[2 * i + 1]) >> 2);
  }
}

/// Three bytes per pixel. Averages every byte with the one three bytes further on, needed or not, so that the
/// loop is one over plain bytes; of every six averages, the first three belong to a pixel.
void HalveColour(uint8_t const* upper, uint8_t const* lower, uint8_t* target, size_t pixels) noexcept {
  constexpr size_t BLOCK = 64;
  uint8_t means[6 * BLOCK];
  for (size_t done = 0; done < pixels; done += BLOCK, upper += 6 * BLOCK, lower += 6 * BLOCK) {
    size_t const now = std::min(pixels - done, BLOCK);
    for (size_t i = 0; i < 6 * now - 3; ++i) {
      means[i] = static_cast<uint8_t>((upper[i] + upper[i + 3] + lower[i] + lower[i + 3]) >> 2);
    }
    for (size_t x = 0; x < now; ++x) memcpy(target + 3 * (done + x), means + 6 * x, 3);
  }
}

/// In single precision, in the order in which area averaging adds, apart from the factor of a quarter, which
/// is exact.
void HalveAlpha(uint8_t const* upper, uint8_t const* lower, uint8_t* target, size_t pixels) noexcept {
  using Unit = Recoded<float, uint8_t>;
  for (size_t i = 0; i < 4 * pixels; ++i) {
    size_t const at = i + i / 4 * 4;
    float const sum =
        ((Unit::Of(upper[at]) + Unit::Of(upper[at + 4])) + Unit::Of(lower[at])) + Unit::Of(lower[at + 4]);
    target[i] = Recoded<uint8_t, float>::Of(0.25f * sum);
  }
}

}  // namespace

HalveKernels const HALVE_BASE = {HalveGrey, HalveColour, HalveAlpha};

}  // namespace yk::img
