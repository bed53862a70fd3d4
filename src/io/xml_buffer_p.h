// A growing run of elements that can be copied as bytes, from yk_realloc.
#pragma once

#include <qecore/core/memory.h>
#include <stdint.h>
#include <string.h>

namespace yk::xml {

template <class T>
class Buffer {
 public:
  Buffer() noexcept = default;
  ~Buffer() { yk_delete(data); }
  Buffer(Buffer const&) = delete;
  Buffer& operator=(Buffer const&) = delete;

  /// Makes room for `capacity` elements in all. False, and nothing has changed, when there is no memory.
  bool Reserve(size_t capacity) noexcept {
    if (capacity <= room) return true;
    if (capacity > SIZE_MAX / sizeof(T)) return false;
    void* const block = yk_realloc(data, capacity * sizeof(T));
    if (!block) return false;
    data = static_cast<T*>(block);
    room = capacity;
    return true;
  }

  /// Makes room for `count` more, and at least doubles the room when it does not suffice.
  bool Grow(size_t count) noexcept {
    if (count <= room - size) return true;
    return count <= SIZE_MAX - room * 2 &&
           Reserve(room * 2 + count);  // `room` is memory: twice that is no overflow
  }

  bool Push(T const& element) noexcept { return Append(&element, 1); }

  bool Append(T const* elements, size_t count) noexcept {
    if (!Grow(count)) return false;
    if (count > 0) memcpy(data + size, elements, count * sizeof(T));
    size += count;
    return true;
  }

  /// Closes the gap that `count` elements leave.
  void Remove(size_t from, size_t count) noexcept {
    if (count > 0) memmove(data + from, data + from + count, (size - from - count) * sizeof(T));
    size -= count;
  }

  T* data = nullptr;
  size_t size = 0;

 private:
  size_t room = 0;
};

}  // namespace yk::xml
