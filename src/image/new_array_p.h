// Arrays for intermediate results, whose allocation may fail.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <new>

namespace yk::img {

/// An array of zeros; null when there is no memory. Without the test, `new` would test the size and throw.
template <class T>
std::unique_ptr<T[]> NewArray(size_t count) noexcept {
  constexpr size_t MOST = PTRDIFF_MAX / sizeof(T);
  return std::unique_ptr<T[]>(count <= MOST ? new (std::nothrow) T[count]() : nullptr);
}

}  // namespace yk::img
