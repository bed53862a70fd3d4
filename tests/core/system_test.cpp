#include <qecore/core/filter.h>
#include <qecore/core/memory.h>
#include <qecore/draw/device_context.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>

#include <functional>

#include "plugins/plugin.h"
#include "support/failure.h"
#include "support/prelude.h"

namespace {

using namespace yk;

constexpr Guid ID = TestId(0xC1A55001), CATEGORY = TestId(0xCA7E6001);

struct SystemTest : testing::Test {
  Ref<System> system = Own(System::Create());
  Ref<Unknown> object;
  ClassInfo info;

  HRESULT Register(Guid const& id, Guid const& interfaceId, ClassFactory create, unsigned flags = 0) {
    info.classId = id, info.interfaceId = interfaceId, info.create = create, info.flags = flags;
    return RegisterInterface(&info);
  }
};

TEST(System, IsThereFromCreateToTheLastRelease) {
  void* out = &out;
  EXPECT_EQ((Ints{CreateInterface(ids::MAP, &out), RegisterInterface(nullptr)}), Ints(2, E_FAIL));
  EXPECT_EQ(out, nullptr);
  System* const system = System::Create();
  EXPECT_EQ((std::array{System::Create(), System::ptr()}), (std::array{system, system}));
  EXPECT_EQ((Ints{CreateInterface(ids::MAP, nullptr), RegisterInterface(nullptr)}), Ints(2, E_INVALIDARG));
  EXPECT_EQ((Ints{system->UnloadModule(nullptr), system->Reserved13()}), (Ints{S_OK, E_NOTIMPL}));
  EXPECT_EQ((Ints{system->GetVersion(), system->Release(), System::ptr() != nullptr}), (Ints{2, 0, 0}));
}

TEST(System, RefusesProgramsThatNeedALaterVersion) {
  std::wstring const library = L", and the library is " QECORE_VERSION_TEXT;
  auto const create = [](unsigned version) { return Own(System::CreateFor(version)) ? S_OK : E_NOINTERFACE; };
  ExpectFailures({{E_NOINTERFACE, L"this program was compiled for qeCore 1.1" + library,
                   [&] { return create(0x010100); }},
                  {E_NOINTERFACE, L"this program was compiled for qeCore 2.0" + library,
                   [&] { return create(0x020000); }},
                  {E_NOINTERFACE, L"this program was compiled for qeCore 0.9" + library,
                   [&] { return create(0x0009FF); }}});
  EXPECT_EQ((Ints{create(QECORE_VERSION), create(0x0100FF)}), Ints(2, S_OK));
  EXPECT_EQ(LibraryVersion(), unsigned{QECORE_VERSION});
}

// Slots that a host replaces are used by the library itself, too.
TEST_F(SystemTest, SlotsAreCalledThroughTheTable) {
  Ref<Malloc> const arena = Own(Malloc::Create(256));
  void* out = arena.get();
  Table<void*, int, std::function<void()>> const rows = {
      {arena.get(), 10, [&] { arena->StrDup(L"text"); }},
      {arena.get(), 10, [&] { arena->StrDup("text"); }},
      {arena.get(), 10, [&] { arena->AllocZero(8); }},
      {arena.get(), 15, [&] { arena->Destroy(); }},
      {arena.get(), 2, [&] { Unknown::Free(&out); }},
      {system.get(), 10, [&] { CreateInterface(ids::MAP, &out); }},
      {system.get(), 11, [&] { RegisterInterface(&info); }},
      {system.get(), 11, [] { Map::Register(); }},
      {system.get(), 11, [] { IDC::Register(); }},
      {system.get(), 18, [&] { Register(ID, ids::FLT_2D, nullptr); }}};
  for (auto const& [target, slot, call] : rows)
    EXPECT_EQ(SlotHook::Calls(target, target == arena.get() ? 16 : 19, slot, call), 1) << "slot " << slot;
}

TEST_F(SystemTest, KnowsTheBuiltInClassesInOrder) {
  Guid const classes[] = {ids::IMAGE_2D, ids::MAP, ids::UNDO_MANAGER, ids::XML_HELPER};
  Array* const registry = Field<Array*>(system.get(), 16);
  ASSERT_EQ(registry->Count(), 4);
  for (int i = 0; i < 4; ++i) {
    ClassInfo const& known = *static_cast<ClassInfo*>(registry->At(i));
    EXPECT_EQ(known.classId, classes[i]) << i;
    EXPECT_EQ(CreateInterface(known.classId, object.ReceiveVoid()), S_OK) << i;
    EXPECT_EQ(References(object.get()), 1u) << i;
    void* other = registry;
    EXPECT_EQ(known.create(&info, &other), E_NOINTERFACE) << i;
    EXPECT_EQ(other, nullptr) << i;
  }
  EXPECT_EQ(Find(ids::IMAGE_2D)->interfaceId, ids::ABSTRACT_IMAGE);
  EXPECT_STREQ(Find(ids::XML_HELPER)->name, "XMLHelper");
}

TEST_F(SystemTest, AnAnnouncedClassTakesItsFactoryLater) {
  string name = "Announced";
  Ref<Map> const map = Own(Map::Create());
  info.name = name.c_str();
  info.info = Ref<Map>(map).Detach();
  EXPECT_EQ(Register(ID, {}, nullptr), S_OK);
  EXPECT_EQ(Create(ID), YK_E_NOTFOUND) << "no factory yet";
  name = "overwritten";
  for (HRESULT const expected : {S_OK, E_INVALIDARG}) EXPECT_EQ(Register(ID, {}, Make<Thing>), expected);
  EXPECT_STREQ(Find(ID)->name, "Announced") << "a copy";
  EXPECT_EQ(Create(ID), S_OK);
  EXPECT_EQ(References(map.get()), 3u) << "the caller's record and the registry's share the map";
  system.Reset();
  EXPECT_EQ(References(map.get()), 2u);
}

TEST_F(SystemTest, FindsEachOfManyClasses) {
  constexpr unsigned FIRST = 0xC1A56000, COUNT = 300;
  for (unsigned n = 0; n < COUNT; ++n) {
    EXPECT_EQ(Create(TestId(FIRST + n)), YK_E_NOTFOUND);
    EXPECT_EQ(Register(TestId(FIRST + n), CATEGORY, Make<Thing>), S_OK);
  }
  Ref<Array> list;
  EXPECT_EQ(system->EnumClasses(CATEGORY, list.Receive(), 0), S_OK);
  ASSERT_EQ(list->Count(), static_cast<int>(COUNT));
  for (unsigned n = 0; n < COUNT; ++n) {
    EXPECT_EQ(list->At(static_cast<int>(n)), Find(TestId(FIRST + n)));
    EXPECT_EQ(Find(TestId(FIRST + n))->classId, TestId(FIRST + n));
  }
}

TEST_F(SystemTest, EnumClassesListsACategory) {
  Ref<Array> list;
  for (Guid const& id : {ID, CATEGORY, ECHO_ID}) {
    EXPECT_EQ(system->EnumClasses(CATEGORY, list.Receive(), 0), id == ECHO_ID ? S_OK : E_FAIL);
    EXPECT_EQ(Register(id, CATEGORY, nullptr, id == ID ? 4 : 0), S_OK);  // the first is hidden
  }
  EXPECT_EQ(system->EnumClasses(CATEGORY, list.Receive(), System::ENUM_NESTED), S_OK);
  ASSERT_EQ(list->Count(), 2) << "although one is its own category";
  EXPECT_EQ(list->At(0), Find(CATEGORY));
}

TEST_F(SystemTest, AFilterThatCannotDescribeItselfSeesItsFailures) {
  static wstring seen;
  seen.clear();
  ClassFactory const fails = [](ClassInfo const*, void**) {
    HRESULT const result = Create(CATEGORY);
    seen = LastMessage();
    return result;
  };
  wstring const missing = L"the class {CA7E6001-0001-0001-0101-010101010101} is not registered";
  Fail(E_FAIL, "host", L"earlier");
  EXPECT_EQ(Register(ID, ids::FLT_2D, fails), S_OK);
  EXPECT_EQ(std::pair(seen, LastMessage()), std::pair(missing, wstring(L"earlier")))
      << "registering it succeeded";
  wstring const filter = L"cannot create a filter of the class {C1A55001-0001-0001-0101-010101010101}: ";
  ExpectFailures({{E_FAIL, filter + missing, [&] { return system->QueryFilterInfo(&info); }}});
  Unknown::Free(reinterpret_cast<void**>(&info.info));
}

struct EndlessFilter final : Destroys<EndlessFilter, ykFlt2d> {
  wchar_t const* GetPattern(unsigned) noexcept override { return L"*.*"; }
};

// A failed factory creates no object, even if it stored one.
HRESULT MakeNothing(ClassInfo const*, void** out) { return *out = &*out, E_OUTOFMEMORY; }

// Registers the class that is being registered, and creates nothing.
HRESULT MakeClass(ClassInfo const* asked, void** out) {
  ClassInfo own;
  own.classId = asked->classId;
  if (asked->flags & ClassInfo::HIDDEN) own.create = MakeNothing;
  return *out = nullptr, RegisterInterface(&own);
}

HRESULT MakeAndLeave(ClassInfo const* info, void** out) {
  return System::ptr()->Release(), Make<Thing>(info, out);
}

TEST_F(SystemTest, AFilterIsAskedForWhatItIs) {
  EXPECT_EQ(Register(ID, ids::FLT_2D, Make<EndlessFilter>), S_OK);
  EXPECT_EQ(Find(ID)->info->Count(), 4096u + 2) << "an endless list is truncated; there is no name";
  EXPECT_EQ(Register(ECHO_ID, ids::FLT_3D, MakeNothing), S_OK) << "although it cannot describe itself";
  EXPECT_EQ(Find(ECHO_ID)->info->Count(), 0u);
  EXPECT_EQ(Register(CATEGORY, CATEGORY, Make<Thing>, ClassInfo::FILTER), S_OK);
  EXPECT_EQ(Find(CATEGORY)->flags, 0u);
  Array* const filters = Field<Array*>(system.get(), 24);
  ASSERT_EQ(filters->Count(), 2) << "the interface decides, not the flag";
  EXPECT_EQ(filters->At(1), Find(ECHO_ID));
}

TEST_F(SystemTest, AFactoryMayRegisterAndLetGo) {
  EXPECT_EQ(Register(ID, ids::FLT_2D, MakeClass), S_OK) << "provides the factory";
  EXPECT_EQ(Find(ID)->interfaceId, Guid{}) << "for the class that was registered meanwhile";
  EXPECT_EQ(Register(ECHO_ID, ids::FLT_2D, MakeClass, ClassInfo::HIDDEN), E_INVALIDARG)
      << "it has a factory already";
  EXPECT_EQ(Register(CATEGORY, CATEGORY, MakeAndLeave), S_OK);
  static_cast<void>(system.Detach());
  EXPECT_EQ(Create(CATEGORY), E_FAIL);
  EXPECT_EQ(System::ptr(), nullptr);
}

}  // namespace
