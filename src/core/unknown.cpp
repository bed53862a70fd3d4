#include <qecore/core/unknown.h>

int qe::purecall() noexcept { return 0; }

namespace yk {

Guid ids::FLT = ids::FLT_VALUE;
Guid ids::FLT_2D = ids::FLT_2D_VALUE;
Guid ids::FLT_3D = ids::FLT_3D_VALUE;

void Unknown::Free(void** slot) noexcept {
  if (!slot || !*slot) return;
  static_cast<Unknown*>(*slot)->Release();
  *slot = nullptr;
}

}  // namespace yk
