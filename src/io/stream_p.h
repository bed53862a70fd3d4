// What the sources share about reading from and moving in a stream of any kind.
#pragma once

#include <qecore/io/stream.h>

#include <limits.h>
#include <string.h>

namespace yk {

/// Seeks to a place that may lie beyond the 2 GiB that one signed offset reaches.
inline HRESULT SeekTo(Stream& stream, unsigned position) noexcept {
  if (position <= LONG_MAX) return stream.Seek(static_cast<long>(position), Stream::FROM_START);
  HRESULT const result = stream.Seek(LONG_MAX, Stream::FROM_START);
  if (Failed(result)) return result;
  unsigned const rest = position - LONG_MAX;  // LONG_MAX + 1 at most: two more steps
  stream.Seek(static_cast<long>(rest / 2), Stream::FROM_POSITION);
  return stream.Seek(static_cast<long>(rest - rest / 2), Stream::FROM_POSITION);
}

/// Reads up to `size` bytes and zeroes the rest, whatever a careless stream does. \return bytes read
inline unsigned ReadUpTo(Stream& stream, void* buffer, unsigned size, HRESULT* result = nullptr) noexcept {
  unsigned done = 0;
  HRESULT const read = stream.Read(buffer, size, &done);
  if (result) *result = read;
  if (done > size) done = size;
  if (done < size) memset(static_cast<unsigned char*>(buffer) + done, 0, size - done);
  return done;
}

}  // namespace yk
