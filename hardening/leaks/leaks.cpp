#include "leaks.h"

#include <stdlib.h>
#include <windows.h>
#include <winternl.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <sstream>
#include <vector>

#include "gdi_objects.h"
#include "imports.h"

namespace {

// ---- live blocks: the library's imports come here, and from here go to the platform

struct Block {
  size_t size;
  unsigned number;   // counted from the first block
  void* callers[8];  // if they are recorded
};

// By address or handle. Never destroyed: the library may still free blocks after this program's objects are
// destroyed.
std::map<void*, Block>& blocks = *new std::map<void*, Block>;
unsigned made = 0;
SRWLOCK lock = SRWLOCK_INIT;
bool noting = false;
std::atomic<int> untilRefusal = -1;  // 0: the next allocation fails; negative: none fails

bool Refused() { return untilRefusal >= 0 && untilRefusal-- == 0; }

void* Made(void* block, size_t size) {
  AcquireSRWLockExclusive(&lock);
  if (block) {
    Block& entry = blocks[block] = {size, made++, {}};
    if (noting) RtlCaptureStackBackTrace(2, 8, entry.callers, nullptr);
  }
  ReleaseSRWLockExclusive(&lock);
  return block;
}

// Recorded before the platform frees it: another thread may get the same address at once.
void* Gone(void* block) {
  AcquireSRWLockExclusive(&lock);
  blocks.erase(block);
  ReleaseSRWLockExclusive(&lock);
  return block;
}

void* Moved(void* old, void* moved, size_t size) {
  Made(moved || size == 0 ? moved : old, size);
  return moved;
}

HMODULE Load(wchar_t const* path);

template <class Function>
void* At(Function* function) {
  return reinterpret_cast<void*>(function);
}

Imports const& WATCHED = *new Imports{
    {"malloc", At(+[](size_t size) { return Made(Refused() ? nullptr : malloc(size), size); })},
    {"calloc",
     At(+[](size_t n, size_t size) { return Made(Refused() ? nullptr : calloc(n, size), n * size); })},
    {"realloc", At(+[](void* old, size_t size) {
       return Refused() ? nullptr : Moved(old, realloc(Gone(old), size), size);
     })},
    {"free", At(+[](void* block) { free(Gone(block)); })},
    {"GlobalAlloc",
     At(+[](UINT flags, size_t size) { return Made(Refused() ? nullptr : GlobalAlloc(flags, size), size); })},
    {"GlobalReAlloc", At(+[](void* old, size_t size, UINT flags) {
       return Refused() ? nullptr : Moved(old, GlobalReAlloc(Gone(old), size, flags), size);
     })},
    {"GlobalFree", At(+[](void* block) { return GlobalFree(Gone(block)); })},
    {"VirtualAlloc",  // used only by a heap for finding faults
     At(+[](void* at, size_t size, DWORD how, DWORD access) {
       return Made(how & MEM_RESERVE && Refused() ? nullptr : VirtualAlloc(at, size, how, access), size);
     })},
    {"VirtualFree", At(+[](void* at, size_t size, DWORD how) {
       return VirtualFree(how & MEM_RELEASE ? Gone(at) : at, size, how);
     })},
    {"FindFirstFileW",  // not every platform counts searches as handles
     At(+[](wchar_t const* pattern, WIN32_FIND_DATAW* found) {
       HANDLE const search = FindFirstFileW(pattern, found);
       return search == INVALID_HANDLE_VALUE ? search : Made(search, sizeof *found);
     })},
    {"FindClose", At(+[](HANDLE search) { return FindClose(Gone(search)); })},
    {"LoadLibraryW", At(Load)},
};

HMODULE Load(wchar_t const* path) {
  HMODULE const plugin = LoadLibraryW(path);
  LeadImports(plugin, WATCHED);
  return plugin;
}

// ---- handles

// GetProcessHandleCount where it is implemented; where it is a stub, the system's list, filtered.
int CountHandles() {
  struct Entry {
    ULONG process, flags;
    void* object;
    ULONG access, reserved;
  };
  DWORD counted = 0;
  if (GetProcessHandleCount(GetCurrentProcess(), &counted) && counted) return static_cast<int>(counted);
  std::vector<Entry> list(1 << 14);
  ULONG const bytes = static_cast<ULONG>(list.size() * sizeof(Entry));
  NtQuerySystemInformation(static_cast<SYSTEM_INFORMATION_CLASS>(16), list.data(), bytes, nullptr);
  ULONG const all = *reinterpret_cast<ULONG const*>(list.data());
  auto const* const entries =
      reinterpret_cast<Entry const*>(reinterpret_cast<char const*>(list.data()) + sizeof(void*));
  return static_cast<int>(std::count_if(
      entries, entries + all, [](Entry const& entry) { return entry.process == GetCurrentProcessId(); }));
}

void PrintBlocks(std::ostream& out, unsigned first) {
  for (auto const& [address, block] : blocks) {
    if (block.number < first) continue;
    out << "a block of " << block.size << " bytes" << (noting ? ", made in" : "");
    for (void const* const caller : block.callers) out << (caller ? " " + PlaceOf(caller) : "");
    out << '\n';
  }
}

}  // namespace

void WatchTheLibrary() { LeadImports(GetModuleHandleW(L"qeCore.dll"), WATCHED); }

void NoteCallers() { noting = true; }

Scarcity::Scarcity(int number) { untilRefusal = number; }
Scarcity::~Scarcity() { untilRefusal = -1; }
bool Scarcity::WasFelt() const { return untilRefusal < 0; }

Held WhatIsHeld() { return {blocks.size(), made, CountGdiObjects(), CountHandles()}; }

std::string WhatIsLeft(Held const& before) {
  Held const now = WhatIsHeld();
  std::stringstream left;
  if (now.handles > before.handles) left << now.handles - before.handles << " handles\n";
  if (now.objects > before.objects) left << now.objects - before.objects << " GDI objects\n";
  if (now.blocks > before.blocks) PrintBlocks(left, before.made);
  return left.str();
}

std::string PlaceOf(void const* address) {
  HMODULE module = nullptr;
  char path[MAX_PATH] = "?";
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     static_cast<char const*>(address), &module);
  if (module) GetModuleFileNameA(module, path, MAX_PATH);
  char const* const slash = strrchr(path, '\\');
  char place[MAX_PATH + 24];
  std::snprintf(place, sizeof place, "%s+0x%llx", slash ? slash + 1 : path,
                reinterpret_cast<DWORD64>(address) - reinterpret_cast<DWORD64>(module));
  return place;
}
