// Copying all properties of an image.
#pragma once

#include <qecore/image/image.h>

namespace yk::img {

/// By index, since an object's AddRef may change the map. `from` may be null. False when there is no memory.
inline bool CopyProperties(Map* from, Image2d& to) noexcept {
  Ref<Map> const held = Ref<Map>::Share(from);
  for (unsigned i = 0; held && i < held->Count(); ++i) {
    Map::Entry const& entry = held->begin()[i];
    if (to.SetValue(entry.key, entry.value) == E_OUTOFMEMORY) return false;
  }
  return true;
}

}  // namespace yk::img
