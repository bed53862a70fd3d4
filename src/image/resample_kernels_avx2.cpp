// Area averaging for processors with AVX2: a block of target pixels in a register.
#include "resample_kernels_p.h"
#include "unit_avx2_p.h"
#include "vector_kernels_avx2_p.h"

namespace yk::img {
namespace {

/// The processor does not follow several rows well enough by itself. Eight lines ahead are enough.
void PrefetchFrom(uint8_t const* at) noexcept {
  constexpr int AHEAD = 512;
  _mm_prefetch(reinterpret_cast<char const*>(at) + AHEAD, _MM_HINT_T0);
}

/// Two halves from two addresses.
__m256i LoadHalves(uint8_t const* low, uint8_t const* high) noexcept {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(LoadVector(low)), LoadVector(high), 1);
}

// Readers of source pixels for a block of target pixels: Prefetch announces later blocks, Load reads `PIXELS`
// successive pixels for each, of which Pixel<I> returns the I-th. `REACH` is the bytes that a load reads.

/// Two pixels, each of which starts `SIZE` bytes after the one before it.
template <size_t BYTES>
class Pair {
 public:
  static constexpr size_t SIZE = BYTES, REACH = 16;

  explicit Pair(int32_t const* first) noexcept
      : low(static_cast<size_t>(first[0]) * SIZE), high(static_cast<size_t>(first[1]) * SIZE) {}

  void Prefetch(uint8_t const* row) const noexcept { PrefetchFrom(row + low); }

  void Load(uint8_t const* row, size_t k) noexcept {
    row += k * SIZE;
    window = LoadHalves(row + low, row + high);
  }

 protected:
  __m256i window = {};

 private:
  size_t low;
  size_t high;
};

template <size_t N>
class PairOfBytes : public Pair<N> {
 public:
  static constexpr size_t PIXELS = 16 / N;
  using Pair<N>::Pair;

  template <size_t I>
  __m256 Pixel() const noexcept {
    constexpr char B = I * N, X = -128, A = N == 4 ? B + 3 : X;
    __m256i const pick =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(B, X, X, X, B + 1, X, X, X, B + 2, X, X, X, A, X, X, X));
    return Unit(_mm256_shuffle_epi8(this->window, pick));
  }
};

/// The fourth float of a pixel of three belongs to the next one.
template <size_t N>
class PairOfFloats : public Pair<4 * N> {
 public:
  static constexpr size_t PIXELS = 1;
  using Pair<4 * N>::Pair;

  template <size_t I>
  __m256 Pixel() const noexcept {
    return _mm256_castsi256_ps(this->window);
  }
};

/// The distances of the sources of four grey pixels from that of the first, in each half.
__m256i OffsetsOf(int32_t const* first) noexcept {
  __m256i const at = LoadWide(first);
  return _mm256_sub_epi32(at, _mm256_shuffle_epi32(at, 0));
}

/// Eight grey bytes, of which each half is within 16 bytes.
class EightBytes {
 public:
  static constexpr size_t SIZE = 1, PIXELS = 1, REACH = 16;

  explicit EightBytes(int32_t const* first) noexcept
      : low(first[0]),
        high(first[4]),
        pick(_mm256_or_si256(OffsetsOf(first), _mm256_set1_epi32(static_cast<int>(0x80808000u)))) {}

  void Prefetch(uint8_t const* row) const noexcept { PrefetchFrom(row + low); }
  void Load(uint8_t const* row, size_t k) noexcept { window = LoadHalves(row + k + low, row + k + high); }

  template <size_t I>
  __m256 Pixel() const noexcept {
    return Unit(_mm256_shuffle_epi8(window, pick));
  }

 private:
  ptrdiff_t low;
  ptrdiff_t high;
  __m256i pick;
  __m256i window = {};
};

/// Eight grey floats, of which each half is within 8 floats.
class EightNearFloats {
 public:
  static constexpr size_t SIZE = 4, PIXELS = 1, REACH = 32;

  explicit EightNearFloats(int32_t const* first) noexcept
      : low(first[0]), high(first[4]), pick(OffsetsOf(first)) {}

  void Prefetch(uint8_t const* row) const noexcept { PrefetchFrom(row + low * 4); }

  void Load(uint8_t const* row, size_t k) noexcept {
    float const* const at = reinterpret_cast<float const*>(row) + k;
    lowWindow = _mm256_loadu_ps(at + low);
    highWindow = _mm256_loadu_ps(at + high);
  }

  template <size_t I>
  __m256 Pixel() const noexcept {
    return _mm256_blend_ps(_mm256_permutevar8x32_ps(lowWindow, pick),
                           _mm256_permutevar8x32_ps(highWindow, pick), 0xF0);
  }

