#include "imports.h"

void LeadImports(HMODULE module, Imports const& to) {
  char* const base = reinterpret_cast<char*>(module);
  if (!base) return;
  auto const* const headers =
      reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
  auto const& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  auto const* import = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
  for (; import->Name; ++import) {
    auto const* name = reinterpret_cast<IMAGE_THUNK_DATA*>(base + import->OriginalFirstThunk);
    auto* function = reinterpret_cast<void**>(base + import->FirstThunk);
    for (; name->u1.AddressOfData; ++name, ++function) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
      auto const row = to.find(base + name->u1.AddressOfData + 2);  // after the hint
      DWORD access;
      if (row == to.end()) continue;
      VirtualProtect(function, sizeof *function, PAGE_READWRITE, &access);
      *function = row->second;
      VirtualProtect(function, sizeof *function, access, &access);
    }
  }
}
