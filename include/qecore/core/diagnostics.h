// What the library says when a caller cannot handle a fault, and what it says to a debugger.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// Shows a message box, "Internal Error", and waits until a person closes it. For faults that the caller
/// cannot handle: container range errors, faulty plug-ins. The formats are the Microsoft C runtime's (`%s`
/// takes the format's own character type); the text is cut at 1023 characters. Any thread.
YK_API void qe_Error(char const* format, ...) noexcept;
YK_API void qe_Error(wchar_t const* format, ...) noexcept;

/// Writes to the debugger's output; adds no line end. The text is cut at 1023 characters. Any thread.
YK_API void ykMessage(char const* format, ...) noexcept;

}  // namespace yk
