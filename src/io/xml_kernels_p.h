// Loops over the characters of documents, by vectors: searching what is read, and copying what neither the
// reader nor the writer changes. They are inline, since most texts are short.
//
// The functions of `scalar` are the definitions; those outside give the same results faster.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <algorithm>
#include <bit>

#include "core/vectors_p.h"

namespace yk::xml {

/// Units in a vector.
inline constexpr size_t LANES = 8;

/// The characters that the writer writes as something else.
constexpr bool IsSpecial(wchar_t c) noexcept {
  return c < L' ' || c == L'"' || c == L'&' || c == L'\'' || c == L'<' || c == L'>';
}

namespace scalar {

template <class Stops>
wchar_t const* FirstStop(wchar_t const* at, Stops stops) noexcept {
  while (!stops(*at)) ++at;
  return at;
}

/// The first '<', '&', ']' or zero.
inline wchar_t const* TextEnd(wchar_t const* at) noexcept {
  return FirstStop(at, [](wchar_t c) { return c == L'<' || c == L'&' || c == L']' || c == 0; });
}

/// The first `quote`, '<', '&' or character below a space.
inline wchar_t const* ValueEnd(wchar_t const* at, wchar_t quote) noexcept {
  return FirstStop(at, [=](wchar_t c) { return c == L'<' || c == L'&' || c == quote || c < L' '; });
}

/// The first `c` or zero.
inline wchar_t const* NextOf(wchar_t const* at, wchar_t c) noexcept {
  return FirstStop(at, [=](wchar_t unit) { return unit == c || unit == 0; });
}

/// Copies the leading characters that the reader takes as they are: tabs, line feeds, and those from a space
/// to `LAST`. \return how many
template <wchar_t LAST, class ReadAt>
size_t Take(size_t count, wchar_t* to, ReadAt at) noexcept {
  size_t i = 0;
  for (; i < count; ++i) {
    wchar_t const c = at(i);
    if (c != L'\t' && c != L'\n' && (c < L' ' || c > LAST)) break;
    to[i] = c;
  }
  return i;
}

/// Bytes below 128.
inline size_t TakeAscii(uint8_t const* bytes, size_t count, wchar_t* to) noexcept {
  return Take<0x7F>(count, to, [=](size_t i) { return static_cast<wchar_t>(bytes[i]); });
}

/// Units below the surrogates, of two bytes, low one first.
inline size_t TakeUnits(uint8_t const* bytes, size_t count, wchar_t* to) noexcept {
  return Take<0xD7FF>(count, to,
                      [=](size_t i) { return static_cast<wchar_t>(bytes[2 * i] | bytes[2 * i + 1] << 8); });
}

/// Copies the leading units that the writer writes as they are: if the text is ESCAPED, none that is special;
/// as UTF-8, only those from 1 to 127. \return how many
template <bool ESCAPED, class Unit>
size_t CopyPlain(wchar_t const* from, size_t count, Unit* to) noexcept {
  size_t i = 0;
  for (; i < count && !(ESCAPED && IsSpecial(from[i])); ++i) {
    if (sizeof(Unit) == 1 && (from[i] == 0 || from[i] >= 0x80)) break;
    to[i] = static_cast<Unit>(from[i]);
  }
  return i;
}

}  // namespace scalar

// ---- searching: reads up to seven units after the one that is found

template <class Stops>
wchar_t const* FirstStop(wchar_t const* at, Stops stops) noexcept {
  for (;; at += LANES) {
    unsigned const bytes = static_cast<unsigned>(_mm_movemask_epi8(stops(LoadVector(at))));
    if (bytes) return at + std::countr_zero(bytes) / 2;
  }
}

inline __m128i All16(unsigned c) noexcept { return _mm_set1_epi16(static_cast<short>(c)); }
inline __m128i All8(char c) noexcept { return _mm_set1_epi8(c); }
inline __m128i Equal8(__m128i units, wchar_t c) noexcept { return _mm_cmpeq_epi16(units, All16(c)); }

inline wchar_t const* TextEnd(wchar_t const* at) noexcept {
  return FirstStop(at, [](__m128i units) {
    __m128i const markup = _mm_or_si128(Equal8(units, L'<'), Equal8(units, L'&'));
    return _mm_or_si128(markup, _mm_or_si128(Equal8(units, L']'), Equal8(units, 0)));
  });
}

inline wchar_t const* ValueEnd(wchar_t const* at, wchar_t quote) noexcept {
  return FirstStop(at, [quote](__m128i units) {
    __m128i const markup = _mm_or_si128(Equal8(units, L'<'), Equal8(units, L'&'));
    __m128i const low = Equal8(_mm_subs_epu16(units, All16(L' ' - 1)), 0);
    return _mm_or_si128(markup, _mm_or_si128(Equal8(units, quote), low));
  });
}

inline wchar_t const* NextOf(wchar_t const* at, wchar_t c) noexcept {
  return FirstStop(at, [c](__m128i units) { return _mm_or_si128(Equal8(units, c), Equal8(units, 0)); });
}

// ---- copying what is read: may write all `count` units

inline size_t TakeAscii(uint8_t const* bytes, size_t count, wchar_t* to) noexcept {
  size_t i = 0;
  for (; i + 16 <= count; i += 16) {
    __m128i const sixteen = LoadVector(bytes + i);
    __m128i const blank =
        _mm_or_si128(_mm_cmpeq_epi8(sixteen, All8('\t')), _mm_cmpeq_epi8(sixteen, All8('\n')));
    __m128i const low = _mm_cmplt_epi8(sixteen, All8(' '));  // or from 128 up: as signed, they are negative
    unsigned const odd = static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(blank, low)));
    StoreVector(to + i, _mm_unpacklo_epi8(sixteen, _mm_setzero_si128()));
    StoreVector(to + i + 8, _mm_unpackhi_epi8(sixteen, _mm_setzero_si128()));
    if (odd) return i + static_cast<size_t>(std::countr_zero(odd));
  }
  return i + scalar::TakeAscii(bytes + i, count - i, to + i);
}

