// Formatting as the Microsoft C runtime does it, safe for any format: formats for which the runtime would end
// the process, or overrun an internal buffer, never reach it.
//
// Where the runtimes differ, their documentation decides: an unknown directive is dropped up to the character
// that makes it unknown, which is text (`%q` gives `q`), and so is one truncated by the format's end (`50%`
// gives `50`). `%n`, which would write through an argument, stops formatting with -1.
#pragma once

#include <stdarg.h>
#include <stddef.h>

namespace yk {

/// Always terminates. \return the length; -1 when the text was truncated or a conversion failed. With neither
/// a buffer nor a size, the length that the text would have. With only one of them, or no format: -1.
int FormatText(wchar_t* buffer, size_t size, wchar_t const* format, va_list arguments) noexcept;

/// The same, except that a text that fills the buffer has no terminator, a text of exactly `size` characters
/// is not truncated, and a buffer may have the size 0.
int FormatText(char* buffer, size_t size, char const* format, va_list arguments) noexcept;

}  // namespace yk
