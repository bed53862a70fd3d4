// Finds items by a hash of what they are looked up by.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <utility>

namespace yk {

/// Pointers with their hashes, which it does not own. Of several items that match, the one added first is
/// found. Functions that return bool return false, with nothing changed, when there is no memory.
class HashTable {
 public:
  HashTable() noexcept = default;
  ~HashTable() { free(slots); }
  HashTable(HashTable const&) = delete;
  HashTable& operator=(HashTable const&) = delete;

  /// Makes room for one more item, so that the next Add succeeds.
  bool Reserve() noexcept { return 2 * (count + 1) <= size || Grow(); }

  bool Add(uint32_t hash, void* item) noexcept {
    if (!Reserve()) return false;
    slots[FreeSlot(hash)] = {item, hash};
    ++count;
    return true;
  }

  /// The first item with this hash for which `matches(item)` is true, or null.
  template <class Matches>
  void* Find(uint32_t hash, Matches matches) const noexcept {
    if (count == 0) return nullptr;
    for (size_t i = Start(hash); slots[i].item; i = After(i)) {
      if (slots[i].hash == hash && matches(slots[i].item)) return slots[i].item;
    }
    return nullptr;
  }

  /// Removes an item, if it is there, even if its hash has changed since.
  void Remove(uint32_t hash, void const* item) noexcept {
    if (count == 0) return;
    size_t i = Start(hash);
    while (slots[i].item && slots[i].item != item) i = After(i);
    if (!slots[i].item) i = Scan(item);
    if (i < size) Free(i);
  }

 private:
  struct Slot {
    void* item;  // null: free
    uint32_t hash;
  };

  size_t Start(uint32_t hash) const noexcept { return (hash * 0x9E3779B1u >> 7) & (size - 1); }
  size_t After(size_t i) const noexcept { return (i + 1) & (size - 1); }

  size_t FreeSlot(uint32_t hash) const noexcept {
    size_t i = Start(hash);
    while (slots[i].item) i = After(i);
    return i;
  }

  size_t Scan(void const* item) const noexcept {
    size_t i = 0;
    while (i < size && slots[i].item != item) ++i;
    return i;
  }

  // Moves those after the slot up that are not where they should be, so that a search still finds them.
  void Free(size_t i) noexcept {
    size_t const mask = size - 1;
    for (size_t from = After(i); slots[from].item; from = After(from)) {
      if (((from - Start(slots[from].hash)) & mask) < ((from - i) & mask)) continue;
      slots[i] = slots[from];
      i = from;
    }
    slots[i].item = nullptr;
    --count;
  }

  // Items with one hash keep their order: they are moved from a free slot on, so that no
  // probe sequence is split.
  bool Grow() noexcept {
    constexpr size_t FIRST = 32;
    HashTable larger;
    larger.size = size ? 2 * size : FIRST;
    larger.slots = static_cast<Slot*>(calloc(larger.size, sizeof(Slot)));
    if (!larger.slots) return false;
    size_t free = 0;
    while (free < size && slots[free].item) ++free;
    for (size_t i = 0; i < size; ++i) {
      Slot const& slot = slots[(free + i) & (size - 1)];
      if (slot.item) larger.slots[larger.FreeSlot(slot.hash)] = slot;
    }
    std::swap(slots, larger.slots);
    std::swap(size, larger.size);
    return true;
  }

  Slot* slots = nullptr;
  size_t size = 0;  // a power of two, at least twice the number of items
  size_t count = 0;
};

/// Mixes numbers to a hash.
inline uint32_t MixHash(uint64_t a, uint64_t b) noexcept {
  uint64_t const mixed = (a ^ (b * 0x9E3779B97F4A7C15u)) * 0xD6E8FEB86659FD93u;
  return static_cast<uint32_t>(mixed >> 32);
}

}  // namespace yk
