// The loops that the compiler does not vectorise well, written by hand. Each `Run` converts as many of
// `count` as fill its registers and returns their number; it reads and writes nothing beyond those. The
// default for a pair without such a loop returns 0, and the scalar loop converts everything.
#pragma once

#include <type_traits>

#include "convert_p.h"
#include "core/vectors_p.h"
#include "recode_p.h"

namespace yk::img {
namespace {

template <Isa ISA, class To, class From>
struct VectorRecode {
  static size_t Run(uint8_t const*, uint8_t*, size_t) noexcept { return 0; }
};

template <Isa ISA, class T, size_t FROM, size_t TO>
struct VectorRearrange {
  static size_t Run(uint8_t const*, uint8_t*, size_t) noexcept { return 0; }
};

template <Isa ISA>
struct VectorRgb555 {
  static size_t Run(uint8_t const*, uint8_t*, size_t) noexcept { return 0; }
};

/// Pixels of `BITS` bits that index a palette, as bytes of `TO` channels. The number returned is a multiple
/// of eight: what is left starts with a whole byte.
template <Isa ISA, unsigned BITS, size_t TO>
struct VectorLookUp {
  static size_t Run(uint8_t const*, uint8_t*, size_t, IMG_PALENTRY const*) noexcept { return 0; }
};

template <Isa ISA>
struct VectorTranslate {
  static size_t Run(uint8_t const*, uint8_t*, size_t, uint8_t const (&)[256]) noexcept { return 0; }
};

// ---- float to byte ----------------------------------------------------------------------------------------

/// Four floats to four 32-bit integers, of which the low bytes are used.
template <Isa ISA>
__m128i FourFromFloat(uint8_t const* in) noexcept {
  __m128 const v = _mm_loadu_ps(reinterpret_cast<float const*>(in));
  __m128d const scale = _mm_set1_pd(255.0);
  __m128d const half = _mm_set1_pd(0.5);
  __m128i const low = _mm_cvttpd_epi32(_mm_add_pd(_mm_mul_pd(_mm_cvtps_pd(v), scale), half));
  __m128i const high =
      _mm_cvttpd_epi32(_mm_add_pd(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(v, v)), scale), half));
  return _mm_unpacklo_epi64(low, high);
}

template <Isa ISA>
requires(ISA >= Isa::SSSE3) struct VectorRecode<ISA, uint8_t, float> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    __m128i const lowByte = _mm_set1_epi32(0xFF);
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
      uint8_t const* const at = in + 4 * i;
      __m128i const a = _mm_and_si128(FourFromFloat<ISA>(at), lowByte);
      __m128i const b = _mm_and_si128(FourFromFloat<ISA>(at + 16), lowByte);
      __m128i const c = _mm_and_si128(FourFromFloat<ISA>(at + 32), lowByte);
      __m128i const d = _mm_and_si128(FourFromFloat<ISA>(at + 48), lowByte);
      StoreVector(out + i, _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
    }
    return i;
  }
};

/// GRAYF to GRAY8: clamped to 0.0 to 1.0, truncated. Narrowing clamps the integers at 0. NaN remains one, as
/// the second operand of the minimum, and becomes the smallest integer.
template <Isa ISA>
struct VectorClamp {
  static __m128i Four(uint8_t const* in) noexcept {
    __m128 const v = _mm_loadu_ps(reinterpret_cast<float const*>(in));
    __m128 const within = _mm_min_ps(_mm_set1_ps(1.0f), v);
    return _mm_cvttps_epi32(_mm_mul_ps(within, _mm_set1_ps(255.0f)));
  }

  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
      uint8_t const* const at = in + 4 * i;
      __m128i const low = _mm_packs_epi32(Four(at), Four(at + 16));
      __m128i const high = _mm_packs_epi32(Four(at + 32), Four(at + 48));
      StoreVector(out + i, _mm_packus_epi16(low, high));
    }
    return i;
  }
};

