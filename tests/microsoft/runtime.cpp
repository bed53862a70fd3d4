#include "runtime.h"

#include <new>

extern "C" {
__declspec(dllimport) void* GetProcessHeap();
__declspec(dllimport) void* HeapAlloc(void* heap, unsigned flags, size_t size);
__declspec(dllimport) int HeapFree(void* heap, unsigned flags, void* block);

extern int const _fltused;
int const _fltused = 0;
int _purecall() { __builtin_trap(); }

// Not for the optimiser, which would make each a call of itself.
[[clang::optnone]] void* memcpy(void* target, void const* source, size_t count) {
  for (size_t i = 0; i < count; ++i) static_cast<char*>(target)[i] = static_cast<char const*>(source)[i];
  return target;
}
[[clang::optnone]] void* memset(void* target, int value, size_t count) {
  for (size_t i = 0; i < count; ++i) static_cast<char*>(target)[i] = static_cast<char>(value);
  return target;
}
[[clang::optnone]] int memcmp(void const* a, void const* b, size_t count) {
  auto const *x = static_cast<unsigned char const*>(a), *y = static_cast<unsigned char const*>(b);
  for (size_t i = 0; i < count; ++i) {
    if (x[i] != y[i]) return x[i] - y[i];
  }
  return 0;
}

int DllMain(void*, unsigned, void*) { return 1; }
}

void* operator new(size_t size, std::nothrow_t const&) noexcept {
  return HeapAlloc(GetProcessHeap(), 0, size);
}
void* operator new(size_t size) { return HeapAlloc(GetProcessHeap(), 0, size); }
void operator delete(void* block) noexcept {
  if (block) HeapFree(GetProcessHeap(), 0, block);
}
void operator delete(void* block, size_t) noexcept { ::operator delete(block); }
