// How a map is written to object files and read back: one chunk per entry.
#include <qecore/values/map.h>

#include <qecore/core/ref.h>
#include <qecore/io/serializer.h>

#include "records_p.h"
#include "values/variant_p.h"

namespace yk {
namespace {

/// A copy that is saved exactly like the value itself, flags included. \return false without memory
bool CopyToSave(Variant const& value, Variant& copy) noexcept {
  uint8_t const type = value.type, flags = value.flags;
  copy.Init(value);
  if (copy.type != type) return false;
  copy.flags = flags;
  VariantPayload::Own(copy);
  return true;
}

HRESULT SaveEntry(Serializer& writer, unsigned key, Variant const& value, ProgressMeter& meter) noexcept {
  HRESULT const begun = writer.BeginChunk(chunk::MAP_ENTRY);
  writer.Write(&key, sizeof key);
  SaveVariant(value, writer, meter);
  writer.EndChunk();  // required even for a chunk that was refused
  return begun;
}

}  // namespace

// Entries are copied before saving: the stream may be foreign code, which may call back into the map.
HRESULT Map::Save(Serializer* writer, ExecutionContext* context) noexcept {
  if (!writer || !writer->GetStream()) return S_OK;
  Ref<Map> const self = Ref<Map>::Share(this);
  ProgressMeter meter(context, "Map::Save", 0, ProgressMeter::Unit::BYTES);
  for (unsigned i = 0; i < count; ++i) {
    Ref<Stream> const stream = Ref<Stream>::Share(writer->GetStream());
    if (!stream) return S_OK;  // closed by a call from the stream
    if (context && !meter.Reach(stream->GetPosition())) break;
    if (entries[i].value.flags & Variant::TRANSIENT) continue;
    unsigned const key = entries[i].key;
    Variant copy;
    if (!CopyToSave(entries[i].value, copy)) {
      NoteFailure(*writer, E_OUTOFMEMORY);
      return E_OUTOFMEMORY;
    }
    HRESULT const saved = SaveEntry(*writer, key, copy, meter);
    if (Failed(saved)) return saved;
    if (meter.IsStopped()) break;
  }
  return meter.IsStopped() ? NoteFailure(*writer, meter.Result(S_OK)) : S_OK;
}

HRESULT Map::Load(Deserializer* reader, ExecutionContext* context) noexcept {
  Ref<Map> const self = Ref<Map>::Share(this);
  unsigned const before = count;
  Ref<Stream> const stream = Ref<Stream>::Share(context && reader ? reader->GetStream() : nullptr);
  ProgressMeter meter(stream ? context : nullptr, "Map::Load", stream ? stream->GetSize() : 0,
                      ProgressMeter::Unit::BYTES);
  while (reader && reader->IsInChunk()) {
    if (stream && !meter.Reach(stream->GetPosition())) break;
    if (reader->BeginChunk() == chunk::MAP_ENTRY) {  // contract: what is missing of it reads as zero
      unsigned key = 0;
      ReadInChunk(*reader, &key, sizeof key);
      Variant value;
      LoadVariant(value, *reader, meter);
      if (!meter.IsStopped() && !Append(key, value)) NoteFailure(*reader, E_OUTOFMEMORY);
    }
    reader->EndChunk();
  }
  if (!meter.IsStopped()) return S_FALSE;
  Truncate(before);
  return NoteFailure(*reader, meter.Result(S_FALSE));
}

}  // namespace yk
