// Anti-aliased lines, one pixel wide.
#pragma once

#include "paint_p.h"
#include "points_p.h"

namespace yk::raster {

/// Which steps of a line are painted.
struct LinePattern {
  unsigned mask = 0;   // its low 16 bits; 0: every step
  unsigned phase = 0;  // moves on before each step, if there is a mask

  bool Has(unsigned step) const noexcept { return mask == 0 || (mask >> (step & 15) & 1); }
  void MoveOn(unsigned steps) noexcept {
    if (mask != 0) phase += steps;
  }
};

/// Draws a line. S_OK; S_FALSE, and the pattern does not move on, for a line without length or wholly outside
/// the clip; E_NOTIMPL for a mode that cannot paint on the surface. The points must be finite.
HRESULT DrawLine(Surface const& surface, Paint paint, point2d const& a, point2d const& b,
                 LinePattern& pattern) noexcept;

enum class Ends { OPEN, CLOSED };  // closed: the last point is connected with the first

/// Draws connected lines, of one point at least. A pixel is painted once, by the line that covers it most.
/// Each joint is one step of the pattern, with the line that comes to it; but where the lines step along
/// different axes, both plot their own step there, or there would be a gap. The pattern moves on by all
/// steps, also those outside the clip.
///
/// S_OK; S_FALSE when nothing was painted; E_NOTIMPL as above; E_OUTOFMEMORY, and the pattern has not moved.
HRESULT DrawPolyline(Surface const& surface, Paint paint, Points const& points, Ends ends,
                     LinePattern& pattern) noexcept;

}  // namespace yk::raster
