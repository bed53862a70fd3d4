// How a map is written to object files and read back: a chunk for each entry.
#include "records_p.h"

#include <qecore/io/serializer.h>
#include <qecore/values/map.h>

namespace yk {
namespace {

constexpr unsigned short ENTRY = 1000;
constexpr unsigned SMALLEST_ENTRY = 4 + 2;  // a key, and a variant's header

}  // namespace

HRESULT Map::Save(Serializer* writer, ExecutionContext* context) noexcept {
  if (!writer || !writer->GetStream()) return S_OK;
  for (unsigned i = 0; i < count; ++i) {
    Entry const& entry = entries[i];
    if (entry.value.flags & Variant::TRANSIENT) continue;
    HRESULT const begun = writer->BeginChunk(ENTRY);
    writer->Write(&entry.key, sizeof entry.key);
    entry.value.Save(writer, context);
    writer->EndChunk();  // due also for a chunk that was refused
    if (Failed(begun)) return begun;
  }
  return S_OK;
}

HRESULT Map::Load(Deserializer* reader, ExecutionContext* context) noexcept {
  while (reader && reader->IsInChunk()) {
    bool const isEntry = reader->BeginChunk() == ENTRY;
    if (isEntry && reader->GetRemaining() >= SMALLEST_ENTRY) {
      unsigned key = 0;
      ReadInChunk(*reader, &key, sizeof key);
      Variant value;
      value.Load(reader, context);
      if (!Append(key, value)) NoteNoMemory(*reader);
    }
    reader->EndChunk();
  }
  return S_FALSE;
}

}  // namespace yk
