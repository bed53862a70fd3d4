// Vectors of integers at any address. The anonymous namespace keeps the copies of files with different
// instruction sets apart: otherwise the linker would choose one of them for all.
#pragma once

#include <immintrin.h>

namespace yk {
namespace {

inline __m128i LoadVector(void const* at) noexcept {
  return _mm_loadu_si128(static_cast<__m128i const*>(at));
}
inline void StoreVector(void* at, __m128i value) noexcept {
  _mm_storeu_si128(static_cast<__m128i*>(at), value);
}

/// Eight bytes; the upper half of the vector is zero, or not stored.
inline __m128i LoadHalf(void const* at) noexcept { return _mm_loadl_epi64(static_cast<__m128i const*>(at)); }
inline void StoreHalf(void* at, __m128i value) noexcept {
  _mm_storel_epi64(static_cast<__m128i*>(at), value);
}

/// Thirty-two bytes: templates, which are compiled only where AVX2 may be used.
template <class T>
__m256i LoadWide(T const* at) noexcept {
  return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(at));
}
template <class T>
void StoreWide(T* at, __m256i value) noexcept {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(at), value);
}

}  // namespace
}  // namespace yk
