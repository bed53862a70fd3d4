// The points of a polygon or polyline, as passed by a caller, moved onto a surface.
#pragma once

#include <qecore/draw/geometry.h>

namespace yk::raster {

/// Finite points in single precision, each shifted by an offset, which is added in double precision.
struct Points {
  point2df const* points;
  int count;
  point2d offset;

  point2d At(int i) const noexcept {
    return {static_cast<double>(points[i].x) + offset.x, static_cast<double>(points[i].y) + offset.y};
  }
  /// The one after it; after the last comes the first.
  point2d After(int i) const noexcept { return At(i + 1 < count ? i + 1 : 0); }
};

}  // namespace yk::raster
