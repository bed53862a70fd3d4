// How many threads the library's large operations use.
//
//   SetThreadCount(1);  // this host has threads of its own, which process an image each
//
// Resampling, conversion and other operations on whole images divide large work among the calling thread and
// threads of the library. The results do not depend on their number. Callbacks, the progress of an
// ExecutionContext and failures remain on the calling thread. Only one operation at a time has helpers: those
// that other threads of the host call meanwhile do their work alone, and none waits for another.
//
// The library's threads start with the first large operation, sleep between operations, and end with the
// System, or, if its owner holds the loader's lock, shortly after it. If the system cannot start one, the
// operation runs on fewer.
//
// Any thread; no failures.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// Sets the number of threads, including the calling one, of operations that begin from now on. 1: no other
/// thread takes part. 0, as at the start: as many as the system has processors.
YK_API void SetThreadCount(unsigned count) noexcept;

/// The number of threads that a large operation uses: the one set or, after 0, that of the processors.
YK_API unsigned GetThreadCount() noexcept;

}  // namespace yk
