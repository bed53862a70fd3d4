// Puts a function of the test in the place of one that the library imports from the system, for a scope.
#pragma once

#include <windows.h>

#include <string>

template <class Function>
class ReplacedImport {
 public:
  ReplacedImport(std::string const& name, Function with) : slot(Find(name)), original(*slot) { Set(with); }
  ~ReplacedImport() { Set(original); }

 private:
  static Function* Find(std::string const& name) {
    auto* const base = reinterpret_cast<char*>(GetModuleHandleW(L"qeCore.dll"));
    auto const* const headers =
        reinterpret_cast<IMAGE_NT_HEADERS*>(base + *reinterpret_cast<LONG*>(base + 0x3C));
    auto const& table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* dll = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + table.VirtualAddress); dll->Name;
         ++dll) {
      auto const* const names = reinterpret_cast<ULONGLONG*>(base + dll->OriginalFirstThunk);
      auto* const slots = reinterpret_cast<Function*>(base + dll->FirstThunk);
      for (int i = 0; names[i]; ++i) {
        if (base + names[i] + 2 == name) return slots + i;
      }
    }
    abort();
  }
  void Set(Function function) {
    DWORD protection;
    VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
    *slot = function;
    VirtualProtect(slot, sizeof *slot, protection, &protection);
  }

  Function* slot;
  Function original;
};
