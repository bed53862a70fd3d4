// The rest of the system that the library calls in the plain program: memory, text, time and bitmaps.
#include <stdint.h>
#include <time.h>
#include <windows.h>

#include <new>

namespace {

struct Global {
  void* block;
  SIZE_T size;
};

// Windows counts units of 100 nanoseconds from 1601.
constexpr uint64_t TICKS_A_SECOND = 10000000, SECONDS_BEFORE_1970 = 11644473600;

template <class To, class From>
int Convert(From const* from, int length, To* to, int room) {
  int count = length;
  if (length < 0) {
    for (count = 1; from[count - 1];) ++count;
  }
  if (room == 0) return count;
  if (room < count) return 0;
  for (int i = 0; i < count; ++i) to[i] = static_cast<To>(from[i]);
  return count;
}

}  // namespace

extern "C" {

HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T size) {
  return new Global{flags & GMEM_ZEROINIT ? calloc(size + 1, 1) : malloc(size + 1), size};
}

HGLOBAL WINAPI GlobalReAlloc(HGLOBAL handle, SIZE_T size, UINT) {
  auto& global = *static_cast<Global*>(handle);
  global.block = realloc(global.block, size + 1);
  if (size > global.size) memset(static_cast<char*>(global.block) + global.size, 0, size - global.size);
  global.size = size;
  return handle;
}

HGLOBAL WINAPI GlobalFree(HGLOBAL handle) {
  free(static_cast<Global*>(handle)->block);
  delete static_cast<Global*>(handle);
  return nullptr;
}

LPVOID WINAPI GlobalLock(HGLOBAL handle) { return static_cast<Global*>(handle)->block; }
BOOL WINAPI GlobalUnlock(HGLOBAL) { return FALSE; }
SIZE_T WINAPI GlobalSize(HGLOBAL handle) { return static_cast<Global*>(handle)->size; }

// The tests of threads convert only ASCII.
int WINAPI WideCharToMultiByte(UINT, DWORD, wchar_t const* from, int length, char* to, int room, char const*,
                               BOOL*) {
  return Convert(from, length, to, room);
}

int WINAPI MultiByteToWideChar(UINT, DWORD, char const* from, int length, wchar_t* to, int room) {
  return Convert(from, length, to, room);
}

DWORD WINAPI GetTickCount() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<DWORD>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}

void WINAPI GetSystemTimeAsFileTime(FILETIME* to) {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  uint64_t const seconds = static_cast<uint64_t>(now.tv_sec) + SECONDS_BEFORE_1970;
  uint64_t const ticks = seconds * TICKS_A_SECOND + static_cast<uint64_t>(now.tv_nsec) / 100;
  memcpy(to, &ticks, sizeof *to);
}

// More than the machine may have, so that threads of the library meet.
void WINAPI GetSystemInfo(SYSTEM_INFO* info) {
  *info = {};
  info->dwNumberOfProcessors = 4;
}

// A screen to create bitmaps for, which are blocks of memory.
HDC WINAPI GetDC(HWND) { return nullptr; }
int WINAPI ReleaseDC(HWND, HDC) { return 1; }

HBITMAP WINAPI CreateDIBSection(HDC, BITMAPINFO const* info, UINT, void** bits, HANDLE, DWORD) {
  BITMAPINFOHEADER const& header = info->bmiHeader;
  int64_t const stride = (int64_t{header.biWidth} * header.biBitCount + 31) / 32 * 4;
  *bits = calloc(static_cast<size_t>(stride), static_cast<size_t>(abs(header.biHeight)));
  return static_cast<HBITMAP>(*bits);
}

BOOL WINAPI DeleteObject(HGDIOBJ object) {
  free(object);
  return TRUE;
}

DWORD WINAPI GetThreadErrorMode() { return 0; }
BOOL WINAPI SetThreadErrorMode(DWORD, DWORD* before) {
  if (before) *before = 0;
  return TRUE;
}

}  // extern "C"
