#include "xml_pool_p.h"

#include <stdlib.h>

#include <new>

#include "xml_chars_p.h"

namespace yk::xml {
namespace {

// Texts may be read by multiples of 16 bytes.
constexpr size_t TAIL = 16;

}  // namespace

void Chunk::Release(Chunk* chunk, uint64_t count) noexcept {
  // The last user needs no bus lock: nobody else knows the chunk.
  if (chunk->users.load(std::memory_order_acquire) == count ||
      chunk->users.fetch_sub(count, std::memory_order_acq_rel) == count) {
    free(chunk);
  }
}

bool Pool::Store(std::wstring_view text, Chunk const* owner, String& out) noexcept {
  size_t const room = Room(text.size());
  if (room == 0 || owner != chunk || room > static_cast<size_t>(top - bottom)) {
    out = String(text.data(), text.size());
    return out.Length() == text.size();
  }
  uintptr_t const below = reinterpret_cast<uintptr_t>(top) - InnerText::Size(text.size()) - InnerText::OFFSET;
  top -= reinterpret_cast<uintptr_t>(top) - (below / InnerText::ALIGNMENT * InnerText::ALIGNMENT) -
         InnerText::OFFSET;
  InnerText::Attach(out, top, text);
  return true;
}

bool Pool::StoreName(std::wstring_view name, Chunk const* owner, String& out) noexcept {
  if (!names || name.empty() || Room(name.size()) == 0 || owner != chunk) return Store(name, owner, out);
  String const*& row = names->rows[(name.size() * 7 + name.front() * 3 + name.back()) % Names::COUNT];
  if (row && row->Length() == name.size() && EqualUnits(row->c_str(), name.data(), name.size()))
    return InnerText::Share(out, *row), true;
  row = &out;
  return Store(name, owner, out);
}

bool Pool::Renew(size_t bytes) noexcept {
  size_t const size = std::max(chunkSize, sizeof(Chunk) + bytes + TAIL);
  void* const block = malloc(size);
  if (!block) return false;
  Retire();
  chunk = new (block) Chunk{FILLING};
  bottom = static_cast<char*>(block) + sizeof(Chunk);
  top = static_cast<char*>(block) + size - TAIL;
  users = 0;
  if (names) *names = {};
  chunkSize = std::min(2 * chunkSize, LARGEST_CHUNK);
  return true;
}

void Pool::Retire() noexcept {
  if (chunk) Chunk::Release(chunk, FILLING - users);
  chunk = nullptr;
}

}  // namespace yk::xml