inline size_t TakeUnits(uint8_t const* bytes, size_t count, wchar_t* to) noexcept {
  size_t i = 0;
  for (; i + LANES <= count; i += LANES) {
    __m128i const eight = LoadVector(bytes + 2 * i);
    __m128i const blank = _mm_or_si128(Equal8(eight, L'\t'), Equal8(eight, L'\n'));
    // Moved so that the units from a space up to the surrogates are the smallest signed numbers.
    __m128i const moved = _mm_add_epi16(eight, All16(0x8000 - ' '));
    __m128i const plain = _mm_or_si128(blank, _mm_cmplt_epi16(moved, All16(0x8000 + 0xD800 - ' ')));
    unsigned const odd = static_cast<unsigned>(_mm_movemask_epi8(plain)) ^ 0xFFFF;
    StoreVector(to + i, eight);
    if (odd) return i + static_cast<size_t>(std::countr_zero(odd)) / 2;
  }
  return i + scalar::TakeUnits(bytes + 2 * i, count - i, to + i);
}

// ---- copying what is written

static_assert(('&' | 1) == '\'' && ('<' | 2) == '>');  // a comparison finds two of the special characters

/// Writes eight units. \return a bit for each that is not plain
template <bool ESCAPED>
unsigned PutPlain(__m128i units, char* to) noexcept {
  __m128i const bytes = _mm_packus_epi16(units, units);  // larger units become negative, or zero
  StoreHalf(to, bytes);
  __m128i odd = _mm_cmplt_epi8(bytes, All8(ESCAPED ? 32 : 1));
  if constexpr (ESCAPED) {
    __m128i const ampersands = _mm_cmpeq_epi8(_mm_or_si128(bytes, All8(1)), All8('\''));
    __m128i const brackets = _mm_cmpeq_epi8(_mm_or_si128(bytes, All8(2)), All8('>'));
    odd = _mm_or_si128(odd, _mm_cmpeq_epi8(bytes, All8('"')));
    odd = _mm_or_si128(odd, _mm_or_si128(ampersands, brackets));
  }
  return static_cast<unsigned>(_mm_movemask_epi8(odd)) & 0xFF;
}

template <bool ESCAPED>
unsigned PutPlain(__m128i units, wchar_t* to) noexcept {
  StoreVector(to, units);
  if constexpr (!ESCAPED) return 0;
  __m128i const ampersands = Equal8(_mm_or_si128(units, All16(1)), L'\'');
  __m128i const brackets = Equal8(_mm_or_si128(units, All16(2)), L'>');
  __m128i odd = Equal8(_mm_subs_epu16(units, All16(31)), 0);
  odd = _mm_or_si128(odd, Equal8(units, L'"'));
  odd = _mm_or_si128(odd, _mm_or_si128(ampersands, brackets));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(odd, odd))) & 0xFF;
}

/// Of the text, `readable` units can be read; may write up to LANES more than `count`.
template <bool ESCAPED, class Unit>
size_t CopyPlain(wchar_t const* from, size_t count, size_t readable, Unit* to) noexcept {
  size_t i = 0;
  for (; i < count && i + LANES <= readable; i += LANES) {
    unsigned const odd = PutPlain<ESCAPED>(LoadVector(from + i), to + i);
    if (odd) return std::min(count, i + static_cast<size_t>(std::countr_zero(odd)));
  }
  return i < count ? i + scalar::CopyPlain<ESCAPED>(from + i, count - i, to + i) : count;
}

}  // namespace yk::xml
