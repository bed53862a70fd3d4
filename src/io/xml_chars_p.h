// Character classes of XML, in 16-bit units.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace yk::xml {

struct AsciiClasses {
  bool start[128] = {};
  bool rest[128] = {};
};
extern AsciiClasses const ASCII_CLASSES;

bool StartsNameBeyondAscii(wchar_t c) noexcept;
bool ContinuesNameBeyondAscii(wchar_t c) noexcept;

inline bool StartsName(wchar_t c) noexcept {
  return c < 128 ? ASCII_CLASSES.start[c] : StartsNameBeyondAscii(c);
}
inline bool ContinuesName(wchar_t c) noexcept {
  return c < 128 ? ASCII_CLASSES.rest[c] : ContinuesNameBeyondAscii(c);
}

/// Whether the whole text is an XML name; an empty one is not.
bool IsName(wchar_t const* text, size_t length) noexcept;

/// The length of the leading name in a zero-terminated text, or 0.
inline size_t NameLength(wchar_t const* text) noexcept {
  if (!StartsName(*text)) return 0;
  size_t length = 1;
  while (ContinuesName(text[length])) ++length;
  return length;
}

/// Whether two texts of this length are equal; for short ones.
inline bool EqualUnits(wchar_t const* a, wchar_t const* b, size_t count) noexcept {
  size_t i = 0;
  while (i < count && a[i] == b[i]) ++i;
  return i == count;
}

/// Space, tab, line feed. (Carriage returns have become line feeds before.)
constexpr bool IsBlank(wchar_t c) noexcept { return c == L' ' || c == L'\t' || c == L'\n'; }
constexpr bool IsHighSurrogate(wchar_t c) noexcept { return c >= 0xD800 && c <= 0xDBFF; }
constexpr bool IsLowSurrogate(wchar_t c) noexcept { return c >= 0xDC00 && c <= 0xDFFF; }
/// The halves of a character from 0x10000 on.
constexpr wchar_t HighSurrogateOf(uint32_t c) noexcept { return static_cast<wchar_t>(0xD7C0 + (c >> 10)); }
constexpr wchar_t LowSurrogateOf(uint32_t c) noexcept { return static_cast<wchar_t>(0xDC00 + (c & 0x3FF)); }
/// The control characters below 32 that a document may contain.
constexpr bool IsAllowedControl(wchar_t c) noexcept { return c == L'\t' || c == L'\n' || c == L'\r'; }

/// False for a text with an unpaired surrogate, or U+FFFE or U+FFFF, which XML cannot represent.
bool IsText(wchar_t const* text, size_t length) noexcept;

/// The target of a declaration, "xml" in any case, which is reserved.
bool IsReservedTarget(wchar_t const* text, size_t length) noexcept;

}  // namespace yk::xml
