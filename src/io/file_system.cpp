#include <qecore/core/ref.h>
#include <qecore/io/file_system.h>

namespace yk {

HRESULT ykFS::GetStream(wchar_t const* name, Stream** out) noexcept {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  ykFSEntry* handedOut = nullptr;
  HRESULT const found = FindEntry(name, &handedOut);
  if (Failed(found)) return found;  // whatever it stored: it is not ours to release
  Ref<ykFSEntry> const entry = Ref<ykFSEntry>::Adopt(handedOut);
  return entry ? entry->OpenStream(out, 0) : E_FAIL;
}

}  // namespace yk
