#include <qecore/core/diagnostics.h>
#include <stdarg.h>
#include <stdio.h>
#include <wchar.h>
#include <windows.h>

namespace yk {

namespace {

constexpr size_t TEXT_SIZE = 1024;
constexpr unsigned BOX_STYLE = MB_OK | MB_ICONWARNING | MB_SYSTEMMODAL;
static_assert(BOX_STYLE == 0x1030);

// The formatters with an underscore are the Microsoft C runtime's under every compiler. They leave no
// terminator when they cut; the last character of a zeroed buffer that they are not told of is one.
void Format(char (&text)[TEXT_SIZE], char const* format, va_list arguments) noexcept {
  if (format) _vsnprintf(text, TEXT_SIZE - 1, format, arguments);
}

void Format(wchar_t (&text)[TEXT_SIZE], wchar_t const* format, va_list arguments) noexcept {
  if (format) _vsnwprintf(text, TEXT_SIZE - 1, format, arguments);
}

}  // namespace

void qe_Error(char const* format, ...) noexcept {
  char text[TEXT_SIZE] = {};
  va_list arguments;
  va_start(arguments, format);
  Format(text, format, arguments);
  va_end(arguments);
  MessageBoxA(nullptr, text, "Internal Error", BOX_STYLE);
}

void qe_Error(wchar_t const* format, ...) noexcept {
  wchar_t text[TEXT_SIZE] = {};
  va_list arguments;
  va_start(arguments, format);
  Format(text, format, arguments);
  va_end(arguments);
  MessageBoxW(nullptr, text, L"Internal Error", BOX_STYLE);
}

void ykMessage(char const* format, ...) noexcept {
  char text[TEXT_SIZE] = {};
  va_list arguments;
  va_start(arguments, format);
  Format(text, format, arguments);
  va_end(arguments);
  OutputDebugStringA(text);
}

}  // namespace yk
