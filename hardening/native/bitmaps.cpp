// Bitmaps whose pixels are blocks of the heap, so that the sanitizer sees where a row ends. GDI cannot draw
// on them.
#include <windows.h>

#include <mutex>
#include <unordered_map>

#include "plan.h"

using namespace harness;

namespace {

std::mutex bitmapsMutex;

std::unordered_map<void*, void*>& Bitmaps() {
  static auto* const all = new std::unordered_map<void*, void*>;
  return *all;
}

// 0 for an impossible size.
size_t SizeOf(BITMAPINFOHEADER const& header) {
  int64_t const width = header.biWidth;
  int64_t const height = header.biHeight < 0 ? -int64_t{header.biHeight} : header.biHeight;
  int64_t const bytes = (width * header.biBitCount + 31) / 32 * 4 * height;
  bool const sound = width > 0 && height > 0 && bytes > 0 && bytes <= INT_MAX;
  return sound ? static_cast<size_t>(bytes) : 0;
}

}  // namespace

extern "C" {

HBITMAP WINAPI harness_CreateDIBSection(HDC, BITMAPINFO const* info, UINT, void** bits, HANDLE, DWORD) {
  size_t const size = SizeOf(info->bmiHeader);
  void* const pixels = size == 0 || Refuses(size) ? nullptr : calloc(size, 1);
  if (!pixels) return nullptr;
  void* const handle = malloc(1);
  std::lock_guard const guard(bitmapsMutex);
  Bitmaps()[handle] = pixels;
  ++liveBlocks;
  ++liveBitmaps;
  *bits = pixels;
  return static_cast<HBITMAP>(handle);
}

// Everything else belongs to the system: a pen, a brush, or a bitmap that was deleted before.
BOOL WINAPI harness_DeleteObject(HGDIOBJ object) {
  std::lock_guard const guard(bitmapsMutex);
  auto const found = Bitmaps().find(object);
  if (found == Bitmaps().end()) return DeleteObject(object);
  free(found->second);
  free(object);
  Bitmaps().erase(found);
  --liveBlocks;
  --liveBitmaps;
  return TRUE;
}

}  // extern "C"
