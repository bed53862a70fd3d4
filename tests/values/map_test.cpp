#include <malloc.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>

#include <algorithm>
#include <utility>
#include <vector>

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

// Keys in their order, and the number under each.
struct Model {
  std::vector<std::pair<unsigned, int>> entries;

  auto Find(unsigned key) { return std::ranges::find(entries, key, &std::pair<unsigned, int>::first); }
  void Set(unsigned key, int number) {
    auto const at = Find(key);
    at == entries.end() ? void(entries.emplace_back(key, number)) : void(at->second = number);
  }
  void ExpectEqual(Map* map) const {
    ASSERT_EQ(map->Count(), entries.size());
    char* const first = Field<char*>(map, 16);
    for (size_t i = 0; i < entries.size(); ++i)
      ASSERT_EQ((Ints{Field<unsigned>(first, 20 * i), Field<int>(first, 20 * i + 4)}),
                (Ints{entries[i].first, entries[i].second}));
  }
};

// Removals from the front, the end and between, while the map grows far beyond the size of a plain search.
TEST(Map, FindsEveryKeyInOrderHoweverLarge) {
  for (unsigned const step : {1u, 4096u, 0x9E3779B1u}) {
    Ref<Map> const map = Own(Map::Create());
    Model model;
    unsigned random = 1;
    for (int i = 0; i < 4000; ++i) {
      random = random * 1664525 + 1013904223;
      unsigned const key = (random >> 8) % 700 * step;
      map->SetValue(key, Made(i)), model.Set(key, i);
      auto const& entries = model.entries;
      size_t const places[] = {0, entries.size() - 1, entries.size() / 3, (random >> 16) % entries.size()};
      for (int left = i % 50 == 0 ? 30 : i % 3 == 0; left > 0 && entries.size() > 1; --left) {
        unsigned const removed = entries[places[(random >> 4) % 4] % entries.size()].first;
        ASSERT_EQ(map->Remove(removed), S_OK);
        model.entries.erase(model.Find(removed));
        ASSERT_EQ(Number(map.get(), removed), -1);
      }
      if (i % 100 == 0) model.ExpectEqual(map.get());
    }
    model.ExpectEqual(map.get());
    for (auto const& [key, number] : model.entries) EXPECT_EQ(Number(map.get(), key), number);
    while (!model.entries.empty()) {
      ASSERT_EQ(map->Remove(model.entries[0].first), S_OK);
      model.entries.erase(model.entries.begin());
    }
    EXPECT_EQ(map->Count(), 0u);
  }
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
  for (unsigned const count : {3u, 100u}) {
    Ref<Array> const object = Own(Array::Create(0));
    Ref<Map> map = Own(Map::Create());
    Variant const held = Made(static_cast<Unknown*>(object.get()));
    for (unsigned key = 1; key <= count; ++key) map->SetValue(key, held);
    for (unsigned const key : {1u, 2u}) map->Remove(key);
    EXPECT_EQ(References(object.get()), count + 2);  // contract: the vacated entries keep their own
    EXPECT_EQ(Field<unsigned>(Field<char*>(map.get(), 16), 20 * (count - 2)), count);
    map->SetValue(count + 1, held);  // replaces one
    EXPECT_EQ(References(object.get()), count + 2);
    map.Reset();
    EXPECT_EQ(References(object.get()), 2u);
  }
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
