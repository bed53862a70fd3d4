#include "row_kernels_p.h"

#include <qecore/image/format.h>
#include <string.h>

#include <algorithm>
#include <iterator>

namespace yk::img {

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
  return std::all_of(std::begin(FORMATS), std::end(FORMATS), [](FormatFacts const& facts) {
    return facts.bytes == 0 || (facts.bytes < std::size(MIRRORS) && MIRRORS[facts.bytes]);
  });
}
static_assert(EveryPixelHasAMirror());

}  // namespace

void MirrorRow(uint8_t* row, size_t pixels, size_t bytes) noexcept {
  if (bytes < std::size(MIRRORS) && MIRRORS[bytes]) MIRRORS[bytes](row, pixels);
}

void SwapBytes(uint8_t* a, uint8_t* b, size_t size) noexcept {
  uint8_t block[1024];
  for (size_t done = 0; done < size; done += sizeof block) {
    size_t const now = std::min(size - done, sizeof block);
    memcpy(block, a + done, now);
    memcpy(a + done, b + done, now);
    memcpy(b + done, block, now);
  }
}

}  // namespace yk::img
