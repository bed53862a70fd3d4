// The loops written by hand that need AVX2. What does not fill a register is left to those for SSSE3.
#pragma once

#include "vector_kernels_p.h"

namespace yk::img {
namespace {

/// The same sixteen bytes in both halves.
inline __m256i Twice(__m128i half) noexcept { return _mm256_broadcastsi128_si256(half); }

/// Four registers of eight integers from 0 to 255 to 32 bytes.
inline __m256i PackBytes(__m256i const (&eight)[4]) noexcept {
  __m256i const mixed =
      _mm256_packus_epi16(_mm256_packs_epi32(eight[0], eight[1]), _mm256_packs_epi32(eight[2], eight[3]));
  return _mm256_permutevar8x32_epi32(mixed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// ---- float to byte ----------------------------------------------------------------------------------------

/// A number whose unit is 1, with room for a sign: the low 16 bits of a sum with it are those of the integer.
constexpr float UNIT_1 = 0x1.8p23f;

/// The rule v * 255 + 0.5, truncated, is one of double precision, in which it is exact. So is one fused
/// multiply-add that adds a number whose unit is 1: it rounds v * 255 to the nearest integer, and to an even
/// one only for halves. Between -1.5 and 1.5 these are at v = 0.5 and -0.5, where the even one is that of the
/// rule. Truncation is toward zero: below it the rule gives one more. All other values take double precision.
template <>
struct VectorRecode<Isa::AVX2, uint8_t, float> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    constexpr size_t STEP = 32;
    size_t i = 0;
    for (; i + STEP <= count; i += STEP) {
      if (!StoreIfSmall(in + 4 * i, out + i))
        VectorRecode<Isa::SSSE3, uint8_t, float>::Run(in + 4 * i, out + i, STEP);
    }
    return i + VectorRecode<Isa::SSSE3, uint8_t, float>::Run(in + 4 * i, out + i, count - i);
  }

 private:
  static bool StoreIfSmall(uint8_t const* in, uint8_t* out) noexcept {
    __m256i const limit = _mm256_set1_epi32(0x7F7FFFFF);  // twice the bits of 1.5, less one
    __m256i most = limit;                                 // twice the bits of a float are without its sign
    __m256i sum[4];
    for (int k = 0; k < 4; ++k) {
      __m256i const v = LoadWide(in + 32 * k);
      most = _mm256_max_epu32(most, _mm256_add_epi32(v, v));
      sum[k] = _mm256_castps_si256(
          _mm256_fmadd_ps(_mm256_castsi256_ps(v), _mm256_set1_ps(255.0f), _mm256_set1_ps(UNIT_1)));
    }
    if (_mm256_movemask_epi8(_mm256_cmpeq_epi32(most, limit)) != -1) return false;
    __m256i const low = _mm256_and_si256(Words(sum[0], sum[1]), _mm256_set1_epi16(0xFF));
    __m256i const bytes = _mm256_or_si256(low, _mm256_slli_epi16(Words(sum[2], sum[3]), 8));
    __m256i const fours = _mm256_shuffle_epi8(
        bytes, Twice(_mm_setr_epi8(0, 4, 8, 12, 2, 6, 10, 14, 1, 5, 9, 13, 3, 7, 11, 15)));
    StoreWide(out, _mm256_permutevar8x32_epi32(fours, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
    return true;
  }

  /// The integers of two registers by turns, one more for those below zero.
  static __m256i Words(__m256i even, __m256i odd) noexcept {
    __m256i const nearest = _mm256_blend_epi16(even, _mm256_slli_epi32(odd, 16), 0xAA);
    return _mm256_add_epi16(nearest, _mm256_srli_epi16(nearest, 15));
  }
};

template <>
struct VectorClamp<Isa::AVX2> {
  static __m256i Eight(uint8_t const* in) noexcept {
    __m256 const v = _mm256_loadu_ps(reinterpret_cast<float const*>(in));
    __m256 const within = _mm256_min_ps(_mm256_set1_ps(1.0f), v);
    return _mm256_cvttps_epi32(_mm256_mul_ps(within, _mm256_set1_ps(255.0f)));
  }

  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
      uint8_t const* const at = in + 4 * i;
      __m256i const eight[4] = {Eight(at), Eight(at + 32), Eight(at + 64), Eight(at + 96)};
      StoreWide(out + i, PackBytes(eight));
    }
    return i + VectorClamp<Isa::SSSE3>::Run(in + 4 * i, out + i, count - i);
  }
};

// ---- integer to float -------------------------------------------------------------------------------------

inline __m256i LoadEight(uint8_t const* in, uint8_t) noexcept { return _mm256_cvtepu8_epi32(LoadHalf(in)); }
inline __m256i LoadEight(uint8_t const* in, uint16_t) noexcept {
  return _mm256_cvtepu16_epi32(LoadVector(in));
}

template <class From>
requires(sizeof(From) <= 2) struct VectorRecode<Isa::AVX2, float, From> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
      for (size_t k = 0; k < 32; k += 8)
        StoreEight(in + (i + k) * sizeof(From), out + (i + k) * sizeof(float));
    }
    for (; i + 8 <= count; i += 8) StoreEight(in + i * sizeof(From), out + i * sizeof(float));
    return i;
  }

 private:
  static void StoreEight(uint8_t const* in, uint8_t* out) noexcept {
    using Rule = Recoded<float, From>;
    __m256 const v = _mm256_cvtepi32_ps(LoadEight(in, From()));
    __m256 const rest = _mm256_mul_ps(v, _mm256_set1_ps(Rule::REST));
    _mm256_storeu_ps(reinterpret_cast<float*>(out), _mm256_fmadd_ps(v, _mm256_set1_ps(Rule::WHOLE), rest));
  }
};

