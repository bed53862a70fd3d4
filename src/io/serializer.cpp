#include "chunk_stack_p.h"
#include "stream_p.h"

#include <qecore/io/serializer.h>
#include <qecore/values/array.h>

#include <new>

namespace yk {
namespace {

constexpr char BANNER_TEXT[] =
    "\nObject file format [version 0x2]\nProduced by System compiled on " __DATE__ "\n";
static_assert(chunk::FILE_VERSION == 2 && sizeof BANNER_TEXT <= 512);

struct Header {
  unsigned char bytes[chunk::HEADER_SIZE];
};

Header HeaderOf(unsigned short tag) noexcept {
  return {{static_cast<unsigned char>(tag), static_cast<unsigned char>(tag >> 8), 0, 0, 0, 0}};
}

}  // namespace

Serializer* Serializer::Create() noexcept { return new (std::nothrow) Serializer; }

Serializer::Serializer() noexcept = default;

Serializer::~Serializer() {
  if (stream) Close();
  FreeChunks(chunks, capacity);
}

HRESULT Serializer::Open(Stream* newStream, unsigned openFlags) noexcept {
  if (stream) return E_FAIL;
  if (!newStream) return E_INVALIDARG;
  stream = Ref<Stream>::Share(newStream);
  flags = openFlags & chunk::RAW ? openFlags | chunk::NO_TABLES : openFlags;
  if (!(flags & chunk::RAW)) WriteFrame();
  return S_OK;
}

HRESULT Serializer::Close() noexcept {
  if (!stream) return E_FAIL;
  if (!(flags & chunk::RAW)) {
    while (Succeeded(EndChunk())) continue;  // the body and the frame, and what a client left open inside
  }
  stream.Reset();
  FreeChunks(chunks, capacity);
  depth = bottom = 1;  // on purpose: the next file's first chunk is entry 2
  lost = 0;
  return S_OK;
}

HRESULT Serializer::WriteReference(Unknown* object) noexcept {
  if (!stream) return E_FAIL;
  if (!objects) objects = Ref<Array>::Adopt(Array::CreateEx(Array::ReleasesObjects()));
  if (!objects) return E_OUTOFMEMORY;
  int32_t index = objects->Find(object);
  bool const isNew = index < 0;
  if (isNew) {
    int const before = objects->Count();
    if (before < Array::MAX_COUNT) objects->Add(object);
    if (objects->Count() == before) return E_OUTOFMEMORY;
    if (object) object->AddRef();
    index = ~before;
  }
  stream->Write(&index, sizeof index);
  if (isNew) {
    BeginChunk(chunk::FIRST_OCCURRENCE);
    EndChunk();  // due also for a chunk that was refused
  }
  return S_OK;
}

HRESULT Serializer::BeginChunk(unsigned short tag) noexcept { return BeginChunk(tag, 0); }

HRESULT Serializer::BeginChunk(unsigned short tag, unsigned short chunkFlags) noexcept {
  if (!stream) return E_FAIL;
  bool const tooDeep = lost > 0 || depth - bottom >= chunk::MAX_DEPTH;
  if (tooDeep || !HasRoom(chunks, capacity, depth + 1)) {
    ++lost;
    return tooDeep ? E_INVALIDARG : E_OUTOFMEMORY;
  }
  chunks[++depth] = {tag, 0, stream->GetPosition(), chunkFlags};
  Header const header = HeaderOf(tag);
  stream->Write(&header, sizeof header);
  return S_OK;
}

HRESULT Serializer::EndChunk() noexcept {
  if (!stream) return E_FAIL;
  if (lost > 0) return --lost, S_OK;
  if (depth <= bottom) return E_FAIL;
  OpenChunk& ended = chunks[depth--];
  unsigned const end = stream->GetPosition();
  ended.size = end - ended.start;
  if ((ended.flags & chunk::DROP_IF_EMPTY) && ended.size == chunk::HEADER_SIZE) {
    SeekTo(*stream, ended.start);  // what comes next overwrites the header
    return S_OK;
  }
  if (Failed(SeekTo(*stream, ended.start + 2)))
    return S_OK;  // no place for the size: write nothing elsewhere
  stream->Write(&ended.size, sizeof ended.size);
  SeekTo(*stream, end);
  return S_OK;
}

HRESULT Serializer::WriteChunk(unsigned short tag, void const* data, unsigned size) noexcept {
  if (size == 0) return S_FALSE;
  if (!stream) return E_FAIL;
  HRESULT result = BeginChunk(tag);
  if (Succeeded(result)) result = stream->Write(data, size);
  EndChunk();
  return result;
}

HRESULT Serializer::WriteStringChunk(unsigned short tag, char const* text) noexcept {
  return text ? WriteChunk(tag, text, static_cast<unsigned>(strlen(text))) : S_FALSE;
}

void Serializer::WriteFrame() noexcept {
  fileStart = stream->GetPosition();
  BeginChunk(chunk::FILE_FRAME);
  unsigned position;
  WriteNumberChunk(chunk::VERSION, chunk::FILE_VERSION, position);
  WriteStringChunk(chunk::BANNER, BANNER_TEXT);
  if (!(flags & chunk::NO_TABLES)) {
    WriteNumberChunk(chunk::CLASS_TABLE_OFFSET, 0, offsetPositions[0]);
    WriteNumberChunk(chunk::OBJECT_TABLE_OFFSET, 0, offsetPositions[1]);
  }
  BeginChunk(chunk::BODY);
}

/// Writes a chunk of one number; `position` is where the number stands.
void Serializer::WriteNumberChunk(unsigned short tag, unsigned number, unsigned& position) noexcept {
  BeginChunk(tag);
  position = stream->GetPosition();
  stream->Write(&number, sizeof number);
  EndChunk();
}

}  // namespace yk
