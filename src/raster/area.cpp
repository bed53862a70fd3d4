#include "area_p.h"

#include <math.h>

#include "area_sweep_p.h"
#include "ellipse_sweep_p.h"

namespace yk::raster {
namespace {

// Paints all rows of a sweep.
template <class Sweep>
HRESULT PaintAll(Surface const& surface, Paint paint, Sweep& sweep) noexcept {
  xrect2d const& clip = surface.clip;
  SpanPainter painter(surface, paint);
  if (!sweep.PaintRows(clip.top, clip.bottom - clip.top, painter)) return E_OUTOFMEMORY;
  return painter.HasPainted() ? S_OK : S_FALSE;
}

bool IsSane(Ellipse const& e) noexcept {
  // Beyond this the slopes of the edges overflow, and nothing of the curve would be visible.
  constexpr double LARGEST = 1e100;
  return e.radius.x < LARGEST && e.radius.y < LARGEST && e.radius.x != 0 && e.radius.y != 0 &&
         fabs(e.centre.x) < LARGEST && fabs(e.centre.y) < LARGEST && !isnan(e.ring);
}

}  // namespace

HRESULT FillPolygon(Surface const& surface, Paint paint, Points const& points, FillRule rule) noexcept {
  if (surface.IsEmpty()) return S_FALSE;
  if (!CanPaint(surface, paint.mode)) return E_NOTIMPL;
  Outline outline(surface.clip);
  outline.AddPolygon(points);
  if (!outline.Close()) return E_OUTOFMEMORY;
  AreaSweep sweep(outline, rule);
  return PaintAll(surface, paint, sweep);
}

HRESULT FillEllipse(Surface const& surface, Paint paint, Ellipse const& ellipse) noexcept {
  if (surface.IsEmpty() || !IsSane(ellipse)) return S_FALSE;
  if (!CanPaint(surface, paint.mode)) return E_NOTIMPL;
  EllipseSweep sweep(surface.clip, ellipse);
  return PaintAll(surface, paint, sweep);
}

}  // namespace yk::raster
