#include "area_p.h"

#include <math.h>

#include <algorithm>

#include "area_sweep_p.h"
#include "outline_p.h"
#include "span_p.h"

namespace yk::raster {
namespace {

HRESULT Fill(Surface const& surface, Paint paint, Outline& outline, FillRule rule) noexcept {
  if (!outline.Close()) return E_OUTOFMEMORY;
  xrect2d const& clip = surface.clip;
  SpanPainter painter(surface, paint);
  AreaSweep sweep(outline, rule);
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
  return Fill(surface, paint, outline, rule);
}

HRESULT FillEllipse(Surface const& surface, Paint paint, Ellipse const& ellipse) noexcept {
  auto const& [centre, radius, ring] = ellipse;
  if (surface.IsEmpty() || !IsSane(ellipse)) return S_FALSE;
  if (!CanPaint(surface, paint.mode)) return E_NOTIMPL;
  Outline outline(surface.clip);
  outline.AddEllipse(centre, radius, 0);
  if (ring > 0 && ring < std::min(radius.x, radius.y)) outline.AddEllipse(centre, radius, ring);
  return Fill(surface, paint, outline, FillRule::EVEN_ODD);
}

}  // namespace yk::raster
