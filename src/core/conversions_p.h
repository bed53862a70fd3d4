// Conversions to int that say what becomes of a value that does not fit.
#pragma once

#include <emmintrin.h>
#include <limits.h>
#include <stddef.h>

namespace yk {

/// A size for the system's functions that count in int: the largest number that they take is enough for them.
constexpr int AsCount(size_t size) noexcept { return size > INT_MAX ? INT_MAX : static_cast<int>(size); }

/// From floating point as the processor does it, toward zero: infinity, not-a-number and what does not fit
/// give 0x80000000, where a C++ cast would be undefined.
inline int TruncateToInt(double value) noexcept { return _mm_cvttsd_si32(_mm_set_sd(value)); }
inline int TruncateToInt(float value) noexcept { return _mm_cvttss_si32(_mm_set_ss(value)); }

}  // namespace yk