 private:
  ptrdiff_t low;
  ptrdiff_t high;
  __m256i pick;
  __m256 lowWindow = {};
  __m256 highWindow = {};
};

/// Eight grey floats anywhere.
class EightFarFloats {
 public:
  static constexpr size_t SIZE = 4, PIXELS = 1, REACH = 4;

  explicit EightFarFloats(int32_t const* firstPixels) noexcept : first(firstPixels) {}

  void Prefetch(uint8_t const*) const noexcept {}
  void Load(uint8_t const* row, size_t k) noexcept { at = reinterpret_cast<float const*>(row) + k; }

  template <size_t I>
  __m256 Pixel() const noexcept {
    return _mm256_setr_ps(at[first[0]], at[first[1]], at[first[2]], at[first[3]], at[first[4]], at[first[5]],
                          at[first[6]], at[first[7]]);
  }

 private:
  float const* at = nullptr;
  int32_t const* first;
};

/// The blocks whose sources can be loaded without reading past the row; `first` rises from block to block.
template <class Reader, size_t N>
size_t SafeBlocks(Columns const& columns, RowSum const& row) noexcept {
  constexpr size_t LANES = PixelsPerBlock(N);
  size_t const lastLoad = (columns.depth - 1) / Reader::PIXELS * Reader::PIXELS;
  size_t const reach = lastLoad * Reader::SIZE + Reader::REACH;
  size_t blocks = row.Blocks(BlocksOf(columns.targets, N));
  auto const last = [&](size_t block) {
    return static_cast<size_t>(columns.first[block * LANES + LANES - 1]);
  };
  while (blocks && last(row.Block(blocks - 1)) * Reader::SIZE + reach > row.readable) --blocks;
  return blocks;
}

/// Calls step(constant I) for each I in turn, until one returns false.
template <class Step, size_t... I>
void AllOf(std::index_sequence<I...>, Step step) noexcept {
  (void)(step(std::integral_constant<size_t, I>()) && ...);
}

/// `DEPTH` is the depth if it is known when compiled, or 0. The arguments are copies, which the compiler
/// knows not to be changed by the stores.
template <class Reader, size_t N, size_t DEPTH, bool UNIFORM>
void AddBlocks(Columns columns, RowSum row, size_t blocks) noexcept {
  size_t const depth = DEPTH ? DEPTH : columns.depth;
  __m256 const alike = _mm256_set1_ps(columns.weights[0]);
  for (size_t i = 0; i < blocks; ++i) {
    size_t const b = row.Block(i);
    float const* const weights = columns.weights + b * depth * BLOCK_FLOATS;
    float* const at = row.sums + i * BLOCK_FLOATS;
    __m256 sum = row.from == SumsFrom::ZERO ? _mm256_setzero_ps() : _mm256_loadu_ps(at);
    Reader reader(columns.first + b * PixelsPerBlock(N));
    for (SourceRow const* source = row.rows; source != row.rows + row.rowCount; ++source) {
      reader.Prefetch(source->pixels);
      __m256 const down = _mm256_set1_ps(source->weight);
      __m256 const product = _mm256_mul_ps(down, alike);
      auto const add = [&](size_t k, auto index) {
        constexpr size_t I = decltype(index)::value;
        if (k + I >= depth) return false;
        float const* const across = weights + (k + I) * BLOCK_FLOATS;
        __m256 const weight = UNIFORM ? product : _mm256_mul_ps(down, _mm256_loadu_ps(across));
        sum = _mm256_add_ps(sum, _mm256_mul_ps(weight, reader.template Pixel<I>()));
        return true;
      };
      for (size_t k = 0; k < depth; k += Reader::PIXELS) {
        reader.Load(source->pixels, k);
        AllOf(std::make_index_sequence<Reader::PIXELS>(), [&](auto index) { return add(k, index); });
      }
    }
    if constexpr (N == 3) sum = _mm256_blend_ps(sum, _mm256_set1_ps(1.0f), 0x88);
    _mm256_storeu_ps(at, sum);
  }
}

template <class Reader, size_t N, bool UNIFORM>
void AddBlocksOfDepth(Columns const& columns, RowSum const& row, size_t blocks) noexcept {
  if (columns.depth == 1) return AddBlocks<Reader, N, 1, UNIFORM>(columns, row, blocks);
  if (columns.depth == 2) return AddBlocks<Reader, N, 2, UNIFORM>(columns, row, blocks);
  if (columns.depth == 3) return AddBlocks<Reader, N, 3, UNIFORM>(columns, row, blocks);
  AddBlocks<Reader, N, 0, UNIFORM>(columns, row, blocks);
}

