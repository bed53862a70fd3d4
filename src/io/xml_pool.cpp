#include "xml_pool_p.h"

#include <stdlib.h>

#include <new>

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

bool Pool::StoreApart(std::wstring_view text, String& out) noexcept {
  out = String(text.data(), text.size());
  return out.Length() == text.size();
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
