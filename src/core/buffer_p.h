// Growing arrays of plain records that report a lack of memory instead of throwing. They record no failure:
// the public function above knows what the memory was for.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <type_traits>
#include <utility>

namespace yk {

/// Resizes a block from malloc to room for exactly `room` items. False, with nothing changed, when there is
/// no memory.
template <class T>
bool ResizeBlock(T*& items, size_t& capacity, size_t room) noexcept {
  static_assert(std::is_trivially_copyable_v<T>);
  if (room > SIZE_MAX / 2 / sizeof(T)) return false;  // so that twice a capacity does not overflow
  void* const grown = realloc(static_cast<void*>(items), room * sizeof(T));
  if (!grown) return false;
  items = static_cast<T*>(grown);
  capacity = room;
  return true;
}

/// Makes room for `wanted` items in all. A block that grows at least doubles, so that the cost of appending
/// an item does not depend on their number.
template <class T>
bool GrowBlock(T*& items, size_t& capacity, size_t wanted) noexcept {
  constexpr size_t FIRST = 16;
  return wanted <= capacity || ResizeBlock(items, capacity, std::max({wanted, 2 * capacity, FIRST}));
}

/// The owner of such a block. Functions that return bool return false, with nothing changed, when there is no
/// memory.
template <class T>
class Buffer {
 public:
  Buffer() noexcept = default;
  ~Buffer() { free(static_cast<void*>(items)); }
  Buffer(Buffer const&) = delete;
  Buffer& operator=(Buffer const&) = delete;

  /// Makes room for `wanted` items in all, and no more.
  bool Reserve(size_t wanted) noexcept { return wanted <= capacity || ResizeBlock(items, capacity, wanted); }

  /// Appends one item or several, which must not be in the buffer itself.
  bool Append(T const& item) noexcept { return Append(&item, 1); }
  bool Append(T const* first, size_t more) noexcept {
    if (more > SIZE_MAX - count || !GrowBlock(items, capacity, count + more)) return false;
    if (more > 0) memcpy(static_cast<void*>(items + count), first, more * sizeof(T));
    count += more;
    return true;
  }

  /// Sets the number of items; new ones are uninitialised.
  bool Resize(size_t newCount) noexcept {
    if (!GrowBlock(items, capacity, newCount)) return false;
    count = newCount;
    return true;
  }

  /// The same, with every item set to `item`.
  bool Fill(size_t newCount, T const& item) noexcept {
    if (!Resize(newCount)) return false;
    std::fill_n(items, count, item);
    return true;
  }

  /// Reduces the number of items; the capacity is unchanged.
  void Shrink(size_t newCount) noexcept { count = newCount; }

  /// Removes items and closes the gap.
  void Remove(size_t from, size_t removed) noexcept {
    if (removed > 0) memmove(items + from, items + from + removed, (count - from - removed) * sizeof(T));
    count -= removed;
  }

  void Swap(Buffer& other) noexcept {
    std::swap(items, other.items);
    std::swap(count, other.count);
    std::swap(capacity, other.capacity);
  }

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

}  // namespace yk