// ---- bytes: colour, colour and alpha ----------------------------------------------------------------------

/// Reads 32 bytes, of which the last eight are not used.
inline void StoreOpaqueEight(uint8_t const* in, uint8_t* out) noexcept {
  __m256i const spread = Twice(_mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1));
  __m256i const halves = _mm256_permutevar8x32_epi32(LoadWide(in), _mm256_setr_epi32(0, 1, 2, 3, 3, 4, 5, 6));
  __m256i const full = _mm256_set1_epi32(static_cast<int>(0xFF000000u));
  StoreWide(out, _mm256_or_si256(_mm256_shuffle_epi8(halves, spread), full));
}

template <>
struct VectorRearrange<Isa::AVX2, uint8_t, 3, 4> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    size_t i = 0;
    for (; i + 35 <= count; i += 32) {
      for (size_t k = 0; k < 32; k += 8) StoreOpaqueEight(in + 3 * (i + k), out + 4 * (i + k));
    }
    for (; i + 11 <= count; i += 8) StoreOpaqueEight(in + 3 * i, out + 4 * i);
    return i + VectorRearrange<Isa::SSSE3, uint8_t, 3, 4>::Run(in + 3 * i, out + 4 * i, count - i);
  }
};

/// In each half, four pixels of four bytes to twelve bytes, then zeros.
inline __m256i DropFourth(__m256i pixels) noexcept {
  return _mm256_shuffle_epi8(pixels,
                             Twice(_mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1)));
}

/// The first twelve bytes of both halves.
inline __m256i JoinTwelves(__m256i halves) noexcept {
  return _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
}

/// Stores eight pixels, where there is room for `room` of them. With room for eleven it is one store, and the
/// eight bytes after the pixels become garbage.
inline void StoreTwelves(uint8_t* out, __m256i halves, size_t room) noexcept {
  __m256i const joined = JoinTwelves(halves);
  if (room >= 11) return StoreWide(out, joined);
  StoreVector(out, _mm256_castsi256_si128(joined));
  StoreHalf(out + 16, _mm256_extracti128_si256(joined, 1));
}

template <>
struct VectorRearrange<Isa::AVX2, uint8_t, 4, 3> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    size_t i = 0;
    for (; i + 35 <= count; i += 32) {
      for (size_t k = i; k < i + 32; k += 8) StoreTwelves(out + 3 * k, DropFourth(LoadWide(in + 4 * k)), 11);
    }
    for (; i + 8 <= count; i += 8) StoreTwelves(out + 3 * i, DropFourth(LoadWide(in + 4 * i)), count - i);
    return i;
  }
};

/// Reads four floats for a pixel of three.
template <>
struct VectorRearrange<Isa::AVX2, float, 3, 4> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    size_t i = 0;
    for (; i + 3 <= count; i += 2) {
      float const* const at = reinterpret_cast<float const*>(in) + 3 * i;
      __m256 const both =
          _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(at)), _mm_loadu_ps(at + 3), 1);
      _mm256_storeu_ps(reinterpret_cast<float*>(out) + 4 * i,
                       _mm256_blend_ps(both, _mm256_set1_ps(FULL<float>), 0x88));
    }
    return i;
  }
};

