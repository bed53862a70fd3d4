// Functions on bare, zero-terminated texts, 8-bit and 16-bit: lengths, copies, paths, code pages, UTF-8 and
// formatting.
//
//   char utf8[64];
//   int const needed = str::WToUTF8(L"caf\u00E9", utf8, sizeof utf8);   // 6: five bytes and the terminator
//
//   wchar_t text[64];
//   qeprintf2(text, 64, L"%2 of %1", L"%d%s", 3, L"files");             // "files of 3": a translation may
//                                                                       // reorder what argfmt names in order
//
// Sizes are in characters of the buffer's own type. Characters are single 16-bit units: nothing here knows
// surrogate pairs, and UTF-8 carries each half of a pair as three bytes of its own. That is part of the
// format of existing files. Formats follow the Microsoft C runtime: `%s` takes the format's own character
// type. Nothing allocates but str::New. Any thread.
#pragma once

#include <qecore/core/base.h>
#include <stdarg.h>

namespace yk {

namespace str {

/// Characters before the terminator; 0 for null.
YK_API size_t Length(wchar_t const* text) noexcept;
YK_API size_t Length(char const* text) noexcept;

/// A copy from the global `operator new`, for the caller's `operator delete`. Null for a null or an empty
/// text, and when there is no memory.
YK_API char* New(char const* text) noexcept;
YK_API wchar_t* New(wchar_t const* text) noexcept;

/// Appends `src` to the text in a buffer of `size` characters, the terminator included. A null `src` appends
/// nothing.
/// \return the new length; `size` when the text was cut; and `size`, too, when the text filled the buffer
///   exactly and its last character had to give way to the terminator.
/// A buffer without a terminator gets one at its end. A size of 0 touches nothing and gives 0.
YK_API size_t Concat(wchar_t* dst, size_t size, wchar_t const* src) noexcept;
YK_API size_t Concat(char* dst, size_t size, char const* src) noexcept;

/// Strips spaces and tabs from both ends, in place. Null is left alone.
YK_API void AllTrim(char* text) noexcept;
YK_API void AllTrim(wchar_t* text) noexcept;

/// Appends `\` unless the text is empty or ends in `\`. Only `\` counts here; String::TerminatePath takes `/`
/// as well. The buffer must have room for one more.
YK_API void TerminatePath(wchar_t* path) noexcept;

/// Formats into a buffer of `size` characters. The wide forms always terminate and answer -1 when they cut;
/// the narrow ones leave no terminator when the text fills the buffer. With neither a buffer nor a size both
/// answer the length that the text would have. All these are the C runtime's rules. A null format, a size
/// without a buffer and a wide buffer without a size answer -1.
///
/// A format that is faulty does no harm. A directive that the format's end cuts off gives nothing ("50%"
/// gives
/// "50"), one that there is not gives the character that makes it so ("%q" gives "q"), and `%n`, which would
/// write through an argument, ends the formatting with -1. This holds wherever the library formats.
YK_API int printf(wchar_t* buffer, size_t size, wchar_t const* format, ...) noexcept;
YK_API int vprintf(wchar_t* buffer, size_t size, wchar_t const* format, va_list arguments) noexcept;
YK_API int printf(char* buffer, size_t size, char const* format, ...) noexcept;
YK_API int vprintf(char* buffer, size_t size, char const* format, va_list arguments) noexcept;

/// UTF-8 from a zero-terminated text.
/// \param dst   null only counts
/// \param size  bytes in `dst`; negative is unlimited
/// \return bytes that the whole text needs with its terminator, also when it was cut. A null `src` gives 0,
/// and dst[0] is 0 then, whatever `size` says.
/// A sequence is written only while a byte stays free behind it, and none is written after one that did not
/// fit. A cut text is terminated at dst[size - 1]; bytes between the last sequence and that terminator are
/// left as they were, which is intended.
YK_API int WToUTF8(wchar_t const* src, char* dst, int size) noexcept;

/// Text from UTF-8, at most `size` units and a terminator behind them: the buffer holds size + 1 units.
/// \param dst  null counts the units of the whole input, whatever `size` says
/// \return units, the terminator not counted
/// Continuation bytes are not checked, and values beyond 16 bits are cut to their low 16 bits. A sequence
/// that the terminator cuts short is completed with zeros and ends the text. A null `src` is an empty text.
YK_API int UTF8ToW(char const* src, wchar_t* dst, int size) noexcept;

}  // namespace str

/// UTF-8 from exactly `count` units, zeros included, with the room rule of str::WToUTF8. The terminator is
/// written only when there is room for it: a cut result has none.
/// \return bytes that all units need, and one for the terminator. A null `src` gives 0, and dst[0] is 0 then,
/// whatever `size` says.
YK_API int WideToUTF8StringEx(wchar_t const* src, char* dst, int count, int size) noexcept;

/// Length of the directory part of a path: one past the last `\`, `/` or `:`. 0 when there is none.
YK_API size_t GetDirLen(wchar_t const* path) noexcept;

/// To the ANSI code page. \return bytes written, the terminator included; 0 on failure, a `dst` that is too
/// small among them: what it then holds is whatever the platform left there.
YK_API int wtoa(wchar_t const* src, char* dst, size_t size) noexcept;

/// Bytes that wtoa needs for the whole text, the terminator included.
YK_API int wtoa_BufSize(wchar_t const* src) noexcept;

/// From the ANSI code page. \return units written, the terminator included; 0 on failure, as for wtoa.
YK_API int atow(char const* src, wchar_t* dst, size_t size) noexcept;

/// Resolves `\n`, `\r` and `\t`, in place. A backslash before any other character takes that character away
/// and leaves the byte that stood at the place written next as it was, which is intended: `a\qb` becomes
/// `a\b`. A lone backslash at the end stays.
YK_API void preprocess_C(char* text) noexcept;

/// Formats with numbered placeholders: `%1` to `%9` in `format` stand for the directives of `argfmt`, in
/// order; `%%` is a percent sign. Literal text in `argfmt` belongs to the directive before it, and text
/// before the first directive to the first. A placeholder without a directive gives "$ERROR$".
///
/// A format with any other directive, or with a `%` at its very end, is an ordinary format for the arguments,
/// and `argfmt` is not looked at.
/// \param size  characters in `dst`: a longer text is cut there, and terminated
/// \return for an ordinary format what the C runtime returns; else the length of the formatted arguments with
///   one mark before each directive but the first, and -1 when they do not fit 4096 characters or `argfmt`
///   does not fit 8192
YK_API int qeprintf2(wchar_t* dst, size_t size, wchar_t const* format, wchar_t const* argfmt, ...) noexcept;

/// Does nothing and gives 0. It stands here for the callers that are linked to it.
YK_API int qescanf(char* text, char const* format, ...) noexcept;

}  // namespace yk
