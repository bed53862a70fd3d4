// Shared by the sources of yk::IDC: its fields as a surface, and painting by coverage.
#pragma once

#include <qecore/draw/device_context.h>

#include "geometry_p.h"
#include "raster/fill_p.h"

namespace yk::draw {

/// Translates a rectangle by the origin. It saturates at the limits of the range, which are outside every
/// clip.
inline xrect2d Shifted(IDC const& dc, xrect2d r) noexcept {
  r.Offset(dc.originX, dc.originY);
  return r;
}

/// The surface described by the fields. hasAlpha alone does not make an alpha channel: it may have been set
/// for the next Create.
inline raster::Surface SurfaceOf(IDC const& dc) noexcept {
  bool const hasAlpha = dc.hasAlpha && dc.bytesPerPixel == 4;
  raster::Surface surface = {dc.bits, dc.stride, dc.width, dc.height, dc.bytesPerPixel, hasAlpha, dc.clip};
  if (dc.topDown || !dc.bits) return surface;
  surface.pixels += (ptrdiff_t{dc.height} - 1) * dc.stride;
  surface.stride = -surface.stride;
  return surface;
}

constexpr raster::Mode ModeOf(unsigned mode) noexcept { return static_cast<raster::Mode>(mode); }
static_assert(ModeOf(IDC::MODE_PAINT) == raster::Mode::PAINT);
static_assert(ModeOf(IDC::MODE_INVERT) == raster::Mode::INVERT);
static_assert(ModeOf(IDC::MODE_ADD) == raster::Mode::ADD);
static_assert(ModeOf(IDC::MODE_SUBTRACT) == raster::Mode::SUBTRACT);
static_assert(ModeOf(IDC::MODE_COPY) == raster::Mode::COPY);
static_assert(ModeOf(IDC::MODE_COMPOSITE) == raster::Mode::COMPOSITE);

/// The current mode with the given colour.
inline raster::Paint PaintOf(IDC const& dc, unsigned colour) noexcept { return {ModeOf(dc.mode), colour}; }
inline raster::Paint PaintOf(IDC const& dc) noexcept { return PaintOf(dc, dc.colour); }

/// Whether the current mode exists and works on the surface.
inline bool CanPaint(IDC const& dc) noexcept { return raster::CanPaint(SurfaceOf(dc), ModeOf(dc.mode)); }

/// Records why an operation painted nothing, if it failed. \return `result`; E_FAIL instead of S_FALSE when
/// the pixels are gone
HRESULT Report(IDC const& dc, char const* operation, HRESULT result) noexcept;

}  // namespace yk::draw
