// A plug-in as it should be: a plain class and an image filter.
#include <qecore/core/filter.h>

#include "../plugin.h"

namespace {

class Filter final : public yk::Destroys<Filter, yk::ykFlt2d> {
 public:
  unsigned GetFlags() noexcept override { return 0x80000001; }
  wchar_t const* GetPattern(unsigned index) noexcept override {
    static constexpr wchar_t const* PATTERNS[] = {L"*.one", L"*.two"};
    return index < 2 ? PATTERNS[index] : nullptr;
  }
  wchar_t const* GetName() noexcept override { return L"Good filter"; }

  static HRESULT Make(yk::ClassInfo const*, void** out) {
    *out = new (std::nothrow) Filter;
    return *out ? S_OK : E_OUTOFMEMORY;
  }

 private:
  template <class, class>
  friend class yk::Destroys;
  ~Filter() = default;
};

}  // namespace

intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) {
  Log(L"good", message, first, second);
  if (message == yk::MODULE_VERSION_QUERY) return yk::KTZ_VERSION;
  if (message != yk::MODULE_CLASS || first > 1) return 0;
  if (first == 0) return Fill(second, ECHO_ID, "Echo", yk::ClassInfo::STATIC_NAME);
  Fill(second, FILTER_ID, "Filter");
  static_cast<yk::ClassInfo*>(second)->interfaceId = yk::ids::FLT_2D;
  static_cast<yk::ClassInfo*>(second)->create = Filter::Make;
  return 1;
}
