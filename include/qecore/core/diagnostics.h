// Messages about faults that a caller cannot handle, and messages for a debugger.
//
// A program without windows, in which nobody could close a message box, handles them itself:
//
//   void Print(wchar_t const* text) noexcept {
//     char line[4096] = "";
//     str::WToUTF8(text, line, sizeof line);  // "%ls" ends at a character that the C locale lacks
//     fprintf(stderr, "%s\n", line);
//   }
//
//   SetErrorHandler(Print);  // before System::Create
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// Receives the text of a message. Called on the thread that has met the fault, several threads at a time.
using ErrorHandler = void (*)(wchar_t const* text);

/// Has a function of the host receive the messages of qe_Error instead of showing them; null shows them
/// again. It must stay callable until it is replaced. Any thread. \return the handler before
YK_API ErrorHandler SetErrorHandler(ErrorHandler handler) noexcept;

/// Passes a message to the host's handler; without one, shows a message box, "Internal Error", and waits
/// until it is closed. For faults that the caller cannot handle: container range errors, faulty plug-ins. The
/// formats are the Microsoft C runtime's (`%s` takes the character type of the format string); the text is
/// truncated at 1023 characters. Any thread.
YK_API void qe_Error(char const* format, ...) noexcept;
YK_API void qe_Error(wchar_t const* format, ...) noexcept;

/// Writes to the debugger's output, without adding a newline. Truncated at 1023 characters. Any thread.
YK_API void ykMessage(char const* format, ...) noexcept;

}  // namespace yk
