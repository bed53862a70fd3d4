#include <qecore/io/deserializer.h>

#include <qecore/io/file_stream.h>
#include <qecore/values/array.h>

#include <new>

#include "core/buffer_p.h"
#include "core/dying_p.h"
#include "core/error_p.h"
#include "records_p.h"
#include "values/array_p.h"

namespace yk {
namespace {

constexpr char OPEN[] = "Deserializer::Open";

struct Header {
  unsigned short tag;
  unsigned size;
};

Header HeaderOf(unsigned char const (&bytes)[chunk::HEADER_SIZE]) noexcept {
  Header header;
  memcpy(&header.tag, bytes, sizeof header.tag);
  memcpy(&header.size, bytes + sizeof header.tag, sizeof header.size);
  return header;
}

constexpr char BEGIN_CHUNK[] = "Deserializer::BeginChunk";

HRESULT FailClosed(char const* operation) noexcept {
  return Fail(E_FAIL, operation, L"the reader is not open");
}

HRESULT FailNoHeader(unsigned start, unsigned left) noexcept {
  return Fail(YK_E_BADFILE, BEGIN_CHUNK, L"damaged at byte %u: only %u bytes are left", start, left);
}

HRESULT FailCorrupt(unsigned start, Header const& header, unsigned left) noexcept {
  return Fail(YK_E_BADFILE, BEGIN_CHUNK, L"damaged at byte %u: a chunk of %u bytes, but only %u are left",
              start, header.size, left);
}

HRESULT FailUnclosed() noexcept { return Fail(E_FAIL, OPEN, L"the file was never closed by its writer"); }

/// A number above INT_MAX marks a first occurrence: its object follows, so this is not a failure to record.
HRESULT FailReference(unsigned index) noexcept {
  bool const isFirst = index > INT_MAX;
  return isFirst
             ? E_INVALIDARG
             : Fail(E_INVALIDARG, "Deserializer::ReadReference", L"damaged: there is no object %u", index);
}

}  // namespace

Deserializer* Deserializer::Create() noexcept {
  return Made(new (std::nothrow) Deserializer, "Deserializer::Create");
}

Deserializer::Deserializer() noexcept : ownTable(TableOf(*this)) {}

Deserializer::~Deserializer() {
  HoldWhileDying(*this);  // Close adds a reference while it calls the stream
  Deserializer::Close();
}

// A stream or an object may be foreign code, which may call back: functions that need the reader after such a
// call hold a reference to it. It is not taken when the stream is the library's own.

Held Deserializer::Hold() noexcept {
  bool const isQuiet = stream && TableOf(*stream) == quietTable && TableOf(*this) == ownTable;
  if (isQuiet) return {};
  return {Ref<Deserializer>::Share(this), stream};
}

HRESULT Deserializer::Open(Stream* newStream, unsigned openFlags) noexcept {
  if (!newStream) return FailNull(OPEN, L"stream");
  Ref<Deserializer> const self = Ref<Deserializer>::Share(this);
  Ref<Stream> const next = Ref<Stream>::Share(newStream);  // Close may release it
  Close();
  stream = next;
  buffered = FileStream::StartBuffering(*next);
  quietTable = QuietTable(*next);
  failure = S_OK;
  version = 0;
  streamSize = next->GetSize();
  fileStart = next->GetPosition();
  flags = openFlags & chunk::RAW ? openFlags | chunk::NO_TABLES : openFlags;
  if (flags & chunk::RAW) return S_OK;
  return Note(ReadFrame());
}

HRESULT Deserializer::Close() noexcept {
  Ref<Deserializer> const self = Ref<Deserializer>::Share(this);
  if (inFrame) {
    while ((depth >= 0 || untracked > 0) && Deserializer::EndChunk())
      continue;  // the body, the frame, and any chunk that the client left open
  }
  if (buffered) buffered->EndBuffering();
  buffered = nullptr;
  stream.Reset();
  objects.Reset();
  depth = -1;
  untracked = 0;
  inFrame = false;
  return S_OK;
}

HRESULT Deserializer::ReadReference(Unknown** object) noexcept {
  constexpr char OPERATION[] = "Deserializer::ReadReference";
  if (!object) return FailNull(OPERATION, L"object");
  *object = nullptr;
  Ref<Deserializer> const self = Ref<Deserializer>::Share(this);
  unsigned const before = ErrorCount();
  unsigned index;
  if (!ReadNumber(index))
    return FailSince(before, E_INVALIDARG, OPERATION, L"damaged: a reference is truncated");
  if (!objects || index >= static_cast<unsigned>(objects->Count())) return FailReference(index);
  auto* const entry = static_cast<Unknown*>(objects->At(static_cast<int>(index)));
  if (!entry) return Fail(E_NOINTERFACE, OPERATION, L"object %u could not be created", index);
  *object = Ref<Unknown>::Share(entry).Detach();
  return S_OK;
}

unsigned short Deserializer::BeginChunk() noexcept {
  if (!stream) return FailClosed(BEGIN_CHUNK), uint16_t{0};
  return EnterChunk(depth >= 0 ? chunks[depth].end : streamSize);
}

unsigned Deserializer::GetChunkSize() noexcept {
  return depth >= 0 && untracked == 0 ? chunks[depth].payload : 0;
}

bool Deserializer::IsInChunk() noexcept {
  if (depth < 0 || untracked > 0 || chunks[depth].ended) return false;
  unsigned const end = chunks[depth].end;
  Held const held = Hold();
  return stream->GetPosition() < end;
}

bool Deserializer::EndChunk() noexcept {
  constexpr char OPERATION[] = "Deserializer::EndChunk";
  if (depth < 0 && untracked == 0) return Fail(E_FAIL, OPERATION, L"no chunk is open"), false;
  Held const held = Hold();
  Stream* const from = stream.get();
  unsigned const end = depth >= 0 ? chunks[depth].end : streamSize;
  // A chunk that is not on the stack ends with its parent, which stays the innermost.
  if (untracked > 0) {
    --untracked;
  } else {
    --depth;
  }
  FailureMark const before;
  HRESULT const moved = Note(SeekTo(*from, end));
  bool const there = Succeeded(moved);
  if (!there) FailSince(before, moved, OPERATION, L"cannot seek to byte %u", end);
  if (!there && depth >= 0) chunks[depth].ended = true;  // otherwise the parent's loop would not end
  return true;
}

unsigned Deserializer::GetVersion() noexcept { return version; }

HRESULT Deserializer::GetFailure() noexcept { return failure; }

unsigned Deserializer::GetRemaining() noexcept {
  if (!stream || untracked > 0 || (depth >= 0 && chunks[depth].ended)) return 0;
  unsigned const end = depth >= 0 ? chunks[depth].end : streamSize;
  Held const held = Hold();
  unsigned const position = stream->GetPosition();
  return position < end ? end - position : 0;
}

HRESULT Deserializer::AddReference(Unknown* object) noexcept {
  if (!stream) return FailClosed("Deserializer::AddReference");
  if (!objects) objects = Ref<Array>::Adopt(Array::CreateEx(Array::ReleasesObjects()));
  if (!objects) return Note(E_OUTOFMEMORY);
  return AppendObject(*objects, Ref<Unknown>::Share(object)) ? S_OK : Note(E_OUTOFMEMORY);
}

/// Reads a header and enters its chunk, which must not end after `bound`. A corrupt chunk is entered as one
/// without payload that extends to `bound`, so that leaving it always moves forward.
unsigned short Deserializer::EnterChunk(unsigned bound) noexcept {
  Held const held = Hold();
  Stream* const from = stream.get();
  bool const inEnded = depth >= 0 && chunks[depth].ended;
  unsigned const start = from->GetPosition();
  if (stream != from) return 0;  // closed by a call from the stream
  unsigned const left = !inEnded && start < bound ? bound - start : 0;
  unsigned char bytes[chunk::HEADER_SIZE] = {};
  bool const whole = left >= sizeof bytes && ReadThere(bytes, sizeof bytes) == sizeof bytes;
  Header const header = HeaderOf(bytes);
  bool const sound = whole && header.size >= chunk::HEADER_SIZE && header.size <= left;
  unclosed = whole && header.tag == chunk::FILE_FRAME && header.size < chunk::HEADER_SIZE;
  if (unclosed) Note(FailUnclosed());
  bool const isCorrupt = !sound && left > 0 && !unclosed;
  if (isCorrupt && whole) Note(FailCorrupt(start, header, left));
  if (isCorrupt && !whole) Note(left < sizeof bytes ? FailNoHeader(start, left) : YK_E_BADFILE);
  if (stream != from) return 0;  // closed by a call from the stream
  if (untracked > 0 || !GrowBlock(chunks.items, chunks.capacity, static_cast<size_t>(depth) + 2)) {
    ++untracked;
    Note(FailChunkMemory(BEGIN_CHUNK, depth + 1));
    return 0;
  }
  OpenChunk const entered = {header.tag, false, header.size - chunk::HEADER_SIZE, start + header.size};
  OpenChunk const corrupt = {0, true, 0, bound};
  chunks[++depth] = sound ? entered : corrupt;
  return chunks[depth].tag;
}

HRESULT Deserializer::ReadFrame() noexcept {
  unsigned const before = ErrorCount();
  unsigned short const first = BeginChunk();
  if (unclosed) return E_FAIL;
  if (first != chunk::FILE_FRAME) return FailSince(before, YK_E_BADFILE, OPEN, L"not an object file");
  while (IsInChunk()) {
    unsigned short const tag = BeginChunk();
    if (tag == chunk::BODY) {
      inFrame = true;
      return S_OK;
    }
    if (tag == 0) return FailSince(before, YK_E_BADFILE, OPEN, L"damaged before its body");
    HRESULT const result = ReadFramePart(tag);
    if (Failed(result)) return result;
    EndChunk();
  }
  return FailSince(before, E_FAIL, OPEN, L"the file ends before its body");
}

HRESULT Deserializer::ReadFramePart(unsigned short tag) noexcept {
  unsigned const before = ErrorCount();
  switch (tag) {
    case chunk::VERSION:
      if (ReadNumber(version)) return S_OK;
      return FailSince(before, YK_E_BADFILE, OPEN, L"damaged: the version is missing");
    case chunk::CLASS_TABLE_OFFSET:
      return CheckTable(chunk::CLASS_TABLE);
    case chunk::OBJECT_TABLE_OFFSET:
      return CheckTable(chunk::OBJECT_TABLE);
    default:
      return S_OK;  // the banner, a table, or an addition of a later version
  }
}

/// Reads the table's offset and checks it: it may be anywhere inside the stream.
HRESULT Deserializer::CheckTable(unsigned short tag) noexcept {
  constexpr wchar_t NO_TABLE[] = L"damaged: there is no table %u at byte %u";
  unsigned const before = ErrorCount();
  unsigned offset;
  if (!ReadNumber(offset))
    return FailSince(before, YK_E_BADFILE, OPEN, L"damaged: the offset of table %u is truncated", tag);
  if (offset == 0 && tag == chunk::OBJECT_TABLE) return S_OK;
  Ref<Stream> const from = stream;
  // Contract: seeks to the class table even without one.
  if (!from || offset > streamSize - fileStart || Failed(SeekTo(*from, fileStart + offset)))
    return FailSince(before, YK_E_BADFILE, OPEN, NO_TABLE, tag, offset);
  if (offset == 0) return S_OK;
  if (EnterChunk(streamSize) != tag) return FailSince(before, YK_E_BADFILE, OPEN, NO_TABLE, tag, offset);
  EndChunk();
  return S_OK;
}

bool Deserializer::ReadNumber(unsigned& number) noexcept {
  number = 0;
  if (GetRemaining() < sizeof number) return false;
  return ReadThere(&number, sizeof number) == sizeof number;
}

/// Reads bytes that exist according to the sizes; if they do not, that is a failure. \return bytes read
unsigned Deserializer::ReadThere(void* buffer, unsigned size) noexcept {
  Held const held = Hold();
  Stream* const from = stream.get();
  if (!from) return 0;  // closed by a call from the stream
  FailureMark const before;
  HRESULT read;
  unsigned const done = ReadUpTo(*from, buffer, size, &read);
  HRESULT const result = Succeeded(read) && done < size ? E_FAIL : read;
  if (Failed(result))
    FailSince(before, result, "Deserializer::Read", L"only %u of %u bytes could be read", done, size);
  Note(result);
  return done;
}

/// Stores a failure, if it is the first. \return the result
HRESULT Deserializer::Note(HRESULT result) noexcept {
  if (Failed(result) && failure == S_OK) failure = result;
  return result;
}

void ReadInChunk(Deserializer& reader, void* buffer, unsigned size) noexcept {
  unsigned const remaining = reader.GetRemaining();
  unsigned const there = size < remaining ? size : remaining;
  if (there > 0) reader.ReadThere(buffer, there);
  memset(static_cast<unsigned char*>(buffer) + there, 0, size - there);
}

HRESULT NoteFailure(Deserializer& reader, HRESULT result) noexcept { return reader.Note(result); }

}  // namespace yk
