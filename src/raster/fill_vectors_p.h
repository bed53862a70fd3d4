// The loops of fill_kernels_p.h on vectors: one template over an instruction set and an operation. Each file
// that includes this is compiled for one instruction set.
//
// A row that is not a whole number of vectors ends with one that overlaps the previous one: its result is
// computed before anything is stored. Rows shorter than a vector are left to the next narrower set.
#pragma once

#include <string.h>

#include "core/vectors_p.h"
#include "fill_kernels_p.h"

namespace yk::raster {
// anonymous: otherwise the linker would choose the copy of one instruction set for all
namespace {

// ---- instruction sets

struct Sse2 {
  using Bytes = __m128i;
  using Floats = __m128;
  static constexpr size_t SIZE = 16;
  static KernelSet const& Narrower() noexcept { return SCALAR_KERNELS; }

  static Bytes Load(unsigned char const* at) noexcept { return LoadVector(at); }
  static void Store(unsigned char* at, Bytes v) noexcept { StoreVector(at, v); }
  static Bytes All16(unsigned v) noexcept { return _mm_set1_epi16(static_cast<short>(v)); }
  static Bytes All32(unsigned v) noexcept { return _mm_set1_epi32(static_cast<int>(v)); }
  static Floats All(float v) noexcept { return _mm_set1_ps(v); }
  static Bytes And(Bytes a, Bytes b) noexcept { return _mm_and_si128(a, b); }
  static Bytes AndNot(Bytes a, Bytes b) noexcept { return _mm_andnot_si128(a, b); }
  static Bytes Or(Bytes a, Bytes b) noexcept { return _mm_or_si128(a, b); }
  static Bytes Xor(Bytes a, Bytes b) noexcept { return _mm_xor_si128(a, b); }
  static Bytes AddClamped8(Bytes a, Bytes b) noexcept { return _mm_adds_epu8(a, b); }
  static Bytes SubClamped8(Bytes a, Bytes b) noexcept { return _mm_subs_epu8(a, b); }
  static Bytes Add16(Bytes a, Bytes b) noexcept { return _mm_add_epi16(a, b); }
  static Bytes Sub16(Bytes a, Bytes b) noexcept { return _mm_sub_epi16(a, b); }
  static Bytes Mul16(Bytes a, Bytes b) noexcept { return _mm_mullo_epi16(a, b); }
  static Bytes MulHigh16(Bytes a, Bytes b) noexcept { return _mm_mulhi_epu16(a, b); }
  template <int BITS>
  static Bytes Shl16(Bytes v) noexcept {
    return _mm_slli_epi16(v, BITS);
  }
  template <int BITS>
  static Bytes Shr16(Bytes v) noexcept {
    return _mm_srli_epi16(v, BITS);
  }
  static Bytes Add32(Bytes a, Bytes b) noexcept { return _mm_add_epi32(a, b); }
  template <int BITS>
  static Bytes Shr32(Bytes v) noexcept {
    return _mm_srli_epi32(v, BITS);
  }
  template <int BITS>
  static Bytes Shl32(Bytes v) noexcept {
    return _mm_slli_epi32(v, BITS);
  }
  static Bytes IsZero32(Bytes v) noexcept { return _mm_cmpeq_epi32(v, _mm_setzero_si128()); }
  static bool IsZero(Bytes v) noexcept {
    return _mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())) == 0xFFFF;
  }
  static Floats ToFloats(Bytes v) noexcept { return _mm_cvtepi32_ps(v); }
  static Bytes Truncated(Floats v) noexcept { return _mm_cvttps_epi32(v); }
  static Floats Add(Floats a, Floats b) noexcept { return _mm_add_ps(a, b); }
  static Floats Mul(Floats a, Floats b) noexcept { return _mm_mul_ps(a, b); }
  static Floats Div(Floats a, Floats b) noexcept { return _mm_div_ps(a, b); }

