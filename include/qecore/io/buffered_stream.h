// A read-only stream that reads another one in blocks of 4096 bytes, for parsers that read small pieces.
//
//   Ref<Stream> file, fast;
//   FileStream::Create(path, FileStream::READ, file.Receive());
//   ykCreateBufferedStream(file.get(), fast.Receive());
//
//   offset 16 inner   24 size   32 position   40 buffer[4096]   4136 block held (-1: none)   4140 bytes in it
//
// Its IsTypeOf is the inner stream's. It takes the inner stream's size once, when it is created, and starts
// at its position; nobody else may move the inner stream while it is in use. Seeking out of range moves to
// the end. Failures of the inner stream show up as short reads.
#pragma once

#include <qecore/io/stream.h>

namespace yk {

/// Creates the stream, which holds a reference to `inner`. On failure `*out` is null.
YK_API HRESULT ykCreateBufferedStream(Stream* inner, Stream** out) noexcept;

}  // namespace yk
