#include "module_imports_p.h"

#include <string.h>
#include <windows.h>

namespace yk {

namespace {

/// A library mapped like one that is loaded, but without its imports.
class MappedImage {
 public:
  explicit MappedImage(wchar_t const* path) noexcept
      : module(LoadLibraryExW(path, nullptr, LOAD_LIBRARY_AS_IMAGE_RESOURCE)) {}
  ~MappedImage() {
    if (module) FreeLibrary(module);
  }
  MappedImage(MappedImage const&) = delete;
  MappedImage& operator=(MappedImage const&) = delete;

  /// The headers; null if it is not a 64-bit library.
  IMAGE_NT_HEADERS64 const* Headers() const noexcept {
    if (!module) return nullptr;
    auto const* const dos = static_cast<IMAGE_DOS_HEADER const*>(At(0));
    auto const* const headers = static_cast<IMAGE_NT_HEADERS64 const*>(At(static_cast<DWORD>(dos->e_lfanew)));
    return headers->OptionalHeader.Magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC ? headers : nullptr;
  }

  void const* At(DWORD offset) const noexcept { return Base() + offset; }

 private:
  /// The system marks such handles in their lowest bits.
  char const* Base() const noexcept {
    return reinterpret_cast<char const*>(reinterpret_cast<uintptr_t>(module) & ~uintptr_t{3});
  }

  HMODULE module;
};

/// The names of API sets, which are not files, and of libraries in memory or where the system looks for them.
bool IsThere(char const* name, String const& folder) noexcept {
  if (!strncmp(name, "api-", 4) || !strncmp(name, "ext-", 4) || GetModuleHandleA(name)) return true;
  FailureText wide;
  wide.Add(L"%S", name);
  wchar_t found[MAX_PATH];
  return SearchPathW(nullptr, wide.c_str(), nullptr, MAX_PATH, found, nullptr) ||
         SearchPathW(folder.c_str(), wide.c_str(), nullptr, MAX_PATH, found, nullptr);
}

}  // namespace

FailureText FindMissingImport(String const& path) noexcept {
  FailureText missing;
  MappedImage const image(path.c_str());
  IMAGE_NT_HEADERS64 const* const headers = image.Headers();
  if (!headers) return missing;
  IMAGE_DATA_DIRECTORY const& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  DWORD const count = directory.Size / sizeof(IMAGE_IMPORT_DESCRIPTOR);
  auto const* import = static_cast<IMAGE_IMPORT_DESCRIPTOR const*>(image.At(directory.VirtualAddress));
  String const folder = path.FilePath();
  for (DWORD i = 0; i < count && import->Name && missing.IsEmpty(); ++i, ++import) {
    auto const* const name = static_cast<char const*>(image.At(import->Name));
    if (!IsThere(name, folder)) missing.Add(L"%S", name);
  }
  return missing;
}

}  // namespace yk