  // the K-th vector of three words that repeat
  template <size_t K>
  static Bytes Repeat(__m128i words) noexcept {
    if constexpr (K == 0) return words;
    return _mm_shuffle_epi32(words, K == 1 ? _MM_SHUFFLE(1, 0, 2, 1) : _MM_SHUFFLE(2, 1, 0, 2));
  }

  // a quarter of a vector of coverage, each byte four times
  static Bytes SpreadOver4(unsigned char const* coverage) noexcept {
    int four;
    memcpy(&four, coverage, 4);
    Bytes const v = _mm_cvtsi32_si128(four), twice = _mm_unpacklo_epi8(v, v);
    return _mm_unpacklo_epi16(twice, twice);
  }
  // a vector of coverage, each byte three times
  static void SpreadOver3(unsigned char const* coverage, Bytes (&out)[3]) noexcept {
    unsigned char spread[3 * SIZE];
    for (size_t i = 0; i < SIZE; ++i) {
      spread[3 * i] = spread[3 * i + 1] = spread[3 * i + 2] = coverage[i];
    }
    for (size_t i = 0; i < 3; ++i) out[i] = Load(spread + i * SIZE);
  }
};

#if defined(__AVX2__)
struct Avx2 {
  using Bytes = __m256i;
  using Floats = __m256;
  static constexpr size_t SIZE = 32;
  static KernelSet const& Narrower() noexcept { return BASE_KERNELS; }

  static Bytes Load(unsigned char const* at) noexcept { return LoadWide(at); }
  static void Store(unsigned char* at, Bytes v) noexcept { StoreWide(at, v); }
  static Bytes All16(unsigned v) noexcept { return _mm256_set1_epi16(static_cast<short>(v)); }
  static Bytes All32(unsigned v) noexcept { return _mm256_set1_epi32(static_cast<int>(v)); }
  static Floats All(float v) noexcept { return _mm256_set1_ps(v); }
  static Bytes And(Bytes a, Bytes b) noexcept { return _mm256_and_si256(a, b); }
  static Bytes AndNot(Bytes a, Bytes b) noexcept { return _mm256_andnot_si256(a, b); }
  static Bytes Or(Bytes a, Bytes b) noexcept { return _mm256_or_si256(a, b); }
  static Bytes Xor(Bytes a, Bytes b) noexcept { return _mm256_xor_si256(a, b); }
  static Bytes AddClamped8(Bytes a, Bytes b) noexcept { return _mm256_adds_epu8(a, b); }
  static Bytes SubClamped8(Bytes a, Bytes b) noexcept { return _mm256_subs_epu8(a, b); }
  static Bytes Add16(Bytes a, Bytes b) noexcept { return _mm256_add_epi16(a, b); }
  static Bytes Sub16(Bytes a, Bytes b) noexcept { return _mm256_sub_epi16(a, b); }
  static Bytes Mul16(Bytes a, Bytes b) noexcept { return _mm256_mullo_epi16(a, b); }
  static Bytes MulHigh16(Bytes a, Bytes b) noexcept { return _mm256_mulhi_epu16(a, b); }
  template <int BITS>
  static Bytes Shl16(Bytes v) noexcept {
    return _mm256_slli_epi16(v, BITS);
  }
  template <int BITS>
  static Bytes Shr16(Bytes v) noexcept {
    return _mm256_srli_epi16(v, BITS);
  }
  static Bytes Add32(Bytes a, Bytes b) noexcept { return _mm256_add_epi32(a, b); }
  template <int BITS>
  static Bytes Shr32(Bytes v) noexcept {
    return _mm256_srli_epi32(v, BITS);
  }
  template <int BITS>
  static Bytes Shl32(Bytes v) noexcept {
    return _mm256_slli_epi32(v, BITS);
  }
  static Bytes IsZero32(Bytes v) noexcept { return _mm256_cmpeq_epi32(v, _mm256_setzero_si256()); }
  static bool IsZero(Bytes v) noexcept { return _mm256_testz_si256(v, v) != 0; }
  static Floats ToFloats(Bytes v) noexcept { return _mm256_cvtepi32_ps(v); }
  static Bytes Truncated(Floats v) noexcept { return _mm256_cvttps_epi32(v); }
  static Floats Add(Floats a, Floats b) noexcept { return _mm256_add_ps(a, b); }
  static Floats Mul(Floats a, Floats b) noexcept { return _mm256_mul_ps(a, b); }
  static Floats Div(Floats a, Floats b) noexcept { return _mm256_div_ps(a, b); }

