// A user's plug-in: one class with one property.
#include "counter.h"

#include <qecore/core/implements.h>
#include <qecore/core/module.h>
#include <qecore/values/variant.h>

#include <new>

namespace {

class Counter final : public yk::Implements<Counter, yk::Unknown> {
 public:
  static yk::Guid const& Id() noexcept { return COUNTER_ID; }

  HRESULT GetValue(unsigned key, yk::Variant& out) noexcept override {
    if (key != COUNTER_NEXT) return yk::YK_E_NOTFOUND;
    out.Init(++next);
    return S_OK;
  }

 private:
  int next = 0;
};

HRESULT MakeCounter(yk::ClassInfo const* info, void** out) noexcept {
  *out = info->classId == COUNTER_ID ? new (std::nothrow) Counter : nullptr;
  return *out ? S_OK : E_NOINTERFACE;
}

}  // namespace

extern "C" __declspec(dllexport) intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) {
  if (message == yk::MODULE_VERSION_QUERY) return yk::KTZ_VERSION;
  if (message != yk::MODULE_CLASS || first != 0) return 0;
  auto* const info = static_cast<yk::ClassInfo*>(second);
  info->classId = info->interfaceId = COUNTER_ID;
  info->name = "Counter";
  info->flags = yk::ClassInfo::STATIC_NAME;
  info->create = MakeCounter;
  return 1;
}
