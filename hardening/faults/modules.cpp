// The System, its registry and its plug-ins: created, filled, scanned with and without a cache.
#include <qecore/core/filter.h>
#include <qecore/core/module.h>
#include <qecore/core/registry.h>
#include <qecore/core/system.h>
#include <qecore/image/image.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>

#include <new>

#include "faults.h"

namespace faults {

namespace {

constexpr Guid CATEGORY = {3, 3, 3, {3}};
constexpr unsigned PLUGIN_CLASSES = 3;
constexpr char16_t CACHE[] = u"C:\\plugins.cache";

class Filter final : public Destroys<Filter, ykFlt2d> {
 public:
  wchar_t const* GetName() noexcept override { return L"name"; }
  wchar_t const* GetPattern(unsigned index) noexcept override { return index < 2 ? L"pattern" : nullptr; }
};

HRESULT MakeFilter(ClassInfo const*, void** out) {
  *out = static_cast<ykFlt2d*>(new Filter);
  return S_OK;
}

Guid ClassOf(unsigned index) noexcept { return {100 + index, 5, 5, {5}}; }

/// The System of one run. It is destroyed without failures: losses of a plug-in during unloading are not
/// tested.
struct Scope {
  Ref<System> system = Ref<System>::Adopt(System::Create());
  ~Scope() {
    harness::Calm const calm;
    system.Reset();
  }
};

bool CanCreate(Guid const& id) {
  Ref<Unknown> object;
  return Succeeded(CreateInterface(id, object.ReceiveVoid()));
}

bool HasBuiltinClasses() {
  for (Guid const* const id : {&ids::IMAGE_2D, &ids::MAP, &ids::UNDO_MANAGER, &ids::XML_HELPER}) {
    if (!CanCreate(*id)) return false;
  }
  Ref<Image2d> const image = Ref<Image2d>::Adopt(Image2d::Create());
  image->flags = IMG_HEAP_MEMORY;
  image->Create(IMG_GRAY8, 4, 4);
  char row[64];
  return Succeeded(image->ConvertLine(0, IMG_BGR24, row, sizeof row));
}

// The scenarios with pictures must not use the System that is created here.
void NoSystem() {
  if (System* const left = System::ptr()) left->Release();
  harness::UnloadPlugins();
  harness::ClearFiles();
}

Outcome CreateSystem() {
  Outcome outcome;
  Scope const scope;
  if (!outcome.Note(scope.system.get() != nullptr)) return outcome.End();
  harness::Calm const calm;
  outcome.whole = HasBuiltinClasses();
  return outcome;
}

// ---- the registry

Outcome CreateObjects() {
  Outcome outcome;
  Ref<System> system = Calmly([] { return Ref<System>::Adopt(System::Create()); });
  for (Guid const* const id : {&ids::IMAGE_2D, &ids::MAP, &ids::UNDO_MANAGER, &ids::XML_HELPER}) {
    Ref<Unknown> object;
    HRESULT const result = CreateInterface(*id, object.ReceiveVoid());
    if (!outcome.Note(result)) outcome.whole = false;
    if (Succeeded(result) != (object.get() != nullptr))
      outcome.broken = "a result that contradicts the object";
  }
  harness::Calm const calm;
  system.Reset();
  return outcome;
}

Outcome RegisterClasses() {
  constexpr unsigned CLASSES = 60;
  Outcome outcome;
  Scope const scope;
  if (!outcome.Note(scope.system.get() != nullptr)) return outcome.End();
  for (unsigned i = 0; i < CLASSES; ++i) {
    ClassInfo info;
    info.classId = ClassOf(i);
    info.interfaceId = i % 8 ? CATEGORY : ids::FLT_2D;
    info.name = "some class";
    info.create = MakeFilter;
    outcome.Note(scope.system->RegisterInterface(&info));
  }
  Array* found = nullptr;
  outcome.Note(scope.system->EnumClasses(CATEGORY, &found, 0));
  Ref<Array> const list = Ref<Array>::Adopt(found);
  harness::Calm const calm;
  unsigned sound = 0;
  for (unsigned i = 0; i < CLASSES; ++i) {
    ClassInfo* info = nullptr;
    sound += Succeeded(scope.system->FindClass(ClassOf(i), &info)) && info->name &&
             !strcmp(info->name, "some class");
  }
  unsigned const listed = list ? static_cast<unsigned>(list->Count()) : 0;
  outcome.whole = sound == CLASSES && listed == CLASSES - (CLASSES + 7) / 8;
  if (!HasBuiltinClasses()) outcome.broken = "a System without the library's own classes";
  return outcome;
}

// ---- plug-ins

intptr_t Entry(unsigned message, uintptr_t index, void* record) {
  if (message == MODULE_VERSION_QUERY) return KTZ_VERSION;
  if (message != MODULE_CLASS || index >= PLUGIN_CLASSES) return 0;
  ClassInfo& info = *static_cast<ClassInfo*>(record);
  info.classId = ClassOf(static_cast<unsigned>(index));
  info.interfaceId = ids::FLT_2D;
  info.create = MakeFilter;
  info.name = "filter";
  return 1;
}

intptr_t EmptyEntry(unsigned message, uintptr_t, void*) {
  return message == MODULE_VERSION_QUERY ? KTZ_VERSION : 0;
}

void Scan(System& system) { system.ScanModules(L"P:\\", Wide(CACHE)); }

void PutPlugins() {
  NoSystem();
  harness::PutPlugin(u"P:\\a.qem", Entry);
  harness::PutPlugin(u"P:\\b.qem", EmptyEntry);
}

void PutPluginsAndCache() {
  PutPlugins();
  Scope const scope;
  Scan(*scope.system);
}

bool IsDescribed(ClassInfo const& info) {
  Variant value;
  String text;
  return info.name && !strcmp(info.name, "filter") && info.info &&
         Succeeded(info.info->GetValue(ClassInfo::INFO_NAME, value)) && value.Get(text) && text == L"name";
}

/// Null, or what is missing after the next scan, without failures, of the same folder with the same cache.
char const* WhatTheNextScanLacks() {
  harness::Calm const calm;
  Scope const scope;
  Scan(*scope.system);
  for (unsigned i = 0; i < PLUGIN_CLASSES; ++i) {
    if (!CanCreate(ClassOf(i))) return "the next scan lacks a class";
  }
  Array* found = nullptr;
  scope.system->EnumClasses(ids::FLT_2D, &found, 0);
  Ref<Array> const list = Ref<Array>::Adopt(found);
  if (!list || list->Count() != static_cast<int>(PLUGIN_CLASSES)) return "the next scan lacks a filter";
  for (int i = 0; i < list->Count(); ++i) {
    if (!IsDescribed(*static_cast<ClassInfo*>(list->At(i))))
      return "the next scan has a filter without a name";
  }
  return nullptr;
}

// A scan always returns S_OK: what it could not do, the next one does.
Outcome ScanFolder() {
  Outcome outcome;
  {
    Scope const scope;
    if (!scope.system) return outcome;
    Scan(*scope.system);
    harness::Calm const calm;
    if (!HasBuiltinClasses()) outcome.broken = "a System without the library's own classes";
  }
  if (char const* const lack = WhatTheNextScanLacks()) outcome.broken = lack;
  return outcome;
}

constexpr unsigned SCANNING = SAVING | LOADING | harness::FIND | harness::LOAD | harness::REMOVE;

constexpr Scenario SCENARIOS[] = {
    {"system: create", harness::MEMORY, NoSystem, CreateSystem},
    {"registry: create", harness::MEMORY, NoSystem, CreateObjects},
    {"registry: fill", harness::MEMORY, NoSystem, RegisterClasses},
    {"scan: without a cache", SCANNING, PutPlugins, ScanFolder},
    {"scan: with a cache", SCANNING, PutPluginsAndCache, ScanFolder},
};

}  // namespace

std::span<Scenario const> ModuleScenarios() { return SCENARIOS; }

}  // namespace faults
