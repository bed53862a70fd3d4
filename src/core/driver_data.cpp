#include <qecore/core/driver_data.h>
#include <qecore/core/ref.h>

namespace yk {

drvDataPtr::~drvDataPtr() {
  while (head) {
    Ref<drvData> const goes = Ref<drvData>::Adopt(head);
    head = goes->next;
    goes->next = nullptr;
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
  Ref<drvData> const goes = Ref<drvData>::Adopt(record);
  *link = record->next;
  return S_OK;
}

}  // namespace yk
