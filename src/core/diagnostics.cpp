#include <qecore/core/diagnostics.h>

#include <windows.h>

#include <atomic>
#include <iterator>

#include "format_p.h"

namespace yk {

namespace {

constexpr size_t TEXT_SIZE = 1024;
// A truncated narrow text has no terminator: the last zero of the buffer serves as one.
constexpr size_t NARROW_ROOM = TEXT_SIZE - 1;
constexpr unsigned BOX_STYLE = MB_OK | MB_ICONWARNING | MB_SYSTEMMODAL;
static_assert(BOX_STYLE == 0x1030);

constinit std::atomic<ErrorHandler> theHandler = nullptr;

}  // namespace

ErrorHandler SetErrorHandler(ErrorHandler handler) noexcept { return theHandler.exchange(handler); }

void qe_Error(char const* format, ...) noexcept {
  char text[TEXT_SIZE] = {};
  va_list arguments;
  va_start(arguments, format);
  FormatText(text, NARROW_ROOM, format, arguments);
  va_end(arguments);
  ErrorHandler const handler = theHandler;
  if (!handler) {
    MessageBoxA(nullptr, text, "Internal Error", BOX_STYLE);
    return;
  }
  wchar_t wide[TEXT_SIZE] = {};
  MultiByteToWideChar(CP_ACP, 0, text, -1, wide, std::size(wide));
  handler(wide);
}

void qe_Error(wchar_t const* format, ...) noexcept {
  wchar_t text[TEXT_SIZE] = {};
  va_list arguments;
  va_start(arguments, format);
  FormatText(text, TEXT_SIZE, format, arguments);
  va_end(arguments);
  ErrorHandler const handler = theHandler;
  handler ? handler(text) : void(MessageBoxW(nullptr, text, L"Internal Error", BOX_STYLE));
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
