// Painting single pixels by coverage, in the mode that nearly all drawing uses.
#pragma once

#include <string.h>

#include "fill_kernels_p.h"

namespace yk::raster {

/// v / 255 for every product of two bytes, rounded or not, and for a sum of two whose weights add up to 255.
/// Fits 16 bits.
constexpr uint16_t DivideBy255(uint16_t v) noexcept {
  return static_cast<uint16_t>(static_cast<uint16_t>(v + 1 + (v >> 8)) >> 8);
}

/// Two channels in one multiplication.
constexpr uint32_t MixPair(uint32_t d, uint32_t s, unsigned a) noexcept {
  uint32_t const v = d * (255 - a) + s * a;
  return (v + 0x00010001 + (v >> 8 & 0x00FF00FF)) >> 8 & 0x00FF00FF;
}

/// A pixel of three bytes byte by byte, which compilers would copy through memory.
template <size_t SIZE>
inline uint32_t LoadPixel(unsigned char const* from) noexcept {
  if constexpr (SIZE == 3) return from[0] | unsigned{from[1]} << 8 | unsigned{from[2]} << 16;
  uint32_t pixel;
  memcpy(&pixel, from, 4);
  return pixel;
}
template <size_t SIZE>
inline void StorePixel(unsigned char* to, uint32_t pixel) noexcept {
  if constexpr (SIZE == 4) return void(memcpy(to, &pixel, 4));
  for (int i = 0; i < 3; ++i) to[i] = static_cast<unsigned char>(pixel >> 8 * i);
}

/// Mode::PAINT for a pixel of SIZE bytes. Without a branch: runs are short, and coverage is hard to predict.
template <size_t SIZE>
inline void PaintPixel(Lanes const& ink, unsigned char* pixel, unsigned coverage) noexcept {
  unsigned const a = DivideBy255(static_cast<uint16_t>(ink.alpha * coverage + 127));
  uint32_t const d = LoadPixel<SIZE>(pixel);
  StorePixel<SIZE>(pixel, MixPair(d & 0x00FF00FF, ink.value & 0x00FF00FF, a) |
                              MixPair(d >> 8 & 255, ink.value >> 8 & 255, a) << 8 | (d & 0xFF000000));
}

}  // namespace yk::raster