  template <size_t K>
  static Bytes Repeat(__m128i words) noexcept {
    constexpr int A = 2 * K % 3, B = (A + 1) % 3, C = (A + 2) % 3;
    return _mm256_permutevar8x32_epi32(_mm256_castsi128_si256(words),
                                       _mm256_setr_epi32(A, B, C, A, B, C, A, B));
  }

  static Bytes SpreadOver4(unsigned char const* coverage) noexcept {
    Bytes const order = _mm256_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3,  //
                                         4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7);
    __m128i const eight = LoadHalf(coverage);
    return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(eight), order);
  }
  static void SpreadOver3(unsigned char const* coverage, Bytes (&out)[3]) noexcept {
    __m128i const a = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    __m128i const b = _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    __m128i const c = _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    __m128i const lo = Sse2::Load(coverage), hi = Sse2::Load(coverage + 16);
    out[0] = _mm256_setr_m128i(_mm_shuffle_epi8(lo, a), _mm_shuffle_epi8(lo, b));
    out[1] = _mm256_setr_m128i(_mm_shuffle_epi8(lo, c), _mm_shuffle_epi8(hi, a));
    out[2] = _mm256_setr_m128i(_mm_shuffle_epi8(hi, b), _mm_shuffle_epi8(hi, c));
  }
};
#endif

// ---- operations on a vector of a row

// Bytes in lanes of 16 bits: those at even positions, and those at odd ones.
template <class V>
typename V::Bytes Even(typename V::Bytes v) noexcept {
  return V::And(v, V::All16(0x00FF));
}
template <class V>
typename V::Bytes Odd(typename V::Bytes v) noexcept {
  return V::template Shr16<8>(v);
}

// (v - 1) / 255 in lanes of 16 bits, truncated: v 257 / 65536 is that for every v up to 65535.
template <class V>
typename V::Bytes Quotient(typename V::Bytes v) noexcept {
  return V::MulHigh16(v, V::All16(257));
}

// The quotients of bytes at even and at odd positions.
template <class V>
typename V::Bytes Join(typename V::Bytes even, typename V::Bytes odd) noexcept {
  return V::Or(even, V::template Shl16<8>(odd));
}

// A vector of the pattern.
template <class V>
struct Vectors {
  Lanes const& source;
  typename V::Bytes weight, value;
};

// The three words that repeat from the given byte of a pixel on, and the first one again.
inline __m128i Words(uint32_t pixel, size_t pixelSize, size_t from) noexcept {
  if (pixelSize == 4) return _mm_set1_epi32(static_cast<int>(pixel));
  uint32_t const colour = pixel & 0x00FFFFFF;
  uint32_t const c = (colour >> 8 * from | colour << (24 - 8 * from)) & 0x00FFFFFF;
  int const first = static_cast<int>(c | c << 24);
  return _mm_setr_epi32(first, static_cast<int>(c >> 8 | c << 16), static_cast<int>(c >> 16 | c << 8), first);
}

// The pattern from the given byte of a pixel on.
struct Pattern {
  Lanes const& source;
  __m128i weight, value;

  Pattern(Lanes const& lanes, size_t from) noexcept
      : source(lanes),
        weight(Words(lanes.weight, lanes.pixelSize, from)),
        value(Words(lanes.value, lanes.pixelSize, from)) {}

  template <class V, size_t K>
  Vectors<V> At() const noexcept {
    return {source, V::template Repeat<K>(weight), V::template Repeat<K>(value)};
  }
};

template <class V>
struct Copy {
  static constexpr Loop LOOP = LOOP_COPY;
  typename V::Bytes const value;
  Copy(Vectors<V> const& lanes) noexcept : value(lanes.value) {}
  typename V::Bytes operator()(typename V::Bytes) const noexcept { return value; }
};

