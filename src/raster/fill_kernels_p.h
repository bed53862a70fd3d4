// The pixel loops of painting: rows of bytes in, rows of bytes out.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "paint_p.h"

namespace yk::raster {

/// A paint prepared once for all rows of a rectangle.
///
/// A row is a run of bytes in which a pattern of three or four channels repeats. 48 bytes hold a whole number
/// of pixels of both sizes: each fill is a loop over blocks of 48 bytes that depends neither on the pixel
/// size nor on the channel order; a channel is preserved by neutral values in its lanes.
class RowFill {
 public:
  /// The mode must be one that can paint: see CanPaint.
  RowFill(Paint paint, int bytesPerPixel) noexcept;

  void operator()(unsigned char* row, size_t pixels) const noexcept { run(row, pixels * pixelSize, lanes); }

  static constexpr size_t LANES = 48;
  struct Lanes {
    uint16_t weight[LANES], product[LANES];  // for blending: the weight of the old byte, and the summand
    unsigned char mask[LANES],
        value[LANES];  // for all other modes: the bits of the old byte, and the operand
    unsigned alpha;
  };
  using Kernel = void (*)(unsigned char* row, size_t bytes, Lanes const& lanes);

 private:
  Kernel run;
  size_t pixelSize;
  Lanes lanes;
};

/// The same for partly covered pixels: coverage 255 does what RowFill does, 0 nothing.
class RowCover {
 public:
  RowCover(Paint paint, int bytesPerPixel) noexcept;

  void operator()(unsigned char* row, unsigned char const* coverage, size_t pixels) const noexcept {
    run(ink, row, coverage, pixels);
  }

  struct Ink {
    unsigned blue, green, red, alpha;
    size_t pixelSize;
  };
  using Kernel = void (*)(Ink const& ink, unsigned char* row, unsigned char const* coverage, size_t pixels);

 private:
  Kernel run;
  Ink ink;
};

/// Blends one colour into a pixel, or a colour each into the pixels of a row, by the colour's alpha a: every
/// channel d becomes d (255 - a) / 255 + s a / 255, both quotients truncated. The pixel's alpha is unchanged.
void BlendInto(unsigned char* pixel, unsigned colour) noexcept;
void BlendRow(unsigned char* row, int bytesPerPixel, unsigned const* colours, size_t pixels) noexcept;

// Rows of pixels of 4 bytes.
void SetAlphaRow(unsigned char* row, unsigned char alpha, size_t pixels) noexcept;
void WhitenRow(unsigned char* row, size_t pixels) noexcept;

/// Maps the colour channels through a table of 256 entries.
void TranslateRow(unsigned char* row, int bytesPerPixel, unsigned char const* table, size_t pixels) noexcept;

}  // namespace yk::raster
