#include <qecore/io/serializer.h>
#include <qecore/values/array.h>

#include <new>

#include "core/buffer_p.h"
#include "core/dying_p.h"
#include "stream_p.h"
#include "values/array_p.h"

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
  HoldWhileDying(*this);  // Close adds a reference while it calls the stream
  if (stream) Serializer::Close();
  free(chunks);
}

// A stream may be foreign code, which may call back into the writer and even close it: functions that need
// the writer or the stream after such a call hold references, and check again what they read before.

HRESULT Serializer::Open(Stream* newStream, unsigned openFlags) noexcept {
  if (stream) return E_FAIL;
  if (!newStream) return E_INVALIDARG;
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  stream = Ref<Stream>::Share(newStream);
  failure = S_OK;
  place = newStream->GetPosition();
  flags = openFlags & chunk::RAW ? openFlags | chunk::NO_TABLES : openFlags;
  if (!(flags & chunk::RAW)) WriteFrame();
  return S_OK;
}

HRESULT Serializer::Close() noexcept {
  if (!stream) return E_FAIL;
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  if (!(flags & chunk::RAW)) {
    while (Succeeded(EndChunk())) continue;  // the body, the frame, and whatever the client left open
  }
  GetFailure();  // includes the stream's state
  stream.Reset();
  depth = bottom = 1;  // contract: the next file's first chunk is entry 2
  untracked = 0;
  return S_OK;
}

HRESULT Serializer::WriteReference(Unknown* object) noexcept {
  if (!stream) return E_FAIL;
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  if (!objects) objects = Ref<Array>::Adopt(Array::CreateEx(Array::ReleasesObjects()));
  if (!objects) return Note(E_OUTOFMEMORY);
  int32_t index = objects->Find(object);
  bool const isNew = index < 0;
  if (isNew) {
    index = ~objects->Count();
    if (!AppendObject(*objects, Ref<Unknown>::Share(object))) return Note(E_OUTOFMEMORY);
  }
  Write(&index, sizeof index);
  if (isNew) {
    BeginChunk(chunk::FIRST_OCCURRENCE);
    EndChunk();  // required even for a chunk that was refused
  }
  return S_OK;
}

HRESULT Serializer::BeginChunk(unsigned short tag) noexcept { return BeginChunk(tag, 0); }

HRESULT Serializer::BeginChunk(unsigned short tag, unsigned short chunkFlags) noexcept {
  if (!stream) return E_FAIL;
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  Ref<Stream> const target = stream;
  unsigned const start = target->GetPosition();
  if (stream.get() != target.get()) return E_FAIL;
  if (untracked > 0 || !GrowBlock(chunks, capacity, static_cast<size_t>(depth) + 2)) {
    ++untracked;
    return Note(E_OUTOFMEMORY);
  }
  chunks[++depth] = {tag, 0, start, chunkFlags};
  place = start;
  Header const header = HeaderOf(tag);
  Write(&header, sizeof header);
  return S_OK;
}

HRESULT Serializer::EndChunk() noexcept {
  if (!stream) return E_FAIL;
  if (untracked > 0) return --untracked, S_OK;
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  Ref<Stream> const target = stream;
  unsigned const end = target->GetPosition();
  if (stream.get() != target.get() || depth <= bottom) return E_FAIL;
  OpenChunk ended = chunks[depth--];
  ended.size = end - ended.start;
  place = end;
  if (end < ended.start) {
    Note(E_FAIL);  // the file exceeds 32 bits: sizes are wrong, and positions cannot be sought
  } else if ((ended.flags & chunk::DROP_IF_EMPTY) && ended.size == chunk::HEADER_SIZE) {
    place = ended.start;  // the next chunk overwrites the header
    Note(SeekTo(*target, ended.start));
  } else {
    FillInSize(*target, ended, end);
  }
  return S_OK;
}

HRESULT Serializer::WriteChunk(unsigned short tag, void const* data, unsigned size) noexcept {
  if (size == 0) return S_FALSE;
  if (!stream) return E_FAIL;
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  HRESULT result = BeginChunk(tag);
  if (Succeeded(result)) result = Write(data, size);
  EndChunk();
  return result;
}

HRESULT Serializer::WriteStringChunk(unsigned short tag, char const* text) noexcept {
  size_t const length = text ? strlen(text) : 0;
  if (length > UINT_MAX) return Note(E_INVALIDARG);
  return WriteChunk(tag, text, static_cast<unsigned>(length));
}

HRESULT Serializer::Write(void const* data, unsigned size) noexcept {
  if (!stream) return E_FAIL;
  if (untracked > 0) return E_OUTOFMEMORY;  // it would end up in the wrong chunk
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  Ref<Stream> const target = stream;
  unsigned done = size;  // a stream that does not set it has written everything
  HRESULT const result = target->Write(data, size, &done);
  place += size;
  if (place > UINT_MAX) Note(E_FAIL);  // sizes and positions have 32 bits
  return Note(Succeeded(result) && done < size ? E_FAIL : result);
}

HRESULT Serializer::GetFailure() noexcept {
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  Ref<Stream> const target = stream;
  if (target && failure == S_OK) Note(target->GetState());
  return failure;
}

/// Stores a failure, if it is the first. \return the result
HRESULT Serializer::Note(HRESULT result) noexcept {
  if (Failed(result) && failure == S_OK) failure = result;
  return result;
}

void NoteNoMemory(Serializer& writer) noexcept { writer.Note(E_OUTOFMEMORY); }

/// Writes the size at the chunk's start; if that cannot be sought, nowhere.
void Serializer::FillInSize(Stream& target, OpenChunk const& ended, unsigned end) noexcept {
  unsigned const at = ended.start + static_cast<unsigned>(sizeof ended.tag);
  if (Failed(Note(SeekTo(target, at)))) return;
  place = at;
  Write(&ended.size, sizeof ended.size);
  Note(SeekTo(target, end));
  place = end;
}

void Serializer::WriteFrame() noexcept {
  fileStart = static_cast<unsigned>(place);
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

/// Writes a chunk of one number; `position` receives the position of the number.
void Serializer::WriteNumberChunk(unsigned short tag, unsigned number, unsigned& position) noexcept {
  BeginChunk(tag);
  position = static_cast<unsigned>(place);
  Write(&number, sizeof number);
  EndChunk();
}

}  // namespace yk