template <class V>
struct Merge {
  static constexpr Loop LOOP = LOOP_MERGE;
  typename V::Bytes const mask, value;
  Merge(Vectors<V> const& lanes) noexcept : mask(lanes.weight), value(lanes.value) {}
  typename V::Bytes operator()(typename V::Bytes d) const noexcept { return V::Or(V::And(d, mask), value); }
};

template <class V>
struct Blend {
  static constexpr Loop LOOP = LOOP_BLEND;
  using Bytes = typename V::Bytes;
  Bytes const weightEven, weightOdd, productEven, productOdd;

  Blend(Vectors<V> const& lanes) noexcept
      : weightEven(Even<V>(lanes.weight)),
        weightOdd(Odd<V>(lanes.weight)),
        productEven(Product(weightEven, Even<V>(lanes.value))),
        productOdd(Product(weightOdd, Odd<V>(lanes.value))) {}

  Bytes operator()(Bytes d) const noexcept {
    return Join<V>(Quotient<V>(V::Add16(V::Mul16(Even<V>(d), weightEven), productEven)),
                   Quotient<V>(V::Add16(V::Mul16(Odd<V>(d), weightOdd), productOdd)));
  }

 private:
  static Bytes Product(Bytes weight, Bytes value) noexcept {
    return V::Add16(V::Mul16(V::Sub16(V::All16(255), weight), value), V::All16(1));
  }
};

// For columns: the value is no longer to be multiplied.
template <class V>
struct BlendColumn {
  using Bytes = typename V::Bytes;
  Bytes const weight, value;
  BlendColumn(unsigned char const* weight, unsigned char const* value) noexcept
      : weight(V::Load(weight)), value(V::Load(value)) {}
  Bytes operator()(Bytes d) const noexcept {
    Bytes const one = V::All16(1);
    Bytes const even = V::Add16(V::Mul16(Even<V>(d), Even<V>(weight)), one);
    Bytes const odd = V::Add16(V::Mul16(Odd<V>(d), Odd<V>(weight)), one);
    return V::AddClamped8(Join<V>(Quotient<V>(even), Quotient<V>(odd)), value);
  }
};

template <class V>
struct MergeColumn {
  typename V::Bytes const value;
  MergeColumn(unsigned char const*, unsigned char const* value) noexcept : value(V::Load(value)) {}
  typename V::Bytes operator()(typename V::Bytes d) const noexcept {
    return V::Or(V::And(d, V::All32(0xFF000000)), value);
  }
};

template <class V>
struct Invert {
  static constexpr Loop LOOP = LOOP_INVERT;
  typename V::Bytes const value;
  Invert(Vectors<V> const& lanes) noexcept : value(lanes.value) {}
  typename V::Bytes operator()(typename V::Bytes d) const noexcept { return V::Xor(d, value); }
};

template <class V>
struct Add {
  static constexpr Loop LOOP = LOOP_ADD;
  typename V::Bytes const value;
  Add(Vectors<V> const& lanes) noexcept : value(lanes.value) {}
  typename V::Bytes operator()(typename V::Bytes d) const noexcept { return V::AddClamped8(d, value); }
};

template <class V>
struct Subtract {
  static constexpr Loop LOOP = LOOP_SUBTRACT;
  typename V::Bytes const value;
  Subtract(Vectors<V> const& lanes) noexcept : value(lanes.value) {}
  typename V::Bytes operator()(typename V::Bytes d) const noexcept { return V::SubClamped8(d, value); }
};

// The steps of CompositePixel in fill_kernels.cpp. Products of two bytes fit the lower halves of lanes of 32
// bits, whose upper halves are 0.
template <class V>
struct Composite {
  static constexpr Loop LOOP = LOOP_COMPOSITE;
  using Bytes = typename V::Bytes;
  Bytes const a, k, blue, green, red;

