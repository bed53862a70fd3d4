// The library's heap: blocks from the sanitizer, counted, and refused according to the plan. Global memory
// comes from it, too.
#include <windows.h>

#include <mutex>
#include <new>
#include <unordered_map>

#include "plan.h"

using namespace harness;

namespace {

void* Counted(void* block) noexcept {
  if (block) ++liveBlocks;
  return block;
}

void Uncount(void const* block) noexcept {
  if (block) --liveBlocks;
}

}  // namespace

// ---- the C and C++ heaps: separate, so that a block freed by the wrong one is reported ----

extern "C" {

void* harness_malloc(size_t size) { return Refuses(size) ? nullptr : Counted(malloc(size)); }

void* harness_calloc(size_t count, size_t size) {
  return Refuses(count * size) ? nullptr : Counted(calloc(count, size));
}

void* harness_realloc(void* block, size_t size) {
  if (Refuses(size)) return nullptr;
  return block ? realloc(block, size) : Counted(malloc(size));
}

void harness_free(void* block) {
  Uncount(block);
  free(block);
}

void* harness_new(size_t size, std::nothrow_t const& nothrow) {
  return Refuses(size) ? nullptr : Counted(operator new(size, nothrow));
}

void* harness_new_array(size_t size, std::nothrow_t const& nothrow) {
  return Refuses(size) ? nullptr : Counted(operator new[](size, nothrow));
}

void harness_delete(void* block) {
  Uncount(block);
  operator delete(block);
}

void harness_delete_sized(void* block, size_t) { harness_delete(block); }

void harness_delete_array(void* block) {
  Uncount(block);
  operator delete[](block);
}

void harness_delete_array_sized(void* block, size_t) { harness_delete_array(block); }

}  // extern "C"

// ---- global memory: a handle, its block, and the lock count ----

namespace {

struct Global {
  void* block;
  size_t size;
  int locks;
};

std::mutex globalsMutex;

std::unordered_map<void*, Global>& Globals() {
  static auto* const all =
      new std::unordered_map<void*, Global>;  // never destroyed: objects may outlive main
  return *all;
}

Global& Find(HGLOBAL handle, char const* caller) {
  auto const found = Globals().find(handle);
  if (found == Globals().end()) Die(caller, handle);
  return found->second;
}

// A block of at least one byte, so that it has an address; the sanitizer checks its exact end.
void* NewBlock(size_t size, UINT flags) {
  void* const block = malloc(size ? size : 1);
  if (block && (flags & GMEM_ZEROINIT)) memset(block, 0, size);
  return block;
}

/// Of a locked block, only the end can be given back.
HGLOBAL CutInPlace(HGLOBAL handle, SIZE_T size) {
  std::lock_guard const guard(globalsMutex);
  Global& global = Find(handle, "GlobalReAlloc of an invalid handle");
  if (size > global.size) return nullptr;
  global.size = size;
  return handle;
}

}  // namespace

extern "C" {

HGLOBAL WINAPI harness_GlobalAlloc(UINT flags, SIZE_T size) {
  void* const block = Refuses(size) ? nullptr : NewBlock(size, flags);
  if (!block) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  HGLOBAL const handle = malloc(1);  // no other handle has its address
  std::lock_guard const guard(globalsMutex);
  Globals()[handle] = {block, size, 0};
  ++liveBlocks;
  ++liveGlobals;
  return handle;
}

// Always moves a block that may be moved, so that uses of an old pointer are caught.
HGLOBAL WINAPI harness_GlobalReAlloc(HGLOBAL handle, SIZE_T size, UINT flags) {
  if (!(flags & GMEM_MOVEABLE)) return CutInPlace(handle, size);
  void* const block = Refuses(size) ? nullptr : NewBlock(size, flags);
  if (!block) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  std::lock_guard const guard(globalsMutex);
  Global& global = Find(handle, "GlobalReAlloc of an invalid handle");
  memcpy(block, global.block, global.size < size ? global.size : size);
  free(global.block);
  global.block = block;
  global.size = size;
  return handle;
}

HGLOBAL WINAPI harness_GlobalFree(HGLOBAL handle) {
  std::lock_guard const guard(globalsMutex);
  free(Find(handle, "GlobalFree of an invalid handle").block);
  Globals().erase(handle);
  free(handle);
  --liveBlocks;
  --liveGlobals;
  return nullptr;
}

LPVOID WINAPI harness_GlobalLock(HGLOBAL handle) {
  if (Fails(LOCK)) return nullptr;
  std::lock_guard const guard(globalsMutex);
  Global& global = Find(handle, "GlobalLock of an invalid handle");
  ++global.locks;
  return global.block;
}

BOOL WINAPI harness_GlobalUnlock(HGLOBAL handle) {
  std::lock_guard const guard(globalsMutex);
  Global& global = Find(handle, "GlobalUnlock of an invalid handle");
  if (global.locks > 0) --global.locks;
  return global.locks > 0;
}

// 0 for an invalid handle, like the system.
SIZE_T WINAPI harness_GlobalSize(HGLOBAL handle) {
  std::lock_guard const guard(globalsMutex);
  auto const found = Globals().find(handle);
  return found == Globals().end() ? 0 : found->second.size;
}

}  // extern "C"
