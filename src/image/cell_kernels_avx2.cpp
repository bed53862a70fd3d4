// Means of cells for processors with AVX2.
#include "cell_kernels_p.h"

#include <algorithm>

#include "core/vectors_p.h"
#include "unit_avx2_p.h"

namespace yk::img {
namespace {

/// Sixteen bytes as words.
__m256i LoadWords(uint8_t const* at) noexcept { return _mm256_cvtepu8_epi16(LoadVector(at)); }

/// The positions of the bits that are set, in order.
struct BitPositions {
  alignas(8) uint8_t of[256][8];

  constexpr BitPositions() noexcept : of() {
    for (int bits = 0; bits < 256; ++bits)
      for (int i = 0, n = 0; i < 8; ++i)
        if (bits >> i & 1) of[bits][n++] = static_cast<uint8_t>(i);
  }
};
constexpr BitPositions POSITIONS;

/// Writes the means of sixteen sums at a time, and lists those that are divisible.
class Divider {
 public:
  Divider(Cells const& cells, CellRow const& row) noexcept
      : bias(_mm256_set1_epi16(static_cast<short>(cells.bias))),
        factor(_mm256_set1_epi16(static_cast<short>(cells.factor))),
        count(_mm256_set1_epi16(static_cast<short>(cells.count))),
        shift(_mm_cvtsi32_si128(cells.shift)),
        whole(row.whole),
        target(row.target) {}

  void Divide(__m256i sums, size_t at) noexcept {
    __m256i const means = _mm256_srl_epi16(_mm256_mulhi_epu16(_mm256_add_epi16(sums, bias), factor), shift);
    StoreVector(target + at, Narrow(means));
    if (!whole) return;
    __m256i const found = _mm256_cmpeq_epi16(_mm256_mullo_epi16(means, count), sums);
    unsigned const bits = static_cast<unsigned>(_mm_movemask_epi8(
        _mm_packs_epi16(_mm256_castsi256_si128(found), _mm256_extracti128_si256(found, 1))));
    List(bits & 0xFF, at);
    List(bits >> 8, at + 8);
  }

  size_t Listed() const noexcept { return listed; }

 private:
  static __m128i Narrow(__m256i words) noexcept {
    return _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
  }

  void List(unsigned bits, size_t at) noexcept {
    __m256i const found = _mm256_cvtepu8_epi32(LoadHalf(POSITIONS.of[bits]));
    StoreWide(whole + listed, _mm256_add_epi32(found, _mm256_set1_epi32(static_cast<int>(at))));
    listed += static_cast<size_t>(_mm_popcnt_u32(bits));
  }

  __m256i bias, factor, count;
  __m128i shift;
  uint32_t* whole;
  uint8_t* target;
  size_t listed = 0;
};

/// From 48 words, in each half of three vectors 24 of them, the sums of every three. Word 3 t + k of the 24
/// is in lane (3 t + k) mod 8: one blend for each k, turned by k lanes, brings those of a t together.
__m256i SumsOfThree(__m256i a, __m256i b, __m256i c) noexcept {
  __m256i const first = _mm256_blend_epi16(_mm256_blend_epi16(a, b, 0x92), c, 0x24);
  __m256i const second = _mm256_blend_epi16(_mm256_blend_epi16(a, b, 0x24), c, 0x49);
  __m256i const third = _mm256_blend_epi16(_mm256_blend_epi16(a, b, 0x49), c, 0x92);
  __m256i const sums = _mm256_add_epi16(
      first, _mm256_add_epi16(_mm256_alignr_epi8(second, second, 2), _mm256_alignr_epi8(third, third, 4)));
  return _mm256_shuffle_epi8(
      sums, _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11)));
}

/// Grey cells three pixels wide. \return the number of cells done
size_t GreyThrees(CellRow const& row, Divider& divider) noexcept {
  size_t i = 0;
  for (; i + 16 <= row.pixels; i += 16) {
    __m256i sums[3] = {};
    for (size_t r = 0; r < row.rowCount; ++r) {
      uint8_t const* const at = row.rows[r] + 3 * i;
      for (int k = 0; k < 3; ++k) sums[k] = _mm256_add_epi16(sums[k], LoadWords(at + 16 * k));
    }
    divider.Divide(SumsOfThree(_mm256_blend_epi32(sums[0], sums[1], 0xF0),
                               _mm256_permute2x128_si256(sums[0], sums[2], 0x21),
                               _mm256_blend_epi32(sums[1], sums[2], 0xF0)),
                   i);
  }
  return i;
}

/// Adds `count` bytes of each row, from `start` on.
void AddRows(CellRow const& row, size_t start, size_t count, uint16_t* sums) noexcept {
  size_t i = 0;
  for (; i + 32 <= count; i += 32) {
    __m256i low = _mm256_setzero_si256(), high = low;
    for (size_t r = 0; r < row.rowCount; ++r) {
      uint8_t const* const at = row.rows[r] + start + i;
      low = _mm256_add_epi16(low, LoadWords(at));
      high = _mm256_add_epi16(high, LoadWords(at + 16));
    }
    StoreWide(sums + i, low);
    StoreWide(sums + i + 16, high);
  }
  for (; i < count; ++i) {
    unsigned sum = 0;
    for (size_t r = 0; r < row.rowCount; ++r) sum += row.rows[r][start + i];
    sums[i] = static_cast<uint16_t>(sum);
  }
}

