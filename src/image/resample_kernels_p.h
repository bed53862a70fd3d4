// The loops that average rows (resample_p.h), for each instruction set. The loop over single pixels defines
// the sums; the one over blocks adds as many as it can without reading past the rows, and leaves the rest.
#pragma once

#include <algorithm>
#include <utility>

#include "core/vectors_p.h"
#include "recode_p.h"
#include "resample_p.h"

namespace yk::img {
namespace {

// ---- one target pixel at a time ---------------------------------------------------------------------------

/// A pixel of `N` channels of type `T` as floats in a register.
template <class T, size_t N>
__m128 ReadPixel(uint8_t const* at) noexcept {
  float channel[4] = {};
  for (size_t c = 0; c < N; ++c) channel[c] = Recoded<float, T>::Of(Read<T>(at, c));
  return _mm_loadu_ps(channel);
}

template <>
inline __m128 ReadPixel<float, 1>(uint8_t const* at) noexcept {
  return _mm_load_ss(reinterpret_cast<float const*>(at));
}

template <>
inline __m128 ReadPixel<float, 3>(uint8_t const* at) noexcept {
  __m128 const two = _mm_castpd_ps(_mm_load_sd(reinterpret_cast<double const*>(at)));
  return _mm_movelh_ps(two, _mm_load_ss(reinterpret_cast<float const*>(at + 8)));
}

template <>
inline __m128 ReadPixel<float, 4>(uint8_t const* at) noexcept {
  return _mm_loadu_ps(reinterpret_cast<float const*>(at));
}

template <size_t N>
void WriteSum(float* at, __m128 sum) noexcept {
  if constexpr (N == 1) {
    _mm_store_ss(at, sum);
  } else {
    _mm_storeu_ps(at, sum);
    if constexpr (N == 3) at[3] = 1.0f;
  }
}

template <class T, size_t N>
void AddPixel(Columns const& columns, RowSum const& row, size_t target, float* at) noexcept {
  constexpr size_t LANES = PixelsPerBlock(N), FLOATS = FloatsPerPixel(N);
  size_t const block = target / LANES * BLOCK_FLOATS;
  float const* const weights = columns.weights + block * columns.depth + target % LANES * FLOATS;
  __m128 sum = row.from == SumsFrom::ZERO ? _mm_setzero_ps()
                                          : ReadPixel<float, FLOATS>(reinterpret_cast<uint8_t*>(at));
  for (size_t r = 0; r < row.rowCount; ++r) {
    uint8_t const* source = row.rows[r].pixels + static_cast<size_t>(columns.first[target]) * N * sizeof(T);
    for (size_t k = 0; k < static_cast<size_t>(columns.count[target]); ++k, source += N * sizeof(T)) {
      __m128 const weight = _mm_set1_ps(row.rows[r].weight * weights[k * BLOCK_FLOATS]);
      sum = _mm_add_ps(sum, _mm_mul_ps(weight, ReadPixel<T, N>(source)));
    }
  }
  WriteSum<N>(at, sum);
}

/// From block `i` on, of all or of those that are listed.
template <class T, size_t N>
void AddPixels(Columns const& columns, RowSum const& row, size_t i) noexcept {
  constexpr size_t LANES = PixelsPerBlock(N);
  for (; i < row.Blocks(BlocksOf(columns.targets, N)); ++i) {
    size_t const first = row.Block(i) * LANES, end = std::min(first + LANES, columns.targets);
    float* at = row.sums + i * BLOCK_FLOATS;
    for (size_t target = first; target < end; ++target, at += FloatsPerPixel(N))
      AddPixel<T, N>(columns, row, target, at);
  }
}

/// Run returns how many blocks are done.
template <Isa ISA, class T, size_t N>
struct VectorAddRows {
  static size_t Run(Columns const&, RowSum const&) noexcept { return 0; }
};

template <Isa ISA, class T, size_t N>
void AddRows(Columns const& columns, RowSum const& row) noexcept {
  AddPixels<T, N>(columns, row, VectorAddRows<ISA, T, N>::Run(columns, row));
}

}  // namespace
}  // namespace yk::img