// ---- RGB555 -----------------------------------------------------------------------------------------------

template <>
struct VectorRgb555<Isa::AVX2> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    __m256i const five = _mm256_set1_epi16(0xF8);
    __m256i const upper = _mm256_set1_epi16(static_cast<short>(0xF800));
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
      // In an order in which the unpacked halves follow each other: 0 to 3 and 8 to 11, then the others.
      __m256i const v = _mm256_permute4x64_epi64(LoadWide(in + 2 * i), 0xD8);
      __m256i const blueGreen = _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi16(v, 3), five),
                                                _mm256_and_si256(_mm256_slli_epi16(v, 6), upper));
      __m256i const red = _mm256_and_si256(_mm256_srli_epi16(v, 7), five);
      __m256i const low = DropFourth(_mm256_unpacklo_epi16(blueGreen, red));
      __m256i const high = DropFourth(_mm256_unpackhi_epi16(blueGreen, red));
      StoreTwelves(out + 3 * i, low, 11);
      StoreTwelves(out + 3 * i + 24, high, count - i - 8);
    }
    return i;
  }
};

// ---- palettes ---------------------------------------------------------------------------------------------

/// Eight pixels of a byte each: the entries, reordered from red, green, blue, alpha.
inline __m256i LookUpEight(uint8_t const* in, uint8_t const* entries) noexcept {
  uint64_t const index = Read<uint64_t>(in, 0);
  auto const entry = [=](int i) {
    return static_cast<int>(Read<uint32_t>(entries, static_cast<size_t>(index >> 8 * i & 0xFF)));
  };
  __m128i const low = _mm_insert_epi32(
      _mm_insert_epi32(_mm_insert_epi32(_mm_cvtsi32_si128(entry(0)), entry(1), 1), entry(2), 2), entry(3), 3);
  __m128i const high = _mm_insert_epi32(
      _mm_insert_epi32(_mm_insert_epi32(_mm_cvtsi32_si128(entry(4)), entry(5), 1), entry(6), 2), entry(7), 3);
  __m256i const turn = Twice(_mm_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15));
  return _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1), turn);
}

template <>
struct VectorLookUp<Isa::AVX2, 8, 4> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count, IMG_PALENTRY const* palette) noexcept {
    uint8_t const* const entries = reinterpret_cast<uint8_t const*>(palette);
    size_t i = 0;
    for (; i + 8 <= count; i += 8) StoreWide(out + 4 * i, LookUpEight(in + i, entries));
    return i;
  }
};

template <>
struct VectorLookUp<Isa::AVX2, 8, 3> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count, IMG_PALENTRY const* palette) noexcept {
    uint8_t const* const entries = reinterpret_cast<uint8_t const*>(palette);
    size_t i = 0;
    for (; i + 8 <= count; i += 8)
      StoreTwelves(out + 3 * i, DropFourth(LookUpEight(in + i, entries)), count - i);
    return i;
  }
};

/// The indices of 32 pixels of one or four bits.
template <unsigned BITS>
__m256i LoadIndices(uint8_t const* in) noexcept {
  if constexpr (BITS == 1) {
    __m256i const pick = _mm256_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1,  //
                                          2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3);
    __m256i const bits = _mm256_set1_epi64x(0x0102040810204080);
    __m256i const all = _mm256_shuffle_epi8(_mm256_set1_epi32(Read<int32_t>(in, 0)), pick);
    return _mm256_min_epu8(_mm256_and_si256(all, bits), _mm256_set1_epi8(1));
  } else {
    __m128i const nibble = _mm_set1_epi8(0xF);
    __m128i const pairs = LoadVector(in);
    __m128i const left = _mm_and_si128(_mm_srli_epi16(pairs, 4), nibble),
                  right = _mm_and_si128(pairs, nibble);
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi8(left, right)),
                                   _mm_unpackhi_epi8(left, right), 1);
  }
}

