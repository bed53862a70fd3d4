#include <qecore/core/driver_data.h>

namespace yk {

drvDataPtr::~drvDataPtr() {
  while (drvData* const record = head) {
    head = record->next;
    record->next = nullptr;
    record->Release();
  }
}

drvData* drvDataPtr::Get(void* owner) noexcept {
  drvData* record = head;
  while (record && record->owner != owner) record = record->next;
  return record;
}

HRESULT drvDataPtr::Add(drvData* record) noexcept {
  if (!record) return E_INVALIDARG;
  for (drvData* listed = head; listed; listed = listed->next) {
    if (listed == record) return E_INVALIDARG;
  }
  record->next = head;
  head = record;
  return S_OK;
}

HRESULT drvDataPtr::Remove(drvData* record) noexcept {
  drvData** link = &head;
  while (*link && *link != record) link = &(*link)->next;
  if (!*link) return YK_E_NOTFOUND;
  *link = record->next;
  record->Release();
  return S_OK;
}

}  // namespace yk
