// Vectors of bytes at any address. The anonymous namespace keeps the copies of files with different
// instruction sets apart: otherwise the linker would choose one of them for all.
#pragma once

#include <emmintrin.h>
#include <stdint.h>

namespace yk::img {
namespace {

inline __m128i LoadVector(uint8_t const* at) noexcept {
  return _mm_loadu_si128(reinterpret_cast<__m128i const*>(at));
}
inline void StoreVector(uint8_t* at, __m128i value) noexcept {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(at), value);
}

}  // namespace
}  // namespace yk::img
