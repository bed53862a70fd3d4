// Reads records of the module cache: a table lists the chunks of a record and the function that reads each.
#pragma once

#include <qecore/io/deserializer.h>
#include <qecore/io/stream.h>

namespace yk {

/// One kind of chunk in a record. `read` is called with the chunk as the current one; false: it is damaged.
template <class Target>
struct CacheItem {
  unsigned short tag;
  bool (*read)(Deserializer& reader, Target& target);
};

/// Reads the chunks of the reader's current record, in any order. All are optional; unknown ones are skipped.
/// \return false when a chunk is damaged
template <class Target, size_t COUNT>
bool ReadItems(Deserializer& reader, CacheItem<Target> const (&items)[COUNT], Target& target) noexcept {
  bool sound = true;
  while (reader.IsInChunk()) {
    unsigned short const tag = reader.BeginChunk();
    if (tag == 0) sound = false;
    for (CacheItem<Target> const& item : items) {
      if (item.tag == tag) sound = item.read(reader, target) && sound;
    }
    reader.EndChunk();
  }
  return sound;
}

}  // namespace yk
