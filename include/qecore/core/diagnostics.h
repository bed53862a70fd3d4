// Messages about faults that a caller cannot handle, and messages for a debugger.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// Shows a message box, "Internal Error", and waits until it is closed. For faults that the caller cannot
/// handle: container range errors, faulty plug-ins. The formats are the Microsoft C runtime's (`%s` takes the
/// character type of the format string); the text is truncated at 1023 characters. Any thread.
YK_API void qe_Error(char const* format, ...) noexcept;
YK_API void qe_Error(wchar_t const* format, ...) noexcept;

/// Writes to the debugger's output, without adding a newline. Truncated at 1023 characters. Any thread.
YK_API void ykMessage(char const* format, ...) noexcept;

}  // namespace yk
