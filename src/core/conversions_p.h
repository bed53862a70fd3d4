// Conversions to int with defined results for values that do not fit.
#pragma once

#include <emmintrin.h>
#include <limits.h>
#include <stddef.h>

namespace yk {

/// A size for system functions that count in int, clamped: the largest int is enough for them.
constexpr int AsCount(size_t size) noexcept { return size > INT_MAX ? INT_MAX : static_cast<int>(size); }

/// From floating point, truncated toward zero by the processor: infinities, NaNs and values that do not fit
/// give 0x80000000, where a C++ cast would be undefined.
inline int TruncateToInt(double value) noexcept { return _mm_cvttsd_si32(_mm_set_sd(value)); }
inline int TruncateToInt(float value) noexcept { return _mm_cvttss_si32(_mm_set_ss(value)); }

}  // namespace yk
