// Loops over one row of an image other than conversions: mirroring, swapping.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace yk::img {

/// Reverses the order of the `pixels` of a row; `bytes` is the size of each, from 1 to 16.
void MirrorRow(uint8_t* row, size_t pixels, size_t bytes) noexcept;

/// Swaps two blocks that do not overlap.
void SwapBytes(uint8_t* a, uint8_t* b, size_t size) noexcept;

}  // namespace yk::img
