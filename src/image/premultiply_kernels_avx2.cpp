// Premultiplying for processors with AVX2: the steps of premultiply_kernels.cpp.
#include "premultiply_kernels_p.h"

#include "core/vectors_p.h"

namespace yk::img {
namespace {

__m256i Scaled(__m256i channels, __m256i alpha) noexcept {
  __m256i const products = _mm256_add_epi16(_mm256_mullo_epi16(channels, alpha), _mm256_set1_epi16(1));
  return _mm256_mulhi_epu16(products, _mm256_set1_epi16(257));
}

__m256i Premultiplied(__m256i pixels) noexcept {
  __m256i const once = _mm256_srli_epi32(pixels, 24);
  __m256i const alpha = _mm256_or_si256(once, _mm256_slli_epi32(once, 16));
  __m256i const whole = _mm256_set1_epi32(255 << 16);
  __m256i const even = Scaled(_mm256_and_si256(pixels, _mm256_set1_epi16(0xFF)), alpha);
  __m256i const odd = Scaled(_mm256_srli_epi16(pixels, 8), _mm256_or_si256(alpha, whole));
  return _mm256_or_si256(even, _mm256_slli_epi16(odd, 8));
}

void Row(uint8_t* row, size_t pixels) noexcept {
  uint8_t* const last = row + 4 * (pixels - 8);
  __m256i const end = Premultiplied(LoadWide(last));
  for (; last - row > 32; row += 64) {
    __m256i const a = Premultiplied(LoadWide(row)), b = Premultiplied(LoadWide(row + 32));
    StoreWide(row, a);
    StoreWide(row + 32, b);
  }
  if (row < last) StoreWide(row, Premultiplied(LoadWide(row)));
  StoreWide(last, end);
}

}  // namespace

void PremultiplyAvx2(AlphaRows const& rows) noexcept {
  if (rows.pixels < 8) return PremultiplyBase(rows);
  for (int i = 0; i < rows.count; ++i) Row(rows.first + i * rows.stride, rows.pixels);
}

}  // namespace yk::img
