// Loops over one row of an image other than conversions: mirroring, premultiplying, averaging.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace yk::img {

/// Reverses the order of the `pixels` of a row; `bytes` is the size of each, from 1 to 16.
void MirrorRow(uint8_t* row, size_t pixels, size_t bytes) noexcept;

/// Swaps two blocks that do not overlap.
void SwapBytes(uint8_t* a, uint8_t* b, size_t size) noexcept;

/// BGRA32: blue, green and red become (channel * alpha) / 255, truncated.
void PremultiplyRow(uint8_t* row, size_t pixels) noexcept;

/// Averages blocks of 2 x 2 pixels of one or three bytes, truncating. `pixels` counts the results.
void HalveRow(uint8_t const* upper, uint8_t const* lower, uint8_t* target, size_t pixels,
              size_t channels) noexcept;

/// The adjacent source pixels that a target pixel covers.
struct Run {
  int32_t first;
  int32_t count;
};

/// A row of sums and what is added to it: to each of the `pixels` the source pixels of its run, each times
/// its weight, from left to right. The weights are in the order of the runs. Source and sums have room for
/// one more float at the end.
struct RowSum {
  float* sums;
  float const* source;
  Run const* runs;
  float const* weights;
  size_t pixels;
};

/// Where the sums start.
enum class SumsFrom { ZERO, PRESENT };

/// Pixels have 1, 3 or 4 `channels`.
void AddRow(RowSum const& row, size_t channels, SumsFrom from) noexcept;

/// products[i] = factor * weights[i]
void Scale(float* products, float const* weights, size_t count, float factor) noexcept;

}  // namespace yk::img
