// The module cache and the registry: scans over arbitrary cache files with plug-ins that misbehave, and
// random calls.
#include <qecore/core/filter.h>
#include <qecore/core/module.h>
#include <qecore/core/registry.h>
#include <qecore/core/system.h>
#include <qecore/draw/device_context.h>
#include <qecore/values/array.h>
#include <qecore/values/string.h>

#include "target.h"

namespace fuzz {

using namespace yk;

namespace {

constexpr wchar_t FOLDER[] = L"P:\\";
constexpr wchar_t CACHE[] = L"C:\\cache";
constexpr Guid OTHER_INTERFACE = {9, 0, 0, {0}};
constexpr uint64_t UNKNOWN_TIME = 0;  // of a module that the next scan treats as new

/// The misbehaviour of the plug-ins.
enum Mood : unsigned {
  CREATES_WHILE_ASKED = 1,
  OTHER_VERSION = 2,
  CREATES_WHILE_TOLD_TO_GO = 4,
  LETS_GO_OF_SYSTEM = 8
};
unsigned mood;

class FilterOfOurs final : public Destroys<FilterOfOurs, ykFlt2d> {
 public:
  wchar_t const* GetName() noexcept override { return L"name"; }
  wchar_t const* GetPattern(unsigned index) noexcept override { return index < 2 ? L"pattern" : nullptr; }
};

HRESULT MakeThing(ClassInfo const*, void** out) {
  *out = new Thing;
  return S_OK;
}

HRESULT MakeFilter(ClassInfo const*, void** out) {
  *out = static_cast<ykFlt2d*>(new FilterOfOurs);
  return S_OK;
}

Guid ClassOf(unsigned index) noexcept { return {7 + index, 0, 0, {0}}; }

void CreateAndDrop(Guid const& id) {
  void* object = nullptr;
  HRESULT const result = CreateInterface(id, &object);
  Require(Succeeded(result) == (object != nullptr), "success comes with an object");
  if (object) static_cast<Unknown*>(object)->Release();
}

intptr_t Describe(uintptr_t index, ClassInfo& info) {
  if (index > 2) return 0;
  bool const isFilter = index == 1;
  info.classId = ClassOf(static_cast<unsigned>(index));
  info.interfaceId = isFilter ? ids::FLT_2D : OTHER_INTERFACE;
  info.create = isFilter ? MakeFilter : MakeThing;
  info.name = "thing";
  return 1;
}

intptr_t Entry(unsigned message, uintptr_t index, void* record) {
  switch (message) {
    case MODULE_VERSION_QUERY:
      if (mood & CREATES_WHILE_ASKED) CreateAndDrop(ClassOf(0));
      return mood & OTHER_VERSION ? 1 : KTZ_VERSION;
    case MODULE_DETACH:
      if (mood & CREATES_WHILE_TOLD_TO_GO) CreateAndDrop(ClassOf(0));
      return 0;
    case MODULE_CLASS:
      return Describe(index, *static_cast<ClassInfo*>(record));
    default:
      return 0;
  }
}

/// Bits of the second byte of an input; the lowest three select the plug-ins that exist.
enum How : unsigned { ROUNDS = 8, A_GOES = 32, A_IS_FORGOTTEN = 64, FILTERS_ARE_MADE = 128 };

void PutPlugins(unsigned how) {
  harness::ClearFiles();
  char16_t const* const paths[] = {u"P:\\a.qem", u"P:\\b.qem", u"P:\\c.qem"};
  for (unsigned i = 0; i < std::size(paths); ++i) {
    if (!(how >> i & 1)) continue;
    if (i < 2)
      harness::PutPlugin(paths[i], Entry);  // the third is not a library
    else
      harness::PutFile(paths[i], "no library");
    harness::FindFile(paths[i])->time = 1000;
  }
  harness::PutFile(u"P:\\x.txt", "");
}

void LookAtFilters(System& system, bool make) {
  Array* filters = nullptr;
  if (Failed(system.EnumClasses(ids::FLT_2D, &filters, 0))) return;
  Ref<Array> const records = Ref<Array>::Adopt(filters);
  Require(records->Count() > 0, "a list of classes is not empty");
  for (int i = 0; i < records->Count(); ++i) {
    ClassInfo const& info = *static_cast<ClassInfo*>(records->At(i));
    if (info.name) Require(strlen(info.name) < 1000000, "a name is terminated");
  }
  if (make) CreateAndDrop(static_cast<ClassInfo*>(records->At(0))->classId);  // which may change the records
}

/// Whether the next scan will load a plug-in again, for instance as the cache was wrong about its classes.
bool IsDue(System& system, wchar_t const* name) {
  Ref<Module> const module = Ref<Module>::Adopt(system.FindModule(name));
  return module && module->fileTime == UNKNOWN_TIME;
}

/// \return whether the next scan will load a plug-in again, and leave its library loaded: see
///   System::UnloadModule
bool Scan(System& system, unsigned how, bool first) {
  system.ScanModules(FOLDER, CACHE);
  CreateAndDrop(ClassOf(0));
  LookAtFilters(system, (how & FILTERS_ARE_MADE) != 0);
  bool const isDue = IsDue(system, L"a.qem") || IsDue(system, L"b.qem");
  Ref<Module> const module = Ref<Module>::Adopt(system.FindModule(L"a.qem"));
  if (module && (how & A_IS_FORGOTTEN)) system.UnloadModule(module.get());
  if (first && (how & A_GOES)) harness::PutFile(u"P:\\a.qem", "other").time = 2000;
  return (how & (A_IS_FORGOTTEN | A_GOES)) || isDue;
}

}  // namespace

// mood, how, cache file
void ReadCache(Input& in) {
  mood = in.Byte();
  unsigned const how = in.Byte();
  std::vector<uint8_t> const file = in.Rest();
  {
    harness::Calm const calm;
    PutPlugins(how);
    harness::PutFile(u"C:\\cache", std::string(file.begin(), file.end()));
  }
  Ref<System> system = Ref<System>::Adopt(System::Create());
  if (!system) return;
  bool mayStay = MayFail();
  for (unsigned round = 0; round <= how / ROUNDS % 4; ++round) mayStay |= Scan(*system, how, round == 0);
  system.Reset();
  Require(!System::ptr(), "the last Release destroys the System");
  long const loaded = harness::CountLoads(u"P:\\a.qem").now + harness::CountLoads(u"P:\\b.qem").now;
  Require(loaded == 0 || mayStay, "the System frees its plug-ins");
  harness::UnloadPlugins();
}

void SeedCache(Seeds& seeds) {
  for (unsigned how : {0u, 1u, 3u, 7u}) {
    mood = 0;
    PutPlugins(how);
    Ref<System> system = Ref<System>::Adopt(System::Create());
    system->ScanModules(FOLDER, CACHE);
    system.Reset();
    std::string const file = harness::ReadFile(u"C:\\cache");
    for (char now : {0, 3, 7, 15, 71})
      seeds.Add(std::to_string(how) + "-" + std::to_string(now), std::string{'\0', now} + file);
  }
}

// ---- the registry

namespace {

constexpr Guid CATEGORY = {3, 3, 3, {3}};

Guid AnyClass(Input& in) { return {in.Below(16), 1, 1, {1}}; }

// Odd numbers are filters, so that a record and the object it creates are consistent.
void RegisterClass(System& system, Input& in) {
  ClassInfo info;
  info.classId = AnyClass(in);
  bool const isFilter = info.classId.first & 1;
  info.interfaceId = isFilter ? ids::FLT_2D : CATEGORY;
  std::vector<char> const name = in.Narrow(20);
  if (!in.OneIn(8)) info.name = name.data();
  if (!in.OneIn(4)) info.create = isFilter ? MakeFilter : MakeThing;
  if (in.Flag()) info.flags = ClassInfo::HIDDEN;
  system.RegisterInterface(&info);
}

void CreateClass(System&, Input& in) { CreateAndDrop(AnyClass(in)); }

void CreateBuiltin(System&, Input& in) {
  static Guid const* const BUILTIN[] = {&ids::IMAGE_2D, &ids::MAP, &ids::UNDO_MANAGER, &ids::XML_HELPER};
  CreateAndDrop(*in.Pick(BUILTIN));
}

void AskFilter(System& system, Input& in) {
  ClassInfo* info = nullptr;
  HRESULT const result = system.FindClass(AnyClass(in), &info);
  Require(Succeeded(result) == (info != nullptr), "success comes with a record");
  if (info && info->interfaceId == ids::FLT_2D) system.QueryFilterInfo(info);
}

void EnumClasses(System& system, Input& in) {
  Array* records = nullptr;
  Guid const& category = in.Flag() ? ids::FLT_2D : CATEGORY;
  if (Succeeded(system.EnumClasses(category, &records, in.Below(2)))) records->Release();
}

void AskTime(System& system, Input& in) {
  uint64_t time = 0;
  system.GetCacheTime(&time, in.Byte());
  system.GetVersion();
}

void RegisterDrawing(System&, Input&) { IDC::Register(); }

using Step = void (*)(System&, Input&);
constexpr Step STEPS[] = {RegisterClass, RegisterClass, CreateClass, CreateBuiltin,
                          AskFilter,     EnumClasses,   AskTime,     RegisterDrawing};

}  // namespace

void CallRegistry(Input& in) {
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  if (system) Play(in, 60, STEPS, *system);
}

}  // namespace fuzz
