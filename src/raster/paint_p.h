// A paint: a colour, and how painting with it changes a pixel.
#pragma once

#include "surface_p.h"

namespace yk::raster {

enum class Mode : unsigned {
  PAINT,      // blends the colour in by its alpha; the pixel's alpha is unchanged
  INVERT,     // complements blue, green and red; the colour is not used
  ADD,        // adds the channels, clamped to 255; the colour's alpha is not used
  SUBTRACT,   // subtracts the channels, clamped to 0; the colour's alpha is not used
  COPY,       // replaces the pixel, including alpha; pixels of 4 bytes only
  COMPOSITE,  // composites the colour over the pixel, including alpha; pixels of 4 bytes only
};
inline constexpr unsigned MODE_COUNT = static_cast<unsigned>(Mode::COMPOSITE) + 1;

/// The alpha of a colour, and of a pixel of four bytes.
inline constexpr uint32_t ALPHA_BITS = 0xFF000000;

struct Paint {
  Mode mode;
  unsigned colour;  // bits 31..24 alpha, 23..16 blue, 15..8 green, 7..0 red
};

/// Whether the mode exists and works on pixels of this size.
constexpr bool CanPaint(Surface const& surface, Mode mode) noexcept {
  return mode < Mode::COPY || (mode <= Mode::COMPOSITE && surface.bytesPerPixel == 4);
}

}  // namespace yk::raster
