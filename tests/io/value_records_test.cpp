#include <qecore/values/map.h>
#include <qecore/values/string.h>

#include "streams.h"
#include "support/patient_host.h"

using namespace yk;

/// A reader in a chunk with this payload, followed by bytes that it must not read.
static Ref<Deserializer> ReaderOf(std::string const& payload) {
  Ref<Deserializer> const reader = Reader(*Memory(Chunk(1, payload) + std::string(64, '#')), chunk::RAW);
  EXPECT_EQ(reader->BeginChunk(), 1);
  return reader;
}

template <class Value>
static std::string Saved(Value& value) {
  Ref<Stream> const stream = Memory();
  EXPECT_EQ(value.Save(Writer(*stream, chunk::RAW).get(), nullptr), S_OK);
  return Content(*stream);
}

TEST(VariantRecord, Bytes) {
  // blobs and objects are saved without their payload
  for (std::string const& bytes :
       {"\0\0"s, "\7\4\4\3\2\1"s, "\x0C\0\0\0\0\0\0\0\xF0?"s, "\x0D\2"s, "\x1D\2"s, "\x0E\0\3\0\0\0ab"s,
        "\x0E\6\3\0\0\0ab"s, "\x0F\0\0\0\0\0"s, "\x1A\0\0\0\x80?\0\0\0@"s}) {
    Ref<Deserializer> const reader = ReaderOf(bytes);
    Variant v;
    EXPECT_EQ(v.Load(reader.get(), nullptr), S_OK);
    EXPECT_FALSE(reader->IsInChunk());
    EXPECT_EQ(v.type, bytes[0]);
    EXPECT_EQ(Saved(v), bytes);
  }
}

TEST(VariantRecord, DamageLeavesASafeValue) {
  std::tuple<char const*, std::string, int, int> const rows[] = {
      {"a truncated scalar", "\7\0"s, 7, 0},
      {"a tag that there is not", "\x1D\2........"s, 29, 2},
      {"an object with a pointer", "\x11\0AAAAAAAA"s, 17, 0},
      {"a text longer than its chunk", "\x0E\0\4\0\0\0ab"s, 14, 0},
      {"less than a terminator", "\x0F\0\1\0\0\0"s, 15, 0},
      {"a small point", "\x17\0\4\0\0\0abcd"s, 23, 0}};
  for (auto const& [name, bytes, type, flags] : rows) {
    Variant v;
    v.value.bits = 0xAAAA;  // of an empty variant: no valid pointer
    EXPECT_EQ(v.Load(ReaderOf(bytes).get(), nullptr), S_OK) << name;
    EXPECT_EQ(std::tuple(v.type, v.flags, v.size), std::tuple(type, flags, 0u)) << name;
    EXPECT_EQ(v.value.pointer, nullptr) << name;
  }
}

TEST(VariantRecord, APayloadThatWasBorrowedWhenItWasSavedIsItsOwn) {
  Variant v, out;
  v.Load(ReaderOf("\x0F\2\6\0\0\0a\0b\0"s).get(), nullptr);
  Variant const copy(v);
  EXPECT_EQ(v.Get(out), S_OK);
  EXPECT_EQ(std::tuple(v.flags, copy.flags, out.flags), std::tuple(2, 0, 2));
  EXPECT_NE(out.value.pointer, v.value.pointer);
  v.Init(static_cast<wchar_t*>(v.value.pointer) + 1, Variant::BORROW_TEXT);  // from itself: copied
  EXPECT_EQ(v.flags, 0);
  EXPECT_TRUE(out.Compare(copy));
  void* const payload = out.value.pointer;
  out.value.pointer = v.value.pointer;  // a pointer stored from outside is borrowed, according to the flags
  out.Done();
  EXPECT_STREQ(static_cast<wchar_t*>(v.value.pointer), L"b");
  out.Init(payload, 6, true);
  out.flags = 0;  // now to be freed
}

TEST(Records, NeedAStream) {
  Ref<Map> const map = Own(Map::Create());
  Ref<Serializer> const closed = Own(Serializer::Create());
  Variant v;
  String text(L"before");
  ExpectEach(S_OK,
             {map->Save(closed.get(), nullptr), v.Save(closed.get(), nullptr), v.Load(nullptr, nullptr)});
  EXPECT_TRUE(text.Load(Own(Deserializer::Create()).get()) && text == L"");
}

