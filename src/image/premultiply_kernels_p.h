// Multiplying the channels of a row by their alpha, for images and for painting.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace yk::img {

/// Rows of BGRA32.
struct AlphaRows {
  uint8_t* first;
  ptrdiff_t stride;
  size_t pixels;  // of each
  int count;
};

/// Blue, green and red become (channel * alpha) / 255, truncated.
using PremultiplyFunction = void (*)(AlphaRows const& rows) noexcept;

/// The definition, pixel by pixel.
void PremultiplyScalar(AlphaRows const& rows) noexcept;
void PremultiplyBase(AlphaRows const& rows) noexcept;
void PremultiplyAvx2(AlphaRows const& rows) noexcept;

/// The best for this processor.
PremultiplyFunction BestPremultiply() noexcept;

}  // namespace yk::img
