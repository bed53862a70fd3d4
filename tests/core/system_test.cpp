#include <gtest/gtest.h>
#include <qecore/core/filter.h>
#include <qecore/core/memory.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>

#include <string>

#include "plugins/plugin.h"
#include "support/binary.h"

namespace {

using namespace yk;

constexpr Guid ID = {0xC1A55001, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr Guid CATEGORY = {0xCA7E6001, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

class SystemTest : public testing::Test {
 protected:
  Ref<System> system = Ref<System>::Adopt(System::Create());

  Array* Registry() { return Field<Array*>(system.get(), 16); }
  ClassInfo* Find(Guid const& id) {
    ClassInfo* info = nullptr;
    return system->FindClass(id, &info) == S_OK ? info : nullptr;
  }
};

TEST(System, IsThereFromCreateToTheLastRelease) {
  void* out = &out;
  ClassInfo info;
  EXPECT_EQ(System::ptr(), nullptr);
  EXPECT_EQ(CreateInterface(ids::MAP, &out), E_FAIL);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(RegisterInterface(&info), E_FAIL);
  for (int round = 0; round < 2; ++round) {
    System* const system = System::Create();
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(System::Create(), system);
    EXPECT_EQ(System::ptr(), system);
    EXPECT_EQ(References(system), 1u);
    EXPECT_EQ(system->Release(), 0u);
    EXPECT_EQ(System::ptr(), nullptr);
  }
}

TEST_F(SystemTest, KnowsTheBuiltInClassesInOrder) {
  struct {
    Guid classId, interfaceId;
    char const* name;
    unsigned flags;
  } const rows[] = {{ids::IMAGE_2D, ids::ABSTRACT_IMAGE, nullptr, 0},
                    {ids::MAP, ids::MAP, "Map", 2},
                    {ids::UNDO_MANAGER, ids::UNDO_MANAGER, "UndoManager", 2},
                    {ids::XML_HELPER, ids::UNKNOWN, "XMLHelper", 2}};
  ASSERT_EQ(Registry()->Count(), static_cast<int>(std::size(rows)));
  for (int i = 0; i < Registry()->Count(); ++i) {
    ClassInfo const& info = *static_cast<ClassInfo*>(Registry()->At(i));
    EXPECT_EQ(info.classId, rows[i].classId) << i;
    EXPECT_EQ(info.interfaceId, rows[i].interfaceId) << i;
    EXPECT_STREQ(info.name, rows[i].name);
    EXPECT_EQ(info.flags, rows[i].flags) << i;
    void* object = nullptr;
    ASSERT_EQ(CreateInterface(info.classId, &object), S_OK) << i;
    EXPECT_EQ(References(static_cast<Unknown*>(object)), 1u) << i;
    Unknown::Free(&object);
    ClassInfo other;
    EXPECT_EQ(info.create(&other, &object), E_NOINTERFACE) << i;
  }
  uint64_t time = 7;
  EXPECT_EQ(Slot<int (*)(void*)>(system.get(), 8)(system.get()), 2);
  EXPECT_EQ(Slot<HRESULT (*)(void*)>(system.get(), 13)(system.get()), E_NOTIMPL);
  EXPECT_EQ(system->GetCacheTime(&time, 4), E_FAIL);
  EXPECT_EQ(system->GetCacheTime(&time, 8), S_OK);
  EXPECT_EQ(time, 0u);
}

TEST_F(SystemTest, AnAnnouncedClassTakesItsFactoryLater) {
  ClassInfo info;
  std::string name = "Announced";
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  info.classId = info.interfaceId = ID;
  info.name = name.c_str();
  info.info = Ref<Map>(map).Detach();
  void* out = nullptr;
  EXPECT_EQ(RegisterInterface(&info), S_OK);
  EXPECT_EQ(CreateInterface(ID, &out), YK_E_NOTFOUND) << "no factory yet";
  name = "overwritten";
  info.create = Thing::Make;
  EXPECT_EQ(RegisterInterface(&info), S_OK);
  EXPECT_EQ(RegisterInterface(&info), E_INVALIDARG);
  EXPECT_STREQ(Find(ID)->name, "Announced") << "a copy";
  EXPECT_EQ(Find(ID)->flags, 0x8000u);
  EXPECT_EQ(References(map.get()), 3u) << "the caller's record and the registry's share the map";
  EXPECT_EQ(CreateInterface(ID, &out), S_OK);
  Unknown::Free(&out);
  system.Reset();
  EXPECT_EQ(References(map.get()), 2u);
}

TEST_F(SystemTest, NamesAreCopiedUnlessStatic) {
  static char text[] = "text";
  struct {
    char const* what;
    char const* name;
    unsigned flags, kept;
  } const rows[] = {
      {"static", text, 2, 2}, {"copied", text, 4, 0x8004}, {"empty", "", 0, 0}, {"none", nullptr, 0, 0}};
  for (auto const& row : rows) {
    ClassInfo info;
    info.classId = ID;
    info.classId.third = static_cast<uint16_t>(&row - rows);
    info.name = row.name;
    info.flags = row.flags;
    ASSERT_EQ(RegisterInterface(&info), S_OK) << row.what;
    EXPECT_EQ(Find(info.classId)->flags, row.kept) << row.what;
    EXPECT_EQ(Find(info.classId)->name == row.name, row.kept != 0x8004 && row.name != rows[2].name)
        << row.what;
  }
  EXPECT_EQ(system->FindClass(CATEGORY, nullptr), E_INVALIDARG);
  void* out = &out;
  EXPECT_EQ(CreateInterface(CATEGORY, &out), YK_E_NOTFOUND);
  EXPECT_EQ(out, nullptr);
}

TEST_F(SystemTest, EnumClassesListsACategory) {
  auto const add = [&](uint16_t number, unsigned flags) {
    ClassInfo info;
    info.classId = number ? ID : CATEGORY;  // number 0: its own category
    info.classId.second = number ? number : CATEGORY.second;
    info.interfaceId = CATEGORY;
    info.flags = flags;
    ASSERT_EQ(RegisterInterface(&info), S_OK);
  };
  Ref<Array> list;
  add(5, ClassInfo::HIDDEN);
  EXPECT_EQ(system->EnumClasses(CATEGORY, list.Receive(), 0), E_FAIL) << "nothing visible";
  EXPECT_FALSE(list);
  add(6, 0), add(0, 0), add(7, 0);
  for (unsigned options : {0u, 1u}) {
    ASSERT_EQ(system->EnumClasses(CATEGORY, list.Receive(), options), S_OK);
    ASSERT_EQ(list->Count(), 3);
    EXPECT_EQ(static_cast<ClassInfo*>(list->At(0))->classId.second, 6);
    EXPECT_EQ(static_cast<ClassInfo*>(list->At(1))->classId, CATEGORY);
  }
}

class Filter final : public Destroys<Filter, ykFlt2d> {
 public:
  wchar_t const* GetPattern(unsigned) noexcept override { return L"*.*"; }  // without end
};

TEST_F(SystemTest, AFilterIsAskedOnceForWhatItIs) {
  ClassInfo info;
  info.classId = ID;
  info.interfaceId = ids::FLT_2D;
  info.create = [](ClassInfo const*, void** out) -> HRESULT {
    *out = new Filter;
    return S_OK;
  };
  ASSERT_EQ(RegisterInterface(&info), S_OK);
  ClassInfo* const record = Find(ID);
  Array* const filters = Field<Array*>(system.get(), 24);
  ASSERT_EQ(filters->Count(), 1);
  EXPECT_EQ(filters->At(0), record);
  EXPECT_EQ(record->flags, 8u);
  Variant value;
  unsigned patterns = 0;
  EXPECT_EQ(record->info->GetValue(ClassInfo::INFO_NAME, value), E_FAIL) << "it gives no name";
  ASSERT_TRUE(Succeeded(record->info->GetValue(ClassInfo::INFO_PATTERN_COUNT, value)));
  EXPECT_TRUE(value.Get(patterns));
  EXPECT_EQ(patterns, 4096u) << "an endless list is cut";

  info.classId.third = 99;
  info.interfaceId = ids::FLT_3D;
  info.create = [](ClassInfo const*, void** out) -> HRESULT {
    *out = &*out;  // what a failed factory leaves is not an object
    return E_OUTOFMEMORY;
  };
  EXPECT_EQ(RegisterInterface(&info), S_OK) << "one that cannot be asked is registered all the same";
  EXPECT_EQ(Find(info.classId)->info->Count(), 0u);
  EXPECT_EQ(filters->Count(), 2);
}

}  // namespace
