// Object files: written directly and through SaveFile, and read, with every type of value in them. The host
// checks no result of a call, only the first failure at the end.
#include <qecore/draw/geometry.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/save_file.h>
#include <qecore/io/serializer.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>

#include "faults.h"

namespace faults {

namespace {

constexpr char16_t PATH[] = u"C:\\document";
constexpr char OLD_FILE[] = "what was there before";
constexpr unsigned short VALUES_TAG = 77, TITLE_TAG = 78, BYTES_TAG = 79, TEXT_TAG = 5, REFERENCES_TAG = 80;
constexpr wchar_t TITLE[] = L"a title";
constexpr char BYTES[] = "0123456789";

template <class Value>
void Put(Map& map, unsigned key, Value const& value) {
  Variant variant;
  variant.Init(value);
  map.SetValue(key, variant);
}

/// A value of each type that a file can hold.
Ref<Map> MakeValues() {
  Ref<Map> map = Ref<Map>::Adopt(Map::Create());
  unsigned key = 0;
  auto const put = [&](auto const&... values) { (Put(*map, ++key, values), ...); };
  put(true, short{-2}, 3, int64_t{-4}, static_cast<unsigned char>(5), static_cast<unsigned short>(6), 7u,
      uint64_t{8}, 9.5f, 10.5, L"sunset over the lake", "narrow", point2d{1, 2}, point3d{1, 2, 3},
      point2df{1, 2});
  Variant blob;
  blob.Init("bytes", 5, false);
  map->SetValue(++key, blob);
  return map;
}

void Write(Serializer& writer) {
  Ref<Map> const values = Calmly(MakeValues);
  String const title = Calmly([] { return String(TITLE); });
  writer.BeginChunk(VALUES_TAG);
  values->Save(&writer, nullptr);
  writer.EndChunk();
  writer.BeginChunk(TITLE_TAG);
  title.Save(&writer, TEXT_TAG);
  writer.EndChunk();
  writer.WriteChunk(BYTES_TAG, BYTES, sizeof BYTES);
  writer.BeginChunk(REFERENCES_TAG);
  writer.WriteReference(values.get());
  writer.WriteReference(values.get());
  writer.EndChunk();
}

// More than are searched one by one.
void WriteReferences(Serializer& writer) {
  Ref<Map> objects[100];
  for (Ref<Map>& object : objects) object = Calmly([] { return Ref<Map>::Adopt(Map::Create()); });
  for (int i = 0; i < 2; ++i) {
    for (Ref<Map> const& object : objects) writer.WriteReference(object.get());
  }
}

// More than a file stream keeps in memory, in pieces, with chunks that begin in another piece than they end.
void WriteLarge(Serializer& writer) {
  static std::string const piece(700, 'p');
  for (unsigned i = 0; i < 300; ++i) {
    if (i % 100 == 0) writer.BeginChunk(VALUES_TAG);
    writer.BeginChunk(TITLE_TAG);
    writer.GetStream()->Write(piece.data(), 700);
    writer.EndChunk();
    if (i % 100 == 99) writer.EndChunk();
  }
}

// \return whether there was a writer
template <class Body>
bool WriteFile(Stream& stream, Outcome& outcome, Body body) {
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  if (!outcome.Note(writer.get() != nullptr)) return false;
  writer->Open(&stream, 0);
  body(*writer);
  writer->Close();
  outcome.Note(writer->GetFailure());
  return true;
}

std::string BytesOf(Stream& memory) {
  void* content = nullptr;
  static_cast<MemStream&>(memory).GetBuffer(&content);
  return {static_cast<char const*>(content), content ? memory.GetSize() : 0};
}

template <class Body>
std::string SavedToMemory(Body body) {
  harness::Calm const calm;
  Ref<Stream> stream;
  Outcome outcome;
  if (Failed(MemStream::Create(stream.Receive())) || !WriteFile(*stream, outcome, body)) abort();
  return BytesOf(*stream);
}

/// The bytes of a valid file.
std::string const& Sound() {
  static std::string const bytes = SavedToMemory(Write);
  return bytes;
}

void PutOldFile() {
  Sound();  // created before anything fails
  PutOnly(PATH, OLD_FILE);
}

void PutSoundFile() { PutOnly(PATH, Sound()); }

template <class Body>
Outcome SaveStraight(Body body) {
  Outcome outcome;
  std::string const sound = SavedToMemory(body);
  Ref<Stream> stream;
  if (!outcome.Note(FileStream::Create(Wide(PATH), FileStream::CREATE, stream.Receive())))
    return outcome.End();
  if (!WriteFile(*stream, outcome, body)) return outcome.End();
  outcome.whole = harness::ReadFile(PATH) == sound;
  return outcome;
}

Outcome SaveStraight() { return SaveStraight(Write); }
Outcome SaveLarge() { return SaveStraight(WriteLarge); }

template <class Body>
Outcome SaveToMemory(Body body) {
  Outcome outcome;
  std::string const sound = SavedToMemory(body);
  Ref<Stream> stream;
  if (!outcome.Note(MemStream::Create(stream.Receive())) || !WriteFile(*stream, outcome, body))
    return outcome.End();
  outcome.whole = Calmly([&] { return BytesOf(*stream); }) == sound;
  return outcome;
}

Outcome SaveToMemory() { return SaveToMemory(Write); }
Outcome SaveReferences() { return SaveToMemory(WriteReferences); }

Outcome SaveWhole() {
  Outcome outcome;
  SaveFile file;
  bool saved = outcome.Note(file.Open(Wide(PATH))) && WriteFile(*file.GetStream(), outcome, Write);
  if (Succeeded(outcome.reported)) outcome.Note(file.Commit());
  file.Discard();
  outcome.whole = saved && harness::ReadFile(PATH) == Sound();
  outcome.broken = CheckReplaced(PATH, OLD_FILE, Sound());
  if (harness::ListFiles().size() != 1) outcome.broken = "another file is left in the folder";
  return outcome;
}

// ---- loading

// Equal when they are saved equally, since some types never compare equal.
bool AreTheValues(Map& map) {
  harness::Calm const calm;
  return SavedToMemory([&](Serializer& writer) { map.Save(&writer, nullptr); }) ==
         SavedToMemory([](Serializer& writer) { MakeValues()->Save(&writer, nullptr); });
}

bool ReadValues(Deserializer& reader) {
  Ref<Map> const map = Calmly([] { return Ref<Map>::Adopt(Map::Create()); });
  map->Load(&reader, nullptr);
  return AreTheValues(*map);
}

bool ReadTitle(Deserializer& reader) {
  String title;
  if (reader.BeginChunk() == TEXT_TAG) title.Load(&reader);
  reader.EndChunk();
  return title == TITLE;
}

bool ReadBytes(Deserializer& reader) {
  char bytes[sizeof BYTES] = {};
  unsigned done = 0;
  return Succeeded(reader.GetStream()->Read(bytes, sizeof bytes, &done)) && done == sizeof bytes &&
         !memcmp(bytes, BYTES, sizeof bytes);
}

bool ReadReferences(Deserializer& reader) {
  Ref<Map> const map = Calmly([] { return Ref<Map>::Adopt(Map::Create()); });
  Unknown* object = nullptr;
  reader.ReadReference(&object);  // the first occurrence: the object is created and added
  if (reader.BeginChunk() == chunk::FIRST_OCCURRENCE) reader.AddReference(map.get());
  reader.EndChunk();
  reader.ReadReference(&object);
  Ref<Unknown> const again = Ref<Unknown>::Adopt(object);
  return again.get() == map.get();
}

struct Part {
  unsigned short tag;
  bool (*read)(Deserializer&);
};
constexpr Part PARTS[] = {{VALUES_TAG, ReadValues},
                          {TITLE_TAG, ReadTitle},
                          {BYTES_TAG, ReadBytes},
                          {REFERENCES_TAG, ReadReferences}};

Outcome Load() {
  Outcome outcome;
  Ref<Stream> stream;
  if (!outcome.Note(FileStream::Create(Wide(PATH), FileStream::READ, stream.Receive()))) return outcome.End();
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  if (!outcome.Note(reader.get() != nullptr)) return outcome.End();
  reader->Open(stream.get(), 0);
  size_t sound = 0;
  bool failedHere = false;  // the host checks the results of its own reads
  while (reader->IsInChunk()) {
    unsigned short const tag = reader->BeginChunk();
    for (Part const& part : PARTS) {
      bool const read = part.tag == tag && part.read(*reader);
      sound += read;
      failedHere = failedHere || (tag == BYTES_TAG && part.tag == tag && !read);
    }
    reader->EndChunk();
  }
  outcome.Note(reader->GetFailure());
  outcome.Note(!failedHere);
  outcome.whole = sound == std::size(PARTS);
  return outcome;
}

// A failure to track a chunk is compensated by the chunks around it.
Outcome Nest() {
  constexpr unsigned LEVELS = 100;  // more than are preallocated
  auto const write = [](Serializer& writer) {
    for (unsigned i = 0; i < LEVELS; ++i) writer.BeginChunk(TEXT_TAG);
    for (unsigned i = 0; i < LEVELS; ++i) writer.EndChunk();
  };
  std::string const sound = SavedToMemory(write);
  Outcome outcome;
  Ref<Stream> stream;
  if (!outcome.Note(MemStream::Create(stream.Receive())) || !WriteFile(*stream, outcome, write))
    return outcome.End();
  outcome.whole = Calmly([&] { return BytesOf(*stream); }) == sound;
  stream = Calmly([&] {
    Ref<Stream> made;
    if (Succeeded(MemStream::Create(made.Receive())))
      made->Write(sound.data(), static_cast<unsigned>(sound.size()));
    made->Seek(0, Stream::FROM_START);
    return made;
  });
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  if (!outcome.Note(reader.get() != nullptr) || !outcome.Note(reader->Open(stream.get(), 0)))
    return outcome.End();
  unsigned entered = 0;
  for (unsigned i = 0; i < LEVELS; ++i) {
    if (reader->BeginChunk() == TEXT_TAG) ++entered;
    bool const isLost = entered <= i;
    if (isLost && (reader->IsInChunk() || reader->GetRemaining() || reader->GetChunkSize()))
      outcome.broken = "payload in a chunk that was not entered";
  }
  for (unsigned i = 0; i < LEVELS; ++i) reader->EndChunk();
  if (reader->IsInChunk()) outcome.broken = "a reader past the end";
  outcome.Note(reader->GetFailure());
  outcome.whole = outcome.whole && entered == LEVELS;
  return outcome;
}

constexpr Scenario SCENARIOS[] = {
    {"object file: save", SAVING, PutOldFile, SaveStraight},
    {"object file: save a large one", SAVING, PutOldFile, SaveLarge},
    {"object file: save to memory", SAVING, PutOldFile, SaveToMemory},
    {"object file: save references", harness::MEMORY, nullptr, SaveReferences},
    {"object file: save whole", SAVING, PutOldFile, SaveWhole},
    {"object file: load", LOADING, PutSoundFile, Load},
    {"object file: nest", harness::MEMORY, nullptr, Nest},
};

}  // namespace

std::span<Scenario const> ObjectFileScenarios() { return SCENARIOS; }

}  // namespace faults
