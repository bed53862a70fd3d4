// Where an object is in the table of those that a writer has written.
#pragma once

#include <qecore/core/unknown.h>

#include "core/buffer_p.h"

namespace yk {

/// A hash table with linear probing, at most half full. Objects are compared by address and never called.
/// Null is one of them.
class ReferenceIndex {
 public:
  /// -1: it is not there.
  int Find(Unknown const* object) const noexcept {
    return slots.Count() > 0 ? slots.begin()[SlotOf(object)].number - 1 : -1;
  }

  /// Adds an object that is not there. False, with the index as it was: there is no memory.
  bool Add(Unknown const* object, int index) noexcept {
    if (2 * (count + 1) > slots.Count() && !Grow()) return false;
    ++count;
    slots[SlotOf(object)] = {object, index + 1};
    return true;
  }

 private:
  struct Entry {
    Unknown const* object;
    int number;  // index + 1; 0: free
  };

  /// The object's slot, or the one where it belongs.
  size_t SlotOf(Unknown const* object) const noexcept {
    size_t const mask = slots.Count() - 1;
    auto const hash = reinterpret_cast<uintptr_t>(object) * uint64_t{0x9E3779B97F4A7C15};
    size_t slot = static_cast<size_t>(hash >> 32) & mask;
    Entry const* const all = slots.begin();
    while (all[slot].number != 0 && all[slot].object != object) slot = (slot + 1) & mask;
    return slot;
  }

  bool Grow() noexcept {
    constexpr size_t FIRST_SLOTS = 64;
    Buffer<Entry> larger;
    if (!larger.Fill(slots.Count() > 0 ? 4 * slots.Count() : FIRST_SLOTS, {})) return false;
    larger.Swap(slots);
    for (Entry const& entry : larger) {
      if (entry.number != 0) slots[SlotOf(entry.object)] = entry;
    }
    return true;
  }

  Buffer<Entry> slots;  // none, or a power of two
  size_t count = 0;
};

}  // namespace yk
