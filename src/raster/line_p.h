// Anti-aliased lines, one pixel wide.
#pragma once

#include "paint_p.h"
#include "points_p.h"

namespace yk::raster {

/// The steps of a line that are painted.
struct LinePattern {
  unsigned mask = 0;   // its low 16 bits; 0: every step
  unsigned phase = 0;  // advanced before each step, if there is a mask

  bool Has(unsigned step) const noexcept { return mask == 0 || (mask >> (step & 15) & 1); }
  void MoveOn(unsigned steps) noexcept {
    if (mask != 0) phase += steps;
  }
};

/// Draws a line. S_OK; S_FALSE, without advancing the pattern, for a line of no length or wholly outside the
/// clip; E_NOTIMPL for a mode that cannot paint on the surface. The points must be finite.
HRESULT DrawLine(Surface const& surface, Paint paint, point2d const& a, point2d const& b,
                 LinePattern& pattern) noexcept;

enum class Ends { OPEN, CLOSED };  // closed: the last point is connected with the first

/// Draws connected lines, of at least one point. A pixel is painted once, by the line that covers it most.
/// Each joint is one step of the pattern, which belongs to the line that ends there; but where the lines step
/// along different axes, both plot their own step, to avoid a gap. The pattern advances by all steps,
/// including those outside the clip.
///
/// S_OK; S_FALSE when nothing was painted; E_NOTIMPL as above; E_OUTOFMEMORY, without advancing the pattern.
HRESULT DrawPolyline(Surface const& surface, Paint paint, Points const& points, Ends ends,
                     LinePattern& pattern) noexcept;

}  // namespace yk::raster
