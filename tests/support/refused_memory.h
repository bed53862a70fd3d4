// Lets the library run short of memory, once, at a request of the test's choice.
//
//   for (int n = 0; true; ++n) {
//     RefusedMemory memory(n);           // the n-th request from now on gets null
//     ... what must not break ...
//     if (!memory.WasRefused()) break;   // it did without as many requests
//   }
#pragma once

#include <stdlib.h>
#include <string.h>
#include <windows.h>

/// What qeCore.dll calls when it calls `malloc`: its entry in the library's import table.
inline void*& LibrarysMalloc() {
  static void* none;  // a build that has a heap of its own
  char* const base = reinterpret_cast<char*>(GetModuleHandleW(L"qeCore.dll"));
  if (!base) return none;
  auto const* const headers =
      reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
  DWORD const imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  for (auto* from = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + imports); from->Name; ++from) {
    auto const* name = reinterpret_cast<uint64_t*>(base + from->OriginalFirstThunk);
    auto* entry = reinterpret_cast<void**>(base + from->FirstThunk);
    for (; *name; ++name, ++entry) {
      if (*name >> 63 || strcmp(base + *name + sizeof(WORD), "malloc") != 0) continue;
      DWORD before;
      VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &before);
      return *entry;
    }
  }
  return none;
}

class RefusedMemory {
 public:
  explicit RefusedMemory(int request) {
    left = request;
    LibrarysMalloc() = reinterpret_cast<void*>(Malloc);
  }
  ~RefusedMemory() { LibrarysMalloc() = before; }
  RefusedMemory(RefusedMemory const&) = delete;
  RefusedMemory& operator=(RefusedMemory const&) = delete;

  bool WasRefused() const { return left < 0; }

 private:
  static void* Malloc(size_t size) { return left-- == 0 ? nullptr : malloc(size); }

  void* const before = LibrarysMalloc();
  static inline int left;
};