  Composite(Vectors<V> const& lanes) noexcept
      : a(V::All32(lanes.source.alpha)),
        k(V::All32(255 - lanes.source.alpha)),
        blue(V::All32((lanes.source.value & 255) * lanes.source.alpha)),
        green(V::All32((lanes.source.value >> 8 & 255) * lanes.source.alpha)),
        red(V::All32((lanes.source.value >> 16 & 255) * lanes.source.alpha)) {}

  Bytes operator()(Bytes d) const noexcept {
    Bytes const low = V::All32(255), old = V::template Shr32<24>(d);
    auto const quotient = [](Bytes product) { return Quotient<V>(V::Add32(product, V::All32(1))); };
    Bytes const w = quotient(V::Mul16(old, k));
    Bytes const alpha = V::Xor(quotient(V::Mul16(V::Xor(old, low), k)), low);
    auto const share = V::Div(V::All(1.0f), V::ToFloats(V::Add32(w, a)));
    auto const mix = [=](Bytes channel, Bytes gain) {
      auto const sum = V::ToFloats(V::Add32(V::Mul16(channel, w), gain));
      return V::Truncated(V::Add(V::Mul(sum, share), V::All(1.0f / 512)));
    };
    Bytes const b = mix(V::And(d, low), blue);
    Bytes const g = mix(V::And(V::template Shr32<8>(d), low), green);
    Bytes const r = mix(V::And(V::template Shr32<16>(d), low), red);
    return V::Or(V::Or(b, V::template Shl32<8>(g)),
                 V::Or(V::template Shl32<16>(r), V::template Shl32<24>(alpha)));
  }
};

template <class V>
struct Whiten {
  static constexpr Loop LOOP = LOOP_WHITEN;
  Whiten(Vectors<V> const&) noexcept {}
  typename V::Bytes operator()(typename V::Bytes d) const noexcept {
    return V::Or(d, V::AndNot(V::IsZero32(V::template Shr32<24>(d)), V::All32(0x00FFFFFF)));
  }
};

// ---- loops

// Applies an operation to the vectors of a row: the first, second and third of every three, and the last.
template <class V, class Op>
inline void ChangeRow(unsigned char* row, size_t bytes, Op const (&ops)[4]) noexcept {
  constexpr size_t N = V::SIZE;
  unsigned char* const last = row + bytes - N;
  typename V::Bytes const end = ops[3](V::Load(last));
  for (; last - row >= static_cast<ptrdiff_t>(2 * N); row += 3 * N) {
    typename V::Bytes const a = ops[0](V::Load(row)), b = ops[1](V::Load(row + N));
    typename V::Bytes const c = ops[2](V::Load(row + 2 * N));
    V::Store(row, a);
    V::Store(row + N, b);
    V::Store(row + 2 * N, c);
  }
  if (row < last) V::Store(row, ops[0](V::Load(row)));
  if (row + N < last) V::Store(row + N, ops[1](V::Load(row + N)));
  V::Store(last, end);
}

template <class V, class Op>
void RunRows(Rows const& rows, Lanes const& lanes) noexcept {
  constexpr size_t N = V::SIZE;
  if (rows.bytes < N) return V::Narrower().rows[Op::LOOP](rows, lanes);
  Pattern const start(lanes, 0), last(lanes, lanes.pixelSize == 4 ? 0 : (rows.bytes - N) % 3);
  Op const ops[] = {start.At<V, 0>(), start.At<V, 1>(), start.At<V, 2>(), last.At<V, 0>()};
  unsigned char* row = rows.first;
  for (int i = 0; i < rows.count; ++i, row += rows.stride) ChangeRow<V>(row, rows.bytes, ops);
}

template <class V, class Op, ColumnKernel KernelSet::*SAME>
void RunColumns(Rows const& rows, unsigned char const* weight, unsigned char const* value) noexcept {
  constexpr size_t N = V::SIZE;
  if (rows.bytes < N) return (V::Narrower().*SAME)(rows, weight, value);
  size_t const last = rows.bytes - N;
  unsigned char* row = rows.first;
  for (int y = 0; y < rows.count; ++y, row += rows.stride) {
    typename V::Bytes const end = Op(weight + last, value + last)(V::Load(row + last));
    for (size_t i = 0; i < last; i += N) V::Store(row + i, Op(weight + i, value + i)(V::Load(row + i)));
    V::Store(row + last, end);
  }
}

