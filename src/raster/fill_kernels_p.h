// The pixel loops of painting: rows of bytes in, rows of bytes out.
//
// Each loop exists for every instruction set (see fill_vectors_p.h), and once byte by byte, which defines it.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "paint_p.h"

namespace yk::raster {

/// The loops over rows in which a pattern of three or four channels repeats.
enum Loop : unsigned {
  LOOP_SET,        // d becomes value; all bytes of the pattern are equal
  LOOP_COPY,       // value
  LOOP_MERGE,      // d & weight | value
  LOOP_BLEND,      // (d weight + value (255 - weight)) / 255, truncated
  LOOP_INVERT,     // d ^ value
  LOOP_ADD,        // d + value, clamped to 255
  LOOP_SUBTRACT,   // d - value, clamped to 0
  LOOP_COMPOSITE,  // pixels of 4 bytes: Mode::COMPOSITE
  LOOP_WHITEN,     // pixels of 4 bytes: white unless alpha is 0
  LOOP_COUNT
};

/// The pixel that repeats in a row: an operand and a weight for each byte, blue in the lowest. A channel is
/// preserved by neutral values. LOOP_WHITEN needs only the size.
struct Lanes {
  size_t pixelSize = 4;
  uint32_t weight = 0;  // of the old bytes
  uint32_t value = 0;
  unsigned alpha = 0;  // of the colour

  unsigned WeightOf(size_t byte) const noexcept { return weight >> 8 * byte & 255; }
  unsigned ValueOf(size_t byte) const noexcept { return value >> 8 * byte & 255; }
};

using RowKernel = void (*)(Rows const& rows, Lanes const& lanes);
/// d becomes d weight / 255 + value, the quotient truncated, by a weight and a value for each byte of a row.
using ColumnKernel = void (*)(Rows const& rows, unsigned char const* weight, unsigned char const* value);
/// Paints one colour by the coverage of each pixel, 0 to 255.
using CoverKernel = void (*)(Lanes const& ink, unsigned char* row, unsigned char const* coverage,
                             size_t pixels);

struct KernelSet {
  RowKernel rows[LOOP_COUNT];
  ColumnKernel blendColumns;
  ColumnKernel mergeColumns;  // the same for opaque pixels of 4 bytes, whose own alpha is kept
  CoverKernel coverPaint[2];  // Mode::PAINT on pixels of three bytes, and of four
};

// Byte by byte; for any x86-64 processor; with AVX2.
extern KernelSet const SCALAR_KERNELS, BASE_KERNELS, AVX2_KERNELS;

/// The best kernels for this processor.
KernelSet const& BestKernels() noexcept;

/// A paint prepared once for all rows of a rectangle.
class RowFill {
 public:
  /// The mode must be one that can paint: see CanPaint.
  RowFill(Paint paint, int bytesPerPixel) noexcept;

  /// Changes only the alpha of pixels of 4 bytes.
  static RowFill OfAlpha(unsigned char alpha) noexcept;

  void operator()(Rows const& rows) const noexcept { run(rows, lanes); }
  void operator()(unsigned char* row, size_t pixels) const noexcept {
    run({row, 0, pixels * lanes.pixelSize, 1}, lanes);
  }

 private:
  RowFill() noexcept = default;

  RowKernel run = nullptr;
  Lanes lanes = {};
};

/// The same for partly covered pixels: coverage 255 does what RowFill does, 0 nothing.
class RowCover {
 public:
  RowCover(Paint paint, int bytesPerPixel) noexcept;

  void operator()(unsigned char* row, unsigned char const* coverage, size_t pixels) const noexcept {
    (pixels < FEW ? runFew : run)(ink, row, coverage, pixels);
  }
  Lanes const& Ink() const noexcept { return ink; }

 private:
  static constexpr size_t FEW = 4;  // pixels that no vector can be filled with

  CoverKernel run, runFew;
  Lanes ink;
};

/// Blends one colour into a pixel by the colour's alpha a: every channel d becomes
/// d (255 - a) / 255 + s a / 255, both quotients truncated. The pixel's alpha is unchanged.
void BlendInto(unsigned char* pixel, unsigned colour) noexcept;

/// The same for a row of colours that is blended into many rows.
class ColourRow {
 public:
  static constexpr size_t MOST = 2048;  // colours

  // cppcheck-suppress uninitMemberVar  // the arrays hold `bytes` bytes
  explicit ColourRow(int bytesPerPixel) noexcept : pixelSize(static_cast<size_t>(bytesPerPixel)) {}

  /// Appends a colour, up to MOST.
  void Append(unsigned colour) noexcept;
  /// Each row has as many pixels as there are colours.
  void BlendInto(Rows const& rows) const noexcept;

 private:
  size_t const pixelSize;
  size_t bytes = 0;
  bool isOpaque = true;
  unsigned char weight[MOST * 4], value[MOST * 4];
};

/// Maps the colour channels through a table of 256 entries.
void TranslateRow(unsigned char* row, int bytesPerPixel, unsigned char const* table, size_t pixels) noexcept;

}  // namespace yk::raster
