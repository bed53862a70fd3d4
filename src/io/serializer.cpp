#include <qecore/io/serializer.h>

#include <qecore/io/file_stream.h>
#include <qecore/io/mem_stream.h>
#include <qecore/values/array.h>

#include <memory>
#include <new>

#include "core/buffer_p.h"
#include "core/dying_p.h"
#include "core/error_p.h"
#include "records_p.h"
#include "reference_index_p.h"
#include "stream_p.h"
#include "values/array_p.h"

#if !defined(QECORE_DATE)
#define QECORE_DATE __DATE__
#endif

namespace yk {
namespace {

constexpr char BANNER_TEXT[] =
    "\nObject file format [version 0x2]\nProduced by System compiled on " QECORE_DATE "\n";
static_assert(chunk::FILE_VERSION == 2 && sizeof BANNER_TEXT <= 512);

struct Header {
  unsigned char bytes[chunk::HEADER_SIZE];
};

HRESULT FailClosed(char const* operation) noexcept {
  return Fail(E_FAIL, operation, L"the writer is not open");
}

Header HeaderOf(unsigned short tag) noexcept {
  return {{static_cast<unsigned char>(tag), static_cast<unsigned char>(tag >> 8), 0, 0, 0, 0}};
}

/// An index of all the objects. Null: there is no memory.
std::unique_ptr<ReferenceIndex> MakeIndex(Array& objects) noexcept {
  std::unique_ptr<ReferenceIndex> index(new (std::nothrow) ReferenceIndex);
  for (int i = 0; index && i < objects.Count(); ++i) {
    if (!index->Add(static_cast<Unknown*>(objects.At(i)), i)) index.reset();
  }
  return index;
}

}  // namespace

Serializer* Serializer::Create() noexcept {
  return Made(new (std::nothrow) Serializer, "Serializer::Create");
}

Serializer::Serializer() noexcept : ownTable(TableOf(*this)) {}

Serializer::~Serializer() {
  HoldWhileDying(*this);  // Close adds a reference while it calls the stream
  if (stream) Serializer::Close();
}

// A stream may be foreign code, which may call back into the writer and even close it: functions that need
// the writer or the stream after such a call hold references, and check again what they read before. The
// references are not taken when the stream is the library's own.

Held Serializer::Hold() noexcept {
  bool const isQuiet = stream && TableOf(*stream) == quietTable && TableOf(*this) == ownTable;
  if (isQuiet) return {};
  return {Ref<Serializer>::Share(this), stream};
}

HRESULT Serializer::Open(Stream* newStream, unsigned openFlags) noexcept {
  constexpr char OPERATION[] = "Serializer::Open";
  if (stream) return Fail(E_FAIL, OPERATION, L"the writer is already open");
  if (!newStream) return FailNull(OPERATION, L"stream");
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  stream = Ref<Stream>::Share(newStream);
  buffered = FileStream::StartBuffering(*newStream);
  quietTable = QuietTable(*newStream);
  memory = MemStream::IsPlain(*newStream) ? static_cast<MemStream*>(newStream) : nullptr;
  failure = S_OK;
  place = newStream->GetPosition();
  flags = openFlags & chunk::RAW ? openFlags | chunk::NO_TABLES : openFlags;
  if (!(flags & chunk::RAW)) WriteFrame();
  return S_OK;
}

HRESULT Serializer::Close() noexcept {
  if (!stream) return FailClosed("Serializer::Close");
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  if (!(flags & chunk::RAW)) {
    while (HasChunk() && Succeeded(EndChunk()))
      continue;  // the body, the frame, and any chunk that the client left open
  }
  GetFailure();  // includes the stream's state
  if (buffered) Note(buffered->EndBuffering());
  buffered = nullptr;
  memory = nullptr;
  stream.Reset();
  depth = bottom = 1;  // Contract: the next file's first chunk is entry 2
  untracked = 0;
  return S_OK;
}

HRESULT Serializer::WriteReference(Unknown* object) noexcept {
  if (!stream) return FailClosed("Serializer::WriteReference");
  Ref<Serializer> const self = Ref<Serializer>::Share(this);
  if (!objects) objects = Ref<Array>::Adopt(Array::CreateEx(Array::ReleasesObjects()));
  if (!objects) return Note(E_OUTOFMEMORY);
  int32_t number = FindObject(object);
  bool const isNew = number < 0;
  if (isNew) {
    number = ~objects->Count();
    if (!AddObject(object, ~number)) return Note(E_OUTOFMEMORY);
  }
  Write(&number, sizeof number);
  if (isNew) {
    BeginChunk(chunk::FIRST_OCCURRENCE);
    EndChunk();  // required even for a chunk that was refused
  }
  return S_OK;
}

int Serializer::FindObject(Unknown* object) noexcept {
  return index ? index->Find(object, *objects) : objects->Find(object);
}

// Without memory for the index, the objects are searched one by one.
bool Serializer::AddObject(Unknown* object, int at) noexcept {
  constexpr int FEW = 16;
  if (!AppendObject(*objects, Ref<Unknown>::Share(object))) return false;
  if (index && index->Add(object, at)) return true;
  index.Reset(at >= FEW ? MakeIndex(*objects).release() : nullptr);
  return true;
}

HRESULT Serializer::BeginChunk(unsigned short tag) noexcept { return BeginChunk(tag, 0); }

HRESULT Serializer::BeginChunk(unsigned short tag, unsigned short chunkFlags) noexcept {
  constexpr char OPERATION[] = "Serializer::BeginChunk";
  if (!stream) return FailClosed(OPERATION);
  Held const held = Hold();
  Stream* const target = stream.get();
  unsigned const start = target->GetPosition();
  if (stream != target) return FailClosed(OPERATION);
  if (untracked > 0 || !GrowBlock(chunks.items, chunks.capacity, static_cast<size_t>(depth) + 2)) {
    ++untracked;
    return Note(FailChunkMemory(OPERATION, depth + 1));
  }
  chunks[++depth] = {tag, 0, start, chunkFlags};
  place = start;
  Header const header = HeaderOf(tag);
  Write(&header, sizeof header);
  return S_OK;
}

/// Whether there is a chunk to end.
bool Serializer::HasChunk() const noexcept { return stream && (untracked > 0 || depth > bottom); }

/// Seeks in the stream, and stores a failure.
inline HRESULT Serializer::MoveTo(Stream& target, unsigned to) noexcept {
  FailureMark const before;
  HRESULT const result = SeekTo(target, to);
  if (Failed(result)) FailSince(before, result, "Serializer::EndChunk", L"cannot seek to byte %u", to);
  return Note(result);
}

HRESULT Serializer::EndChunk() noexcept {
  constexpr char OPERATION[] = "Serializer::EndChunk";
  if (!stream) return FailClosed(OPERATION);
  if (untracked > 0) return --untracked, S_OK;
  Held const held = Hold();
  Stream* const target = stream.get();
  unsigned const end = target->GetPosition();
  if (stream != target) return FailClosed(OPERATION);
  if (depth <= bottom) return Fail(E_FAIL, OPERATION, L"no chunk is open");
  OpenChunk ended = chunks[depth--];
  ended.size = end - ended.start;
  place = end;
  if (end < ended.start) {
    Note(FailTooLong(OPERATION));  // the sizes are wrong, and the positions out of reach
  } else if ((ended.flags & chunk::DROP_IF_EMPTY) && ended.size == chunk::HEADER_SIZE) {
    place = ended.start;  // the next chunk overwrites the header
    MoveTo(*target, ended.start);
  } else {
    FillInSize(*target, ended, end);
  }
  return S_OK;
}

HRESULT Serializer::WriteChunk(unsigned short tag, void const* data, unsigned size) noexcept {
  if (size == 0) return S_FALSE;
  if (!stream) return FailClosed("Serializer::WriteChunk");
  Held const held = Hold();
  HRESULT result = BeginChunk(tag);
  if (Succeeded(result)) result = Write(data, size);
  EndChunk();
  return result;
}

HRESULT Serializer::WriteStringChunk(unsigned short tag, char const* text) noexcept {
  size_t const length = text ? strlen(text) : 0;
  if (length > UINT_MAX) return Note(FailTooLong("Serializer::WriteStringChunk", E_INVALIDARG));
  return WriteChunk(tag, text, static_cast<unsigned>(length));
}

HRESULT Serializer::Write(void const* data, unsigned size) noexcept {
  constexpr char OPERATION[] = "Serializer::Write";
  if (!stream) return FailClosed(OPERATION);
  if (untracked > 0)  // it would end up in the wrong chunk
    return Fail(E_OUTOFMEMORY, OPERATION, L"not enough memory for its chunk");
  Held const held = Hold();
  Stream* const target = stream.get();
  FailureMark const before;
  unsigned done = size;  // a stream that does not set it has written everything
  HRESULT const wrote = target->Write(data, size, &done);
  HRESULT const result = Succeeded(wrote) && done < size ? E_FAIL : wrote;
  if (Failed(result)) FailSince(before, result, OPERATION, L"cannot write %u bytes at %llu", size, place);
  place += size;
  if (place > UINT_MAX) Note(FailTooLong(OPERATION));
  return Note(result);
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

HRESULT NoteFailure(Serializer& writer, HRESULT result) noexcept { return writer.Note(result); }

/// Writes a number where bytes of the stream are in memory. False: they are not.
bool Serializer::Patch(unsigned at, unsigned number) noexcept {
  if (TableOf(*stream) != quietTable) return false;
  if (memory) return memory->Patch(at, number);
  return buffered && buffered->Patch(at, number);
}

/// Writes the size at the chunk's start, unless that position cannot be reached.
void Serializer::FillInSize(Stream& target, OpenChunk const& ended, unsigned end) noexcept {
  unsigned const at = ended.start + static_cast<unsigned>(sizeof ended.tag);
  if (Patch(at, ended.size) || Failed(MoveTo(target, at))) return;
  place = at;
  Write(&ended.size, sizeof ended.size);
  MoveTo(target, end);
  place = end;
}

void Serializer::WriteFrame() noexcept {
  BeginChunk(chunk::FILE_FRAME);
  WriteNumberChunk(chunk::VERSION, chunk::FILE_VERSION);
  WriteStringChunk(chunk::BANNER, BANNER_TEXT);
  if (!(flags & chunk::NO_TABLES)) {
    WriteNumberChunk(chunk::CLASS_TABLE_OFFSET, 0);
    WriteNumberChunk(chunk::OBJECT_TABLE_OFFSET, 0);
  }
  BeginChunk(chunk::BODY);
}

void Serializer::WriteNumberChunk(unsigned short tag, unsigned number) noexcept {
  WriteChunk(tag, &number, sizeof number);
}

}  // namespace yk
