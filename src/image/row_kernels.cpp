#include "row_kernels_p.h"

#include <qecore/image/format.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "vectors_p.h"

namespace yk {

namespace {

template <size_t BYTES>
void Mirror(uint8_t* row, size_t pixels) noexcept {
  struct Pixel {
    uint8_t bytes[BYTES];
  };
  static_assert(sizeof(Pixel) == BYTES);
  Pixel* const first = reinterpret_cast<Pixel*>(row);
  std::reverse(first, first + pixels);
}

using MirrorFunction = void (*)(uint8_t*, size_t) noexcept;

/// Indexed by the bytes of a pixel.
constexpr MirrorFunction MIRRORS[] = {nullptr,    Mirror<1>, Mirror<2>, Mirror<3>, Mirror<4>, nullptr,
                                      Mirror<6>,  nullptr,   Mirror<8>, nullptr,   nullptr,   nullptr,
                                      Mirror<12>, nullptr,   nullptr,   nullptr,   Mirror<16>};

constexpr bool EveryPixelHasAMirror() noexcept {
  return std::all_of(std::begin(img::FORMATS), std::end(img::FORMATS), [](img::FormatFacts const& facts) {
    return facts.bytes == 0 || (facts.bytes < std::size(MIRRORS) && MIRRORS[facts.bytes]);
  });
}
static_assert(EveryPixelHasAMirror());

/// (a * b) / 255, truncated, for eight products of bytes. x / 255 is (x * 0x8081) >> 23 for every 16-bit x.
__m128i MultiplyBytes(__m128i a, __m128i b) noexcept {
  __m128i const reciprocal = _mm_set1_epi16(static_cast<short>(0x8081));
  return _mm_srli_epi16(_mm_mulhi_epu16(_mm_mullo_epi16(a, b), reciprocal), 7);
}

/// Multiplies two pixels in 16-bit lanes by their alpha; alpha itself by 255, which leaves it unchanged.
__m128i PremultiplyTwo(__m128i pixels) noexcept {
  __m128i const colour = _mm_setr_epi16(-1, -1, -1, 0, -1, -1, -1, 0);
  __m128i const whole = _mm_setr_epi16(0, 0, 0, 255, 0, 0, 0, 255);
  __m128i const alpha = _mm_shufflehi_epi16(_mm_shufflelo_epi16(pixels, 0xFF), 0xFF);
  return MultiplyBytes(pixels, _mm_or_si128(_mm_and_si128(alpha, colour), whole));
}

}  // namespace

void img::MirrorRow(uint8_t* row, size_t pixels, size_t bytes) noexcept {
  if (bytes < std::size(MIRRORS) && MIRRORS[bytes]) MIRRORS[bytes](row, pixels);
}

void img::SwapBytes(uint8_t* a, uint8_t* b, size_t size) noexcept {
  uint8_t block[1024];
  for (size_t done = 0; done < size; done += sizeof block) {
    size_t const now = std::min(size - done, sizeof block);
    memcpy(block, a + done, now);
    memcpy(a + done, b + done, now);
    memcpy(b + done, block, now);
  }
}

void img::PremultiplyRow(uint8_t* row, size_t pixels) noexcept {
  __m128i const zero = _mm_setzero_si128();
  size_t i = 0;
  for (; i + 4 <= pixels; i += 4) {
    __m128i const four = LoadVector(row + 4 * i);
    StoreVector(row + 4 * i, _mm_packus_epi16(PremultiplyTwo(_mm_unpacklo_epi8(four, zero)),
                                              PremultiplyTwo(_mm_unpackhi_epi8(four, zero))));
  }
  for (; i < pixels; ++i) {
    uint8_t* const pixel = row + 4 * i;
    for (int c = 0; c < 3; ++c) pixel[c] = static_cast<uint8_t>(pixel[c] * pixel[3] / 255);
  }
}

}  // namespace yk