// Paints one colour by the coverage of each byte.
template <class V>
struct Covering {
  using Bytes = typename V::Bytes;
  Bytes const alpha, inkEven, inkOdd;

  Covering(Vectors<V> const& lanes) noexcept
      : alpha(V::All16(lanes.source.alpha)), inkEven(Even<V>(lanes.value)), inkOdd(Odd<V>(lanes.value)) {}

  Bytes operator()(Bytes d, Bytes coverage) const noexcept {
    return Join<V>(Half(Even<V>(d), Even<V>(coverage), inkEven), Half(Odd<V>(d), Odd<V>(coverage), inkOdd));
  }

 private:
  Bytes Half(Bytes d, Bytes coverage, Bytes ink) const noexcept {
    Bytes const a = Quotient<V>(V::Add16(V::Mul16(coverage, alpha), V::All16(128)));
    Bytes const mixed = V::Add16(V::Mul16(d, V::Sub16(V::All16(255), a)), V::Mul16(ink, a));
    return Quotient<V>(V::Add16(mixed, V::All16(1)));
  }
};

template <class V>
void CoverPaint3(Lanes const& ink, unsigned char* row, unsigned char const* coverage,
                 size_t pixels) noexcept {
  constexpr size_t N = V::SIZE;
  if (pixels >= N) {
    Pattern const pattern(ink, 0);
    Covering<V> const cover[] = {pattern.At<V, 0>(), pattern.At<V, 1>(), pattern.At<V, 2>()};
    for (; pixels >= N; pixels -= N, coverage += N, row += 3 * N) {
      if (V::IsZero(V::Load(coverage))) continue;
      typename V::Bytes spread[3];
      V::SpreadOver3(coverage, spread);
      for (size_t i = 0; i < 3; ++i) {
        V::Store(row + i * N, cover[i](V::Load(row + i * N), spread[i]));
      }
    }
  }
  V::Narrower().coverPaint[0](ink, row, coverage, pixels);
}

template <class V>
void CoverPaint4(Lanes const& ink, unsigned char* row, unsigned char const* coverage,
                 size_t pixels) noexcept {
  constexpr size_t N = V::SIZE, STEP = N / 4;
  if (pixels < STEP) return V::Narrower().coverPaint[1](ink, row, coverage, pixels);
  Covering<V> const cover(Pattern(ink, 0).At<V, 0>());
  auto const covered = [&](size_t i) {
    auto const spread = V::And(V::SpreadOver4(coverage + i), V::All32(0x00FFFFFF));  // alpha is kept
    return cover(V::Load(row + 4 * i), spread);
  };
  size_t const last = pixels - STEP;
  typename V::Bytes const end = covered(last);
  for (size_t i = 0; i < last; i += STEP) V::Store(row + 4 * i, covered(i));
  V::Store(row + 4 * last, end);
}

inline void Set(Rows const& rows, Lanes const& lanes) noexcept {
  for (int i = 0; i < rows.count; ++i) {
    memset(rows.first + ptrdiff_t{i} * rows.stride, static_cast<int>(lanes.value & 255), rows.bytes);
  }
}

template <class V>
constexpr KernelSet KERNELS = {
    {Set, RunRows<V, Copy<V>>, RunRows<V, Merge<V>>, RunRows<V, Blend<V>>, RunRows<V, Invert<V>>,
     RunRows<V, Add<V>>, RunRows<V, Subtract<V>>, RunRows<V, Composite<V>>, RunRows<V, Whiten<V>>},
    RunColumns<V, BlendColumn<V>, &KernelSet::blendColumns>,
    RunColumns<V, MergeColumn<V>, &KernelSet::mergeColumns>,
    {CoverPaint3<V>, CoverPaint4<V>}};

}  // namespace
}  // namespace yk::raster
