// Formatting as the Microsoft C runtime does it, for any format: one that the runtime would end the process
// for, or write behind a buffer of its own for, never reaches it.
//
// What the runtimes disagree on is settled as their manual states it: a directive that is none is left out,
// up to the character that makes it none, which is text (`%q` gives `q`), and so is one that the format's end
// cuts off (`50%` gives `50`). `%n`, which would write through an argument, ends the formatting with -1.
#pragma once

#include <stdarg.h>
#include <stddef.h>

namespace yk {

/// Always terminates. \return the length; -1 when the text was cut, and for a conversion that failed. With
/// neither a buffer nor a size the length that the text would have. One without the other, or no format: -1.
int FormatText(wchar_t* buffer, size_t size, wchar_t const* format, va_list arguments) noexcept;

/// The same, but a text that fills the buffer has no terminator, one of exactly `size` characters is not cut,
/// and a buffer may have the size 0.
int FormatText(char* buffer, size_t size, char const* format, va_list arguments) noexcept;

}  // namespace yk
