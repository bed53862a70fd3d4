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
  IDC const& dc;
  raster::Surface const surface;
  draw::RowFill fill;
  bool painted = false;

  explicit CoverPaint(IDC const& dc) noexcept
      : dc(dc), surface(draw::SurfaceOf(dc)), fill(dc.mode, dc.colour, dc.bytesPerPixel) {}

  static void Run(void* context, int x, int y, unsigned char const* coverage, int count) noexcept {
    CoverPaint& paint = *static_cast<CoverPaint*>(context);
    paint.painted = true;
    if (coverage) {
      draw::Cover(paint.dc, paint.dc.colour, x, y, coverage, count);
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

// Fills one row of a bevel with its two colours, which meet at `middle`.
void FillBevelRow(IDC& dc, xrect2d const& light, unsigned lightColour, xrect2d const& dark,
                  unsigned darkColour) noexcept {
  xrect2d part = light;
  dc.colour = lightColour;
  if (draw::SurfaceOf(dc).Clip(part)) draw::Fill(dc, part);
  part = dark;
  dc.colour = darkColour;
  if (draw::SurfaceOf(dc).Clip(part)) draw::Fill(dc, part);
}

}  // namespace

HRESULT IDC::FrameBevel(xrect2d const& r, unsigned light, unsigned dark, int frameWidth) noexcept {
  xrect2d const whole = draw::Shifted(*this, r);
  xrect2d area = whole;
  if (frameWidth < 1 || !draw::SurfaceOf(*this).Clip(area)) return S_FALSE;
  if (!draw::CanPaint(*this)) return E_NOTIMPL;
  unsigned const saved = colour;
  // wide numbers: the rectangle may reach from one end of the range to the other
  int64_t const left = whole.left, right = whole.right;
  int64_t const middle = (left + right) >> 1;  // left of here the left edge is the nearer one
  for (int y = area.top; y < area.bottom; ++y) {
    int64_t const above = int64_t{y} - whole.top;
    int64_t const below = int64_t{whole.bottom} - 1 - y;
    int64_t lightEnd = std::min(left + frameWidth, middle);
    int64_t darkStart = std::max(right - frameWidth, middle);
    if (above < frameWidth && above < below) {
      lightEnd = darkStart = std::max(right - 1 - above, middle);
    } else if (below < frameWidth) {
      lightEnd = darkStart = std::min(left + below, middle);
    }
    FillBevelRow(*this, {whole.left, y, ClampToInt(lightEnd), y + 1}, light,
                 {ClampToInt(darkStart), y, whole.right, y + 1}, dark);
  }
  colour = saved;
  return S_OK;
}

HRESULT IDC::DrawLine(point2df const& a, point2df const& b) noexcept {
  if (!HasClip(*this) || !AreFinite(&a, 1) || !AreFinite(&b, 1)) return S_FALSE;
  if (!draw::CanPaint(*this)) return E_NOTIMPL;
  LineWalk const line(OnSurface(*this, a), OnSurface(*this, b), clip);
  if (!line.IsVisible()) return S_FALSE;
  draw::LinePattern pattern = {linePattern, linePhase};
  draw::WalkLine(line, pattern, {}, {}, [this](int x, int y, unsigned char coverage) {
    draw::Cover(*this, colour, x, y, &coverage, 1);
  });
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
