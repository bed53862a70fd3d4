// The coverage of one row of pixels, accumulated from the areas to the right of edges.
#pragma once

#include <algorithm>
#include <bit>

#include "core/buffer_p.h"
#include "span_p.h"

namespace yk::raster {

/// Positions are relative to the left of the clip, and inside it unless noted. Each pixel holds the change of
/// coverage from the previous one.
class CoverageRow {
 public:
  /// The outline extends between two positions, which may be outside the clip.
  CoverageRow(xrect2d const& clip, double leftmost, double rightmost) noexcept
      : left(clip.left),
        width(static_cast<int>(Width(clip))),
        first(static_cast<int>(std::clamp<double>(leftmost, 0, width))),
        end(static_cast<int>(std::clamp<double>(rightmost, 0, width - 1.0)) + 1) {}

  /// Must be called before everything else. False when there is no memory.
  bool Reserve() noexcept;

  /// Adds the area to the right of a line through a part of the row of this height; a negative height
  /// subtracts it.
  void CoverRightOf(double x0, double x1, double height) noexcept {
    int const column = static_cast<int>(x0);
    if (column == static_cast<int>(x1)) return CoverColumn(column, height, height * ((x0 + x1) / 2 - column));
    CoverSlanted(std::min(x0, x1), std::max(x0, x1), height);
  }
  /// Adds areas to the right of lines through one column: the sum of their heights, and that of their heights
  /// times the distances of their middles from the left of the column.
  void CoverColumn(int column, double heights, double moments) noexcept {
    AddStep(column, heights - moments, moments);
  }
  /// CoverRightOf for positions that may be outside the clip.
  void CoverClipped(double x0, double x1, double height) noexcept;

  /// Paints the coverage in runs, and clears it. A long run of full coverage, or of none, ends the run before
  /// it.
  void Paint(int y, SpanPainter& painter) noexcept;

 private:
  // changes the coverage at a pixel, and at the one after it
  void AddStep(int column, double here, double after) noexcept {
    size_t const at = static_cast<size_t>(column);
    steps[at] += static_cast<float>(here);
    steps[at + 1] += static_cast<float>(after);
    marks[at / 64] |= uint64_t{3} << at % 64;
    if (at % 64 == 63) marks[at / 64 + 1] |= 1;
  }
  void CoverSlanted(double low, double high, double height) noexcept;
  void CoverEvenly(int from, int to, double step) noexcept;
  int const left, width, first, end;  // in columns; the outline is between first and end
  Buffer<float> steps;                // the change of coverage at each pixel
  Buffer<uint64_t> marks;             // one bit for each step that may be non-zero
  Buffer<unsigned char> coverage;
};

}  // namespace yk::raster
