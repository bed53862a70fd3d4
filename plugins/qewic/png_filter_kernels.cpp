#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "png_filters.h"

namespace qewic {

namespace {

// Bytes to the left of a row: those of the largest pixel.
constexpr size_t LEFT = 8;

using Byte = uint8_t;

// The loops: the byte to the left is `apart` bytes away, and there are zeros to the left of the first pixel.

void Copy(Byte const* row, Byte const*, unsigned, size_t size, Byte* out) noexcept { memcpy(out, row, size); }

void Sub(Byte const* row, Byte const*, unsigned apart, size_t size, Byte* out) noexcept {
  Byte const* const left = row - apart;
  for (size_t i = 0; i < size; ++i) out[i] = static_cast<Byte>(row[i] - left[i]);
}

void Up(Byte const* row, Byte const* above, unsigned, size_t size, Byte* out) noexcept {
  for (size_t i = 0; i < size; ++i) out[i] = static_cast<Byte>(row[i] - above[i]);
}

void Average(Byte const* row, Byte const* above, unsigned apart, size_t size, Byte* out) noexcept {
  Byte const* const left = row - apart;
  for (size_t i = 0; i < size; ++i) out[i] = static_cast<Byte>(row[i] - ((left[i] + above[i]) >> 1));
}

// The neighbour that is closest to left + above - aboveLeft.
void Paeth(Byte const* row, Byte const* above, unsigned apart, size_t size, Byte* out) noexcept {
  Byte const *const leftOf = row - apart, *const aboveLeftOf = above - apart;
  for (size_t i = 0; i < size; ++i) {
    int16_t const left = leftOf[i], up = above[i], aboveLeft = aboveLeftOf[i];
    int16_t const a = static_cast<int16_t>(up - aboveLeft), b = static_cast<int16_t>(left - aboveLeft);
    int16_t const c = static_cast<int16_t>(a + b);
    int16_t const fromLeft = static_cast<int16_t>(a < 0 ? -a : a);
    int16_t const fromUp = static_cast<int16_t>(b < 0 ? -b : b);
    int16_t const fromAboveLeft = static_cast<int16_t>(c < 0 ? -c : c);
    int16_t const other = fromUp <= fromAboveLeft ? up : aboveLeft;
    bool const isLeft = (fromLeft <= fromUp) & (fromLeft <= fromAboveLeft);
    out[i] = static_cast<Byte>(row[i] - (isLeft ? left : other));
  }
}

using Loop = void (*)(Byte const* row, Byte const* above, unsigned apart, size_t size, Byte* out) noexcept;
constexpr Loop LOOPS[] = {Copy, Sub, Up, Average, Paeth};

/// The sum of the differences' sizes: small ones are compressed best.
uint64_t SumOf(uint8_t const* bytes, size_t size) noexcept {
  constexpr size_t PART = 1 << 16;  // whose sum fits 32 bits
  uint64_t all = 0;
  for (size_t now = 0; size > 0; bytes += now, size -= now) {
    now = std::min(size, PART);
    uint32_t sum = 0;
    for (size_t i = 0; i < now; ++i) sum += static_cast<uint32_t>(abs(static_cast<int8_t>(bytes[i])));
    all += sum;
  }
  return all;
}

}  // namespace

bool PngRows::Allocate(size_t size, unsigned distance) noexcept {
  size_t const room = LEFT + size;
  most = size, apart = distance;
  if (room > SIZE_MAX / 4) return false;
  block.reset(new (std::nothrow) uint8_t[4 * room]());
  if (!block) return false;
  row = block.get() + LEFT;
  above = row + room;
  best = above + room;  // the number of the filter is before the bytes
  other = best + room;
  return true;
}

void PngRows::Begin() noexcept { memset(above, 0, most); }

void PngRows::Apply(PngFilter kind, size_t size, uint8_t* out) const noexcept {
  out[-1] = static_cast<uint8_t>(kind);
  LOOPS[static_cast<size_t>(kind)](row, above, apart, size, out);
}

uint8_t const* PngRows::Filter(PngFilter kind, size_t size) noexcept {
  if (kind != PngFilter::ADAPTIVE) return Apply(kind, size, best), best - 1;
  uint64_t least = UINT64_MAX;
  for (size_t i = 0; i < std::size(LOOPS); ++i) {
    Apply(static_cast<PngFilter>(i), size, other);
    uint64_t const sum = SumOf(other, size);
    if (sum >= least) continue;
    least = sum;
    std::swap(best, other);
  }
  return best - 1;
}

}  // namespace qewic
