// The text of a document: a stream's bytes, decoded and with every line end as LF.
#pragma once

#include <qecore/core/base.h>

#include "core/buffer_p.h"

namespace yk {

class Stream;

namespace xml {

inline constexpr size_t INPUT_PAD = 16;

/// A decoded document. `text` is zero-terminated and contains no other zero; after it INPUT_PAD units can be
/// read, all zero.
struct Input {
  Buffer<wchar_t> text;
  bool utf16 = false;
  HRESULT code = S_OK;             ///< E_FAIL, E_OUTOFMEMORY: there is no text
  wchar_t const* fault = nullptr;  ///< why the text ends before the stream does; null: it does not
};

/// Reads from the stream's position to its end.
void ReadInput(Stream& stream, Input& input) noexcept;

}  // namespace xml

}  // namespace yk
