// Premultiplying for any x86-64 processor.
#include "premultiply_kernels_p.h"

#include "core/processor_p.h"
#include "core/vectors_p.h"

namespace yk::img {
namespace {

/// Two channels of each pixel in lanes of 16 bits. p / 255 is (p + 1) * 257 >> 16 for every product of bytes.
__m128i Scaled(__m128i channels, __m128i alpha) noexcept {
  __m128i const products = _mm_add_epi16(_mm_mullo_epi16(channels, alpha), _mm_set1_epi16(1));
  return _mm_mulhi_epu16(products, _mm_set1_epi16(257));
}

__m128i Premultiplied(__m128i pixels) noexcept {
  __m128i const once = _mm_srli_epi32(pixels, 24), alpha = _mm_or_si128(once, _mm_slli_epi32(once, 16));
  __m128i const whole = _mm_set1_epi32(255 << 16);  // leaves alpha itself unchanged
  __m128i const even = Scaled(_mm_and_si128(pixels, _mm_set1_epi16(0xFF)), alpha);
  __m128i const odd = Scaled(_mm_srli_epi16(pixels, 8), _mm_or_si128(alpha, whole));
  return _mm_or_si128(even, _mm_slli_epi16(odd, 8));
}

// The last vector may overlap the one before, so it is computed before any is stored.
void Row(uint8_t* row, size_t pixels) noexcept {
  uint8_t* const last = row + 4 * (pixels - 4);
  __m128i const end = Premultiplied(LoadVector(last));
  for (; row < last; row += 16) StoreVector(row, Premultiplied(LoadVector(row)));
  StoreVector(last, end);
}

}  // namespace

void PremultiplyScalar(AlphaRows const& rows) noexcept {
  for (int i = 0; i < rows.count; ++i) {
    uint8_t* pixel = rows.first + i * rows.stride;
    for (size_t x = 0; x < rows.pixels; ++x, pixel += 4) {
      for (int c = 0; c < 3; ++c) pixel[c] = static_cast<uint8_t>(pixel[c] * pixel[3] / 255);
    }
  }
}

void PremultiplyBase(AlphaRows const& rows) noexcept {
  if (rows.pixels < 4) return PremultiplyScalar(rows);
  for (int i = 0; i < rows.count; ++i) Row(rows.first + i * rows.stride, rows.pixels);
}

PremultiplyFunction BestPremultiply() noexcept { return HasAvx2() ? PremultiplyAvx2 : PremultiplyBase; }

}  // namespace yk::img
