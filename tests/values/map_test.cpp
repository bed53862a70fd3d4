#include <malloc.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>

#include "support/prelude.h"

namespace {

using namespace yk;

int Number(Map* map, unsigned key) {
  Variant v;
  int number = -1;
  return map->GetValue(key, v) == S_OK && v.Get(number) ? number : -1;
}

TEST(Map, GrowsOneEntryEarlyInABlockOfTwentyByteEntries) {
  Ref<Map> const map = Own(Map::Create());
  for (unsigned i = 0; i < 15; ++i) {
    unsigned const capacity = i < 9 ? 10 : i < 14 ? 15 : 20;
    EXPECT_EQ(map->SetValue(100 + i, Made(static_cast<int>(i))), S_OK);
    EXPECT_EQ(Field<uint64_t>(map.get(), 24), i + 1 + (uint64_t{capacity} << 32));
  }
  char* const entries = Field<char*>(map.get(), 16);
  EXPECT_EQ(_msize(entries), 400u);
  EXPECT_EQ(Field<uint64_t>(entries, 280), 114u + (uint64_t{14} << 32));
}

TEST(Map, SetsReplacesAndRemovesInOrder) {
  Ref<Map> const map = Own(Map::Create());
  Variant v = Made(7);
  EXPECT_EQ((Ints{map->GetValue(1, v), map->SetValue(1, {}), map->Remove(1)}), Ints(3, E_FAIL));
  EXPECT_EQ(Slot<long (*)(void*, unsigned)>(map.get(), 11)(map.get(), 1), S_OK);  // present or not
  for (unsigned key = 1; key <= 4; ++key) map->SetValue(key, Made(static_cast<int>(key)));
  map->SetValue(2, Made(L"22"));
  void* const entries = Field<void*>(map.get(), 16);
  void* const payload = Field<void*>(entries, 24);
  EXPECT_EQ(map->SetValue(1, Variant()), S_OK);
  EXPECT_EQ(Slot<long (*)(void*, unsigned)>(map.get(), 10)(map.get(), 4), S_OK);
  EXPECT_EQ((Ints{Number(map.get(), 1), Number(map.get(), 2), Number(map.get(), 3)}), (Ints{-1, 22, 3}));
  EXPECT_EQ(Field<unsigned>(entries, 0), 2u);
  EXPECT_EQ(Field<void*>(entries, 4), payload) << "moved, not copied";
}

TEST(Map, LetsGoOfEveryObjectItHeld) {
  Ref<Array> const object = Own(Array::Create(0));
  Ref<Map> map = Own(Map::Create());
  Variant const held = Made(static_cast<Unknown*>(object.get()));
  for (unsigned key = 1; key <= 3; ++key) map->SetValue(key, held);
  map->Remove(1);
  EXPECT_EQ(References(object.get()), 5u);  // contract: the vacated entry keeps its own
  map->SetValue(4, held);                   // replaces it
  EXPECT_EQ(References(object.get()), 5u);
  map.Reset();
  EXPECT_EQ(References(object.get()), 2u);
}

TEST(Map, ObjectsThatItLetsGoOfMayCallIt) {
  static Map* map;
  Ref<Map> held = Own(map = Map::Create());
  auto const fill = [](void*) {
    for (unsigned key = 10; key < 60; ++key) map->SetValue(key, Made(static_cast<int>(key)));
    Ref<Map>::Share(map).Reset();
  };
  for (int const step : {0, 1, 2}) {
    Ref<Array> object = Own(Array::CreateEx(fill));
    object->Add(nullptr);
    for (unsigned key = 1; key <= 3; ++key) map->SetValue(key, Made(static_cast<int>(key)));
    map->SetValue(2, Made(static_cast<Unknown*>(object.get())));
    object.Reset();
    if (step == 2) break;
    EXPECT_EQ(step ? map->Remove(2) : map->SetValue(2, Made(22)), S_OK);
    EXPECT_EQ((Ints{Number(map, 2), Number(map, 3), Number(map, 59)}), (Ints{step ? -1 : 22, 3, 59}));
    for (unsigned key = 10; key < 60; ++key) map->Remove(key);
  }
  held.Reset();  // calling back now finds an empty map
}

TEST(Map, AnswersItsInterfaces) {
  Ref<Map> const map = Own(Map::Create());
  Ref<Unknown> out;
  EXPECT_EQ(map->QueryInterface(ids::STREAMABLE, out.ReceiveVoid()), S_OK);
  EXPECT_EQ(map->Release(), 2u);  // querying qe_Streamable adds two references
  EXPECT_EQ(map->QueryInterface(ids::MAP, out.ReceiveVoid()), S_OK);
  EXPECT_EQ(out.get(), map.get());
  EXPECT_EQ((Ints{map->IsTypeOf(ids::STREAMABLE), map->IsTypeOf(ids::MAP)}), (Ints{1, 0}));
}

}  // namespace
