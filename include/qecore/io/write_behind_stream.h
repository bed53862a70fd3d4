// A stream that writes to another one in pieces of up to 64 KiB, for writers that make many small calls on a
// stream for which each call is expensive. (FileStream does this by itself while the library uses it.)
//
//   Ref<Stream> fast;
//   ykCreateWriteBehindStream(slow.get(), fast.Receive());
//   ... write to fast ...
//   if (Failed(fast->GetState())) ...                     // writes the rest; then everything is in `slow`
//
// Moving the position and writing again where the bytes are still in memory calls nobody: a number can be
// filled in a moment later. What is in memory is written when it no longer fits, by Read, SetSize and
// GetState, and when the stream is destroyed, which cannot report a failure.
//
// It starts at the inner stream's position; the inner stream must not be used by others meanwhile. The
// positions that the inner stream refuses are known when something is written or read there.
//
// An inner stream that calls this one while it reads, writes, moves or is resized is refused with E_FAIL.
//
// Failures: the call that meets one returns it. The first failure of a write stays the state. LastError()
// says why, if the inner stream records it (error.h). One thread at a time.
#pragma once

#include <qecore/io/stream.h>

namespace yk {

/// Creates the stream, which holds a reference to `inner`. On failure `*out` is null.
YK_API HRESULT ykCreateWriteBehindStream(Stream* inner, Stream** out) noexcept;

}  // namespace yk
