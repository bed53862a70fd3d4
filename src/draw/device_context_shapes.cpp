// Lines and anti-aliased shapes on a device context.

#include <math.h>

#include <algorithm>

#include "area_p.h"
#include "device_context_p.h"
#include "line_p.h"

namespace yk {
namespace {

using draw::LineWalk;
using draw::Outline;

bool AreFinite(point2df const* points, int count) noexcept {
  return std::all_of(points, points + count,
                     [](point2df const& p) { return isfinite(p.x) && isfinite(p.y); });
}

point2d OnSurface(IDC const& dc, point2df const& p) noexcept {
  return {static_cast<double>(p.x) + dc.originX, static_cast<double>(p.y) + dc.originY};
}

// Paints what is covered, run by run.
struct CoverPaint {
  raster::Surface const surface;
  raster::RowFill const fill;
  raster::RowCover const cover;
  bool painted = false;

  explicit CoverPaint(IDC const& dc) noexcept
      : surface(draw::SurfaceOf(dc)),
        fill(draw::PaintOf(dc), dc.bytesPerPixel),
        cover(draw::PaintOf(dc), dc.bytesPerPixel) {}

  static void Run(void* context, int x, int y, unsigned char const* coverage, int count) noexcept {
    CoverPaint& paint = *static_cast<CoverPaint*>(context);
    paint.painted = true;
    if (coverage) {
      paint.cover(paint.surface.At(x, y), coverage, static_cast<size_t>(count));
    } else {
      paint.fill(paint.surface.At(x, y), static_cast<size_t>(count));
    }
  }
};

HRESULT Paint(IDC const& dc, Outline& outline, bool nonZero) noexcept {
  if (!outline.Close()) return E_OUTOFMEMORY;
  CoverPaint paint(dc);
  draw::AreaSweep sweep(outline, nonZero);
  if (!sweep.Rows(dc.clip.top, dc.clip.bottom, CoverPaint::Run, &paint)) return E_OUTOFMEMORY;
  return paint.painted ? S_OK : S_FALSE;
}

bool HasClip(IDC const& dc) noexcept { return !draw::SurfaceOf(dc).IsEmpty(); }

}  // namespace

HRESULT IDC::DrawLine(point2df const& a, point2df const& b) noexcept {
  if (!HasClip(*this) || !AreFinite(&a, 1) || !AreFinite(&b, 1)) return S_FALSE;
  if (!draw::CanPaint(*this)) return E_NOTIMPL;
  LineWalk const line(OnSurface(*this, a), OnSurface(*this, b), clip);
  if (!line.IsVisible()) return S_FALSE;
  draw::LinePattern pattern = {linePattern, linePhase};
  raster::Surface const surface = draw::SurfaceOf(*this);
  raster::RowCover const cover(draw::PaintOf(*this), bytesPerPixel);
  draw::WalkLine(line, pattern, {}, {},
                 [&](int x, int y, unsigned char coverage) { cover(surface.At(x, y), &coverage, 1); });
  linePhase = pattern.phase;
  return S_OK;
}

HRESULT IDC::DrawPolyline(point2df const* points, int count, bool closed) noexcept {
  if (!points || count < 0) return E_INVALIDARG;
  if (count < 2 || !HasClip(*this) || !AreFinite(points, count)) return S_FALSE;
  if (!draw::CanPaint(*this)) return E_NOTIMPL;
  draw::Polyline const lines(points, count, closed, originX, originY);
  draw::LinePattern pattern = {linePattern, linePhase};
  CoverPaint paint(*this);
  if (!lines.Tell(clip, pattern, CoverPaint::Run, &paint)) return E_OUTOFMEMORY;
  linePhase = pattern.phase;
  return paint.painted ? S_OK : S_FALSE;
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
