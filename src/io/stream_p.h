// Reading from and seeking in a stream of any kind.
#pragma once

#include <limits.h>
#include <qecore/core/error.h>
#include <qecore/io/stream.h>
#include <string.h>

namespace yk {

/// Fails for a chunk that could not be entered on the stack of open ones. \return E_OUTOFMEMORY
inline HRESULT FailChunkMemory(char const* operation, int depth) noexcept {
  return Fail(E_OUTOFMEMORY, operation, L"not enough memory for a chunk at depth %d", depth);
}

/// Seeks to a position that may be beyond the 2 GiB range of one signed offset. E_FAIL also for a stream that
/// then reports another position.
inline HRESULT SeekTo(Stream& stream, unsigned position) noexcept {
  unsigned at = position;
  unsigned left = position;
  HRESULT result = S_OK;
  for (unsigned origin = Stream::FROM_START; Succeeded(result) && (left > 0 || origin == Stream::FROM_START);
       origin = Stream::FROM_POSITION) {
    unsigned const step = left < LONG_MAX ? left : LONG_MAX;
    left -= step;
    if (left == 0) at = position;
    result = stream.Seek(static_cast<long>(step), origin, &at);
  }
  return Succeeded(result) && at != position ? E_FAIL : result;
}

/// Reads up to `size` bytes and zeroes the rest, even if the stream misreports. \return bytes read
inline unsigned ReadUpTo(Stream& stream, void* buffer, unsigned size, HRESULT* result = nullptr) noexcept {
  unsigned done = 0;
  HRESULT const read = stream.Read(buffer, size, &done);
  if (result) *result = read;
  if (done > size) done = size;
  if (done < size) memset(static_cast<unsigned char*>(buffer) + done, 0, size - done);
  return done;
}

}  // namespace yk
