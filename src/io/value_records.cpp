// How texts and variants are written to object files and read back.
#include "records_p.h"

#include <qecore/core/ref.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/file.h>
#include <qecore/io/serializer.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>
#include <windows.h>

#include <algorithm>
#include <new>

#include "core/error_p.h"
#include "values/variant_p.h"

namespace yk {
namespace {

/// Whether a payload of this type can have this size.
bool IsValidSize(VariantKind const& kind, unsigned bytes) noexcept {
  if (kind.fixedSize) return bytes == kind.fixedSize;
  return bytes >= kind.terminator && bytes % kind.terminator == 0;
}

/// Saves or loads a payload: at once or, when a host follows, in pieces, between which it may stop.
/// `transfer` is called with the offset and size of each.
template <class Archive, class Transfer>
void InPieces(Archive& archive, unsigned bytes, ProgressMeter& meter, Transfer transfer) noexcept {
  constexpr unsigned PIECE = 0x40000;
  unsigned const longest = meter.HasHost() ? PIECE : bytes;
  for (unsigned at = 0, size; at < bytes; at += size) {
    size = std::min(longest, bytes - at);
    transfer(at, size);
    Ref<Stream> const stream = Ref<Stream>::Share(archive.GetStream());
    bool const isLast = at + size == bytes;
    if (!isLast && stream && !meter.Reach(stream->GetPosition())) return;
  }
}

/// Reads a payload of `size` bytes, the last `terminator` of which are zeros. Null: there is no memory.
uint8_t* ReadPayload(Deserializer& reader, unsigned size, unsigned terminator,
                     ProgressMeter& meter) noexcept {
  auto* const payload = static_cast<uint8_t*>(::operator new(size, std::nothrow));
  if (!payload) return FailMemory("Variant::Load", size), NoteFailure(reader, E_OUTOFMEMORY), nullptr;
  InPieces(reader, size - terminator, meter,
           [&](unsigned at, unsigned bytes) { ReadInChunk(reader, payload + at, bytes); });
  memset(payload + (size - terminator), 0, terminator);
  return payload;
}

}  // namespace

// ---- String

HRESULT String::Save(Serializer* writer, int tag) const noexcept {
  if (IsEmpty()) return S_FALSE;
  size_t const bytes = Length() * sizeof(wchar_t);
  constexpr char OPERATION[] = "String::Save";
  if (!writer) return FailNull(OPERATION, L"writer");
  if (bytes > UINT_MAX - chunk::HEADER_SIZE) return FailTooLong(OPERATION, E_INVALIDARG);
  return writer->WriteChunk(static_cast<unsigned short>(tag), c_str(), static_cast<unsigned>(bytes));
}

bool String::Load(Deserializer* reader) noexcept {
  Empty();
  if (!reader || !reader->GetStream()) return true;
  unsigned const bytes = reader->GetChunkSize();
  unsigned const length = bytes / sizeof(wchar_t);
  if (!Realloc(length)) return NoteFailure(*reader, E_OUTOFMEMORY), true;
  if (length) ReadInChunk(*reader, GetBuffer(), length * sizeof(wchar_t));
  uint8_t halfCharacter;  // read as well, but never over the terminator
  ReadInChunk(*reader, &halfCharacter, bytes % sizeof(wchar_t));
  return true;
}

bool String::TempFile() noexcept {
  wchar_t folder[MAX_PATH] = L"";
  wchar_t name[MAX_PATH] = L"";
  if (!file::GetTempFolder(MAX_PATH, folder)) return false;
  if (!GetTempFileNameW(folder, L"hwuuuu.$$$", 0, name)) {  // uses three of these letters
    FailSystem(E_FAIL, "String::TempFile", folder, GetLastError());
    return false;
  }
  *this = name;
  if (IsEmpty()) DeleteFileW(name);  // no memory: without its name, the file would never be deleted
  return !IsEmpty();
}

// ---- Variant

void SaveVariant(Variant const& variant, Serializer& writer, ProgressMeter& meter) noexcept {
  uint8_t const header[] = {variant.type, variant.flags};
  writer.Write(header, sizeof header);
  VariantKind const& kind = KindOf(variant.type);
  if (kind.inlineBytes) writer.Write(&variant.value, kind.inlineBytes);
  if (!kind.sized) return;  // contract: of blobs, objects, matrices and POINT_3DF, only the header
  auto const* const payload = static_cast<uint8_t const*>(variant.value.pointer);
  uint32_t const bytes = payload ? variant.size : 0;
  writer.Write(&bytes, sizeof bytes);
  if (bytes <= kind.terminator) return;
  InPieces(writer, bytes - kind.terminator, meter,
           [&](unsigned at, unsigned size) { writer.Write(payload + at, size); });
}

void LoadVariant(Variant& variant, Deserializer& reader, ProgressMeter& meter) noexcept {
  uint8_t header[2];
  ReadInChunk(reader, header, sizeof header);
  variant.value.bits = 0;    // Contract: the previous payload is not released; no pointer comes from a file
  variant.type = header[0];  // even an unknown tag, so that it can be saved again
  variant.flags = header[1];
  VariantKind const& kind = KindOf(variant.type);
  variant.size = kind.inlineBytes ? kind.fixedSize : 0;
  ReadInChunk(reader, &variant.value, kind.inlineBytes);
  if (!kind.sized) return;
  uint32_t bytes = 0;
  ReadInChunk(reader, &bytes, sizeof bytes);
  // An impossible size, or more than the chunk holds: the text is empty, the point has no payload.
  if (bytes == 0 || !IsValidSize(kind, bytes) || bytes - kind.terminator > reader.GetRemaining()) return;
  variant.value.pointer = ReadPayload(reader, bytes, kind.terminator, meter);
  if (!variant.value.pointer) return;
  variant.size = bytes;
  VariantPayload::Own(variant);  // regardless of the saved flags
  if (meter.IsStopped()) variant.Done();
}

HRESULT Variant::Save(Serializer* writer, ExecutionContext* context) const noexcept {
  if (!writer || !writer->GetStream()) return S_OK;
  ProgressMeter meter(context, "Variant::Save", 0, ProgressMeter::Unit::BYTES);
  SaveVariant(*this, *writer, meter);
  return meter.IsStopped() ? NoteFailure(*writer, meter.Result(S_OK)) : S_OK;
}

HRESULT Variant::Load(Deserializer* reader, ExecutionContext* context) noexcept {
  if (!reader || !reader->GetStream()) return S_OK;
  unsigned const total = context ? reader->GetStream()->GetSize() : 0;
  ProgressMeter meter(context, "Variant::Load", total, ProgressMeter::Unit::BYTES);
  LoadVariant(*this, *reader, meter);
  return meter.IsStopped() ? NoteFailure(*reader, meter.Result(S_OK)) : S_OK;
}

}  // namespace yk
