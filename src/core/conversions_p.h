// From floating point to integer as the processor does it: a value that does not fit, infinity and
// not-a-number give 0x80000000, where a C++ cast would be undefined.
#pragma once

#include <emmintrin.h>

namespace yk {

/// Toward zero.
inline int TruncateToInt(double value) noexcept { return _mm_cvttsd_si32(_mm_set_sd(value)); }
inline int TruncateToInt(float value) noexcept { return _mm_cvttss_si32(_mm_set_ss(value)); }

}  // namespace yk
