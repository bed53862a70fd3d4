// Anti-aliased areas: polygons and ellipses, filled by exact coverage.
//
// Results: S_OK; S_FALSE when nothing was painted; E_NOTIMPL for a mode that cannot paint on the surface;
// E_OUTOFMEMORY.
#pragma once

#include "paint_p.h"
#include "points_p.h"

namespace yk::raster {

/// Which points are inside an outline that intersects itself or winds around more than once.
enum class FillRule { EVEN_ODD, NON_ZERO };

HRESULT FillPolygon(Surface const& surface, Paint paint, Points const& points, FillRule rule) noexcept;

struct Ellipse {
  point2d centre, radius;
  double ring;  // the width of the filled ring inside the edge; filled whole unless between 0 and both radii
};
/// S_FALSE also for values that do not describe an ellipse.
HRESULT FillEllipse(Surface const& surface, Paint paint, Ellipse const& ellipse) noexcept;

}  // namespace yk::raster
