// Blocks of the system's global memory, which stay locked as long as they exist.
#pragma once

#include <windows.h>

namespace yk {

/// A block and its address. The creator frees it with FreeGlobal.
struct GlobalBlock {
  HGLOBAL handle;
  void* address;
};

/// Both null: there is no memory, or the size is 0, which has no address. Records nothing.
inline GlobalBlock NewGlobal(size_t size) noexcept {
  HGLOBAL const handle = size ? GlobalAlloc(GMEM_MOVEABLE, size) : nullptr;
  if (!handle) return {};
  if (void* const address = GlobalLock(handle)) return {handle, address};
  GlobalFree(handle);
  return {};
}

inline void FreeGlobal(HGLOBAL handle) noexcept {
  GlobalUnlock(handle);
  GlobalFree(handle);
}

}  // namespace yk
