// A read-only stream that reads another one in blocks of 4096 bytes, for parsers that read small pieces.
//
//   Ref<Stream> file, fast;
//   FileStream::Create(path, FileStream::READ, file.Receive());
//   ykCreateBufferedStream(file.get(), fast.Receive());
//
//   offset 16 inner   24 size   32 position   40 buffer[4096]   4136 block held (-1: none)   4140 bytes in it
//
// Its IsTypeOf is the inner stream's. It has the size that the inner stream had at first, and starts at the
// inner stream's position; nobody else may move the inner stream while it is in use. Seek goes to the end
// for every place that is out of range. Failures of the inner stream show as short reads,
// and LastError() says why, if the inner stream does (error.h).
#pragma once

#include <qecore/io/stream.h>

namespace yk {

/// Creates the stream, which holds a reference to `inner`. On failure `*out` is null.
YK_API HRESULT ykCreateBufferedStream(Stream* inner, Stream** out) noexcept;

}  // namespace yk
