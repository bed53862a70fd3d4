// The header of a bitmap in memory, for GDI functions that create or display one.
#pragma once

#include <windows.h>

namespace yk::img {

/// Uncompressed. A positive height is bottom-up, a negative one top-down.
constexpr BITMAPINFOHEADER DibHeader(int width, int height, int bitCount) noexcept {
  constexpr LONG PIXELS_PER_METRE = 300;
  return {
      sizeof(BITMAPINFOHEADER), width, height, 1, static_cast<WORD>(bitCount), BI_RGB, 0, PIXELS_PER_METRE,
      PIXELS_PER_METRE,         0,     0};
}

}  // namespace yk::img
