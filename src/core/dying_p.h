// For destructors that call foreign code.
#pragma once

#include <qecore/core/unknown.h>

namespace yk {

/// Adds a reference that is never released, so that references which others add and release during the
/// destructor do not destroy the object a second time.
inline void HoldWhileDying(Unknown& object) noexcept { object.AddRef(); }

}  // namespace yk
