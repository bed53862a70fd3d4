// What XML says of characters, in 16-bit units.
#pragma once

#include <stddef.h>

namespace yk::xml {

/// Whether the whole text is an XML name; an empty one is none.
bool IsName(wchar_t const* text, size_t length) noexcept;
/// Characters of the name that the zero-terminated text begins with; 0: it begins with none.
size_t NameLength(wchar_t const* text) noexcept;

/// Space, tab, line feed. (Carriage returns are line feeds by then.)
constexpr bool IsBlank(wchar_t c) noexcept { return c == L' ' || c == L'\t' || c == L'\n'; }
constexpr bool IsHighSurrogate(wchar_t c) noexcept { return c >= 0xD800 && c <= 0xDBFF; }
constexpr bool IsLowSurrogate(wchar_t c) noexcept { return c >= 0xDC00 && c <= 0xDFFF; }
/// The controls below 32 that a document may hold.
constexpr bool IsAllowedControl(wchar_t c) noexcept { return c == L'\t' || c == L'\n' || c == L'\r'; }

/// True unless the text has half a surrogate pair in it, or U+FFFE or U+FFFF: there is no XML for these.
bool IsText(wchar_t const* text, size_t length) noexcept;

/// The target of a declaration, "xml" in any case, which no other instruction may have.
bool IsReservedTarget(wchar_t const* text, size_t length) noexcept;

}  // namespace yk::xml
