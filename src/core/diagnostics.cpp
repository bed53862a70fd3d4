#include <qecore/core/diagnostics.h>
#include <windows.h>

#include "format_p.h"

namespace yk {

namespace {

constexpr size_t TEXT_SIZE = 1024;
// A truncated narrow text has no terminator: the last zero of the buffer serves as one.
constexpr size_t NARROW_ROOM = TEXT_SIZE - 1;
constexpr unsigned BOX_STYLE = MB_OK | MB_ICONWARNING | MB_SYSTEMMODAL;
static_assert(BOX_STYLE == 0x1030);

}  // namespace

void qe_Error(char const* format, ...) noexcept {
  char text[TEXT_SIZE] = {};
  va_list arguments;
  va_start(arguments, format);
  FormatText(text, NARROW_ROOM, format, arguments);
  va_end(arguments);
  MessageBoxA(nullptr, text, "Internal Error", BOX_STYLE);
}

void qe_Error(wchar_t const* format, ...) noexcept {
  wchar_t text[TEXT_SIZE] = {};
  va_list arguments;
  va_start(arguments, format);
  FormatText(text, TEXT_SIZE, format, arguments);
  va_end(arguments);
  MessageBoxW(nullptr, text, L"Internal Error", BOX_STYLE);
}

void ykMessage(char const* format, ...) noexcept {
  char text[TEXT_SIZE] = {};
  va_list arguments;
  va_start(arguments, format);
  FormatText(text, NARROW_ROOM, format, arguments);
  va_end(arguments);
  OutputDebugStringA(text);
}

}  // namespace yk
