// Images with a palette: the indices of pixels of less than a byte, and copies of palettes.
#pragma once

#include <qecore/image/image.h>
#include <string.h>

#include <algorithm>

namespace yk::img {

/// Where the index of a pixel is in its byte: the leftmost one is in the highest bits.
constexpr unsigned IndexShift(unsigned bits, size_t x) noexcept {
  return static_cast<unsigned>(8 - bits - x * bits % 8);
}

/// The index of pixel `x`, of 1, 2 or 4 bits.
constexpr unsigned IndexAt(uint8_t const* row, unsigned bits, size_t x) noexcept {
  return row[x * bits / 8] >> IndexShift(bits, x) & ((1u << bits) - 1);
}

/// Stores it without changing the pixels beside it.
constexpr void PutIndex(uint8_t* row, unsigned bits, size_t x, unsigned index) noexcept {
  unsigned const shift = IndexShift(bits, x), mask = ((1u << bits) - 1) << shift;
  uint8_t& byte = row[x * bits / 8];
  byte = static_cast<uint8_t>((byte & ~mask) | index << shift);
}

/// Between images of the same format; does nothing where there is no palette.
inline void CopyPalette(Image2d const& from, Image2d& to) noexcept {
  if (!GetFacts(from.format).paletteEntries || !from.palette) return;
  memcpy(to.palette, from.palette, std::min(from.paletteCount, to.paletteCount) * sizeof(IMG_PALENTRY));
}

}  // namespace yk::img
