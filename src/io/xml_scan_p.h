// Searches in a document's text, eight units at a time. The text ends in a zero and some more
// (xml_input_p.h), so that reading past the end of what is sought does no harm.
#pragma once

#include <emmintrin.h>

#include <bit>

namespace yk::xml {

/// The first unit for which `stops`, of eight units, has a lane set.
template <class Stops>
wchar_t const* FirstStop(wchar_t const* at, Stops stops) noexcept {
  for (;; at += 8) {
    __m128i const found = stops(_mm_loadu_si128(reinterpret_cast<__m128i const*>(at)));
    unsigned const bytes = static_cast<unsigned>(_mm_movemask_epi8(found));
    if (bytes) return at + std::countr_zero(bytes) / 2;
  }
}

inline __m128i Equal8(__m128i units, wchar_t c) noexcept {
  return _mm_cmpeq_epi16(units, _mm_set1_epi16(static_cast<short>(c)));
}

/// The first '<', '&', ']' or zero.
inline wchar_t const* TextEnd(wchar_t const* at) noexcept {
  return FirstStop(at, [](__m128i units) {
    __m128i const markup = _mm_or_si128(Equal8(units, L'<'), Equal8(units, L'&'));
    return _mm_or_si128(markup, _mm_or_si128(Equal8(units, L']'), Equal8(units, 0)));
  });
}

/// The first `quote`, '<', '&' or character below a space.
inline wchar_t const* ValueEnd(wchar_t const* at, wchar_t quote) noexcept {
  return FirstStop(at, [quote](__m128i units) {
    __m128i const markup = _mm_or_si128(Equal8(units, L'<'), Equal8(units, L'&'));
    __m128i const low = Equal8(_mm_subs_epu16(units, _mm_set1_epi16(L' ' - 1)), 0);
    return _mm_or_si128(markup, _mm_or_si128(Equal8(units, quote), low));
  });
}

/// The first `c` or zero.
inline wchar_t const* NextOf(wchar_t const* at, wchar_t c) noexcept {
  return FirstStop(at, [c](__m128i units) { return _mm_or_si128(Equal8(units, c), Equal8(units, 0)); });
}

}  // namespace yk::xml
