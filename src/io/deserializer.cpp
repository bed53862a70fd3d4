#include "chunk_stack_p.h"
#include "stream_p.h"

#include <qecore/io/deserializer.h>
#include <qecore/values/array.h>

#include <new>

namespace yk {
namespace {

struct Header {
  unsigned short tag = 0;
  unsigned size = 0;  // 0, which no chunk has, when the header is cut short
};

Header ReadHeader(Stream& stream) noexcept {
  unsigned char bytes[chunk::HEADER_SIZE];
  Header header;
  if (ReadUpTo(stream, bytes, sizeof bytes) < sizeof bytes) return header;
  memcpy(&header.tag, bytes, sizeof header.tag);
  memcpy(&header.size, bytes + sizeof header.tag, sizeof header.size);
  return header;
}

}  // namespace

Deserializer* Deserializer::Create() noexcept { return new (std::nothrow) Deserializer; }

Deserializer::Deserializer() noexcept = default;

Deserializer::~Deserializer() { Close(); }

HRESULT Deserializer::Open(Stream* newStream, unsigned openFlags) noexcept {
  if (!newStream) return E_INVALIDARG;
  Ref<Stream> const next = Ref<Stream>::Share(newStream);  // which Close may let go of
  Close();
  stream = next;
  streamSize = stream->GetSize();
  fileStart = stream->GetPosition();
  flags = openFlags & chunk::RAW ? openFlags | chunk::NO_TABLES : openFlags;
  return flags & chunk::RAW ? S_OK : ReadFrame();
}

HRESULT Deserializer::Close() noexcept {
  if (stream && inFrame) SeekTo(*stream, chunks[0].end);
  stream.Reset();
  objects.Reset();
  FreeChunks(chunks, capacity);
  depth = -1;
  lost = 0;
  version = 0;
  inFrame = false;
  return S_OK;
}

HRESULT Deserializer::ReadReference(Unknown** object) noexcept {
  if (!object) return E_INVALIDARG;
  *object = nullptr;
  unsigned index;
  if (!ReadNumber(index)) return E_INVALIDARG;
  if (!objects || index >= static_cast<unsigned>(objects->Count())) return E_INVALIDARG;
  auto* const entry = static_cast<Unknown*>(objects->At(static_cast<int>(index)));
  if (!entry) return E_NOINTERFACE;
  entry->AddRef();
  *object = entry;
  return S_OK;
}

unsigned short Deserializer::BeginChunk() noexcept {
  if (!stream) return 0;
  return EnterChunk(depth >= 0 ? chunks[depth].end : streamSize);
}

unsigned Deserializer::GetChunkSize() noexcept { return depth >= 0 && lost == 0 ? chunks[depth].payload : 0; }

bool Deserializer::IsInChunk() noexcept {
  if (depth < 0 || lost > 0 || chunks[depth].ended) return false;
  return stream->GetPosition() < chunks[depth].end;
}

bool Deserializer::EndChunk() noexcept {
  if (depth < 0 && lost == 0) return false;
  unsigned const end = depth >= 0 ? chunks[depth].end : streamSize;
  // A chunk that was not noted ends with the one around it, which stays the innermost.
  if (lost > 0) {
    --lost;
  } else {
    --depth;
  }
  if (Failed(SeekTo(*stream, end)) && depth >= 0)
    chunks[depth].ended = true;  // else its loop would stand still
  return true;
}

unsigned Deserializer::GetVersion() noexcept { return version; }

unsigned Deserializer::GetRemaining() noexcept {
  if (!stream || lost > 0 || (depth >= 0 && chunks[depth].ended)) return 0;
  unsigned const end = depth >= 0 ? chunks[depth].end : streamSize;
  unsigned const position = stream->GetPosition();
  return position < end ? end - position : 0;
}

HRESULT Deserializer::AddReference(Unknown* object) noexcept {
  if (!stream) return E_FAIL;
  if (!objects) objects = Ref<Array>::Adopt(Array::CreateEx(Array::ReleasesObjects()));
  if (!objects) return E_OUTOFMEMORY;
  int const before = objects->Count();
  if (before < Array::MAX_COUNT) objects->Add(object);
  if (objects->Count() == before) return E_OUTOFMEMORY;
  if (object) object->AddRef();
  return S_OK;
}

/// Reads a header and enters its chunk, which must end at `bound` or before. A corrupt chunk is entered as one
/// without payload that reaches to `bound`, so that leaving it always goes forward.
unsigned short Deserializer::EnterChunk(unsigned bound) noexcept {
  if (lost > 0 || depth + 1 >= chunk::MAX_DEPTH || !HasRoom(chunks, capacity, depth + 1)) {
    ++lost;
    return 0;
  }
  bool const inEnded = depth >= 0 && chunks[depth].ended;
  unsigned const start = stream->GetPosition();
  Header const header = inEnded ? Header() : ReadHeader(*stream);
  bool const sound = header.size >= chunk::HEADER_SIZE && uint64_t{start} + header.size <= bound;
  OpenChunk const entered = {header.tag, false, header.size - chunk::HEADER_SIZE, start + header.size};
  OpenChunk const corrupt = {0, true, 0, bound};
  chunks[++depth] = sound ? entered : corrupt;
  return chunks[depth].tag;
}

HRESULT Deserializer::ReadFrame() noexcept {
  if (BeginChunk() != chunk::FILE_FRAME) return YK_E_BADFILE;
  while (IsInChunk()) {
    unsigned short const tag = BeginChunk();
    if (tag == chunk::BODY) {
      inFrame = true;
      return S_OK;
    }
    HRESULT const result = tag != 0 ? ReadFramePart(tag) : YK_E_BADFILE;
    if (Failed(result)) return result;
    EndChunk();
  }
  return E_FAIL;
}

HRESULT Deserializer::ReadFramePart(unsigned short tag) noexcept {
  switch (tag) {
    case chunk::VERSION:
      return ReadNumber(version) ? S_OK : YK_E_BADFILE;
    case chunk::CLASS_TABLE_OFFSET:
      return CheckTable(chunk::CLASS_TABLE);
    case chunk::OBJECT_TABLE_OFFSET:
      return CheckTable(chunk::OBJECT_TABLE);
    default:
      return S_OK;  // the banner, a table, and what later versions may add
  }
}

/// Reads where the table stands, and makes sure that it stands there: anywhere inside the stream.
HRESULT Deserializer::CheckTable(unsigned short tag) noexcept {
  unsigned offset;
  if (!ReadNumber(offset)) return YK_E_BADFILE;
  if (offset == 0) return S_OK;
  if (offset > streamSize - fileStart || Failed(SeekTo(*stream, fileStart + offset))) return YK_E_BADFILE;
  if (EnterChunk(streamSize) != tag) return YK_E_BADFILE;
  EndChunk();
  return S_OK;
}

bool Deserializer::ReadNumber(unsigned& number) noexcept {
  number = 0;
  if (GetRemaining() < sizeof number) return false;
  return ReadUpTo(*stream, &number, sizeof number) == sizeof number;
}

}  // namespace yk
