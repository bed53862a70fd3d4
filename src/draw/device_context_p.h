// What the sources of yk::IDC share: finding the pixels of a rectangle, and painting by coverage.
#pragma once

#include <qecore/draw/device_context.h>

#include "fill_kernels_p.h"
#include "geometry_p.h"

namespace yk::draw {

/// Shifts a rectangle by the origin. Far away it stops at the ends of the range, which are outside every
/// clip.
inline xrect2d Shifted(IDC const& dc, xrect2d r) noexcept {
  r.Offset(dc.originX, dc.originY);
  return r;
}

/// Cuts a rectangle in surface coordinates down to the clip. False when nothing is left, or there is no
/// surface.
inline bool ClipToSurface(IDC const& dc, xrect2d& r) noexcept { return dc.bits && dc.clip.Clip(r); }

inline bool ShiftAndClip(IDC const& dc, xrect2d& r) noexcept {
  r = Shifted(dc, r);
  return ClipToSurface(dc, r);
}

inline unsigned char* PixelAt(IDC const& dc, int y, int x) noexcept {
  ptrdiff_t const row = dc.topDown ? y : ptrdiff_t{dc.height} - y - 1;
  return dc.bits + row * dc.stride + ptrdiff_t{x} * dc.bytesPerPixel;
}

/// Calls run(first pixel, y) for each row of a rectangle that lies on the surface.
template <class Run>
void ForEachRow(IDC const& dc, xrect2d const& r, Run run) noexcept {
  for (int y = r.top; y < r.bottom; ++y) run(PixelAt(dc, y, r.left), y);
}

inline size_t Width(xrect2d const& r) noexcept { return static_cast<size_t>(r.right - r.left); }

/// Pixels of 4 bytes: what the alpha operations and the modes with alpha need.
inline bool HasAlpha(IDC const& dc) noexcept { return dc.hasAlpha && dc.bytesPerPixel == 4; }

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
  CoverRow(dc.mode, colour, PixelAt(dc, y, x), dc.bytesPerPixel, coverage, static_cast<size_t>(count));
}

}  // namespace yk::draw
