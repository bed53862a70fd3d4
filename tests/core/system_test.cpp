#include <gtest/gtest.h>
#include <qecore/core/filter.h>
#include <qecore/core/memory.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/draw/device_context.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>

#include <functional>
#include <string>

#include "plugins/plugin.h"
#include "support/binary.h"
#include "support/refused_memory.h"

namespace {

using namespace yk;

constexpr Guid ID = {0xC1A55001, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr Guid CATEGORY = {0xCA7E6001, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

class SystemTest : public testing::Test {
 protected:
  Ref<System> system = Ref<System>::Adopt(System::Create());

  ClassInfo* Find(Guid const& id) {
    ClassInfo* info = nullptr;
    return system->FindClass(id, &info) == S_OK ? info : nullptr;
  }
};

TEST(System, IsThereFromCreateToTheLastRelease) {
  void* out = &out;
  EXPECT_EQ(CreateInterface(ids::MAP, &out), E_FAIL);
  EXPECT_EQ(out, nullptr);
  for (int round = 0; round < 2; ++round) {
    System* const system = System::Create();
    EXPECT_EQ(System::Create(), system);
    EXPECT_EQ(system->Release(), 0u);
    EXPECT_EQ(System::ptr(), nullptr);
  }
}

TEST(System, IsWholeOrNotThereWithoutMemory) {
  for (int n = 0; true; ++n) {
    RefusedMemory const memory(n);
    Ref<System> const system = Ref<System>::Adopt(System::Create());
    EXPECT_EQ(System::ptr(), system.get()) << n;
    if (!memory.WasRefused()) break;
    EXPECT_FALSE(system) << n;
  }
}

// What a host replaces in a table sees the library's own calls, too.
TEST_F(SystemTest, SlotsAreCalledThroughTheTable) {
  Ref<Malloc> const arena = Ref<Malloc>::Adopt(Malloc::Create(256));
  ClassInfo filter;
  filter.classId = ID;
  filter.interfaceId = ids::FLT_2D;
  void* out;
  struct {
    char const* what;
    void* object;
    int slot;
    std::function<void()> call;
  } const rows[] = {{"StrDup, wide", arena.get(), 10, [&] { arena->StrDup(L"text"); }},
                    {"StrDup, narrow", arena.get(), 10, [&] { arena->StrDup("text"); }},
                    {"AllocZero", arena.get(), 10, [&] { arena->AllocZero(8); }},
                    {"Destroy", arena.get(), 15, [&] { arena->Destroy(); }},
                    {"Free", arena.get(), 2, [&] { Unknown::Free(&(out = arena.get())); }},
                    {"CreateInterface", system.get(), 10, [&] { CreateInterface(ids::MAP, &out); }},
                    {"RegisterInterface", system.get(), 11, [&] { RegisterInterface(&filter); }},
                    {"Map::Register", system.get(), 11, [] { Map::Register(); }},
                    {"IDC::Register", system.get(), 11, [] { IDC::Register(); }},
                    {"a filter", system.get(), 18, [&] { system->RegisterInterface(&filter); }}};
  for (auto const& row : rows) {
    SlotHook const hook(row.object, row.slot);
    row.call();
    EXPECT_EQ(SlotHook::calls, 1) << row.what;
  }
}

TEST_F(SystemTest, KnowsTheBuiltInClassesInOrder) {
  struct {
    Guid classId, interfaceId;
    char const* name;
  } const rows[] = {{ids::IMAGE_2D, ids::ABSTRACT_IMAGE, nullptr},
                    {ids::MAP, ids::MAP, "Map"},
                    {ids::UNDO_MANAGER, ids::UNDO_MANAGER, "UndoManager"},
                    {ids::XML_HELPER, ids::UNKNOWN, "XMLHelper"}};
  Array* const registry = Field<Array*>(system.get(), 16);
  ASSERT_EQ(registry->Count(), 4);
  for (int i = 0; i < 4; ++i) {
    ClassInfo const& info = *static_cast<ClassInfo*>(registry->At(i));
    EXPECT_EQ(info.classId, rows[i].classId) << i;
    EXPECT_EQ(info.interfaceId, rows[i].interfaceId) << i;
    EXPECT_STREQ(info.name, rows[i].name);
    EXPECT_EQ(info.flags, (info.name ? 2u : 0u)) << i;
    Ref<Unknown> object;
    EXPECT_EQ(CreateInterface(info.classId, object.ReceiveVoid()), S_OK) << i;
    EXPECT_EQ(References(object.get()), 1u) << i;
    ClassInfo other;
    EXPECT_EQ(info.create(&other, object.ReceiveVoid()), E_NOINTERFACE) << i;
  }
}

TEST_F(SystemTest, AnAnnouncedClassTakesItsFactoryLater) {
  ClassInfo info;
  std::string name = "Announced";
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  info.classId = info.interfaceId = ID;
  info.name = name.c_str();
  info.info = Ref<Map>(map).Detach();
  Ref<Unknown> object;
  EXPECT_EQ(RegisterInterface(&info), S_OK);
  EXPECT_EQ(CreateInterface(ID, object.ReceiveVoid()), YK_E_NOTFOUND) << "no factory yet";
  name = "overwritten";
  info.create = Make<Thing>;
  EXPECT_EQ(RegisterInterface(&info), S_OK);
  EXPECT_EQ(RegisterInterface(&info), E_INVALIDARG);
  EXPECT_STREQ(Find(ID)->name, "Announced") << "a copy";
  EXPECT_EQ(CreateInterface(ID, object.ReceiveVoid()), S_OK);
  EXPECT_EQ(References(map.get()), 3u) << "the caller's record and the registry's share the map";
  system.Reset();
  EXPECT_EQ(References(map.get()), 2u);
}

TEST_F(SystemTest, EnumClassesListsACategory) {
  Ref<Array> list;
  ClassInfo info;
  info.interfaceId = CATEGORY;
  for (Guid const& id : {ID, ECHO_ID, CATEGORY, CLASH_ID}) {
    info.classId = id;
    info.flags = id == ID ? 4 : 0;  // the first is hidden
    EXPECT_EQ(system->EnumClasses(CATEGORY, list.Receive(), 0), id == ID || id == ECHO_ID ? E_FAIL : S_OK);
    EXPECT_EQ(RegisterInterface(&info), S_OK);
  }
  ASSERT_EQ(system->EnumClasses(CATEGORY, list.Receive(), System::ENUM_NESTED), S_OK);
  ASSERT_EQ(list->Count(), 3) << "though one is a category of its own";
  EXPECT_EQ(list->At(1), Find(CATEGORY));
}

class EndlessFilter final : public Destroys<EndlessFilter, ykFlt2d> {
 public:
  wchar_t const* GetPattern(unsigned) noexcept override { return L"*.*"; }
};

TEST_F(SystemTest, AFilterIsAskedForWhatItIs) {
  ClassInfo info;
  info.classId = ID;
  info.interfaceId = ids::FLT_2D;
  info.create = Make<EndlessFilter>;
  ASSERT_EQ(RegisterInterface(&info), S_OK);
  EXPECT_EQ(Find(ID)->info->Count(), 4096u + 2) << "an endless list is cut; it gives no name";
  info.classId = ECHO_ID;
  info.interfaceId = ids::FLT_3D;
  info.create = [](ClassInfo const*, void** out) -> HRESULT {
    *out = &*out;  // what a failed factory leaves is no object
    return E_OUTOFMEMORY;
  };
  EXPECT_EQ(RegisterInterface(&info), S_OK) << "one that cannot be asked is registered all the same";
  EXPECT_EQ(Find(ECHO_ID)->info->Count(), 0u);
  info.classId = CLASH_ID;
  info.interfaceId = CATEGORY;
  info.flags = ClassInfo::FILTER;
  EXPECT_EQ(RegisterInterface(&info), S_OK);
  Array* const filters = Field<Array*>(system.get(), 24);
  EXPECT_EQ(filters->At(1), Find(ECHO_ID));
  EXPECT_EQ(filters->Count(), 2) << "the interface makes a filter, not the flag";
}

}  // namespace
