#include <qecore/io/file_system.h>

#include <qecore/core/ref.h>

#include "core/error_p.h"

namespace yk {

HRESULT ykFS::GetStream(wchar_t const* name, Stream** out) noexcept {
  constexpr char OPERATION[] = "ykFS::GetStream";
  if (!out) return FailNull(OPERATION, L"out");
  *out = nullptr;
  ykFSEntry* handedOut = nullptr;
  unsigned const before = ErrorCount();
  HRESULT const found = FindEntry(name, &handedOut);
  wchar_t const* const shown = name ? name : L"";
  // A pointer that it may have stored is not ours to release.
  if (Failed(found)) return FailSince(before, found, OPERATION, L"there is no entry %s", shown);
  Ref<ykFSEntry> const entry = Ref<ykFSEntry>::Adopt(handedOut);
  if (!entry) return Fail(E_FAIL, OPERATION, L"the entry that was found is null");
  HRESULT const opened = entry->OpenStream(out, 0);
  return Succeeded(opened) ? opened
                           : FailSince(before, opened, OPERATION, L"the entry %s cannot be opened", shown);
}

}  // namespace yk
