// The stack of open chunks, as writer and reader keep it.
#pragma once

#include <qecore/core/memory.h>

namespace yk {

/// Makes room for the entry at `depth`, ten entries at a time. False: there is no memory.
template <class Entry>
bool HasRoom(Entry*& chunks, int& capacity, int depth) noexcept {
  constexpr int STEP = 10;
  if (depth < capacity) return true;
  void* const grown = yk_realloc(chunks, static_cast<size_t>(capacity + STEP) * sizeof(Entry));
  if (!grown) return false;
  chunks = static_cast<Entry*>(grown);
  capacity += STEP;
  return true;
}

/// Frees the stack.
template <class Entry>
void FreeChunks(Entry*& chunks, int& capacity) noexcept {
  yk_delete(chunks);
  chunks = nullptr;
  capacity = 0;
}

}  // namespace yk
