#include <qecore/core/ref.h>
#include <qecore/io/file_system.h>

namespace yk {

HRESULT ykFS::GetStream(wchar_t const* name, Stream** out) noexcept {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  Ref<ykFSEntry> entry;
  HRESULT const found = FindEntry(name, entry.Receive());
  if (Failed(found)) return found;
  return entry ? entry->OpenStream(out, 0) : E_FAIL;
}

}  // namespace yk
