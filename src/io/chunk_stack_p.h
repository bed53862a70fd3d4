// The stack of open chunks, as writer and reader keep it.
#pragma once

#include <qecore/core/memory.h>

#include <limits.h>

namespace yk {

/// Makes room for the entry at `depth`: ten entries more, and half as many again once there are many, so that
/// deep nesting costs no more for each level than flat. False: there is no memory.
template <class Entry>
bool HasRoom(Entry*& chunks, int& capacity, int depth) noexcept {
  constexpr int STEP = 10;
  if (depth < capacity) return true;
  int const more = capacity / 2 > STEP ? capacity / 2 / STEP * STEP : STEP;
  if (capacity > INT_MAX - more) return false;
  void* const grown = yk_realloc(chunks, static_cast<size_t>(capacity + more) * sizeof(Entry));
  if (!grown) return false;
  chunks = static_cast<Entry*>(grown);
  capacity += more;
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
