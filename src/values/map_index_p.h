// The index of a map with many entries, which is in the map's block:
//
//   +--------+------------------+--------+------------------------+- - - - -+-------+
//   |          removed entries  | Header | entries, up to capacity|  free   | slots |
//   +--------+------------------+--------+------------------------+- - - - -+-------+
//
// It is not a HashTable, so that a map has one block, which the fields that programs see describe.
//
// The header is always in front of the first entry, so that this entry can be removed without moving the
// others. A slot holds the number of an entry, counted from the start of the block, plus 1; or 0. The slot of
// a key is at its hash or, where that is taken, after it. Of several entries with one key, the first has a
// slot.
#pragma once

#include <qecore/values/map.h>
#include <stdint.h>
#include <string.h>

#include <bit>
#include <new>

namespace yk {

class Map::Index {
 public:
  /// Maps up to this capacity have no index: a search through so few entries is as fast.
  static constexpr unsigned NONE_UP_TO = 20;
  static constexpr unsigned MOST_CAPACITY = 1u << 30;

  Index(Entry* entries, unsigned mapCapacity) noexcept
      : first(entries),
        front(entries - Head().removed),
        capacity(mapCapacity),
        slots(reinterpret_cast<uint32_t*>(front + Room(capacity))),
        mask(Slots(capacity) - 1),
        shift(32 - std::bit_width(mask)) {}

  /// The number of entries for which a block has room: some more than the capacity, so that entries need not
  /// move each time that the first one is removed.
  static size_t Room(unsigned capacity) noexcept {
    size_t const rounded = std::bit_ceil(capacity);
    return rounded + rounded / 4;
  }

  static size_t Bytes(unsigned capacity) noexcept {
    return sizeof(Header) + Room(capacity) * sizeof(Entry) + Slots(capacity) * sizeof(uint32_t);
  }

  /// Moves the bytes of entries, whose values do not depend on their place. What they leave behind is not a
  /// value.
  static void Move(Entry* to, Entry const* from, size_t count) noexcept {
    memmove(static_cast<void*>(to), static_cast<void const*>(from), count * sizeof(Entry));
  }

  /// Prepares a new block for a capacity. \return where its first entry goes
  static Entry* Prepare(void* block, unsigned capacity) noexcept {
    new (block) Header{0, 0};
    Entry* const entries = reinterpret_cast<Entry*>(static_cast<Header*>(block) + 1);
    memset(static_cast<void*>(entries + Room(capacity)), 0, Slots(capacity) * sizeof(uint32_t));
    return entries;
  }

  void* Block() const noexcept { return reinterpret_cast<Header*>(front) - 1; }

  Entry* Find(unsigned key) const noexcept {
    for (unsigned i = HashOf(key); slots[i] != 0; i = After(i)) {
      if (front[slots[i] - 1].key == key) return front + (slots[i] - 1);
    }
    return nullptr;
  }

  /// Adds an entry after all those in the index.
  void Add(Entry const& entry) noexcept {
    unsigned i = HashOf(entry.key);
    for (; slots[i] != 0; i = After(i)) {
      if (front[slots[i] - 1].key != entry.key) continue;
      Head().repeats = 1;
      return;
    }
    slots[i] = NumberOf(entry);
  }

  /// Removes an entry. The next one with its key, before `end`, takes its slot.
  void Remove(Entry const& entry, Entry const* end) noexcept {
    unsigned const i = SlotOf(entry);
    if (slots[i] == 0) return;
    Entry const* next = Head().repeats ? &entry + 1 : end;
    while (next < end && next->key != entry.key) ++next;
    next < end ? void(slots[i] = NumberOf(*next)) : Free(i);
  }

  /// Closes the hole that an entry leaves by moving those before it up; the map then has a new first entry.
  Entry* CloseFromFront(unsigned hole) noexcept {
    if (Head().removed + capacity >= Room(capacity)) MoveToFront();
    for (unsigned i = hole; i-- > 0;) Renumber(first[i], 1);
    Move(first + 1, first, hole);
    Header const head = Head();
    ++first;
    Head() = {head.removed + 1, head.repeats};
    new (first + capacity - 1) Entry{};
    return first;
  }

  /// Closes it by moving the entries after it down, up to and including `last`.
  void CloseFromEnd(unsigned hole, unsigned last) noexcept {
    for (unsigned i = hole + 1; i <= last; ++i) Renumber(first[i], -1);
    Move(first + hole, first + hole + 1, last - hole);
  }

  /// Moves all entries to the start of the block unless it has room for a greater capacity as it is.
  Entry* MakeRoom(unsigned grown) noexcept {
    if (Head().removed + size_t{grown} > Room(capacity)) MoveToFront();
    return first;
  }

 private:
  struct Header {
    uint32_t removed;  // entries between the start of the block and the first one
    uint32_t repeats;  // not 0: a key may occur twice
  };
  static_assert(sizeof(Header) <= sizeof(Entry));

  // At most half of them are used.
  static unsigned Slots(unsigned capacity) noexcept { return 2 * std::bit_ceil(capacity); }

  Header& Head() const noexcept { return reinterpret_cast<Header*>(first)[-1]; }
  // Depends on the block's address, so that no file can hold keys that were chosen to collide.
  unsigned HashOf(unsigned key) const noexcept {
    uint32_t hash = key ^ static_cast<uint32_t>(reinterpret_cast<uintptr_t>(front) >> 4);
    hash = (hash ^ hash >> 16) * 0x85EBCA6Bu;
    hash = (hash ^ hash >> 13) * 0xC2B2AE35u;
    return hash >> shift;
  }
  unsigned After(unsigned i) const noexcept { return (i + 1) & mask; }
  uint32_t NumberOf(Entry const& entry) const noexcept { return static_cast<uint32_t>(&entry - front) + 1; }

  // A free slot for an entry that has none.
  unsigned SlotOf(Entry const& entry) const noexcept {
    unsigned i = HashOf(entry.key);
    while (slots[i] != 0 && slots[i] != NumberOf(entry)) i = After(i);
    return i;
  }

  void Renumber(Entry const& entry, int step) noexcept {
    uint32_t& slot = slots[SlotOf(entry)];
    if (slot != 0) slot += static_cast<uint32_t>(step);
  }

  // Moves those after the slot up that are not at their hash, so that a search still finds them.
  void Free(unsigned i) noexcept {
    for (unsigned from = After(i); slots[from] != 0; from = After(from)) {
      unsigned const wanted = HashOf(front[slots[from] - 1].key);
      if (((from - wanted) & mask) < ((from - i) & mask)) continue;
      slots[i] = slots[from];
      i = from;
    }
    slots[i] = 0;
  }

  void MoveToFront() noexcept {
    Header const head = Head();
    Move(front, first, capacity);
    first = front;
    Head() = {0, head.repeats};
    for (unsigned i = 0; i <= mask; ++i) slots[i] -= slots[i] ? head.removed : 0;
  }

  Entry* first;
  Entry* front;  // where the first entry of the block was
  unsigned capacity;
  uint32_t* slots;
  unsigned mask;
  int shift;
};

}  // namespace yk