template <>
struct VectorClamp<Isa::BASE> {
  static size_t Run(uint8_t const*, uint8_t*, size_t) noexcept { return 0; }
};

// ---- bytes: grey, colour, colour and alpha ----------------------------------------------------------------

/// Sixteen greys to three registers of colour.
template <Isa ISA>
requires(ISA >= Isa::SSSE3) struct VectorRearrange<ISA, uint8_t, 1, 3> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    __m128i const first = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    __m128i const second = _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    __m128i const third = _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
      __m128i const grey = LoadVector(in + i);
      StoreVector(out + 3 * i, _mm_shuffle_epi8(grey, first));
      StoreVector(out + 3 * i + 16, _mm_shuffle_epi8(grey, second));
      StoreVector(out + 3 * i + 32, _mm_shuffle_epi8(grey, third));
    }
    return i;
  }
};

template <Isa ISA>
requires(ISA >= Isa::SSSE3) struct VectorRearrange<ISA, uint8_t, 1, 4> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
      __m128i const grey = LoadVector(in + i);
      __m128i const low = _mm_unpacklo_epi8(grey, grey);
      __m128i const high = _mm_unpackhi_epi8(grey, grey);
      StoreVector(out + 4 * i, _mm_unpacklo_epi16(low, low));
      StoreVector(out + 4 * i + 16, _mm_unpackhi_epi16(low, low));
      StoreVector(out + 4 * i + 32, _mm_unpacklo_epi16(high, high));
      StoreVector(out + 4 * i + 48, _mm_unpackhi_epi16(high, high));
    }
    return i;
  }
};

/// Sixteen pixels of three bytes as four registers of four pixels, alpha 0.
template <Isa ISA>
struct Spread {
  __m128i quad[4];

  explicit Spread(uint8_t const* in) noexcept {
    __m128i const spread = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    __m128i const a = LoadVector(in);
    __m128i const b = LoadVector(in + 16);
    __m128i const c = LoadVector(in + 32);
    quad[0] = _mm_shuffle_epi8(a, spread);
    quad[1] = _mm_shuffle_epi8(_mm_alignr_epi8(b, a, 12), spread);
    quad[2] = _mm_shuffle_epi8(_mm_alignr_epi8(c, b, 8), spread);
    quad[3] = _mm_shuffle_epi8(_mm_srli_si128(c, 4), spread);
  }
};

template <Isa ISA>
requires(ISA >= Isa::SSSE3) struct VectorRearrange<ISA, uint8_t, 3, 4> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    __m128i const full = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
      Spread<ISA> const pixels(in + 3 * i);
      for (int k = 0; k < 4; ++k) StoreVector(out + 4 * i + 16 * k, _mm_or_si128(pixels.quad[k], full));
    }
    return i;
  }
};

template <Isa ISA>
requires(ISA >= Isa::SSSE3) struct VectorRearrange<ISA, uint8_t, 4, 3> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    __m128i const pack = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
      __m128i const a = _mm_shuffle_epi8(LoadVector(in + 4 * i), pack);
      __m128i const b = _mm_shuffle_epi8(LoadVector(in + 4 * i + 16), pack);
      __m128i const c = _mm_shuffle_epi8(LoadVector(in + 4 * i + 32), pack);
      __m128i const d = _mm_shuffle_epi8(LoadVector(in + 4 * i + 48), pack);
      StoreVector(out + 3 * i, _mm_or_si128(a, _mm_slli_si128(b, 12)));
      StoreVector(out + 3 * i + 16, _mm_or_si128(_mm_srli_si128(b, 4), _mm_slli_si128(c, 8)));
      StoreVector(out + 3 * i + 32, _mm_or_si128(_mm_srli_si128(c, 8), _mm_slli_si128(d, 4)));
    }
    return i;
  }
};

