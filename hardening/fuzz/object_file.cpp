// Object files: the reader and everything that loads through it, over arbitrary bytes; the writer with
// arbitrary sequences of calls, and its output read back; and qetool's tree of chunks.
#include <qecore/draw/geometry.h>
#include <qecore/image/image_chunk.h>
#include <qecore/io/buffered_stream.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/serializer.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>

#include <utility>

#include "images.h"
#include "target.h"
#include "tools/qetool/chunk_tree.h"

namespace fuzz {

using namespace yk;

namespace {

constexpr int DEEPEST = 60;  // of this file's own recursion

void Walk(Deserializer& reader, Input& script, int depth);

void SaveAgain(qe_Streamable& object) {
  Ref<Stream> out;
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  if (!writer || Failed(MemStream::Create(out.Receive()))) return;
  writer->Open(out.get(), chunk::RAW);
  object.Save(writer.get(), nullptr);
  writer->Close();
}

void LoadMap(Deserializer& reader, Input& script, int) {
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  if (!map) return;
  map->Load(&reader, nullptr);
  Variant value;
  map->GetValue(script.Byte(), value);
  map->Remove(script.Byte());
  map->SetValue(3, value);
  SaveAgain(*map);
}

template <class... Kind>
void ConvertToAll(Variant const& value) {
  (
      [&] {
        Kind out;
        value.Get(out);
      }(),
      ...);
}

void LoadVariant(Deserializer& reader, Input&, int) {
  Variant value, copy;
  value.Load(&reader, nullptr);
  ConvertToAll<int, unsigned, float, double, bool, unsigned char, unsigned short, point2d, String>(value);
  value.Get(copy);
  value.Compare(copy);
  copy.Init(value);
  char narrow[7];
  wchar_t wide[5];
  value.Get(narrow, sizeof narrow);
  value.Get(wide, std::size(wide));
  value.Get(static_cast<void*>(narrow), sizeof narrow);
  void* data = nullptr;
  value.GetDataPtr(&data);
  value.GetI();
}

void LoadString(Deserializer& reader, Input&, int) {
  String text;
  text.Load(&reader);
  Require(text.c_str()[text.Length()] == 0, "a loaded text is terminated");
}

void ReadReference(Deserializer& reader, Input&, int) {
  Unknown* object = nullptr;
  HRESULT const result = reader.ReadReference(&object);
  Require(Succeeded(result) == (object != nullptr), "success comes with an object");
  if (object) object->Release();
}

void AddObject(Deserializer& reader, Input&, int) {
  Ref<Thing> const thing = Ref<Thing>::Adopt(new Thing);
  reader.AddReference(thing.get());
}

void AddNothing(Deserializer& reader, Input&, int) { reader.AddReference(nullptr); }

void EnterChunk(Deserializer& reader, Input& script, int depth) {
  reader.BeginChunk();
  Require(reader.GetRemaining() <= reader.GetChunkSize(), "the rest of a chunk does not exceed its size");
  reader.IsInChunk();
  if (depth < DEEPEST) Walk(reader, script, depth + 1);
  reader.EndChunk();
}

void SkipAll(Deserializer& reader, Input&, int) {
  while (reader.IsInChunk()) {
    reader.BeginChunk();
    reader.EndChunk();
  }
}

// A misbehaving client: enters chunks within chunks and never leaves. Deeper than the reader's initial stack
// of chunks is enough: frequent steps should be cheap.
void DiveAndRise(Deserializer& reader, Input& script, int) {
  int const depth = script.Below(48);
  for (int i = 0; i < depth; ++i) reader.BeginChunk();
  for (int i = 0; i < depth; ++i) reader.EndChunk();
}

void ReadText(Deserializer& reader, Input&, int) {
  String text;
  if (Stream* const stream = reader.GetStream()) stream->Read(text);
}

void LoadImage(Deserializer& reader, Input&, int) {
  Ref<Image2d> image;
  HRESULT const result = img::LoadFrom(reader, image.Receive());
  Require(Succeeded(result) == static_cast<bool>(image), "success comes with an image");
  if (image && image->bits) Touch(*image);
}

using ReadStep = void (*)(Deserializer&, Input&, int depth);
constexpr ReadStep READ_STEPS[] = {LoadMap,   LoadVariant, LoadString, ReadReference,
                                   AddObject, AddNothing,  EnterChunk, EnterChunk,
                                   LoadImage, SkipAll,     ReadText,   DiveAndRise};

constexpr uint8_t LEAVE = 255;  // instead of a step: leaves the chunk

void Walk(Deserializer& reader, Input& script, int depth) {
  for (int turns = 0; turns < 200 && script.More(); ++turns) {
    if (script.Peek() == LEAVE) return static_cast<void>(script.Byte());
    script.Step(READ_STEPS)(reader, script, depth);
  }
}

/// Bits of the second byte of an input.
enum How : unsigned { BUFFERED = 1, RAW = 2, STUBBORN = 4, TWICE = 8, CLOSED = 16 };

}  // namespace

// how, length of the script, script, file
void ReadObjectFile(Input& in) {
  unsigned const how = in.Byte();
  Input const script = in.Part(in.Byte());
  std::vector<uint8_t> const file = in.Rest();
  Ref<Stream> stream = StreamOf(file.data(), file.size());
  if (how & BUFFERED) {
    Ref<Stream> inner = stream;
    if (Failed(ykCreateBufferedStream(inner.get(), stream.Receive()))) return;
  }
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  if (!reader) return;
  bool const opened = Succeeded(reader->Open(stream.get(), how & RAW ? chunk::RAW : 0));
  Input first = script, second = script;
  if (opened || how & STUBBORN) Walk(*reader, first, 0);
  if (how & TWICE) {
    stream->Seek(0, Stream::FROM_START);
    reader->Open(stream.get(), 0);
    Walk(*reader, second, 0);
  }
  if (how & CLOSED) reader->Close();
}

void ReadChunkTree(Input& in) {
  std::vector<uint8_t> const file = in.Rest();
  qetool::ChunkTree const tree = qetool::ParseChunks(file);
  Require(tree.nodes.size() <= file.size(), "no more chunks than bytes");
  for (qetool::ChunkNode const& node : tree.nodes) {
    qetool::ChunkName(node, tree.ParentOf(node));
    qetool::DescribePlain(node);
    bool const inside = node.payload.empty() || (node.payload.data() >= file.data() &&
                                                 &node.payload.back() < file.data() + file.size());
    Require(inside, "a payload is inside the file");
  }
}

// ---- the writer

namespace {

struct Writing {
  Ref<Stream> stream;
  Ref<Serializer> writer;
  Ref<Thing> things[4];
};

void OpenFile(Writing& w, Input& in) { w.writer->Open(w.stream.get(), in.Below(4)); }
void CloseFile(Writing& w, Input&) { w.writer->Close(); }
void BeginChunk(Writing& w, Input& in) { w.writer->BeginChunk(in.Byte()); }
void EndChunk(Writing& w, Input&) { w.writer->EndChunk(); }
void WriteNull(Writing& w, Input&) { w.writer->WriteReference(nullptr); }
void WriteThing(Writing& w, Input& in) { w.writer->WriteReference(in.Pick(w.things).get()); }

void BeginOptional(Writing& w, Input& in) {
  unsigned short const tag = in.Byte();
  w.writer->BeginChunk(tag, in.Flag() ? chunk::DROP_IF_EMPTY : 0);
}

void WriteBytes(Writing& w, Input& in) {
  std::vector<char> const bytes = in.Narrow(60);
  w.writer->WriteChunk(in.Byte(), bytes.data(), static_cast<unsigned>(bytes.size()));
}

void WriteText(Writing& w, Input& in) {
  std::vector<char> const text = in.Narrow(60);
  w.writer->WriteStringChunk(in.Byte(), text.data());
}

void SaveString(Writing& w, Input& in) {
  String const text(in.Wide(40).data());
  text.Save(w.writer.get(), in.Byte());
}

void SaveMap(Writing& w, Input& in) {
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  if (!map) return;
  Variant value;
  value.Init(in.Take<int>());
  map->SetValue(in.Byte(), value);
  value.Init(in.Wide(20).data());
  map->SetValue(in.Byte(), value);
  map->Save(w.writer.get(), nullptr);
}

void NestDeep(Writing& w, Input& in) {
  for (unsigned i = in.Byte() * 8; i > 0; --i) w.writer->BeginChunk(5);
}

using WriteStep = void (*)(Writing&, Input&);
constexpr WriteStep WRITE_STEPS[] = {OpenFile,  CloseFile,  BeginChunk, BeginChunk, BeginOptional,
                                     EndChunk,  EndChunk,   WriteBytes, WriteText,  WriteThing,
                                     WriteNull, SaveString, SaveMap,    NestDeep};

}  // namespace

void WriteObjectFile(Input& in) {
  Writing w;
  w.writer = Ref<Serializer>::Adopt(Serializer::Create());
  if (!w.writer || Failed(MemStream::Create(w.stream.Receive()))) return;
  for (Ref<Thing>& thing : w.things) thing = Ref<Thing>::Adopt(new Thing);
  Play(in, 400, WRITE_STEPS, w);
  w.writer->Close();
  w.stream->Seek(0, Stream::FROM_START);
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  if (reader && Succeeded(reader->Open(w.stream.get(), 0))) Walk(*reader, in, 0);
}

// ---- seeds

namespace {

struct Sample {
  char const* name;
  char const* script;  // the steps of READ_STEPS that read it
  void (*write)(Serializer& writer);
};

template <class Value>
void Put(Map& map, unsigned key, Value const& value) {
  Variant variant;
  variant.Init(value);
  map.SetValue(key, variant);
}

void WriteAllKinds(Serializer& writer) {
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  unsigned key = 0;
  auto const put = [&](auto const&... values) { (Put(*map, ++key, values), ...); };
  put(true, short{-2}, 3, int64_t{-4}, static_cast<unsigned char>(5), static_cast<unsigned short>(6), 7u,
      uint64_t{8}, 9.5f, 10.5, L"wide", "narrow", point2d{1, 2}, point3d{1, 2, 3}, point3df{1, 2, 3},
      point2df{1, 2}, matrix2d{});
  Variant blob;
  blob.Init("bytes", 5, false);
  map->SetValue(++key, blob);
  map->Save(&writer, nullptr);
}

void WriteTexts(Serializer& writer) {
  writer.WriteStringChunk(20, "narrow");
  String(L"a title").Save(&writer, 21);
  writer.GetStream()->WriteStringAsUTF8(L"caf\u00E9", false);
}

void WriteReferences(Serializer& writer) {
  Ref<Thing> const things[] = {Ref<Thing>::Adopt(new Thing), Ref<Thing>::Adopt(new Thing)};
  for (int const index : {0, 1, 0, 1}) writer.WriteReference(things[index].get());
}

void WriteNested(Serializer& writer) {
  for (unsigned short tag = 100; tag < 112; ++tag) writer.BeginChunk(tag);
  writer.WriteChunk(7, "deep", 4);
  for (int i = 0; i < 12; ++i) writer.EndChunk();
}

void WriteImages(Serializer& writer) {
  for (IMG_FORMAT const format : {IMG_PAL4, IMG_BGR24, IMG_GRAYF}) {
    Ref<Image2d> const image = Ref<Image2d>::Adopt(Image2d::Create());
    if (Failed(image->Create(format, 5, 3))) return;
    img::SaveTo(writer, *image, 9, Guid());
  }
}

constexpr Sample SAMPLES[] = {
    {"kinds", "\x00\x01", WriteAllKinds},
    {"texts", "\x06\x02\x06\x02", WriteTexts},
    {"references", "\x03\x04\x03\x04\x03\x03", WriteReferences},
    {"nested", "\x06\x06\x06\x06\x06\x09", WriteNested},
    {"images", "\x06\x08\xFF\x06\x08\xFF\x06\x08\xFF", WriteImages},
};

std::string Written(Sample const& sample, unsigned flags) {
  Ref<Stream> const stream = StreamOf(nullptr, 0);
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  writer->Open(stream.get(), flags);
  sample.write(*writer);
  writer->Close();
  return BytesOf(*stream);
}

}  // namespace

void SeedObjectFile(Seeds& seeds) {
  for (Sample const& sample : SAMPLES) {
    std::string const script(sample.script, strlen(sample.script + 1) + 1);
    std::string const head = std::string(1, static_cast<char>(script.size())) + script;
    seeds.Add(std::string(sample.name) + "-framed", std::string(1, '\0') + head + Written(sample, 0));
    seeds.Add(std::string(sample.name) + "-raw", std::string(1, RAW) + head + Written(sample, chunk::RAW));
  }
}

void SeedChunkTree(Seeds& seeds) {
  for (Sample const& sample : SAMPLES) seeds.Add(sample.name, Written(sample, 0));
}

}  // namespace fuzz
