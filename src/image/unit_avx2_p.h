// Bytes as floats, for processors with AVX2.
#pragma once

#include <immintrin.h>

#include "recode_p.h"

namespace yk::img {
namespace {

/// Eight bytes, in the low bytes of eight integers, as v / 255.
inline __m256 Unit(__m256i bytes) noexcept {
  using Rule = Recoded<float, uint8_t>;
  __m256 const v = _mm256_cvtepi32_ps(bytes);
  return _mm256_fmadd_ps(v, _mm256_set1_ps(Rule::WHOLE), _mm256_mul_ps(v, _mm256_set1_ps(Rule::REST)));
}

}  // namespace
}  // namespace yk::img