/// One byte of each of the up to sixteen entries, in both halves.
template <unsigned BITS, class Function>
__m256i TableOf(IMG_PALENTRY const* palette, Function channel) noexcept {
  uint8_t table[16] = {};
  for (unsigned i = 0; i < 1u << BITS; ++i) table[i] = channel(palette[i]);
  return Twice(LoadVector(table));
}

template <>
struct VectorLookUp<Isa::AVX2, 1, 1> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count, IMG_PALENTRY const* palette) noexcept {
    __m256i const grey =
        TableOf<1>(palette, [](IMG_PALENTRY const& e) { return Average(e.blue, e.green, e.red); });
    size_t i = 0;
    for (; i + 32 <= count; i += 32)
      StoreWide(out + i, _mm256_shuffle_epi8(grey, LoadIndices<1>(in + i / 8)));
    return i;
  }
};

/// Which bytes of channel `c` are in the `part`-th sixteen of 48 interleaved ones.
struct Picks {
  alignas(16) int8_t from[3][3][16];

  constexpr Picks() noexcept : from() {
    for (int part = 0; part < 3; ++part) {
      for (int at = 16 * part; at < 16 * part + 16; ++at) {
        for (int c = 0; c < 3; ++c) from[part][c][at % 16] = static_cast<int8_t>(at % 3 == c ? at / 3 : -1);
      }
    }
  }
};
constexpr Picks PICKS;

/// Interleaves channels: in each half, the `part`-th sixteen of 48 bytes.
inline __m256i Interleave(__m256i const (&channel)[3], int part) noexcept {
  auto const pick = [&](int c) {
    return _mm256_shuffle_epi8(channel[c],
                               Twice(_mm_load_si128(reinterpret_cast<__m128i const*>(PICKS.from[part][c]))));
  };
  return _mm256_or_si256(_mm256_or_si256(pick(0), pick(1)), pick(2));
}

template <unsigned BITS>
requires(BITS < 8) struct VectorLookUp<Isa::AVX2, BITS, 3> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count, IMG_PALENTRY const* palette) noexcept {
    __m256i const table[3] = {TableOf<BITS>(palette, [](IMG_PALENTRY const& e) { return e.blue; }),
                              TableOf<BITS>(palette, [](IMG_PALENTRY const& e) { return e.green; }),
                              TableOf<BITS>(palette, [](IMG_PALENTRY const& e) { return e.red; })};
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
      __m256i const index = LoadIndices<BITS>(in + i * BITS / 8);
      __m256i const channel[3] = {_mm256_shuffle_epi8(table[0], index), _mm256_shuffle_epi8(table[1], index),
                                  _mm256_shuffle_epi8(table[2], index)};
      for (int part = 0; part < 3; ++part) {
        __m256i const bytes = Interleave(channel, part);
        StoreVector(out + 3 * i + 16 * part, _mm256_castsi256_si128(bytes));
        StoreVector(out + 3 * i + 48 + 16 * part, _mm256_extracti128_si256(bytes, 1));
      }
    }
    return i;
  }
};

/// A byte for each index. The table is sixteen registers; the low nibble of an index selects in each, and the
/// bits of the high one select between them, pair by pair.
inline __m256i Translate(__m256i index, uint8_t const (&table)[256]) noexcept {
  __m256i const low = _mm256_and_si256(index, _mm256_set1_epi8(0xF));
  __m256i half[8];
  __m256i bit = _mm256_slli_epi16(index, 3);  // bit 4 becomes the sign
  for (int k = 0; k < 8; ++k) {
    __m256i const even = _mm256_shuffle_epi8(Twice(LoadVector(table + 32 * k)), low);
    __m256i const odd = _mm256_shuffle_epi8(Twice(LoadVector(table + 32 * k + 16)), low);
    half[k] = _mm256_blendv_epi8(even, odd, bit);
  }
  for (int count = 4; count > 0; count /= 2) {
    bit = _mm256_slli_epi16(index, count == 4 ? 2 : count == 2 ? 1 : 0);
    for (int k = 0; k < count; ++k) half[k] = _mm256_blendv_epi8(half[2 * k], half[2 * k + 1], bit);
  }
  return half[0];
}

template <>
struct VectorTranslate<Isa::AVX2> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count, uint8_t const (&table)[256]) noexcept {
    size_t i = 0;
    for (; i + 32 <= count; i += 32) StoreWide(out + i, Translate(LoadWide(in + i), table));
    return i;
  }
};

}  // namespace
}  // namespace yk::img
