// What the sources of yk::IDC share: its fields as a surface to paint on, and painting by coverage.
#pragma once

#include <qecore/draw/device_context.h>

#include "fill_kernels_p.h"
#include "geometry_p.h"
#include "raster/surface_p.h"

namespace yk::draw {

/// Shifts a rectangle by the origin. Far away it stops at the ends of the range, which are outside every
/// clip.
inline xrect2d Shifted(IDC const& dc, xrect2d r) noexcept {
  r.Offset(dc.originX, dc.originY);
  return r;
}

/// The surface as the fields have it now. hasAlpha alone does not make an alpha channel: before Create it is
/// a wish.
inline raster::Surface SurfaceOf(IDC const& dc) noexcept {
  bool const hasAlpha = dc.hasAlpha && dc.bytesPerPixel == 4;
  raster::Surface surface = {dc.bits, dc.stride, dc.width, dc.height, dc.bytesPerPixel, hasAlpha, dc.clip};
  if (dc.topDown || !dc.bits) return surface;
  surface.pixels += (ptrdiff_t{dc.height} - 1) * dc.stride;
  surface.stride = -surface.stride;
  return surface;
}

/// Whether the current mode exists and suits the surface.
inline bool CanPaint(IDC const& dc) noexcept {
  return dc.mode < IDC::MODE_COPY || (dc.mode < MODE_COUNT && dc.bytesPerPixel == 4);
}

/// The rectangle filler: paints the current colour into a rectangle that lies on the surface.
/// S_OK; S_FALSE in the two modes with alpha, which is intended; E_NOTIMPL for a mode that cannot paint.
HRESULT Fill(IDC const& dc, xrect2d const& r) noexcept;

/// Paints a run of pixels inside the clip with a colour in the current mode, each by its coverage.
inline void Cover(IDC const& dc, unsigned colour, int x, int y, unsigned char const* coverage,
                  int count) noexcept {
  CoverRow(dc.mode, colour, SurfaceOf(dc).At(x, y), dc.bytesPerPixel, coverage, static_cast<size_t>(count));
}

}  // namespace yk::draw
