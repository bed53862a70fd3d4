// Converts coverage into pixels.
#pragma once

#include "fill_kernels_p.h"
#include "paint_p.h"

namespace yk::raster {

/// A run of pixels in a row, inside the clip.
struct Span {
  int x, y, count;
  unsigned char const* coverage;  // of each pixel, 0 to 255; null when all pixels are fully covered
};

/// Paints spans, each pixel in proportion to its coverage. The surface must outlive it.
class SpanPainter {
 public:
  SpanPainter(Surface const& surface, Paint paint) noexcept
      : surface(surface), fill(paint, surface.bytesPerPixel), cover(paint, surface.bytesPerPixel) {}

  void operator()(Span const& span) noexcept {
    unsigned char* const row = surface.At(span.x, span.y);
    size_t const pixels = static_cast<size_t>(span.count);
    painted = true;
    span.coverage ? cover(row, span.coverage, pixels) : fill(row, pixels);
  }

  bool HasPainted() const noexcept { return painted; }

 private:
  Surface const& surface;
  RowFill const fill;
  RowCover const cover;
  bool painted = false;
};

}  // namespace yk::raster
