// The loops that reduce images to exactly half their size.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace yk::img {

/// Averages blocks of 2 x 2 pixels of two rows. `pixels` counts the results.
using HalveFunction = void (*)(uint8_t const* upper, uint8_t const* lower, uint8_t* target,
                               size_t pixels) noexcept;

struct HalveKernels {
  HalveFunction grey;    ///< truncates
  HalveFunction colour;  ///< three bytes; truncates
  HalveFunction alpha;   ///< four bytes: the sums that area averaging makes, rounded
};

extern HalveKernels const HALVE_BASE;
extern HalveKernels const HALVE_AVX2;

}  // namespace yk::img
