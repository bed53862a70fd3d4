// Where an object is in the table of those that a writer has written.
#pragma once

#include <qecore/values/array.h>

#include "core/buffer_p.h"

namespace yk {

/// A hash table with linear probing, at most half full. Objects are compared by address and never called.
/// Null is one of them.
class ReferenceIndex {
 public:
  /// The object's index in the table. -1: it is not there.
  int Find(Unknown const* object, Array& table) const noexcept {
    if (slots.Count() == 0) return -1;
    unsigned const hash = Hash(object);
    for (size_t slot = Home(hash);; slot = Next(slot)) {
      Entry const entry = slots.begin()[slot];
      if (entry.number == 0) return -1;
      if (entry.hash == hash && table.At(entry.number - 1) == object) return entry.number - 1;
    }
  }

  /// Adds an object that is not there. False, with the index as it was: there is no memory.
  bool Add(Unknown const* object, int index) noexcept {
    if (2 * (count + 1) > slots.Count() && !Grow()) return false;
    ++count;
    Put({Hash(object), index + 1});
    return true;
  }

 private:
  struct Entry {
    unsigned hash;
    int number;  // index + 1; 0: free
  };

  static constexpr unsigned FIRST_BITS = 6;

  static unsigned Hash(Unknown const* object) noexcept {
    return static_cast<unsigned>(reinterpret_cast<uintptr_t>(object) * uint64_t{0x9E3779B97F4A7C15} >> 32);
  }
  size_t Home(unsigned hash) const noexcept { return hash >> (32 - bits); }
  size_t Next(size_t slot) const noexcept { return (slot + 1) & (slots.Count() - 1); }

  void Put(Entry const& entry) noexcept {
    size_t slot = Home(entry.hash);
    while (slots[slot].number != 0) slot = Next(slot);
    slots[slot] = entry;
  }

  bool Grow() noexcept {
    unsigned const more = slots.Count() > 0 ? bits + 1 : FIRST_BITS;
    Buffer<Entry> old;
    if (!old.Fill(size_t{1} << more, {})) return false;
    old.Swap(slots);
    bits = more;
    for (Entry const& entry : old) {
      if (entry.number != 0) Put(entry);
    }
    return true;
  }

  Buffer<Entry> slots;  // none, or 2 to the power of `bits`; an array has fewer elements than 2 to the 24
  unsigned bits = 0;
  size_t count = 0;
};

}  // namespace yk
