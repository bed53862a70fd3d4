// Conversion from floating point to integer, with the library's rounding.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// To the nearest integer, halves away from zero: 2.5 gives 3, -2.5 gives -3. Values outside the 32-bit
/// range, infinities and NaNs give 0x80000000, as the processor converts them.
YK_API int round(double value) noexcept;

}  // namespace yk
