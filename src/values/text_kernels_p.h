// Loops over the characters of texts: searching, comparing, and converting plain ASCII.
//
// The functions of `scalar` are the definitions; those outside give the same results faster. Those that stop
// at a zero without knowing the length read on to the next multiple of 16 bytes, which is never in another
// page.
#pragma once

#include <stddef.h>

namespace yk::text {

template <class Char>
constexpr bool IsBlank(Char c) noexcept {
  return c == ' ' || c == '\t';
}

namespace scalar {

/// The characters in front of the terminating zero.
inline size_t Length(wchar_t const* text) noexcept {
  size_t length = 0;
  while (text[length]) ++length;
  return length;
}

/// The index of the first character equal to `c`, or `length`.
inline size_t Find(wchar_t const* text, size_t length, wchar_t c) noexcept {
  size_t i = 0;
  while (i < length && text[i] != c) ++i;
  return i;
}

/// The index of the first place where two texts differ or end with a zero, or `length`.
inline size_t Mismatch(wchar_t const* a, wchar_t const* b, size_t length) noexcept {
  size_t i = 0;
  while (i < length && a[i] == b[i] && a[i]) ++i;
  return i;
}

/// The index of the first occurrence of `count` characters, at least one and none a zero, in front of the
/// first zero of the text, or `length`.
inline size_t FindText(wchar_t const* text, size_t length, wchar_t const* sought, size_t count) noexcept {
  for (size_t i = 0; i + count <= length && text[i]; ++i) {
    if (Mismatch(text + i, sought, count) == count) return i;
  }
  return length;
}

/// Converts the characters from 1 to 127 with which a text begins, at most `most` of them and up to a zero.
/// Without a target, only counts them. \return their number
template <class From, class To>
size_t ConvertAscii(From const* from, To* to, size_t most) noexcept {
  size_t i = 0;
  for (; i < most && from[i] > 0 && from[i] < 0x80; ++i) {
    if (to) to[i] = static_cast<To>(from[i]);
  }
  return i;
}

}  // namespace scalar

size_t Length(wchar_t const* text) noexcept;
size_t Find(wchar_t const* text, size_t length, wchar_t c) noexcept;
size_t Mismatch(wchar_t const* a, wchar_t const* b, size_t length) noexcept;
size_t FindText(wchar_t const* text, size_t length, wchar_t const* sought, size_t count) noexcept;
size_t ConvertAscii(signed char const* from, wchar_t* to, size_t most) noexcept;
size_t ConvertAscii(wchar_t const* from, char* to, size_t most) noexcept;

}  // namespace yk::text
