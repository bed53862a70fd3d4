// The outline of a polygon: its edges, clipped and sorted.
//
//   Outline outline(clip);
//   outline.AddPolygon(points);
//   if (!outline.Close()) return E_OUTOFMEMORY;
#pragma once

#include <math.h>

#include <algorithm>

#include "core/buffer_p.h"
#include "points_p.h"

namespace yk::raster {

/// The edges of an area inside a clip.
class Outline {
 public:
  struct Edge {
    double top, bottom;  // top < bottom
    double x;            // at the top, relative to the left of the clip
    double slope;        // x per y
    double low, high;    // the range of x
    int direction;       // +1 downward, -1 upward

    double At(double y) const noexcept {
      if (y <= top) return x;  // even if the slope is too steep for a number
      return std::clamp(x + (y - top) * slope, low, high);
    }
  };

  /// Keeps only edges inside the clip, which must not be empty.
  explicit Outline(xrect2d const& clip) noexcept : clip(clip) {}

  void AddPolygon(Points const& points) noexcept;
  /// Must be called after everything has been added. False when there was no memory.
  bool Close() noexcept;

  xrect2d const& Clip() const noexcept { return clip; }
  /// The range of x, relative to the left of the clip; 0 for an empty outline.
  double Leftmost() const noexcept { return edges.Count() ? leftmost : 0; }
  double Rightmost() const noexcept { return rightmost; }
  Edge const* begin() const noexcept { return edges.begin(); }
  Edge const* end() const noexcept { return edges.end(); }

 private:
  void AddEdge(point2d const& a, point2d const& b) noexcept;
  void AddClipped(point2d const& upper, point2d const& lower, int direction) noexcept;
  void Append(point2d const& upper, point2d const& lower, int direction) noexcept;

  xrect2d clip;
  Buffer<Edge> edges;  // once closed, sorted by their tops
  double leftmost = INFINITY, rightmost = 0;
  bool failed = false;
};

}  // namespace yk::raster
