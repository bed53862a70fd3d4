// Memory streams compared with a simple model, arenas whose allocations must not overlap, and file types by
// their first bytes.
#include <qecore/core/memory.h>
#include <qecore/io/buffered_stream.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/file_type.h>
#include <qecore/io/mem_stream.h>
#include <qecore/values/string.h>

#include <string_view>

#include "target.h"

namespace fuzz {

using namespace yk;

// ---- memory streams

namespace {

constexpr size_t LARGEST = 1500000;

struct Streaming {
  Ref<Stream> stream;
  std::unique_ptr<char[]> buffer;  // attached
  std::vector<uint8_t> model;
  size_t position = 0;
  bool modelled = true;

  MemStream& Memory() { return static_cast<MemStream&>(*stream); }
};

unsigned Length(Input& in) { return in.OneIn(16) ? in.Take<uint16_t>() : in.Byte(); }

void Write(Streaming& s, Input& in) {
  if (s.stream->GetSize() > LARGEST) return;
  std::vector<uint8_t> const bytes(Length(in), in.Byte());
  unsigned done = ~0u;
  s.stream->Write(bytes.data(), static_cast<unsigned>(bytes.size()), &done);
  Require(done <= bytes.size(), "no more is written than requested");
  if (!s.modelled || bytes.empty()) return;
  Require(done == bytes.size(), "memory accepts everything");
  s.model.resize(std::max(s.model.size(), s.position + bytes.size()));
  std::copy(bytes.begin(), bytes.end(), s.model.begin() + s.position);
  s.position += bytes.size();
}

/// Reads and compares with the model at `position`. \return the bytes read
unsigned ReadAndCompare(Stream& stream, unsigned size, Streaming const& s, size_t position) {
  std::vector<uint8_t> bytes(size, 0xEE);
  unsigned done = ~0u;
  stream.Read(bytes.data(), size, &done);
  Require(done <= size, "no more is read than requested");
  Require(std::all_of(bytes.begin() + done, bytes.end(), [](uint8_t b) { return b == 0; }),
          "the rest reads as zero");
  if (!s.modelled) return done;
  Require(done == std::min<size_t>(size, s.model.size() - position), "all available bytes are read");
  Require(std::equal(bytes.begin(), bytes.begin() + done, s.model.begin() + position),
          "what was written is read");
  return done;
}

void Read(Streaming& s, Input& in) {
  unsigned const done = ReadAndCompare(*s.stream, Length(in) * 3, s, s.position);
  s.position += s.modelled ? done : 0;
}

void Seek(Streaming& s, Input& in) {
  int const offset = in.OneIn(4) ? in.Any() : in.Small();
  unsigned const origin = in.Below(3);
  HRESULT const result = s.stream->Seek(offset, origin);
  if (!s.modelled) return;
  int64_t const starts[] = {0, static_cast<int64_t>(s.position), static_cast<int64_t>(s.model.size())};
  int64_t const target = starts[origin] + offset;
  bool const inside = target >= 0 && target <= static_cast<int64_t>(s.model.size());
  Require(Succeeded(result) == inside, "only positions inside the content can be sought");
  if (inside) s.position = static_cast<size_t>(target);
  Require(s.stream->GetPosition() == s.position, "a seek sets the position");
}

// New bytes are uninitialised: the model copies them.
void Resize(Streaming& s, Input& in) {
  unsigned const size = in.Take<uint16_t>() % 2048 * (in.OneIn(8) ? 64 : 1);
  if (Failed(s.stream->SetSize(size)) || !s.modelled) return;
  void* content = nullptr;
  s.Memory().GetBuffer(&content);
  size_t const before = s.model.size();
  s.model.resize(size);
  if (size > before && content) memcpy(&s.model[before], static_cast<char*>(content) + before, size - before);
  s.position = std::min<size_t>(s.position, size);
}

void LookInside(Streaming& s, Input&) {
  void* content = nullptr;
  s.Memory().GetBuffer(&content);
  unsigned const size = s.stream->GetSize();
  Require(size == 0 || content, "content has an address");
  if (size > 0) {
    char const volatile last = static_cast<char*>(content)[size - 1];
    (void)last;
  }
  if (s.modelled) Require(size == s.model.size(), "a stream has the size of its model");
}

void ReadText(Streaming& s, Input&) {
  if (s.modelled) return;
  String text;
  s.stream->Read(text);
}

using Step = void (*)(Streaming&, Input&);
constexpr Step STEPS[] = {Write, Write, Write, Read, Read, Seek, Seek, Resize, LookInside, ReadText};

void Start(Streaming& s, Input& in) {
  unsigned const how = in.Below(4), size = in.Byte();
  s.modelled = !MayFail() && how != 1;
  if (how == 2) s.Memory().Attach(nullptr);
  if (how != 1) return;
  s.buffer = std::make_unique<char[]>(size);
  s.Memory().AttachBuffer(s.buffer.get(), size);
}

void ReadBuffered(Streaming& s, Input& in) {
  Ref<Stream> buffered;
  s.stream->Seek(0, Stream::FROM_START);
  if (Failed(ykCreateBufferedStream(s.stream.get(), buffered.Receive()))) return;
  size_t at = 0;
  for (int turns = 0; turns < 30 && in.More(); ++turns) {
    if (in.Flag()) {
      at += ReadAndCompare(*buffered, in.Take<uint16_t>() % 9000, s, at);
    } else {
      at = in.Take<uint32_t>() % (s.model.size() + 1);
      buffered->Seek(static_cast<int>(at), Stream::FROM_START);
    }
    if (s.modelled) Require(buffered->GetPosition() == at, "a seek sets the position of a buffered stream");
  }
}

}  // namespace

// how, size of an attached buffer, steps; then the same content through a buffered stream and CopyStream
void UseMemStream(Input& in) {
  Streaming s;
  if (Failed(MemStream::Create(s.stream.Receive()))) return;
  Start(s, in);
  Input steps = in.Part(in.Left() * 2 / 3);
  Play(steps, 120, STEPS, s);
  ReadBuffered(s, in);
  Ref<Stream> copy;
  int const start = in.Any(), count = in.Any() % 100000;
  if (Succeeded(MemStream::Create(copy.Receive()))) CopyStream(s.stream.get(), copy.get(), start, count);
  s.stream->Seek(0, Stream::FROM_END);
  s.stream->WriteStringAsUTF8(in.Wide(255).data(), in.Flag());
}

// ---- arenas

namespace {

struct Arena {
  struct Piece {
    unsigned char* address;
    size_t size;
  };
  Ref<Malloc> arena;
  std::vector<Piece> pieces;

