// What destructors that call out have in common.
#pragma once

#include <qecore/core/unknown.h>

namespace yk {

/// Takes a reference that nobody drops: those that others take and drop while the destructor runs do not
/// destroy the object a second time.
inline void HoldWhileDying(Unknown& object) noexcept { object.AddRef(); }

}  // namespace yk
