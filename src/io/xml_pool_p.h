// Memory for nodes and attributes, many in one block, together with their texts.
//
//   0       8                                                                            size
//   +-------+-------------------------------+- - - - - - - - +---------------------------+
//   | users | nodes and attributes  ->      |                |      <-  inner texts      |    a chunk
//   +-------+-------------------------------+- - - - - - - - +---------------------------+
//
// A chunk is freed with the last node or attribute in it, whichever trees they have come to: each knows its
// chunk, and two trees may be used by two threads. An inner text (values/inner_text_p.h) lies in the chunk of
// its node or attribute; a text that finds no room there is an ordinary string.
#pragma once

#include <stdint.h>

#include <algorithm>
#include <atomic>
#include <string_view>

#include "values/inner_text_p.h"
#include "xml_chars_p.h"

namespace yk::xml {

struct Chunk {
  std::atomic<uint64_t> users;

  /// Frees the chunk after its last user.
  static void Release(Chunk* chunk, uint64_t count) noexcept;
};

/// Some names that lie in the current chunk, since they repeat: the latest of each hash.
struct Names {
  static constexpr size_t COUNT = 64;
  String const* rows[COUNT];
};

/// Allocates from one chunk after the other.
class Pool {
 public:
  /// For a single node or attribute.
  Pool() noexcept = default;
  /// For a document: chunks grow from `firstSize` to 64 KiB, and equal names share their texts.
  Pool(size_t firstSize, Names& toShare) noexcept : names(&toShare), chunkSize(firstSize) {}
  ~Pool() { Retire(); }
  Pool(Pool const&) = delete;
  Pool& operator=(Pool const&) = delete;

  /// The bytes that an inner text takes at most; 0 when a text is so long that it becomes an ordinary string.
  static constexpr size_t Room(size_t length) noexcept {
    return length > 0 && length <= LONGEST ? InnerText::Size(length) + InnerText::ALIGNMENT : 0;
  }

  /// Makes the current chunk have room for so many bytes. False when there is no memory.
  bool Provide(size_t bytes) noexcept { return bytes <= static_cast<size_t>(top - bottom) || Renew(bytes); }
  /// Takes room that was provided, for a user of the chunk.
  void* Take(size_t bytes) noexcept {
    void* const taken = bottom;
    bottom += bytes;
    ++users;
    return taken;
  }
  /// Stores a text for a user of `owner`. False when there is no memory.
  bool Store(std::wstring_view text, Chunk const* owner, String& out) noexcept;
  /// The same for a name, which nothing changes until the user is freed, or the name replaced.
  bool StoreName(std::wstring_view name, Chunk const* owner, String& out) noexcept;

  Chunk* Current() const noexcept { return chunk; }

 private:
  static constexpr size_t LONGEST = 1000;  // characters
  static constexpr size_t LARGEST_CHUNK = 0x10000;
  // What the chunk being filled counts as, so that it outlives users that are freed meanwhile.
  static constexpr uint64_t FILLING = uint64_t{1} << 32;

  bool StoreApart(std::wstring_view text, String& out) noexcept;
  bool Renew(size_t bytes) noexcept;
  void Retire() noexcept;

  Chunk* chunk = nullptr;
  char* bottom = nullptr;
  char* top = nullptr;
  uint64_t users = 0;
  Names* names = nullptr;
  size_t chunkSize = 0;
};

inline bool Pool::Store(std::wstring_view text, Chunk const* owner, String& out) noexcept {
  size_t const room = Room(text.size());
  if (room == 0 || owner != chunk || room > static_cast<size_t>(top - bottom)) {
    return StoreApart(text, out);
  }
  uintptr_t const below = reinterpret_cast<uintptr_t>(top) - InnerText::Size(text.size()) - InnerText::OFFSET;
  top -= reinterpret_cast<uintptr_t>(top) - (below / InnerText::ALIGNMENT * InnerText::ALIGNMENT) -
         InnerText::OFFSET;
  InnerText::Attach(out, top, text);
  return true;
}

inline bool Pool::StoreName(std::wstring_view name, Chunk const* owner, String& out) noexcept {
  if (!names || name.empty() || Room(name.size()) == 0 || owner != chunk) return Store(name, owner, out);
  String const*& row = names->rows[(name.size() * 7 + name.front() * 3 + name.back()) % Names::COUNT];
  if (row && row->Length() == name.size() && EqualUnits(row->c_str(), name.data(), name.size()))
    return InnerText::Share(out, *row), true;
  if (!Store(name, owner, out)) return false;
  row = InnerText::Is(out) ? &out : nullptr;
  return true;
}

}  // namespace yk::xml
