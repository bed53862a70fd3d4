#include <qecore/core/driver_data.h>

#include <qecore/core/ref.h>

#include "error_p.h"

namespace yk {

drvDataPtr::~drvDataPtr() {
  while (head) {
    Ref<drvData> const removed = Ref<drvData>::Adopt(head);
    head = removed->next;
    removed->next = nullptr;
  }
}

drvData* drvDataPtr::Get(void* owner) noexcept {
  drvData* record = head;
  while (record && record->owner != owner) record = record->next;
  return record;
}

HRESULT drvDataPtr::Add(drvData* record) noexcept {
  constexpr char OPERATION[] = "drvDataPtr::Add";
  if (!record) return FailNull(OPERATION, L"record");
  for (drvData* listed = head; listed; listed = listed->next) {
    if (listed == record) return Fail(E_INVALIDARG, OPERATION, L"the record is in the list");
  }
  record->next = head;
  head = record;
  return S_OK;
}

HRESULT drvDataPtr::Remove(drvData* record) noexcept {
  drvData** link = &head;
  while (*link && *link != record) link = &(*link)->next;
  if (!*link) return Fail(YK_E_NOTFOUND, "drvDataPtr::Remove", L"the record is not in the list");
  Ref<drvData> const removed = Ref<drvData>::Adopt(record);
  *link = record->next;
  return S_OK;
}

}  // namespace yk
