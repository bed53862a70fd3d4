// Rectangles: filled in one colour or in many, or changed in place.
//
// Each operation is clipped to the surface's clip. Results: S_OK; S_FALSE when nothing is inside; E_NOTIMPL
// for a mode that cannot paint on the surface.
#pragma once

#include <algorithm>

#include "fill_kernels_p.h"
#include "paint_p.h"

namespace yk::raster {

/// Sets every pixel, including alpha, regardless of the clip. The padding of the rows may change, too.
void Clear(Surface const& surface, unsigned colour) noexcept;

HRESULT Fill(Surface const& surface, Paint paint, xrect2d const& r) noexcept;

/// A frame of `width` pixels inside a rectangle: left and top light, right and bottom dark, with mitred
/// corners whose diagonal is dark. A width of more than half the rectangle fills it.
struct Bevel {
  xrect2d frame;
  int width;
  unsigned light, dark;
};
HRESULT FillBevel(Surface const& surface, Mode mode, Bevel const& bevel) noexcept;

/// Multiplies the colour of pixels of 4 bytes by their alpha.
HRESULT Premultiply(Surface const& surface, xrect2d const& r) noexcept;

/// Makes pixels of 4 bytes white unless their alpha is 0, which is kept.
HRESULT Whiten(Surface const& surface, xrect2d const& r) noexcept;

/// Changes only the alpha of pixels of 4 bytes.
HRESULT SetAlpha(Surface const& surface, xrect2d const& r, unsigned char alpha) noexcept;

/// Maps the colour channels through a table of 256 entries.
HRESULT Translate(Surface const& surface, xrect2d const& r, unsigned char const* table) noexcept;

/// Fills each row in the colour colourOf(y).
template <class ColourOf>
HRESULT FillRows(Surface const& surface, Mode mode, xrect2d const& r, ColourOf colourOf) noexcept {
  xrect2d area = r;
  if (!surface.Clip(area)) return S_FALSE;
  if (!CanPaint(surface, mode)) return E_NOTIMPL;
  ForEachRow(surface, area, [&](unsigned char* row, int y) {
    RowFill({mode, colourOf(y)}, surface.bytesPerPixel)(row, Width(area));
  });
  return S_OK;
}

/// Blends the colour colourOf(x) into each column.
template <class ColourOf>
HRESULT BlendColumns(Surface const& surface, xrect2d const& r, ColourOf colourOf) noexcept {
  constexpr int MOST = ColourRow::MOST;
  xrect2d area = r;
  if (!surface.Clip(area)) return S_FALSE;
  for (int left = area.left; left < area.right; left += MOST) {
    xrect2d const part(left, area.top, std::min(left + MOST, area.right), area.bottom);
    ColourRow colours(surface.bytesPerPixel);
    for (int x = part.left; x < part.right; ++x) colours.Append(colourOf(x));
    colours.BlendInto(RowsOf(surface, part));
  }
  return S_OK;
}

/// Blends the colour colourOf(x, y) into each pixel, requesting it only after the previous ones are painted.
template <class ColourOf>
HRESULT BlendPixels(Surface const& surface, xrect2d const& r, ColourOf colourOf) noexcept {
  xrect2d area = r;
  if (!surface.Clip(area)) return S_FALSE;
  ForEachRowDown(surface, area, [&](unsigned char* pixel, int y) {
    for (int x = area.left; x < area.right; ++x, pixel += surface.bytesPerPixel) {
      BlendInto(pixel, colourOf(x, y));
    }
  });
  return S_OK;
}

}  // namespace yk::raster
