// Lines and anti-aliased shapes on a device context.
#include "device_context_p.h"

#include <math.h>

#include <algorithm>

#include "core/error_p.h"
#include "raster/area_p.h"
#include "raster/line_p.h"

namespace yk {
namespace {

bool AreFinite(point2df const* points, int count) noexcept {
  return std::all_of(points, points + count,
                     [](point2df const& p) { return isfinite(p.x) && isfinite(p.y); });
}

raster::Points OnSurface(IDC const& dc, point2df const* points, int count) noexcept {
  return {points, count, {static_cast<double>(dc.originX), static_cast<double>(dc.originY)}};
}

point2d OnSurface(IDC const& dc, point2df const& p) noexcept { return OnSurface(dc, &p, 1).At(0); }

HRESULT FailCount(char const* operation, int count) noexcept {
  return Fail(E_INVALIDARG, operation, L"%d is not a valid number of points", count);
}

}  // namespace

HRESULT IDC::DrawLine(point2df const& a, point2df const& b) noexcept {
  if (!AreFinite(&a, 1) || !AreFinite(&b, 1)) return S_FALSE;
  raster::LinePattern pattern = {linePattern, linePhase};
  HRESULT const result = raster::DrawLine(draw::SurfaceOf(*this), draw::PaintOf(*this), OnSurface(*this, a),
                                          OnSurface(*this, b), pattern);
  linePhase = pattern.phase;
  return draw::Report(*this, "IDC::DrawLine", result);
}

HRESULT IDC::DrawPolyline(point2df const* points, int count, bool closed) noexcept {
  constexpr char OPERATION[] = "IDC::DrawPolyline";
  if (!points) return FailNull(OPERATION, L"points");
  if (count < 0) return FailCount(OPERATION, count);
  if (count < 2 || !AreFinite(points, count)) return S_FALSE;
  raster::LinePattern pattern = {linePattern, linePhase};
  HRESULT const result =
      raster::DrawPolyline(draw::SurfaceOf(*this), draw::PaintOf(*this), OnSurface(*this, points, count),
                           closed ? raster::Ends::CLOSED : raster::Ends::OPEN, pattern);
  linePhase = pattern.phase;
  return draw::Report(*this, OPERATION, result);
}

HRESULT IDC::FillPolygon(point2df const* points, int count, unsigned rule) noexcept {
  constexpr char OPERATION[] = "IDC::FillPolygon";
  if (!points) return FailNull(OPERATION, L"points");
  if (count < 0) return FailCount(OPERATION, count);
  if (rule > NON_ZERO) return Fail(E_INVALIDARG, OPERATION, L"%u is not a valid fill rule", rule);
  if (count < 3 || !AreFinite(points, count)) return S_FALSE;
  raster::FillRule const inside = rule == NON_ZERO ? raster::FillRule::NON_ZERO : raster::FillRule::EVEN_ODD;
  return draw::Report(*this, OPERATION,
                      raster::FillPolygon(draw::SurfaceOf(*this), draw::PaintOf(*this),
                                          OnSurface(*this, points, count), inside));
}

HRESULT IDC::FillEllipse(rect2d const& r, double outline) noexcept {
  point2d const radius = {fabs(r.x2 - r.x1) / 2, fabs(r.y2 - r.y1) / 2};
  point2d const centre = {r.x1 / 2 + r.x2 / 2 + originX, r.y1 / 2 + r.y2 / 2 + originY};
  return draw::Report(
      *this, "IDC::FillEllipse",
      raster::FillEllipse(draw::SurfaceOf(*this), draw::PaintOf(*this), {centre, radius, outline}));
}

}  // namespace yk
