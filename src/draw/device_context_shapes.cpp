// Lines and anti-aliased shapes on a device context.

#include <math.h>

#include <algorithm>

#include "area_p.h"
#include "device_context_p.h"
#include "raster/line_p.h"
#include "raster/span_p.h"

namespace yk {
namespace {

using draw::Outline;

bool AreFinite(point2df const* points, int count) noexcept {
  return std::all_of(points, points + count,
                     [](point2df const& p) { return isfinite(p.x) && isfinite(p.y); });
}

raster::Points OnSurface(IDC const& dc, point2df const* points, int count) noexcept {
  return {points, count, {static_cast<double>(dc.originX), static_cast<double>(dc.originY)}};
}

point2d OnSurface(IDC const& dc, point2df const& p) noexcept { return OnSurface(dc, &p, 1).At(0); }

// Paints what is covered, run by run.
void PaintRun(void* painter, int x, int y, unsigned char const* coverage, int count) noexcept {
  (*static_cast<raster::SpanPainter*>(painter))({x, y, count, coverage});
}

HRESULT Paint(IDC const& dc, Outline& outline, bool nonZero) noexcept {
  if (!outline.Close()) return E_OUTOFMEMORY;
  raster::Surface const surface = draw::SurfaceOf(dc);
  raster::SpanPainter painter(surface, draw::PaintOf(dc));
  draw::AreaSweep sweep(outline, nonZero);
  if (!sweep.Rows(dc.clip.top, dc.clip.bottom, PaintRun, &painter)) return E_OUTOFMEMORY;
  return painter.HasPainted() ? S_OK : S_FALSE;
}

bool HasClip(IDC const& dc) noexcept { return !draw::SurfaceOf(dc).IsEmpty(); }

}  // namespace

HRESULT IDC::DrawLine(point2df const& a, point2df const& b) noexcept {
  if (!AreFinite(&a, 1) || !AreFinite(&b, 1)) return S_FALSE;
  raster::LinePattern pattern = {linePattern, linePhase};
  HRESULT const result = raster::DrawLine(draw::SurfaceOf(*this), draw::PaintOf(*this), OnSurface(*this, a),
                                          OnSurface(*this, b), pattern);
  linePhase = pattern.phase;
  return result;
}

HRESULT IDC::DrawPolyline(point2df const* points, int count, bool closed) noexcept {
  if (!points || count < 0) return E_INVALIDARG;
  if (count < 2 || !AreFinite(points, count)) return S_FALSE;
  raster::LinePattern pattern = {linePattern, linePhase};
  HRESULT const result =
      raster::DrawPolyline(draw::SurfaceOf(*this), draw::PaintOf(*this), OnSurface(*this, points, count),
                           closed ? raster::Ends::CLOSED : raster::Ends::OPEN, pattern);
  linePhase = pattern.phase;
  return result;
}

HRESULT IDC::FillPolygon(point2df const* points, int count, unsigned rule) noexcept {
  if (!points || count < 0 || rule > NON_ZERO) return E_INVALIDARG;
  if (count < 3 || !HasClip(*this) || !AreFinite(points, count)) return S_FALSE;
  if (!draw::CanPaint(*this)) return E_NOTIMPL;
  Outline area(clip);
  area.AddPolygon(points, count, originX, originY);
  return Paint(*this, area, rule == NON_ZERO);
}

HRESULT IDC::FillEllipse(rect2d const& r, double outline) noexcept {
  point2d const radius = {fabs(r.x2 - r.x1) / 2, fabs(r.y2 - r.y1) / 2};
  point2d const centre = {r.x1 / 2 + r.x2 / 2 + originX, r.y1 / 2 + r.y2 / 2 + originY};
  // Beyond this the edges' slopes are no numbers any more, and nothing of such an ellipse can be seen as one.
  constexpr double LARGEST = 1e100;
  bool const isSane = radius.x < LARGEST && radius.y < LARGEST && fabs(centre.x) < LARGEST &&
                      fabs(centre.y) < LARGEST && !isnan(outline);
  if (!HasClip(*this) || !isSane || radius.x == 0 || radius.y == 0) return S_FALSE;
  if (!draw::CanPaint(*this)) return E_NOTIMPL;
  Outline area(clip);
  area.AddEllipse(centre, radius, 0);
  if (outline > 0 && outline < std::min(radius.x, radius.y)) area.AddEllipse(centre, radius, outline);
  return Paint(*this, area, false);
}

}  // namespace yk
