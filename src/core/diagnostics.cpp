#include "format_p.h"

#include <qecore/core/diagnostics.h>
#include <windows.h>

namespace yk {

namespace {

constexpr size_t TEXT_SIZE = 1024;
// A narrow text that is cut gets no terminator: the buffer's last zero stays behind it.
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
