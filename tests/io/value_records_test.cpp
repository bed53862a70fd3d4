#include <qecore/draw/geometry.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/serializer.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>
#include <windows.h>

#include "streams.h"

namespace {

using namespace yk;

/// A reader that stands in a chunk with this payload; behind it stand bytes that are none of its business.
Ref<Deserializer> ReaderOf(std::string const& payload) {
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  std::string const bytes = Le<uint16_t>(1) + Le(static_cast<unsigned>(payload.size() + 6)) + payload;
  reader->Open(Memory(bytes + std::string(64, '#')).get(), chunk::RAW);
  EXPECT_EQ(reader->BeginChunk(), 1);
  return reader;
}

template <class Value>
std::string Saved(Value& value) {
  Ref<Stream> const stream = Memory();
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  writer->Open(stream.get(), chunk::RAW);
  EXPECT_EQ(value.Save(writer.get(), nullptr), S_OK);
  return Content(*stream);
}

template <class... Arguments>
Variant Make(Arguments const&... arguments) {
  Variant v;
  v.Init(arguments...);
  return v;
}

TEST(VariantRecord, Bytes) {
  // false: the kind is saved without its payload
  std::tuple<Variant, std::string, bool> const rows[] = {
      {Variant(), "\0\0"s, false},
      {Make(static_cast<short>(-2)), "\6\0\xFE\xFF"s, true},
      {Make(0x01020304), "\7\0\4\3\2\1"s, true},
      {Make("ab"), "\x0E\0\3\0\0\0ab"s, true},
      {Make(L"\u00E9"), "\x0F\0\4\0\0\0\xE9\0"s, true},
      {Make(L"", 2u), "\x0F\0\0\0\0\0"s, true},
      {Make(point2df{1, 2}), "\x1A\0\0\0\x80?\0\0\0@"s, true},
      {Make(point2d{0, 1}), "\x19\0\x10\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\xF0?"s, true},
      {Make("blob", 4u, false), "\x0D\0"s, false},
      {Make(static_cast<Unknown*>(nullptr)), "\x11\0"s, false}};
  for (auto const& [value, bytes, comesBack] : rows) {
    EXPECT_EQ(Saved(value), bytes);
    Ref<Deserializer> const reader = ReaderOf(bytes);
    Variant back;
    EXPECT_EQ(back.Load(reader.get(), nullptr), S_OK);
    EXPECT_EQ(back.type, value.type);
    EXPECT_EQ(back.Compare(value), comesBack) << +value.type;
    EXPECT_FALSE(reader->IsInChunk());
  }
}

TEST(VariantRecord, DamageLeavesASafeValue) {
  std::tuple<char const*, std::string, int, int, unsigned> const rows[] = {
      {"a scalar cut short", "\7\0"s, 7, 0, 0},
      {"a tag that there is not", "\x1D\2........"s, 0, 0, 0},
      {"an object with a pointer", "\x11\0AAAAAAAA"s, 17, 0, 0},
      {"a text longer than its chunk", "\x0E\0\4\0\0\0ab"s, 14, 0, 0},
      {"half a character", "\x0F\0\5\0\0\0abc"s, 15, 0, 0},
      {"less than a terminator", "\x0F\0\1\0\0\0"s, 15, 0, 0},
      {"a borrowed text", "\x0E\6\3\0\0\0ab"s, 14, 4, 3},  // whose copy here is nobody else's
      {"a small point", "\x17\0\4\0\0\0abcd"s, 23, 0, 0}};
  for (auto const& [name, bytes, type, flags, size] : rows) {
    Variant v;
    v.value.bits = 0xAAAA;  // of an empty variant: nobody's pointer
    EXPECT_EQ(v.Load(ReaderOf(bytes).get(), nullptr), S_OK) << name;
    EXPECT_EQ(v.type, type) << name;
    EXPECT_EQ(v.flags, flags) << name;
    EXPECT_EQ(v.size, size) << name;
    EXPECT_EQ(v.value.pointer != nullptr, size > 0) << name;
  }
}

TEST(StringRecord, TakesWholeCharacters) {
  std::tuple<std::string, std::wstring> const rows[] = {
      {"A\0\xE9\0"s, L"A\u00E9"}, {"A\0B"s, L"A"}, {"B", L""}, {"", L""}};
  for (auto const& [payload, expected] : rows) {
    Ref<Deserializer> const reader = ReaderOf(payload);
    String text(L"before");
    EXPECT_TRUE(text.Load(reader.get()));
    EXPECT_EQ(text.c_str(), expected);
    EXPECT_EQ(text.Length(), expected.size());
    EXPECT_FALSE(reader->IsInChunk());
  }
  String name;
  EXPECT_TRUE(name.TempFile());
  EXPECT_EQ(name.FileShortName().Left(3).CompareNoCase(L"hwu"), 0);
  EXPECT_TRUE(DeleteFileW(name.c_str())) << "it was made";
}

TEST(MapRecord, SavesEntriesAndAppends) {
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create()), back = Ref<Map>::Adopt(Map::Create());
  Variant v = Make(1);
  v.flags |= Variant::TRANSIENT;
  map->SetValue(5, v);
  map->SetValue(0x0102, Make("ab"));
  map->SetValue(6, Make(true));
  std::string const saved = Saved(*map);
  EXPECT_EQ(saved,
            "\xE8\3\x12\0\0\0\2\1\0\0\x0E\0\3\0\0\0ab"
            "\xE8\3\x0D\0\0\0\6\0\0\0\1\0\1"s);
  std::string const strange = "\1\0\x08\0\0\0??\xE8\3\x0B\0\0\0\7\0\0\0\1"s;  // no entry; half an entry
  for (unsigned count : {2u, 4u}) {
    EXPECT_EQ(back->Load(ReaderOf(saved + strange).get(), nullptr), S_FALSE);
    EXPECT_EQ(back->Count(), count);
  }
  EXPECT_EQ(back->GetValue(0x0102, v), S_OK);
  EXPECT_TRUE(v.Compare(Make("ab")));
}

}  // namespace
