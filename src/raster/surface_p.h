// A surface: rows of pixels, and the part that may be painted on. Plain values, independent of Windows.
//
// Channels are in memory as blue, green, red and, in pixels of 4 bytes, alpha. Positions are relative to the
// top left pixel, for either order of the rows in memory.
//
// All painting stays inside the clip. No row depends on another, except that a pattern of a line advances
// with its pixels: bands of rows, each a clip, can be painted in parallel.
#pragma once

#include <qecore/draw/geometry.h>
#include <stddef.h>
#include <stdint.h>
#include <xmmintrin.h>

namespace yk::raster {

struct Surface {
  unsigned char* pixels = nullptr;  // the top left one; null when there is no surface
  ptrdiff_t stride = 0;             // bytes from a row to the one below it; negative for bottom-up rows
  int width = 0, height = 0;
  int bytesPerPixel = 0;  // 3 or 4
  bool hasAlpha = false;  // whether the fourth byte is an alpha channel
  xrect2d clip;           // inside the surface

  unsigned char* At(int x, int y) const noexcept {
    return pixels + ptrdiff_t{y} * stride + ptrdiff_t{x} * bytesPerPixel;
  }
  /// Whether there is a pixel here that may be painted on.
  bool IsInClip(int x, int y) const noexcept {
    return pixels && x >= clip.left && x < clip.right && y >= clip.top && y < clip.bottom;
  }
  bool IsEmpty() const noexcept { return !pixels || clip.left >= clip.right || clip.top >= clip.bottom; }
  /// Clips a rectangle to the area that may be painted on. False when nothing is left.
  bool Clip(xrect2d& r) const noexcept { return pixels && clip.Clip(r); }
};

/// Has the processor fetch what is at a distance from an address, where it cannot guess that it will be
/// needed. Harmless beyond the end of a block.
inline void FetchAhead(unsigned char const* from, ptrdiff_t distance) noexcept {
  uintptr_t const address = reinterpret_cast<uintptr_t>(from) + static_cast<uintptr_t>(distance);
  _mm_prefetch(reinterpret_cast<char const*>(address), _MM_HINT_T0);
}

/// Pixels in a row of a rectangle that is not inverted.
inline size_t Width(xrect2d const& r) noexcept { return static_cast<size_t>(r.right - r.left); }

/// The rows of a rectangle in the order of memory, which is bottom-up for most surfaces: processors fetch
/// ahead in that direction only.
struct Rows {
  unsigned char* first;
  ptrdiff_t stride;  // not negative
  size_t bytes;      // of each row
  int count;

  /// The same bytes in one long row, when nothing is between the rows.
  Rows Joined() const noexcept {
    if (static_cast<size_t>(stride) != bytes) return *this;
    return {first, 0, bytes * static_cast<size_t>(count), 1};
  }
};

/// The rows of a rectangle inside the surface.
inline Rows RowsOf(Surface const& surface, xrect2d const& r) noexcept {
  bool const isDown = surface.stride >= 0;
  size_t const bytes = Width(r) * static_cast<size_t>(surface.bytesPerPixel);
  ptrdiff_t const stride = isDown ? surface.stride : -surface.stride;
  return {surface.At(r.left, isDown ? r.top : r.bottom - 1), stride, bytes, r.bottom - r.top};
}

/// Calls run(first pixel, y) for each row of a rectangle inside the surface, in the order of memory.
template <class Run>
void ForEachRow(Surface const& surface, xrect2d const& r, Run run) noexcept {
  bool const isDown = surface.stride >= 0;
  int const first = isDown ? r.top : r.bottom - 1, end = isDown ? r.bottom : r.top - 1;
  for (int y = first; y != end; y += isDown ? 1 : -1) run(surface.At(r.left, y), y);
}

/// The same from top to bottom, for callers that can observe the order.
template <class Run>
void ForEachRowDown(Surface const& surface, xrect2d const& r, Run run) noexcept {
  for (int y = r.top; y < r.bottom; ++y) run(surface.At(r.left, y), y);
}

}  // namespace yk::raster