/// \return how many blocks are done
template <class Reader, size_t N>
size_t AddWith(Columns const& columns, RowSum const& row) noexcept {
  size_t const blocks = SafeBlocks<Reader, N>(columns, row);
  columns.uniform ? AddBlocksOfDepth<Reader, N, true>(columns, row, blocks)
                  : AddBlocksOfDepth<Reader, N, false>(columns, row, blocks);
  return blocks;
}

template <size_t N>
struct VectorAddRows<Isa::AVX2, uint8_t, N> {
  static size_t Run(Columns const& columns, RowSum const& row) noexcept {
    if constexpr (N == 1) {
      return columns.span <= MAX_SPAN_OF_BYTES ? AddWith<EightBytes, 1>(columns, row) : 0;
    } else {
      return AddWith<PairOfBytes<N>, N>(columns, row);
    }
  }
};

/// Padding multiplies pixels by 0, which gives NaN if they are not finite: then only without padding.
template <size_t N>
struct VectorAddRows<Isa::AVX2, float, N> {
  static size_t Run(Columns const& columns, RowSum const& row) noexcept {
    if (!row.finite && !columns.uniform) return 0;
    if constexpr (N == 1) {
      constexpr int32_t MAX_SPAN = 7;
      return columns.span <= MAX_SPAN ? AddWith<EightNearFloats, 1>(columns, row)
                                      : AddWith<EightFarFloats, 1>(columns, row);
    } else {
      return AddWith<PairOfFloats<N>, N>(columns, row);
    }
  }
};

// ---- mixtures of two rows

/// Writes 32 bytes: 32 grey pixels, or 8 of four channels, of which the target may have three.
template <size_t N>
void StoreBlocks(Mixture const& row, size_t block, __m256i bytes) noexcept {
  size_t const pixel = block * PixelsPerBlock(N);
  uint8_t* const to = row.target + pixel * N;
  if constexpr (N == 3) {
    StoreTwelves(to, DropFourth(bytes), row.pixels - pixel);
  } else {
    StoreWide(to, bytes);
  }
}

template <size_t N>
size_t MixBlocks(Mixture const& row) noexcept {
  __m256 const first = _mm256_set1_ps(row.weights[0]), second = _mm256_set1_ps(row.weights[1]);
  __m256 const bias = _mm256_set1_ps(row.bias), sign = _mm256_set1_ps(-0.0f);
  __m256 const decided = _mm256_set1_ps(0.5f - 1.0f / 4096);
  size_t found = 0;
  for (size_t block = 0, blocks = row.Blocks(); block < blocks; block += Mixture::AT_ONCE) {
    __m256i values[Mixture::AT_ONCE];
    __m256 isOpen[Mixture::AT_ONCE];
    for (size_t k = 0; k < Mixture::AT_ONCE; ++k) {
      size_t const at = (block + k) * BLOCK_FLOATS;
      __m256 const mean = _mm256_fmadd_ps(_mm256_loadu_ps(row.rows[1] + at), second,
                                          _mm256_fmadd_ps(_mm256_loadu_ps(row.rows[0] + at), first, bias));
      values[k] = _mm256_cvtps_epi32(mean);
      __m256 const distance = _mm256_andnot_ps(sign, _mm256_sub_ps(mean, _mm256_cvtepi32_ps(values[k])));
      isOpen[k] = _mm256_cmp_ps(distance, decided, _CMP_GT_OQ);
    }
    StoreBlocks<N>(row, block, PackBytes(values));
    __m256 const any = _mm256_or_ps(_mm256_or_ps(isOpen[0], isOpen[1]), _mm256_or_ps(isOpen[2], isOpen[3]));
    if (N != 1 && _mm256_testz_ps(any, any)) continue;  // too rare to foresee for grey, of which much is flat
    for (size_t k = 0; k < Mixture::AT_ONCE; ++k) {
      row.undecided[found] = static_cast<uint32_t>(block + k);
      found += _mm256_movemask_ps(isOpen[k]) != 0;
    }
  }
  return found;
}

size_t Mix(Mixture const& row) noexcept {
  return row.channels == 1 ? MixBlocks<1>(row) : row.channels == 3 ? MixBlocks<3>(row) : MixBlocks<4>(row);
}

}  // namespace

ResampleKernels const RESAMPLE_AVX2 = {
    {AddRows<Isa::AVX2, float, 1>, AddRows<Isa::AVX2, float, 3>, AddRows<Isa::AVX2, float, 4>},
    {AddRows<Isa::AVX2, uint8_t, 1>, AddRows<Isa::AVX2, uint8_t, 3>, AddRows<Isa::AVX2, uint8_t, 4>},
    Mix};

}  // namespace yk::img
