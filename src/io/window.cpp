#include "window_p.h"

#include <algorithm>

#include "stream_p.h"

namespace yk {

HRESULT Window::Read(void* buffer, unsigned size, unsigned& done) noexcept {
  auto* const to = static_cast<unsigned char*>(buffer);
  done = 0;
  HRESULT result = Flush();
  while (done < size && Succeeded(result)) {
    unsigned const piece = std::min(Available(), size - done);
    if (piece > 0) {
      CopyFew(to + done, block + (position - start), piece);
      position += piece;
      done += piece;
      continue;
    }
    unsigned got = 0;
    result = Fetch(to + done, size - done, got);
    position += got;
    done += got;
    if (Available() == 0) break;
  }
  return result;
}

unsigned Window::Available() const noexcept {
  bool const isInside = !isPending && position >= start && position - start < used;
  return isInside ? used - static_cast<unsigned>(position - start) : 0;
}

/// Reads ahead. When that is not worthwhile, or fails because of bytes that nobody asked for, reads straight
/// into the caller's buffer.
HRESULT Window::Fetch(unsigned char* to, unsigned size, unsigned& done) noexcept {
  bool const continues = used > 0 && position == start + used;
  ahead = continues ? std::min(2 * ahead, SIZE) : LEAST_AHEAD;
  used = 0;
  if (size < SIZE) {
    unsigned got = 0;
    HRESULT const fetched = ReadAt(position, block, std::max(ahead, size), got);
    if (Succeeded(fetched)) {
      start = position;
      used = got;
      return S_OK;
    }
  }
  return ReadAt(position, to, size, done);
}

HRESULT Window::Write(void const* buffer, unsigned size, unsigned& done) noexcept {
  done = 0;
  if (size == 0) return S_OK;
  bool const isInside = isPending && position >= start && position - start <= used;
  if (!isInside || size > SIZE - (position - start)) {
    HRESULT const flushed = Flush();
    used = 0;
    if (Failed(flushed)) return flushed;
    if (size >= SIZE) {
      HRESULT const written = WriteAt(position, buffer, size, done);
      position += done;
      return written;
    }
    start = position;
    isPending = true;
  }
  CopyFew(block + (position - start), buffer, size);
  position += size;
  used = std::max(used, static_cast<unsigned>(position - start));
  done = size;
  return S_OK;
}

bool Window::Patch(uint64_t at, void const* bytes, unsigned size) noexcept {
  if (!isPending || at < start || at + size > start + used) return false;
  memcpy(block + (at - start), bytes, size);
  return true;
}

HRESULT Window::WritePending() noexcept {
  unsigned done = 0;
  unsigned const size = used;
  Drop();
  return WriteAt(start, block, size, done);
}

}  // namespace yk
