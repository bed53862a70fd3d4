// A growing row of plain records that says when there is no memory instead of throwing.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <type_traits>
#include <utility>

namespace yk::raster {

template <class T>
class Buffer {
 public:
  static_assert(std::is_trivially_copyable_v<T>);

  Buffer() noexcept = default;
  ~Buffer() { free(items); }
  Buffer(Buffer const&) = delete;
  Buffer& operator=(Buffer const&) = delete;

  /// Makes room for `wanted` items in all. False, and nothing has changed, when there is no memory.
  bool Reserve(size_t wanted) noexcept {
    if (wanted <= capacity) return true;
    if (wanted > SIZE_MAX / 2 / sizeof(T)) return false;
    void* const grown = realloc(items, wanted * sizeof(T));
    if (!grown) return false;
    items = static_cast<T*>(grown);
    capacity = wanted;
    return true;
  }

  bool Add(T const& item) noexcept {
    if (count == capacity && !Reserve(capacity ? capacity * 2 : 64)) return false;
    items[count++] = item;
    return true;
  }

  /// Makes it this long; items that it has not had before hold anything. False when there is no memory.
  bool Resize(size_t newCount) noexcept {
    if (!Reserve(newCount)) return false;
    count = newCount;
    return true;
  }

  /// The same, every item set.
  bool Fill(size_t newCount, T const& item) noexcept {
    if (!Resize(newCount)) return false;
    for (T& each : *this) each = item;
    return true;
  }

  void Swap(Buffer& other) noexcept {
    std::swap(items, other.items);
    std::swap(count, other.count);
    std::swap(capacity, other.capacity);
  }

  void Shrink(size_t newCount) noexcept { count = newCount; }
  size_t Count() const noexcept { return count; }
  T* begin() noexcept { return items; }
  T* end() noexcept { return items + count; }
  T const* begin() const noexcept { return items; }
  T const* end() const noexcept { return items + count; }
  T& operator[](size_t i) noexcept { return items[i]; }

 private:
  T* items = nullptr;
  size_t count = 0;
  size_t capacity = 0;
};

}  // namespace yk::raster
