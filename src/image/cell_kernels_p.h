// The loops that reduce images whose sizes are whole multiples: each target pixel is the mean of a cell of
// source pixels, in whole numbers.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "recode_p.h"

namespace yk::img {

/// Cells of so many pixels that 16 bits hold their sum, and how it is divided.
struct Cells {
  static constexpr size_t MOST = 256;        ///< pixels: 256 * 255 is below 65536
  static constexpr size_t MOST_ACROSS = 64;  ///< of these

  size_t across;    ///< pixels
  size_t count;     ///< pixels, across times down
  uint16_t bias;    ///< is added to each sum: 0 truncates
  uint16_t factor;  ///< (sum + bias) / count is (sum + bias) * factor >> 16 >> shift
  int shift;

  /// False: the cells are too large, or have no such factor.
  bool Choose(size_t width, size_t height, bool rounds) noexcept {
    across = width, count = width * height;
    if (count < 2 || count > MOST || across > MOST_ACROSS) return false;
    bias = static_cast<uint16_t>(rounds ? count / 2 : 0);
    for (shift = 0; size_t{2} << shift < count;) ++shift;
    uint64_t const unit = uint64_t{0x10000} << shift, most = 255 * count + bias;
    factor = static_cast<uint16_t>((unit + count - 1) / count);
    return most <= 0xFFFF && most * (factor * count - unit) < unit;
  }
};

/// A row of cells.
struct CellRow {
  uint8_t const* const* rows;  ///< the source's
  size_t rowCount;
  size_t channels;
  uint8_t* target;
  size_t pixels;    ///< of the target
  uint32_t* whole;  ///< null, or receives the cells of which a sum is divisible; room for `SPARE` more
  static constexpr size_t SPARE = 8;
};

/// Writes the means of a row of cells. \return how many sums are divisible, if that is asked
using MeansFunction = size_t (*)(Cells const&, CellRow const&) noexcept;

/// The weighted bytes, as floats, of each of the listed cells, added in single precision from row to row.
using SumListedFunction = void (*)(Cells const&, CellRow const&, size_t listed, float weight,
                                   float* sums) noexcept;

struct CellKernels {
  MeansFunction means;
  SumListedFunction sumListed;
};

extern CellKernels const CELLS_BASE;
extern CellKernels const CELLS_AVX2;

namespace {

/// The definition: the means from cell `first` on. `whole` cells are known before. \return with the new ones
[[maybe_unused]] size_t MeansFrom(Cells const& cells, CellRow const& row, size_t first,
                                  size_t whole) noexcept {
  size_t const n = row.channels;
  for (size_t i = first * n; i < row.pixels * n; ++i) {
    size_t const start = i / n * cells.across * n + i % n;
    size_t sum = 0;
    for (size_t r = 0; r < row.rowCount; ++r)
      for (size_t k = 0; k < cells.across; ++k) sum += row.rows[r][start + k * n];
    row.target[i] = static_cast<uint8_t>((sum + cells.bias) / cells.count);
    if (row.whole && sum % cells.count == 0) row.whole[whole++] = static_cast<uint32_t>(i / n);
  }
  return whole;
}

/// The definition, from one to before another of the listed cells.
[[maybe_unused]] void SumListedFrom(Cells const& cells, CellRow const& row, size_t first, size_t end,
                                    float weight, float* sums) noexcept {
  for (size_t i = first; i < end; ++i) {
    size_t const start = row.whole[i] * cells.across;
    float sum = 0;
    for (size_t r = 0; r < row.rowCount; ++r)
      for (size_t k = 0; k < cells.across; ++k)
        sum += weight * Recoded<float, uint8_t>::Of(row.rows[r][start + k]);
    sums[i] = sum;
  }
}

}  // namespace
}  // namespace yk::img