/// Four registers of four pixels to sixteen averages of their first three bytes.
template <Isa ISA>
__m128i AverageOf(__m128i const (&quad)[4]) noexcept {
  __m128i const colour = _mm_set1_epi32(0x00010101);
  // (x * 0xAAAB) >> 17 is x / 3 for 16 bits.
  __m128i const third = _mm_set1_epi16(static_cast<short>(0xAAAB));
  __m128i const low = _mm_hadd_epi16(_mm_maddubs_epi16(quad[0], colour), _mm_maddubs_epi16(quad[1], colour));
  __m128i const high = _mm_hadd_epi16(_mm_maddubs_epi16(quad[2], colour), _mm_maddubs_epi16(quad[3], colour));
  return _mm_packus_epi16(_mm_srli_epi16(_mm_mulhi_epu16(low, third), 1),
                          _mm_srli_epi16(_mm_mulhi_epu16(high, third), 1));
}

/// The same for eight pixels in each register. Pairs are added within the halves of a register, so the
/// averages come out in groups of four, which the last step reorders.
template <Isa ISA>
void StoreAverages(uint8_t* out, __m256i const (&oct)[4]) noexcept {
  __m256i const colour = _mm256_set1_epi32(0x00010101);
  __m256i const third = _mm256_set1_epi16(static_cast<short>(0xAAAB));
  __m256i const low =
      _mm256_hadd_epi16(_mm256_maddubs_epi16(oct[0], colour), _mm256_maddubs_epi16(oct[1], colour));
  __m256i const high =
      _mm256_hadd_epi16(_mm256_maddubs_epi16(oct[2], colour), _mm256_maddubs_epi16(oct[3], colour));
  __m256i const mixed = _mm256_packus_epi16(_mm256_srli_epi16(_mm256_mulhi_epu16(low, third), 1),
                                            _mm256_srli_epi16(_mm256_mulhi_epu16(high, third), 1));
  __m256i const order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  StoreWide(out, _mm256_permutevar8x32_epi32(mixed, order));
}

/// Eight pixels of three bytes; reads 28 bytes.
template <Isa ISA>
__m256i SpreadEight(uint8_t const* in) noexcept {
  __m256i const spread =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1));
  __m256i const both =
      _mm256_inserti128_si256(_mm256_castsi128_si256(LoadVector(in)), LoadVector(in + 12), 1);
  return _mm256_shuffle_epi8(both, spread);
}

template <Isa ISA>
requires(ISA >= Isa::SSSE3) struct VectorRearrange<ISA, uint8_t, 3, 1> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    size_t i = 0;
    if constexpr (ISA >= Isa::AVX2) {
      for (; i + 34 <= count; i += 32) {  // the last load extends into pixel 33
        uint8_t const* const at = in + 3 * i;
        __m256i const oct[4] = {SpreadEight<ISA>(at), SpreadEight<ISA>(at + 24), SpreadEight<ISA>(at + 48),
                                SpreadEight<ISA>(at + 72)};
        StoreAverages<ISA>(out + i, oct);
      }
    }
    for (; i + 16 <= count; i += 16) StoreVector(out + i, AverageOf<ISA>(Spread<ISA>(in + 3 * i).quad));
    return i;
  }
};

template <Isa ISA>
requires(ISA >= Isa::SSSE3) struct VectorRearrange<ISA, uint8_t, 4, 1> {
  static size_t Run(uint8_t const* in, uint8_t* out, size_t count) noexcept {
    size_t i = 0;
    if constexpr (ISA >= Isa::AVX2) {
      for (; i + 32 <= count; i += 32) {
        __m256i oct[4];
        for (int k = 0; k < 4; ++k) oct[k] = LoadWide(in + 4 * i + 32 * k);
        StoreAverages<ISA>(out + i, oct);
      }
    }
    for (; i + 16 <= count; i += 16) {
      uint8_t const* const at = in + 4 * i;
      __m128i const quad[4] = {LoadVector(at), LoadVector(at + 16), LoadVector(at + 32), LoadVector(at + 48)};
      StoreVector(out + i, AverageOf<ISA>(quad));
    }
    return i;
  }
};

}  // namespace
}  // namespace yk::img