/// Adds the columns of each cell; of colours, four words at a time: the last may be of the next pixel.
template <size_t N>
void AddColumns(uint16_t const* columns, size_t across, size_t pixels, uint16_t* sums) noexcept {
  for (size_t i = 0; i < pixels; ++i, sums += N) {
    if constexpr (N == 1) {
      unsigned sum = 0;
      // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.Assign): AddRows has written them
      for (size_t k = 0; k < across; ++k) sum += *columns++;
      *sums = static_cast<uint16_t>(sum);
    } else {
      __m128i sum = LoadHalf(columns);
      for (size_t k = 1; k < across; ++k) sum = _mm_add_epi16(sum, LoadHalf(columns + k * N));
      StoreHalf(sums, sum);
      columns += across * N;
    }
  }
}

/// Any cells, in blocks that stay in the first-level cache. \return the number of cells done
template <size_t N>
size_t AnyCells(Cells const& cells, CellRow const& row, Divider& divider) noexcept {
  constexpr size_t COLUMNS = 4096, ROOM = 16;
  uint16_t columns[COLUMNS + ROOM], sums[COLUMNS / 2 + ROOM];
  size_t const width = cells.across * N, most = std::min(COLUMNS / width, COLUMNS / 2 / N) / 16 * 16;
  size_t done = 0;
  for (size_t now; (now = std::min(most, (row.pixels - done) / 16 * 16)) != 0; done += now) {
    AddRows(row, done * width, now * width, columns);
    AddColumns<N>(columns, cells.across, now, sums);
    for (size_t i = 0; i < now * N; i += 16) divider.Divide(LoadWide(sums + i), done * N + i);
  }
  return done;
}

size_t Means(Cells const& cells, CellRow const& row) noexcept {
  Divider divider(cells, row);
  size_t const done = row.channels == 3   ? AnyCells<3>(cells, row, divider)
                      : row.channels == 4 ? AnyCells<4>(cells, row, divider)
                      : cells.across == 3 ? GreyThrees(row, divider)
                                          : AnyCells<1>(cells, row, divider);
  return MeansFrom(cells, row, done, divider.Listed());
}

/// Four bytes from each of four places.
__m128i LoadFours(uint8_t const* row, uint32_t const (&at)[8], int first) noexcept {
  auto const four = [&](int i) { return static_cast<int>(Read<uint32_t>(row + at[first + i], 0)); };
  return _mm_insert_epi32(
      _mm_insert_epi32(_mm_insert_epi32(_mm_cvtsi32_si128(four(0)), four(1), 1), four(2), 2), four(3), 3);
}

/// Eight cells that begin at these places. `ACROSS` is their width if it is known when compiled, or 0.
template <size_t ACROSS>
__m256 SumEight(Cells const& cells, CellRow const& row, uint32_t const (&at)[8], __m256 weight) noexcept {
  size_t const across = ACROSS ? ACROSS : cells.across;
  __m256 sum = _mm256_setzero_ps();
  for (size_t r = 0; r < row.rowCount; ++r) {
    for (size_t k = 0; k < across; k += 4) {
      uint8_t const* const from = row.rows[r] + k;
      __m256i bytes =
          _mm256_inserti128_si256(_mm256_castsi128_si256(LoadFours(from, at, 0)), LoadFours(from, at, 4), 1);
      for (size_t i = 0; i < std::min<size_t>(4, across - k); ++i, bytes = _mm256_srli_epi32(bytes, 8)) {
        __m256 const unit = Unit(_mm256_and_si256(bytes, _mm256_set1_epi32(0xFF)));
        sum = _mm256_add_ps(sum, _mm256_mul_ps(weight, unit));
      }
    }
  }
  return sum;
}

/// Reads up to three bytes after a cell, which those at the end of the row do not have.
void SumListed(Cells const& cells, CellRow const& row, size_t listed, float weight, float* sums) noexcept {
  size_t const reach = (cells.across + 3) / 4 * 4, size = row.pixels * cells.across;
  size_t safe = listed, i = 0;
  while (safe && row.whole[safe - 1] * cells.across + reach > size) --safe;
  for (; i + 8 <= safe; i += 8) {
    uint32_t at[8];
    for (size_t k = 0; k < 8; ++k) at[k] = row.whole[i + k] * static_cast<uint32_t>(cells.across);
    __m256 const all = _mm256_set1_ps(weight);
    _mm256_storeu_ps(sums + i,
                     cells.across == 3 ? SumEight<3>(cells, row, at, all) : SumEight<0>(cells, row, at, all));
  }
  SumListedFrom(cells, row, i, listed, weight, sums);
}

}  // namespace

CellKernels const CELLS_AVX2 = {Means, SumListed};

}  // namespace yk::img
