// Integer sums that saturate at the limits of the 32-bit range.
#pragma once

#include <qecore/draw/geometry.h>

namespace yk {

constexpr int ClampToInt(int64_t value) noexcept {
  if (value > INT32_MAX) return INT32_MAX;
  return value < INT32_MIN ? INT32_MIN : static_cast<int>(value);
}

constexpr int AddClamped(int a, int b) noexcept { return ClampToInt(int64_t{a} + b); }

}  // namespace yk
