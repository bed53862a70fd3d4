// Reading from and seeking in a stream of any kind.
#pragma once

#include <limits.h>
#include <qecore/core/error.h>
#include <qecore/core/ref.h>
#include <qecore/io/chunk.h>
#include <qecore/io/stream.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace yk {

template <class OpenChunk>
chunk::Stack<OpenChunk>::~Stack() {
  free(items);
}

/// Fails for a chunk that could not be entered on the stack of open ones. \return E_OUTOFMEMORY
inline HRESULT FailChunkMemory(char const* operation, int depth) noexcept {
  return Fail(E_OUTOFMEMORY, operation, L"not enough memory for a chunk at depth %d", depth);
}

/// Callers see 32-bit positions. \return E_FAIL
inline HRESULT FailTooLarge(char const* operation) noexcept {
  return Fail(E_FAIL, operation, L"a stream must be smaller than 4 GB");
}

/// Not a position: where the stream is, is not known.
inline constexpr uint64_t NOWHERE = UINT64_MAX;

/// Keeps an object and the stream that it calls alive during a call.
struct Held {
  Ref<Unknown> object;
  Ref<Stream> stream;
};

/// The table of slots through which an object is called.
inline void const* TableOf(Unknown const& object) noexcept {
  void const* table;
  memcpy(&table, static_cast<void const*>(&object), sizeof table);
  return table;
}

/// The table of a stream that calls no foreign code: one of the library's own, over memory or a file. Null
/// for any other, and for one whose table was replaced.
void const* QuietTable(Stream const& stream) noexcept;

/// Seeks to a position beyond the 2 GiB range of one signed offset, in steps. `at` is where the stream then
/// says that it is; the position if it does not say.
HRESULT SeekFar(Stream& stream, unsigned position, unsigned& at) noexcept;

/// Seeks to any position. E_FAIL also for a stream that then reports another one.
inline HRESULT SeekTo(Stream& stream, unsigned position) noexcept {
  unsigned at = position;
  HRESULT const result = position <= LONG_MAX
                             ? stream.Seek(static_cast<long>(position), Stream::FROM_START, &at)
                             : SeekFar(stream, position, at);
  return Succeeded(result) && at != position ? E_FAIL : result;
}

/// memcpy for what are usually a few bytes: without a call for up to 16.
inline void CopyFew(void* to, void const* from, size_t size) noexcept {
  auto* const target = static_cast<unsigned char*>(to);
  auto const* const source = static_cast<unsigned char const*>(from);
  auto const copyEnds = [=](auto first) {  // which overlap in the middle
    auto last = first;
    memcpy(&first, source, sizeof first);
    memcpy(&last, source + size - sizeof last, sizeof last);
    memcpy(target, &first, sizeof first);
    memcpy(target + size - sizeof last, &last, sizeof last);
  };
  if (size > 16) {
    memcpy(target, source, size);
  } else if (size >= 8) {
    copyEnds(uint64_t{});
  } else if (size >= 4) {
    copyEnds(uint32_t{});
  } else if (size >= 2) {
    copyEnds(uint16_t{});
  } else if (size > 0) {
    *target = *source;
  }
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
