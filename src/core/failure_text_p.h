// Parts of the texts of failures.
#pragma once

#include <qecore/core/error.h>
#include <stdarg.h>
#include <wchar.h>

#include "format_p.h"

namespace yk {

/// A text that is built without an allocation, since there may be no memory; truncated like an Error's.
class FailureText {
 public:
  /// Appends what Fail would write.
  void Add(wchar_t const* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    FormatText(text + length, Error::TEXT_SIZE - length, format, arguments);
    va_end(arguments);
    length += wcslen(text + length);
  }

  bool IsEmpty() const noexcept { return length == 0; }
  wchar_t const* c_str() const noexcept { return text; }

 private:
  size_t length = 0;
  wchar_t text[Error::TEXT_SIZE] = {};
};

}  // namespace yk
