// A correct plug-in: a plain class and an image filter.
#include <qecore/core/filter.h>

#include "../plugin.h"

struct Filter final : yk::Destroys<Filter, yk::ykFlt2d> {
  unsigned GetFlags() noexcept override { return 0x80000001; }
  wchar_t const* GetPattern(unsigned index) noexcept override { return index < 1 ? L"*.good" : nullptr; }
  wchar_t const* GetName() noexcept override { return L"Good filter"; }
};

intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) {
  Log(message, first);
  if (message == yk::MODULE_VERSION_QUERY) return yk::KTZ_VERSION;
  if (message != yk::MODULE_CLASS || first > 1) return 0;
  return first == 0 ? Fill(second, ECHO_ID, ECHO_ID, "Echo", yk::ClassInfo::STATIC_NAME)
                    : Fill<Filter>(second, FILTER_ID, yk::ids::FLT_2D, "Filter");
}
