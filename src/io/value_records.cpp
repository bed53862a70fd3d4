// How texts and variants are written to object files and read back.
#include "records_p.h"

#include <qecore/io/deserializer.h>
#include <qecore/io/file.h>
#include <qecore/io/serializer.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>

#include <windows.h>

#include <new>

namespace yk {
namespace {

/// What follows the two header bytes of a variant's record.
struct Record {
  uint8_t scalar;      // bytes of the value itself
  uint8_t terminator;  // bytes at a payload's end that are not saved
  uint8_t exactSize;   // the only size that a payload of this kind can have
  bool sized;          // a 32-bit size, then the payload

  bool Allows(unsigned bytes) const noexcept {
    if (exactSize) return bytes == exactSize;
    return bytes >= terminator && bytes % terminator == 0;
  }
};

constexpr Record NOTHING = {0, 0, 0, false};
constexpr Record Scalar(uint8_t bytes) { return {bytes, 0, 0, false}; }
constexpr Record Text(uint8_t unit) { return {0, unit, 0, true}; }
constexpr Record Geometry(uint8_t bytes) { return {0, 0, bytes, true}; }

constexpr Record RECORDS[] = {
    NOTHING,       // EMPTY
    Scalar(1),     // BOOL
    Scalar(1),     // UINT8
    Scalar(2),     // UINT16
    Scalar(4),     // UINT32
    Scalar(8),     // UINT64
    Scalar(2),     // INT16
    Scalar(4),     // INT32
    Scalar(8),     // INT64
    NOTHING,       // RESERVED_9
    NOTHING,       // RESERVED_10
    Scalar(4),     // FLOAT
    Scalar(8),     // DOUBLE
    NOTHING,       // BLOB
    Text(1),       // NARROW_STRING
    Text(2),       // WIDE_STRING
    NOTHING,       // RESERVED_16
    NOTHING,       // OBJECT
    NOTHING,       // RESERVED_18
    NOTHING,       // RESERVED_19
    NOTHING,       // MATRIX_2D
    NOTHING,       // MATRIX_3D
    NOTHING,       // RESERVED_22
    Geometry(24),  // POINT_3D
    NOTHING,       // POINT_3DF
    Geometry(16),  // POINT_2D
    Scalar(8),     // POINT_2DF
    NOTHING,       // RESERVED_27
    NOTHING,       // RESERVED_28
};
static_assert(sizeof RECORDS / sizeof *RECORDS == Variant::TYPE_COUNT);

/// Reads a payload of `size` bytes, the last `terminator` of which are zeros. Null: there is no memory.
void* ReadPayload(Deserializer& reader, unsigned size, unsigned terminator) noexcept {
  void* const payload = ::operator new(size, std::nothrow);
  if (!payload) return nullptr;
  ReadInChunk(reader, payload, size - terminator);
  memset(static_cast<unsigned char*>(payload) + (size - terminator), 0, terminator);
  return payload;
}

}  // namespace

// ---- String

HRESULT String::Save(Serializer* writer, int tag) const noexcept {
  if (IsEmpty()) return S_FALSE;
  size_t const bytes = Length() * sizeof(wchar_t);
  if (!writer || bytes > UINT_MAX - chunk::HEADER_SIZE) return E_INVALIDARG;
  return writer->WriteChunk(static_cast<unsigned short>(tag), c_str(), static_cast<unsigned>(bytes));
}

bool String::Load(Deserializer* reader) noexcept {
  Empty();
  if (!reader || !reader->GetStream()) return true;
  unsigned const bytes = reader->GetChunkSize();
  unsigned const length = bytes / sizeof(wchar_t);
  if (!Realloc(length)) return true;
  if (length) ReadInChunk(*reader, GetBuffer(), length * sizeof(wchar_t));
  uint8_t halfCharacter;  // read as well, but never over the terminator
  ReadInChunk(*reader, &halfCharacter, bytes % sizeof(wchar_t));
  return true;
}

bool String::TempFile() noexcept {
  wchar_t folder[MAX_PATH] = L"";
  wchar_t name[MAX_PATH] = L"";
  if (!file::GetTempFolder(MAX_PATH, folder)) return false;
  if (!GetTempFileNameW(folder, L"hwuuuu.$$$", 0, name)) return false;  // it takes three of these letters
  *this = name;
  return true;
}

// ---- Variant

HRESULT Variant::Save(Serializer* writer, ExecutionContext*) const noexcept {
  Stream* const stream = writer ? writer->GetStream() : nullptr;
  if (!stream) return S_OK;
  uint8_t const header[] = {type, flags};
  stream->Write(header, sizeof header);
  Record const record = type < TYPE_COUNT ? RECORDS[type] : NOTHING;
  if (record.scalar) stream->Write(&value, record.scalar);
  if (!record.sized) return S_OK;
  uint32_t const bytes = value.pointer ? size : 0;
  stream->Write(&bytes, sizeof bytes);
  if (bytes > record.terminator) stream->Write(value.pointer, bytes - record.terminator);
  return S_OK;
}

HRESULT Variant::Load(Deserializer* reader, ExecutionContext*) noexcept {
  if (!reader || !reader->GetStream()) return S_OK;
  uint8_t header[2];
  ReadInChunk(*reader, header, sizeof header);
  value.bits = 0;  // what was held is not released, and no pointer comes from a file
  size = 0;
  type = header[0] < TYPE_COUNT ? header[0] : static_cast<uint8_t>(EMPTY);
  flags = header[0] < TYPE_COUNT ? header[1] : uint8_t{0};
  Record const record = RECORDS[type];
  ReadInChunk(*reader, &value, record.scalar);
  if (!record.sized) return S_OK;
  uint32_t bytes = 0;
  ReadInChunk(*reader, &bytes, sizeof bytes);
  // A size that the kind cannot have or the chunk does not hold: the text is empty, the point has no payload.
  if (bytes == 0 || !record.Allows(bytes) || bytes - record.terminator > reader->GetRemaining()) return S_OK;
  value.pointer = ReadPayload(*reader, bytes, record.terminator);
  if (!value.pointer) return S_OK;
  size = bytes;
  flags &= static_cast<uint8_t>(~BORROWED);  // the flags are as saved, but this payload is the variant's own
  return S_OK;
}

}  // namespace yk
