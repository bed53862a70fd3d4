// A read-only stream that reads another one in blocks of 4096 bytes, for parsers that read small pieces.
//
//   Ref<Stream> file, fast;
//   FileStream::Create(path, FileStream::READ, file.Receive());
//   ykCreateBufferedStream(file.get(), fast.Receive());
//
//   offset 16 inner   24 size   32 position   40 buffer[4096]   4136 block held (-1: none)   4140 bytes in it
//
// Its IsTypeOf is the inner stream's. Its size is that of the inner stream when it was created, and it starts
// at the inner stream's position; the inner stream must not be moved by others while it is in use. Seek goes
// to the end for every position that is out of range. Failures of the inner stream appear as short reads, and
// LastError() says why, if the inner stream records it (error.h).
#pragma once

#include <qecore/io/stream.h>

namespace yk {

/// Creates the stream, which holds a reference to `inner`. On failure `*out` is null.
YK_API HRESULT ykCreateBufferedStream(Stream* inner, Stream** out) noexcept;

}  // namespace yk
