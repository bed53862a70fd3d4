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
  Ref<Unknown> object;
  ClassInfo info;

  ClassInfo* Find(Guid const& id) {
    ClassInfo* found = nullptr;
    return system->FindClass(id, &found) == S_OK ? found : nullptr;
  }
};

TEST(System, IsThereFromCreateToTheLastReleaseOrNeverWithoutMemory) {
  void* out = &out;
  EXPECT_EQ(CreateInterface(ids::MAP, &out), E_FAIL);
  EXPECT_EQ(out, nullptr);
  bool refused = true;
  for (int n = 0; refused; ++n) {
    RefusedMemory const memory(n);
    System* const system = System::Create();
    refused = memory.WasRefused();
    EXPECT_EQ(system == nullptr, refused) << n;
    EXPECT_EQ(System::ptr(), system) << n;
    EXPECT_TRUE(refused || System::Create() == system);
    EXPECT_TRUE(refused || system->Release() == 0);
    EXPECT_EQ(System::ptr(), nullptr);
  }
}

// What a host replaces in a table sees the library's own calls, too.
TEST_F(SystemTest, SlotsAreCalledThroughTheTable) {
  Ref<Malloc> const arena = Ref<Malloc>::Adopt(Malloc::Create(256));
  void* out;
  info.interfaceId = ids::FLT_2D;
  struct {
    void* object;
    int slot;
    std::function<void()> call;
  } const rows[] = {{arena.get(), 10, [&] { arena->StrDup(L"text"); }},
                    {arena.get(), 10, [&] { arena->StrDup("text"); }},
                    {arena.get(), 10, [&] { arena->AllocZero(8); }},
                    {arena.get(), 15, [&] { arena->Destroy(); }},
                    {arena.get(), 2, [&] { Unknown::Free(&(out = arena.get())); }},
                    {system.get(), 10, [&] { CreateInterface(ids::MAP, &out); }},
                    {system.get(), 11, [&] { RegisterInterface(&info); }},
                    {system.get(), 11, [] { Map::Register(); }},
                    {system.get(), 11, [] { IDC::Register(); }},
                    {system.get(), 18, [&] { system->RegisterInterface(&info); }}};
  for (auto const& row : rows) {
    SlotHook const hook(row.object, row.object == arena.get() ? 16 : 19, row.slot);
    row.call();
    EXPECT_EQ(SlotHook::calls, 1) << "row " << &row - rows << ", slot " << row.slot;
  }
}

TEST_F(SystemTest, KnowsTheBuiltInClassesInOrder) {
  Guid const rows[][2] = {{ids::IMAGE_2D, ids::ABSTRACT_IMAGE},
                          {ids::MAP, ids::MAP},
                          {ids::UNDO_MANAGER, ids::UNDO_MANAGER},
                          {ids::XML_HELPER, ids::UNKNOWN}};
  Array* const registry = Field<Array*>(system.get(), 16);
  ASSERT_EQ(registry->Count(), 4);
  for (int i = 0; i < 4; ++i) {
    ClassInfo const& known = *static_cast<ClassInfo*>(registry->At(i));
    EXPECT_EQ(known.classId, rows[i][0]) << i;
    EXPECT_EQ(known.interfaceId, rows[i][1]) << i;
    EXPECT_EQ(CreateInterface(known.classId, object.ReceiveVoid()), S_OK) << i;
    EXPECT_EQ(References(object.get()), 1u) << i;
    EXPECT_EQ(known.create(&info, object.ReceiveVoid()), E_NOINTERFACE) << i;
  }
  EXPECT_STREQ(Find(ids::UNDO_MANAGER)->name, "UndoManager");
  EXPECT_STREQ(Find(ids::XML_HELPER)->name, "XMLHelper");
}

TEST_F(SystemTest, AnAnnouncedClassTakesItsFactoryLater) {
  std::string name = "Announced";
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  info.classId = ID;
  info.name = name.c_str();
  info.info = Ref<Map>(map).Detach();
  EXPECT_EQ(RegisterInterface(&info), S_OK);
  EXPECT_EQ(CreateInterface(ID, object.ReceiveVoid()), YK_E_NOTFOUND) << "no factory yet";
  name = "overwritten";
  info.create = Make<Thing>;
  for (HRESULT const expected : {S_OK, E_INVALIDARG}) EXPECT_EQ(RegisterInterface(&info), expected);
  EXPECT_STREQ(Find(ID)->name, "Announced") << "a copy";
  EXPECT_EQ(CreateInterface(ID, object.ReceiveVoid()), S_OK);
  EXPECT_EQ(References(map.get()), 3u) << "the caller's record and the registry's share the map";
  system.Reset();
  EXPECT_EQ(References(map.get()), 2u);
}

TEST_F(SystemTest, EnumClassesListsACategory) {
  Ref<Array> list;
  info.interfaceId = CATEGORY;
  for (Guid const& id : {ID, CATEGORY, CLASH_ID}) {
    info.classId = id;
    info.flags = id == ID ? 4 : 0;  // the first is hidden
    EXPECT_EQ(system->EnumClasses(CATEGORY, list.Receive(), 0), id == CLASH_ID ? S_OK : E_FAIL);
    EXPECT_EQ(RegisterInterface(&info), S_OK);
  }
  ASSERT_EQ(system->EnumClasses(CATEGORY, list.Receive(), System::ENUM_NESTED), S_OK);
  ASSERT_EQ(list->Count(), 2) << "though one is a category of its own";
  EXPECT_EQ(list->At(0), Find(CATEGORY));
}

class EndlessFilter final : public Destroys<EndlessFilter, ykFlt2d> {
 public:
  wchar_t const* GetPattern(unsigned) noexcept override { return L"*.*"; }
};

TEST_F(SystemTest, AFilterIsAskedForWhatItIs) {
  info.classId = ID;
  info.interfaceId = ids::FLT_2D;
  info.create = Make<EndlessFilter>;
  EXPECT_EQ(RegisterInterface(&info), S_OK);
  EXPECT_EQ(Find(ID)->info->Count(), 4096u + 2) << "an endless list is cut; it gives no name";
  info.classId = ECHO_ID;
  info.interfaceId = ids::FLT_3D;
  info.create = [](ClassInfo const*, void** out) -> HRESULT {
    *out = &*out;  // what a failed factory leaves is no object
    return E_OUTOFMEMORY;
  };
  EXPECT_EQ(RegisterInterface(&info), S_OK) << "one that cannot be asked is registered all the same";
  EXPECT_EQ(Find(ECHO_ID)->info->Count(), 0u);
  info.classId = info.interfaceId = CLASH_ID;
  info.flags = ClassInfo::FILTER;
  EXPECT_EQ(RegisterInterface(&info), S_OK);
  Array* const filters = Field<Array*>(system.get(), 24);
  ASSERT_EQ(filters->Count(), 2) << "the interface makes a filter, not the flag";
  EXPECT_EQ(filters->At(1), Find(ECHO_ID));
}

}  // namespace
