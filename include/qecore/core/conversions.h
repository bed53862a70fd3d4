// From floating point to integer as the library rounds.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// To the nearest, halves away from zero: 2.5 gives 3, -2.5 gives -3. A value outside the 32-bit range,
/// infinity and not-a-number give the processor's answer for what cannot be converted, 0x80000000.
YK_API int round(double value) noexcept;

}  // namespace yk
