// How texts and variants are written to object files and read back.
#include <qecore/io/deserializer.h>
#include <qecore/io/file.h>
#include <qecore/io/serializer.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>
#include <windows.h>

#include <new>

#include "core/error_p.h"
#include "records_p.h"
#include "values/variant_p.h"

namespace yk {
namespace {

/// Whether a payload of this type can have this size.
bool IsValidSize(VariantKind const& kind, unsigned bytes) noexcept {
  if (kind.fixedSize) return bytes == kind.fixedSize;
  return bytes >= kind.terminator && bytes % kind.terminator == 0;
}

/// Reads a payload of `size` bytes, the last `terminator` of which are zeros. Null: there is no memory.
void* ReadPayload(Deserializer& reader, unsigned size, unsigned terminator) noexcept {
  void* const payload = ::operator new(size, std::nothrow);
  if (!payload) return FailMemory("Variant::Load", size), NoteFailure(reader, E_OUTOFMEMORY), nullptr;
  ReadInChunk(reader, payload, size - terminator);
  memset(static_cast<uint8_t*>(payload) + (size - terminator), 0, terminator);
  return payload;
}

}  // namespace

// ---- String

HRESULT String::Save(Serializer* writer, int tag) const noexcept {
  if (IsEmpty()) return S_FALSE;
  size_t const bytes = Length() * sizeof(wchar_t);
  constexpr char OPERATION[] = "String::Save";
  if (!writer) return FailNull(OPERATION, L"writer");
  if (bytes > UINT_MAX - chunk::HEADER_SIZE)
    return Fail(E_INVALIDARG, OPERATION, L"an object file must be smaller than 4 GB");
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

HRESULT Variant::Save(Serializer* writer, ExecutionContext*) const noexcept {
  if (!writer || !writer->GetStream()) return S_OK;
  uint8_t const header[] = {type, flags};
  writer->Write(header, sizeof header);
  VariantKind const& kind = KindOf(type);
  if (kind.inlineBytes) writer->Write(&value, kind.inlineBytes);
  if (!kind.sized) return S_OK;
  uint32_t const bytes = value.pointer ? size : 0;
  writer->Write(&bytes, sizeof bytes);
  if (bytes > kind.terminator) writer->Write(value.pointer, bytes - kind.terminator);
  return S_OK;
}

HRESULT Variant::Load(Deserializer* reader, ExecutionContext*) noexcept {
  if (!reader || !reader->GetStream()) return S_OK;
  uint8_t header[2];
  ReadInChunk(*reader, header, sizeof header);
  value.bits = 0;    // contract: the previous payload is not released; and no pointer may come from a file
  type = header[0];  // even an unknown tag, so that it can be saved again
  flags = header[1];
  VariantKind const& kind = KindOf(type);
  size = kind.inlineBytes ? kind.fixedSize : 0;
  ReadInChunk(*reader, &value, kind.inlineBytes);
  if (!kind.sized) return S_OK;
  uint32_t bytes = 0;
  ReadInChunk(*reader, &bytes, sizeof bytes);
  // An impossible size, or more than the chunk holds: the text is empty, the point has no payload.
  if (bytes == 0 || !IsValidSize(kind, bytes) || bytes - kind.terminator > reader->GetRemaining())
    return S_OK;
  value.pointer = ReadPayload(*reader, bytes, kind.terminator);
  if (!value.pointer) return S_OK;
  size = bytes;
  VariantPayload::Own(*this);  // regardless of the saved flags
  return S_OK;
}

}  // namespace yk
