#include "text_kernels_p.h"

#include <stdint.h>

#include <algorithm>
#include <bit>

#include "core/vectors_p.h"

namespace yk::text {

namespace {

constexpr size_t VECTOR = sizeof(__m128i);
constexpr size_t UNITS = VECTOR / sizeof(wchar_t);

// Texts up to a zero are read in whole vectors, which is safe where these do not cross into another page, but
// not in the sanitizer's view.
#if defined(__GNUC__)
#define YK_READS_WHOLE_VECTORS [[gnu::no_sanitize_address]]
#else
#define YK_READS_WHOLE_VECTORS
#endif

YK_READS_WHOLE_VECTORS __m128i LoadAligned(void const* from) noexcept {
  return _mm_load_si128(static_cast<__m128i const*>(from));
}

unsigned Bits(__m128i comparison) noexcept { return static_cast<unsigned>(_mm_movemask_epi8(comparison)); }

// The index of the first unit of a comparison that is true.
size_t FirstUnit(unsigned bits) noexcept { return static_cast<size_t>(std::countr_zero(bits)) / 2; }

// How many characters lie in front of the first aligned vector; all of them when none is aligned, in the text
// at an odd address that a program may pass.
template <class Char>
size_t BeforeVector(Char const* text, size_t most) noexcept {
  size_t const bytes = (VECTOR - reinterpret_cast<uintptr_t>(text) % VECTOR) % VECTOR;
  return bytes % sizeof(Char) ? most : std::min(most, bytes / sizeof(Char));
}

__m128i Stops(wchar_t const* a, wchar_t const* b) noexcept {
  __m128i const x = LoadVector(a);
  return _mm_cmpeq_epi16(_mm_and_si128(_mm_cmpeq_epi16(x, LoadVector(b)), x), _mm_setzero_si128());
}

}  // namespace

YK_READS_WHOLE_VECTORS size_t Length(wchar_t const* text) noexcept {
  size_t const before = BeforeVector(text, SIZE_MAX);
  size_t i = 0;
  for (; i < before; ++i) {
    if (!text[i]) return i;
  }
  for (;; i += UNITS) {
    unsigned const end = Bits(_mm_cmpeq_epi16(LoadAligned(text + i), _mm_setzero_si128()));
    if (end) return i + FirstUnit(end);
  }
}

size_t Find(wchar_t const* text, size_t length, wchar_t c) noexcept {
  __m128i const sought = _mm_set1_epi16(static_cast<short>(c));
  size_t i = 0;
  for (; i + 4 * UNITS <= length; i += 4 * UNITS) {
    __m128i const a = _mm_cmpeq_epi16(LoadVector(text + i), sought);
    __m128i const b = _mm_cmpeq_epi16(LoadVector(text + i + UNITS), sought);
    __m128i const d = _mm_cmpeq_epi16(LoadVector(text + i + 2 * UNITS), sought);
    __m128i const e = _mm_cmpeq_epi16(LoadVector(text + i + 3 * UNITS), sought);
    if (Bits(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(d, e)))) break;
  }
  for (; i + UNITS <= length; i += UNITS) {
    unsigned const hits = Bits(_mm_cmpeq_epi16(LoadVector(text + i), sought));
    if (hits) return i + FirstUnit(hits);
  }
  return i + scalar::Find(text + i, length - i, c);
}

size_t Mismatch(wchar_t const* a, wchar_t const* b, size_t length) noexcept {
  size_t i = 0;
  for (; i + 4 * UNITS <= length; i += 4 * UNITS) {
    __m128i const first = _mm_or_si128(Stops(a + i, b + i), Stops(a + i + UNITS, b + i + UNITS));
    __m128i const second = _mm_or_si128(Stops(a + i + 2 * UNITS, b + i + 2 * UNITS),
                                        Stops(a + i + 3 * UNITS, b + i + 3 * UNITS));
    if (Bits(_mm_or_si128(first, second))) break;
  }
  for (; i + UNITS <= length; i += UNITS) {
    unsigned const stops = Bits(Stops(a + i, b + i));
    if (stops) return i + FirstUnit(stops);
  }
  return i + scalar::Mismatch(a + i, b + i, length - i);
}

// Compares the first and the last character with eight places at a time.
size_t FindText(wchar_t const* text, size_t length, wchar_t const* sought, size_t count) noexcept {
  __m128i const first = _mm_set1_epi16(static_cast<short>(sought[0]));
  __m128i const last = _mm_set1_epi16(static_cast<short>(sought[count - 1]));
  size_t i = 0;
  for (; i + count + UNITS - 1 <= length; i += UNITS) {
    __m128i const units = LoadVector(text + i);
    __m128i const begins = _mm_cmpeq_epi16(units, first);
    __m128i const ends = _mm_cmpeq_epi16(LoadVector(text + i + count - 1), last);
    unsigned hits = Bits(_mm_and_si128(begins, ends));
    unsigned const zeros = Bits(_mm_cmpeq_epi16(units, _mm_setzero_si128()));
    if (zeros) hits &= (zeros & (0u - zeros)) - 1;
    for (; hits; hits &= hits - 1, hits &= hits - 1) {
      size_t const at = i + FirstUnit(hits);
      if (Mismatch(text + at, sought, count) == count) return at;
    }
    if (zeros) return length;
  }
  size_t const found = scalar::FindText(text + i, length - i, sought, count);
  return i + found;
}

YK_READS_WHOLE_VECTORS size_t ConvertAscii(signed char const* from, wchar_t* to, size_t most) noexcept {
  __m128i const zero = _mm_setzero_si128();
  size_t const before = BeforeVector(from, most);
  size_t i = scalar::ConvertAscii(from, to, before);
  if (i < before) return i;
  for (; most - i >= VECTOR; i += VECTOR) {
    __m128i const bytes = LoadAligned(from + i);
    if (Bits(_mm_cmpgt_epi8(bytes, zero)) != 0xFFFF) break;
    if (!to) continue;
    StoreVector(to + i, _mm_unpacklo_epi8(bytes, zero));
    StoreVector(to + i + UNITS, _mm_unpackhi_epi8(bytes, zero));
  }
  return i + scalar::ConvertAscii(from + i, to ? to + i : nullptr, most - i);
}

YK_READS_WHOLE_VECTORS size_t ConvertAscii(wchar_t const* from, char* to, size_t most) noexcept {
  __m128i const zero = _mm_setzero_si128();
  __m128i const limit = _mm_set1_epi16(0x80);
  size_t const before = BeforeVector(from, most);
  size_t i = scalar::ConvertAscii(from, to, before);
  if (i < before) return i;
  for (; most - i >= UNITS; i += UNITS) {
    __m128i const units = LoadAligned(from + i);
    __m128i const ascii = _mm_and_si128(_mm_cmpgt_epi16(units, zero), _mm_cmplt_epi16(units, limit));
    if (Bits(ascii) != 0xFFFF) break;
    if (to) StoreHalf(to + i, _mm_packus_epi16(units, units));
  }
  return i + scalar::ConvertAscii(from + i, to ? to + i : nullptr, most - i);
}

}  // namespace yk::text