  // Allocations since the last Reset must not overlap, and must be writable.
  void Take(void* address, size_t size) {
    unsigned char* const bytes = static_cast<unsigned char*>(address);
    if (!bytes || size == 0) return;
    for (Piece const& p : pieces)
      Require(bytes + size <= p.address || p.address + p.size <= bytes, "allocations do not overlap");
    memset(bytes, 9, size);
    pieces.push_back({bytes, size});
  }
};

size_t Size(Input& in) { return in.OneIn(16) ? in.Take<size_t>() : in.Byte(); }

void Alloc(Arena& a, Input& in) {
  size_t const size = Size(in);
  a.Take(a.arena->Alloc(size), size);
}

void AllocZero(Arena& a, Input& in) {
  size_t const size = Size(in);
  unsigned char* const bytes = static_cast<unsigned char*>(a.arena->AllocZero(size));
  if (bytes)
    Require(std::all_of(bytes, bytes + size, [](unsigned char b) { return b == 0; }),
            "zeroed memory is zero");
  a.Take(bytes, size);
}

void AllocAligned(Arena& a, Input& in) {
  size_t const size = Size(in);
  size_t const alignment = in.OneIn(4) ? Size(in) : size_t{1} << in.Below(8);
  void* const bytes = a.arena->AllocAligned(size, alignment);
  if (bytes) Require(reinterpret_cast<uintptr_t>(bytes) % alignment == 0, "aligned memory is aligned");
  a.Take(bytes, size);
}

void Duplicate(Arena& a, Input& in) {
  std::vector<wchar_t> const text = in.Wide(50);
  wchar_t* const copy = a.arena->StrDup(text.data());
  if (copy) Require(std::equal(text.begin(), text.end(), copy), "a copy equals the original");
  a.Take(copy, text.size() * sizeof(wchar_t));
}

void Reset(Arena& a, Input& in) {
  if (!in.OneIn(8)) return;
  a.arena->Reset();
  a.pieces.clear();
}

using ArenaStep = void (*)(Arena&, Input&);
constexpr ArenaStep ARENA_STEPS[] = {Alloc, Alloc, AllocZero, AllocAligned, Duplicate, Reset};

}  // namespace

void UseArena(Input& in) {
  Arena a;
  a.arena = Ref<Malloc>::Adopt(Malloc::Create(in.OneIn(8) ? in.Any() : in.Take<uint16_t>() % 600));
  if (!a.arena) return;
  a.arena->SetThreadSafe(in.Flag());
  Play(in, 120, ARENA_STEPS, a);
}

// ---- file types

namespace {

void DetectOverFile(Input& in, unsigned from) {
  std::u16string path = u"D:\\";
  for (wchar_t const c : in.Wide(12)) {
    if (c) path += c;
  }
  std::vector<uint8_t> const bytes = in.Rest();
  Ref<Stream> file;
  {
    harness::Calm const calm;
    harness::ClearFiles();
    harness::PutFile(path, std::string(bytes.begin(), bytes.end()));
    if (Failed(FileStream::Create(String(reinterpret_cast<wchar_t const*>(path.c_str())), FileStream::READ,
                                  file.Receive())))
      return;
    file->Seek(static_cast<int>(from), Stream::FROM_START);
  }
  Guid type;
  qe_DetectFileType(file.get(), type);
  if (!MayFail()) Require(file->GetPosition() == from, "detection restores the position");
}

void DetectOverMemory(Input& in, bool buffered) {
  std::vector<uint8_t> const bytes = in.Rest();
  Ref<Stream> stream = StreamOf(bytes.data(), bytes.size());
  if (buffered) {
    Ref<Stream> const inner = stream;
    if (Failed(ykCreateBufferedStream(inner.get(), stream.Receive()))) return;
  }
  Guid type;
  qe_DetectFileType(stream.get(), type);
  Require(stream->GetPosition() == 0, "detection restores the position");
}

}  // namespace

// how, [name of the file], bytes
void DetectFileType(Input& in) {
  unsigned const how = in.Byte();
  if (how & 1)
    DetectOverFile(in, how >> 2);
  else
    DetectOverMemory(in, (how & 2) != 0);
}

void SeedFileType(Seeds& seeds) {
  using namespace std::literals;
  static constexpr std::string_view HEADS[] = {"\x89PNG\r\n\x1A\n----"sv,
                                               "GIF89a--"sv,
                                               "U3D\0--------"sv,
                                               "II*\0----"sv,
                                               "MM\0*----"sv,
                                               "BM------"sv,
                                               "\xFF\xD8\xFF\xE0\0\x10JFIF"sv,
                                               "\xFF\xD8\xFF\xE1\0\0Exif"sv};
  int number = 0;
  for (std::string_view const head : HEADS)
    seeds.Add(std::to_string(number++), std::string(1, '\0') + std::string(head));
  seeds.Add("tga", std::string(1, '\0') + std::string(40, 'x') + std::string("TRUEVISION-XFILE.\0", 18));
  for (char const* const name : {"a.png", "a.tga", "b.jpeg"}) {
    seeds.Add(name, std::string(1, '\1') + static_cast<char>(strlen(name)) + name + "12345678");
  }
}

}  // namespace fuzz
