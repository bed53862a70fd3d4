// What is done to the rows of a PNG file before they are compressed: each byte is replaced by its difference
// from what the bytes to the left and above let expect.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <utility>

namespace qewic {

enum class PngFilter : uint8_t { NONE, SUB, UP, AVERAGE, PAETH, ADAPTIVE };

/// Two rows, one above the other, and what a filter makes of the lower one.
class PngRows {
 public:
  /// For rows of at most `size` bytes. Neighbours are `apart` bytes from each other: those of a pixel, or 1.
  /// False: no memory.
  bool Allocate(size_t size, unsigned apart) noexcept;

  /// Begins with a picture's first row: that above it is 0.
  void Begin() noexcept;
  /// The lower row, to be filled.
  uint8_t* Row() noexcept { return row; }
  /// The number of the filter, and `size` bytes. ADAPTIVE is the filter with the smallest differences.
  uint8_t const* Filter(PngFilter kind, size_t size) noexcept;
  /// Goes on to the next row.
  void Next() noexcept { std::swap(row, above); }

 private:
  void Apply(PngFilter kind, size_t size, uint8_t* out) const noexcept;

  std::unique_ptr<uint8_t[]> block;
  size_t most = 0;
  unsigned apart = 1;
  uint8_t *row = nullptr, *above = nullptr;  // with zeros to the left
  uint8_t *best = nullptr, *other = nullptr;
};

}  // namespace qewic
