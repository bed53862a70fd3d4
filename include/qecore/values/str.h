// Functions on plain zero-terminated strings, 8-bit and 16-bit: lengths, copies, paths, code pages, UTF-8 and
// formatting.
//
//   char utf8[64];
//   int const needed = str::WToUTF8(L"caf\u00E9", utf8, sizeof utf8);   // 6: five bytes and the terminator
//
//   wchar_t text[64];
//   qeprintf2(text, 64, L"%2 of %1", L"%d%s", 3, L"files");             // "files of 3": a translation may
//                                                                       // reorder what argfmt names in order
//
// Sizes are in characters of the buffer's own type. A character is a single 16-bit unit: no function here
// knows surrogate pairs, and in UTF-8 each half of a pair takes three bytes of its own. Existing files rely
// on that. Formats follow the Microsoft C runtime: `%s` takes the character type of the format string. Only
// str::New allocates. Any thread.
#pragma once

#include <qecore/core/base.h>
#include <stdarg.h>

namespace yk {

namespace str {

/// Characters before the terminator; 0 for null.
YK_API size_t Length(wchar_t const* text) noexcept;
YK_API size_t Length(char const* text) noexcept;

/// A copy from the global `operator new`, to be freed by the caller with `operator delete`. Null for a null
/// or empty string, and when there is no memory.
YK_API char* New(char const* text) noexcept;
YK_API wchar_t* New(wchar_t const* text) noexcept;

/// Appends `src` to the string in a buffer of `size` characters, including the terminator. A null `src`
/// appends nothing.
/// \return the new length; `size` when the string was truncated, and also when it filled the buffer exactly
///   and its last character was overwritten by the terminator.
/// A buffer without a terminator is terminated at its end. A size of 0 is a no-op and returns 0.
YK_API size_t Concat(wchar_t* dst, size_t size, wchar_t const* src) noexcept;
YK_API size_t Concat(char* dst, size_t size, char const* src) noexcept;

/// Strips spaces and tabs from both ends, in place. Null is a no-op.
YK_API void AllTrim(char* text) noexcept;
YK_API void AllTrim(wchar_t* text) noexcept;

/// Appends `\` unless the string is empty or ends in `\`. Only `\` counts here; String::TerminatePath accepts
/// `/` as well. The buffer must have room for one more character.
YK_API void TerminatePath(wchar_t* path) noexcept;

/// Formats into a buffer of `size` characters. The wide forms always terminate and return -1 when they
/// truncate; the narrow ones write no terminator when the text fills the buffer. With neither a buffer nor a
/// size, both return the length that the text would have. These are the rules of the C runtime. A null
/// format, a size without a buffer and a wide buffer without a size return -1.
///
/// A malformed format is harmless: a directive truncated by the end of the format produces nothing ("50%"
/// gives "50"), an unknown one produces the character that makes it unknown ("%q" gives "q"), and `%n`, which
/// would write through an argument, stops formatting with -1. This applies to all formatting by the library.
YK_API int printf(wchar_t* buffer, size_t size, wchar_t const* format, ...) noexcept;
YK_API int vprintf(wchar_t* buffer, size_t size, wchar_t const* format, va_list arguments) noexcept;
YK_API int printf(char* buffer, size_t size, char const* format, ...) noexcept;
YK_API int vprintf(char* buffer, size_t size, char const* format, va_list arguments) noexcept;

/// UTF-8 from a zero-terminated string.
/// \param dst   null: only count
/// \param size  bytes in `dst`; negative means unlimited
/// \return bytes that the whole text needs, including the terminator, even when it was truncated. A null
/// `src` returns 0 and sets dst[0] to 0, regardless of `size`.
/// A sequence is written only if at least one byte remains free after it; once one does not fit, none is
/// written. A truncated text is terminated at dst[size - 1]; the bytes between the last sequence and that
/// terminator are not written (contract).
YK_API int WToUTF8(wchar_t const* src, char* dst, int size) noexcept;

/// UTF-16 from UTF-8: at most `size` units and then a terminator, so the buffer must hold size + 1 units.
/// \param dst  null: count the units of the whole input, regardless of `size`
/// \return units, not counting the terminator
/// Continuation bytes are not checked, and values beyond 16 bits are truncated to their low 16 bits. A
/// sequence truncated by the terminator is completed with zeros and ends the text. A null `src` is an empty
/// string.
YK_API int UTF8ToW(char const* src, wchar_t* dst, int size) noexcept;

}  // namespace str

/// UTF-8 from exactly `count` units, zeros included; what fits is decided as in str::WToUTF8. The terminator
/// is written only if there is room for it: a truncated result has none.
/// \return bytes that all units need, plus one for the terminator. A null `src` returns 0 and sets dst[0] to
/// 0, regardless of `size`.
YK_API int WideToUTF8StringEx(wchar_t const* src, char* dst, int count, int size) noexcept;

/// Length of the directory part of a path: up to and including the last `\`, `/` or `:`. 0 when there is
/// none.
YK_API size_t GetDirLen(wchar_t const* path) noexcept;

/// To the ANSI code page. \return bytes written, including the terminator; 0 on failure, such as a `dst` that
/// is too small, whose contents are then what the platform left in it.
YK_API int wtoa(wchar_t const* src, char* dst, size_t size) noexcept;

/// Bytes that wtoa needs for the whole text, including the terminator.
YK_API int wtoa_BufSize(wchar_t const* src) noexcept;

/// From the ANSI code page. \return units written, including the terminator; 0 on failure, as for wtoa.
YK_API int atow(char const* src, wchar_t* dst, size_t size) noexcept;

/// Resolves `\n`, `\r` and `\t`, in place. Contract: a backslash before any other character drops that
/// character, and the byte at the next output position keeps its old value: `a\qb` becomes `a\b`. A single
/// trailing backslash stays.
YK_API void preprocess_C(char* text) noexcept;

/// Formats with numbered placeholders: `%1` to `%9` in `format` refer to the directives of `argfmt`, in
/// order; `%%` is a percent sign. Literal text in `argfmt` belongs to the directive before it; text before
/// the first directive belongs to the first. A placeholder without a directive produces "$ERROR$".
///
/// A format with any other directive, or with a trailing `%`, is an ordinary format for the arguments, and
/// `argfmt` is ignored.
/// \param size  characters in `dst`: a longer text is truncated and terminated
/// \return for an ordinary format, the result of the C runtime; otherwise the length of the formatted
///   arguments, plus one separator before each directive but the first, or -1 when they exceed 4096
///   characters or `argfmt` exceeds 8192
YK_API int qeprintf2(wchar_t* dst, size_t size, wchar_t const* format, wchar_t const* argfmt, ...) noexcept;

/// A no-op that returns 0, kept for programs that import it (contract).
YK_API int qescanf(char* text, char const* format, ...) noexcept;

}  // namespace yk
