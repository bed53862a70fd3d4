// References that no Ref holds.
#pragma once

#include <qecore/core/unknown.h>

namespace yk {

/// For destructors that call foreign code: adds a reference that is never released, so that references which
/// others add and release meanwhile do not destroy the object a second time.
inline void HoldWhileDying(Unknown& object) noexcept { object.AddRef(); }

/// Others may add and release references at the same time: only a single one, the caller's, is certain.
inline unsigned CountReferences(Unknown& object) noexcept {
  object.AddRef();
  return object.Release();
}

}  // namespace yk
