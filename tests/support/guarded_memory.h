// Memory between two pages that cannot be accessed: what reads or writes past either end crashes.
#pragma once

#include <windows.h>

#include <cstdint>
#include <cstring>

class GuardedMemory {
 public:
  /// Rounded up to whole pages.
  explicit GuardedMemory(size_t bytes)
      : size((bytes + PAGE - 1) / PAGE * PAGE),
        pages(static_cast<uint8_t*>(VirtualAlloc(nullptr, size + 2 * PAGE, MEM_RESERVE, PAGE_NOACCESS))) {
    VirtualAlloc(pages + PAGE, size, MEM_COMMIT, PAGE_READWRITE);
  }
  ~GuardedMemory() { VirtualFree(pages, 0, MEM_RELEASE); }
  GuardedMemory(GuardedMemory const&) = delete;

  uint8_t* First() const { return pages + PAGE; }
  /// `bytes` bytes that end `gap` bytes before the end.
  uint8_t* Last(size_t bytes, size_t gap = 0) const { return pages + PAGE + size - bytes - gap; }

  /// A copy that ends there.
  template <class T>
  T* Put(T const* from, size_t count, size_t gap = 0) const {
    uint8_t* const at = Last(count * sizeof(T), gap);
    if (count) memcpy(at, from, count * sizeof(T));
    return reinterpret_cast<T*>(at);
  }

 private:
  static constexpr size_t PAGE = 0x1000;
  size_t size;
  uint8_t* pages;
};
