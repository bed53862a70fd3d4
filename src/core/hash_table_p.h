// Finds items by a hash of what they are looked up by.
#pragma once

#include <bit>

#include "buffer_p.h"

namespace yk {

/// Items with their hashes: pointers, which it does not own, or numbers other than 0. Of several items that
/// match, the one added first is found. Linear probing, at most half full. Functions that return bool return
/// false, with nothing changed, when there is no memory.
template <class Item>
class HashTable {
 public:
  /// Makes room for more items, so that adding them succeeds.
  bool Reserve(size_t more = 1) noexcept {
    return 2 * (count + more) <= slots.Count() || Grow(2 * (count + more));
  }

  bool Add(uint32_t hash, Item item) noexcept {
    if (!Reserve()) return false;
    slots[FreeSlot(hash)] = {item, hash};
    ++count;
    return true;
  }

  /// Adds an item that equals none. False also when one does: `equals(item)`, or when `most` others are in
  /// its way, as only those that are chosen to collide are.
  template <class Equals>
  bool AddNew(uint32_t hash, Item item, size_t most, Equals equals) noexcept {
    if (!Reserve()) return false;
    size_t i = Start(hash);
    for (size_t passed = 0; slots[i].item; i = After(i)) {
      if (++passed > most || (slots[i].hash == hash && equals(slots[i].item))) return false;
    }
    slots[i] = {item, hash};
    ++count;
    return true;
  }

  /// The first item with this hash for which `matches(item)` is true, or null or 0.
  template <class Matches>
  Item Find(uint32_t hash, Matches matches) const noexcept {
    if (count == 0) return {};
    Slot const* const all = slots.begin();
    size_t i = Start(hash);
    while (all[i].item && !(all[i].hash == hash && matches(all[i].item))) i = After(i);
    return all[i].item;
  }

  /// Removes an item, if it is there, even if its hash has changed since.
  void Remove(uint32_t hash, Item item) noexcept {
    if (count == 0) return;
    size_t i = Start(hash);
    while (slots[i].item && slots[i].item != item) i = After(i);
    if (!slots[i].item) i = Scan(item);
    if (i < slots.Count()) Free(i);
  }

 private:
  static_assert(sizeof(Item) <= sizeof(void*));

  struct Slot {
    Item item = {};  // null or 0: free
    uint32_t hash = 0;
  };

  static constexpr size_t FIRST = 32, MOST = size_t{1} << 32;  // slots

  // The upper bits of a product depend on all those of the hash.
  size_t Start(uint32_t hash) const noexcept { return hash * 0x9E3779B1u >> shift; }
  size_t After(size_t i) const noexcept { return (i + 1) & (slots.Count() - 1); }

  size_t FreeSlot(uint32_t hash) noexcept {
    size_t i = Start(hash);
    while (slots[i].item) i = After(i);
    return i;
  }

  size_t Scan(Item item) noexcept {
    size_t i = 0;
    while (i < slots.Count() && slots[i].item != item) ++i;
    return i;
  }

  // Moves those after the slot up that are not where they should be, so that a search still finds them.
  void Free(size_t i) noexcept {
    size_t const mask = slots.Count() - 1;
    for (size_t from = After(i); slots[from].item; from = After(from)) {
      if (((from - Start(slots[from].hash)) & mask) < ((from - i) & mask)) continue;
      slots[i] = slots[from];
      i = from;
    }
    slots[i].item = {};
    --count;
  }

  // Items with one hash keep their order: they are moved from a free slot on, so that no probe sequence is
  // split.
  bool Grow(size_t wanted) noexcept {
    HashTable larger;
    if (wanted > MOST || !larger.slots.Fill(std::bit_ceil(std::max(wanted, FIRST)), {})) return false;
    larger.shift = 32 - std::countr_zero(larger.slots.Count());
    size_t const size = slots.Count();
    size_t free = 0;
    while (free < size && slots[free].item) ++free;
    for (size_t i = 0; i < size; ++i) {
      Slot const& slot = slots[(free + i) & (size - 1)];
      if (slot.item) larger.slots[larger.FreeSlot(slot.hash)] = slot;
    }
    slots.Swap(larger.slots);
    shift = larger.shift;
    return true;
  }

  Buffer<Slot> slots;  // none, or a power of two of them
  int shift = 0;
  size_t count = 0;
};

/// Mixes numbers that a file may contain to a hash that depends on an address: so no file can hold numbers
/// that were chosen to collide. The address must be in before the first multiplication.
inline uint32_t MixHash(uint64_t a, uint64_t b, void const* key) noexcept {
  auto const mix = [](uint64_t x) {
    x = (x ^ x >> 33) * 0xFF51AFD7ED558CCDu;
    x = (x ^ x >> 33) * 0xC4CEB9FE1A85EC53u;
    return x ^ x >> 33;
  };
  uint64_t const secret = reinterpret_cast<uintptr_t>(key) * 0x9E3779B97F4A7C15u;
  return static_cast<uint32_t>(mix(mix(a + secret) ^ b) >> 32);
}

/// Mixes numbers to a hash.
inline uint32_t MixHash(uint64_t a, uint64_t b) noexcept {
  uint64_t const mixed = (a ^ (b * 0x9E3779B97F4A7C15u)) * 0xD6E8FEB86659FD93u;
  return static_cast<uint32_t>(mixed >> 32);
}

}  // namespace yk
