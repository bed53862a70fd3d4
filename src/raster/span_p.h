// Converts coverage into pixels.
#pragma once

#include <string.h>

#include <algorithm>

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
    FetchAhead(row, 4 * surface.stride);  // the edges of a shape are at nearly the same place there
    span.coverage ? cover(row, span.coverage, pixels) : fill(row, pixels);
  }

  /// Paints only the covered runs of a span; a run ends where there is no coverage for some pixels.
  void PaintRuns(Span const& span) noexcept {
    constexpr size_t BLOCK = 8;
    size_t const width = static_cast<size_t>(span.count);
    auto const isCovered = [&](size_t x) {
      uint64_t block = 0;
      size_t const rest = width - x;
      // A constant size is a load, any other a call, which would take longer than painting.
      rest >= BLOCK ? memcpy(&block, span.coverage + x, BLOCK) : memcpy(&block, span.coverage + x, rest);
      return block != 0;
    };
    for (size_t x = 0; x < width; x += BLOCK) {
      if (!isCovered(x)) continue;
      size_t const from = x;
      while (x < width && isCovered(x)) x += BLOCK;
      int const start = static_cast<int>(from), end = static_cast<int>(std::min(x, width));
      (*this)({span.x + start, span.y, end - start, span.coverage + from});
    }
  }

  bool HasPainted() const noexcept { return painted; }

 private:
  Surface const& surface;
  RowFill const fill;
  RowCover const cover;
  bool painted = false;
};

}  // namespace yk::raster