TEST(StringRecord, TakesWholeCharacters) {
  std::pair<std::string, std::wstring> const rows[] = {
      {"A\0\xE9\0"s, L"A\u00E9"}, {"A\0B"s, L"A"}, {"", L""}};
  for (auto const& [payload, expected] : rows) {
    Ref<Deserializer> const reader = ReaderOf(payload);
    String text(L"before");
    EXPECT_TRUE(text.Load(reader.get()));
    EXPECT_EQ(std::wstring(text.c_str(), text.Length()), expected);
    EXPECT_FALSE(reader->IsInChunk());
  }
}

TEST(MapRecord, SavesEntriesAndAppends) {
  Ref<Map> const map = Own(Map::Create());
  std::string const saved =
      "\xE8\3\x12\0\0\0\2\1\0\0\x0E\0\3\0\0\0ab"
      "\xE8\3\x0D\0\0\0\6\0\0\0\1\0\1"s;
  std::string const strange = "\1\0\x08\0\0\0??\xE8\3\x0B\0\0\0\7\0\0\0\1"s;  // no entry; half an entry
  std::string const completed = "\xE8\3\x0D\0\0\0\7\0\0\0\1\0\0"s;
  EXPECT_EQ(map->Load(ReaderOf(saved + strange).get(), nullptr), S_FALSE);
  Variant v = Made(1);
  v.flags |= Variant::TRANSIENT;
  map->SetValue(5, v);
  EXPECT_EQ(Saved(*map), saved + completed);
  EXPECT_EQ(map->Load(ReaderOf(saved).get(), nullptr), S_FALSE);
  EXPECT_EQ(map->Count(), 6u) << "appended";
}

// A text of several pieces, alone and in a map, whose operation it is then a part of.
TEST(VariantRecord, AHostStopsInsideALargePayload) {
  Variant const text = Made(std::wstring(400'000, L'x').c_str());
  Ref<Map> const map = Own(Map::Create());
  map->SetValue(1, text);
  for (unsigned const patience : {1000u, 1u}) {
    HRESULT const expected = patience == 1 ? E_ABORT : S_OK;
    PatientHost hosts[] = {PatientHost(patience), PatientHost(patience), PatientHost(patience),
                           PatientHost(patience)};
    Ref<Stream> const stream = Memory(), inMap = Memory();
    Ref<Serializer> const writer = Writer(*stream, chunk::RAW), mapWriter = Writer(*inMap, chunk::RAW);
    EXPECT_EQ(text.Save(writer.get(), &hosts[0]), expected);
    EXPECT_EQ(map->Save(mapWriter.get(), &hosts[1]), expected);
    ExpectEach(expected, {writer->GetFailure(), mapWriter->GetFailure()});
    EXPECT_EQ(stream->GetSize() < 800'000, patience == 1);
    Variant read;
    Ref<Map> const readMap = Own(Map::Create());
    EXPECT_EQ(read.Load(ReaderOf(Saved(text)).get(), &hosts[2]), expected);
    EXPECT_EQ(readMap->Load(ReaderOf(Saved(*map)).get(), &hosts[3]), patience == 1 ? E_ABORT : S_FALSE);
    EXPECT_EQ((Ints{read.Compare(text), static_cast<int>(readMap->Count())}), Ints(2, patience != 1));
    EXPECT_EQ(read.type == Variant::EMPTY, patience == 1);
    EXPECT_STREQ(hosts[3].last.operation, "Map::Load");
  }
}

TEST(MapRecord, TellsAHostAndStops) {
  Ref<Map> const map = Own(Map::Create()), read = Own(Map::Create());
  for (unsigned key = 0; key < 3000; ++key) map->SetValue(key, Made(L"sixteen letters."));
  read->SetValue(9999, Made(1));
  for (unsigned const patience : {1000u, 0u, 1u, 2u}) {
    SpyStream stream;
    PatientHost writing(patience), reading(patience);
    Ref<Serializer> const writer = Writer(stream, chunk::RAW);
    HRESULT const saved = map->Save(writer.get(), &writing);
    EXPECT_EQ(saved, writing.stopped ? E_ABORT : S_OK);
    unsigned const before = read->Count();
    HRESULT const loaded = read->Load(ReaderOf(Saved(*map)).get(), &reading);
    EXPECT_EQ(loaded, reading.stopped ? E_ABORT : S_FALSE);
    EXPECT_EQ(read->Count(), before + (reading.stopped ? 0 : 3000));
    EXPECT_EQ(reading.stopped, patience < 3);
  }
}
