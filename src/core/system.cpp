#include <qecore/core/filter.h>
#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <string.h>
#include <windows.h>

#include <new>

#include "builtin_classes_p.h"
#include "class_info_p.h"
#include "image/convert_p.h"
#include "module_p.h"

namespace yk {

namespace {

System* theSystem;

constexpr int VERSION = 2;
constexpr unsigned MAX_PATTERNS = 4096;  // a filter that never ends its list must not hang the registration

ClassInfo* RecordAt(Array* records, int index) noexcept {
  return static_cast<ClassInfo*>(records->At(index));
}

int CountOf(Array* array) noexcept { return array ? array->Count() : 0; }

/// Appends to an array that is made at its first use. \return false without memory
bool AppendTo(Array*& array, void* element) noexcept {
  if (!array) array = Array::Create(0);
  int const before = CountOf(array);
  return array && array->Add(element) == before;
}

void RemoveFrom(Array* array, void* element) noexcept {
  int const index = array ? array->Find(element) : -1;
  if (index >= 0) array->AtDelete(index);
}

/// A new record that says the same and owns what it holds; null without memory.
ClassInfo* Copy(ClassInfo const& info) noexcept {
  ClassInfo* const copy = new (std::nothrow) ClassInfo;
  if (!copy) return nullptr;
  copy->classId = info.classId;
  copy->interfaceId = info.interfaceId;
  copy->create = info.create;
  copy->module = info.module;
  copy->info = info.info;
  if (copy->info) copy->info->AddRef();
  copy->flags = info.flags & ~ClassInfo::OWN_NAME;
  if (copy->flags & ClassInfo::STATIC_NAME) {
    copy->name = info.name;
    return copy;
  }
  CopyName(*copy, info.name);
  if (copy->name || !info.name || !*info.name) return copy;
  delete copy;
  return nullptr;
}

bool IsInside(HINSTANCE library, void const* address) noexcept {
  HMODULE owner = nullptr;
  constexpr DWORD HOW = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  return address && GetModuleHandleExW(HOW, static_cast<wchar_t const*>(address), &owner) && owner == library;
}

template <class Value>
void Set(Map& map, unsigned key, Value const& value) noexcept {
  Variant variant;
  variant.Init(value);
  map.SetValue(key, variant);
}

void Describe(ykFlt& filter, Map& map) noexcept {
  if (wchar_t const* const name = filter.GetName()) Set(map, ClassInfo::INFO_NAME, name);
  unsigned patterns = 0;
  while (patterns < MAX_PATTERNS) {
    wchar_t const* const pattern = filter.GetPattern(patterns);
    if (!pattern) break;
    Set(map, ClassInfo::INFO_PATTERN + patterns, pattern);
    ++patterns;
  }
  Set(map, ClassInfo::INFO_FLAGS, filter.GetFlags());
  if (patterns > 0) Set(map, ClassInfo::INFO_PATTERN_COUNT, patterns);
}

}  // namespace

System* System::Create() noexcept { return theSystem ? theSystem : new (std::nothrow) System; }

System* System::ptr() noexcept { return theSystem; }

System::System() noexcept {
  theSystem = this;
  registry = Array::Create(0);
  img::BuildConversionTable();
  RegisterBuiltinClasses();
}

// A plug-in that still calls in when it is told to go finds a System that holds nothing.
System::~System() {
  theSystem = nullptr;
  AddRef();         // while it goes: a plug-in that takes and drops a reference must not destroy it once more
  scanning = true;  // and a scan does nothing any more
  Ref<Array> const records = Ref<Array>::Adopt(registry);
  Ref<Array> const plugins = Ref<Array>::Adopt(modules);
  Ref<Array> const filterRecords = Ref<Array>::Adopt(filters);
  registry = modules = filters = nullptr;
  for (int i = 0; i < CountOf(records.get()); ++i) delete RecordAt(records.get(), i);
  for (int i = 0; i < CountOf(plugins.get()); ++i) {
    Ref<Module> const module = Ref<Module>::Adopt(static_cast<Module*>(plugins->At(i)));
    module->classes = nullptr;
    module->Unload();
  }
  if (!theSystem) img::FreeConversionTable();  // a plug-in that was told to go may have made a new System
}

int System::GetVersion() noexcept { return VERSION; }

HRESULT System::GetCacheTime(void* buffer, unsigned size) noexcept {
  if (!buffer || size != sizeof cacheTime) return E_FAIL;
  memcpy(buffer, &cacheTime, sizeof cacheTime);
  return S_OK;
}

HRESULT System::CreateInterface(Guid const& classId, void** out) noexcept {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  ClassInfo* info = nullptr;
  HRESULT result = FindClass(classId, &info);
  if (Failed(result)) return result;
  if (info->module) {
    result = info->module->Load();
    if (Failed(result)) return result;
    // What loads may do as it likes: register, unload, let go of this very System.
    if (theSystem != this) return E_FAIL;
    result = FindClass(classId, &info);
    if (Failed(result)) return result;
  }
  if (!info->create) return YK_E_NOTFOUND;
  result = info->create(info, out);
  if (Failed(result)) *out = nullptr;
  return result;
}

HRESULT System::RegisterInterface(ClassInfo const* info) noexcept {
  if (!info) return E_INVALIDARG;
  if (!registry) return E_OUTOFMEMORY;
  ClassInfo* present = nullptr;
  if (Succeeded(FindClass(info->classId, &present))) {
    if (present->create) return E_INVALIDARG;
    present->create = info->create;
    return S_OK;
  }
  ClassInfo* const record = Copy(*info);
  if (!record) return E_OUTOFMEMORY;
  if (record->interfaceId == ids::FLT_2D || record->interfaceId == ids::FLT_3D) {
    record->flags |= ClassInfo::FILTER;
    QueryFilterInfo(record);
    // The instance was a plug-in's, which may have registered the class itself meanwhile.
    if (theSystem != this || Succeeded(FindClass(record->classId, &present))) {
      delete record;
      return E_INVALIDARG;
    }
  }
  if (Append(record)) return S_OK;
  delete record;
  return E_OUTOFMEMORY;
}

HRESULT System::FindClass(Guid const& classId, ClassInfo** out) noexcept {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  int const count = CountOf(registry);
  if (count == 0) return YK_E_EMPTY;
  for (int i = 0; i < count; ++i) {
    ClassInfo* const record = RecordAt(registry, i);
    if (!(record->classId == classId)) continue;
    *out = record;
    return S_OK;
  }
  return YK_E_NOTFOUND;
}

HRESULT System::Reserved13() noexcept { return E_NOTIMPL; }

HRESULT System::UnloadModule(Module* module) noexcept {
  if (!module) return S_OK;
  Ref<Module> const kept = Ref<Module>::Share(module);
  while (ClassInfo* const record = module->classes) {
    module->classes = record->next;
    Drop(record);
  }
  int const index = modules ? modules->Find(module) : -1;
  if (index < 0) return S_OK;
  modules->AtDelete(index);
  module->Release();
  return S_OK;
}

HRESULT System::ScanModules(String const& folder, String const& cacheFile) noexcept {
  if (scanning) return S_OK;  // a plug-in that is being loaded calls
  Ref<System> const kept = Ref<System>::Share(this);
  scanning = true;
  ModuleScan(*this, folder, cacheFile).Run();
  scanning = false;
  return S_OK;
}

// ENUM_NESTED asks for a second search below a class whose identifier is its own category's. As the class was
// found in the category searched for, that would be this search again, within itself and without end: it is not
// begun, since it can find nothing new.
HRESULT System::EnumClasses(Guid const& interfaceId, Array** out, unsigned options) noexcept {
  (void)options;
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  for (int i = 0; i < CountOf(registry); ++i) {
    ClassInfo* const record = RecordAt(registry, i);
    if (!(record->interfaceId == interfaceId) || record->flags & ClassInfo::HIDDEN) continue;
    AppendTo(*out, record);
  }
  return *out ? S_OK : E_FAIL;
}

Module* System::FindModule(String const& fileName) noexcept {
  for (int i = 0; i < CountOf(modules); ++i) {
    Module* const module = static_cast<Module*>(modules->At(i));
    if (module->fileName.CompareNoCase(fileName) == 0) return Ref<Module>::Share(module).Detach();
  }
  return nullptr;
}

HRESULT System::QueryFilterInfo(ClassInfo* info) noexcept {
  if (!info) return E_INVALIDARG;
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  if (!map) return E_FAIL;
  if (info->info) info->info->Release();
  info->info = Ref<Map>(map).Detach();
  void* made = nullptr;
  if (!info->create || Failed(info->create(info, &made)) || !made) return E_FAIL;
  Ref<ykFlt> const filter = Ref<ykFlt>::Adopt(static_cast<ykFlt*>(made));
  Describe(*filter, *map);
  return S_OK;
}

/// Puts a record on the lists that it belongs on: the registry's, the filters', its module's.
bool System::Append(ClassInfo* record) noexcept {
  record->next = nullptr;
  if (!AppendTo(registry, record)) return false;
  if (record->flags & ClassInfo::FILTER) AppendTo(filters, record);
  if (Module* const module = record->module) {
    record->next = module->classes;
    module->classes = record;
  }
  return true;
}

void System::Drop(ClassInfo* record) noexcept {
  RemoveFrom(filters, record);
  RemoveFrom(registry, record);
  delete record;
}

bool System::AppendModule(Module* module) noexcept {
  if (!AppendTo(modules, module)) return false;
  module->AddRef();
  return true;
}

/// The classes of a library that is about to go stay registered, but nothing in it may be called or read any more.
void System::ForgetCode(HINSTANCE library) noexcept {
  for (int i = 0; i < CountOf(registry); ++i) {
    ClassInfo& record = *RecordAt(registry, i);
    if (IsInside(library, reinterpret_cast<void const*>(record.create))) record.create = nullptr;
    if (!(record.flags & ClassInfo::STATIC_NAME) || !IsInside(library, record.name)) continue;
    record.flags &= ~ClassInfo::STATIC_NAME;
    CopyName(record, record.name);
  }
}

HRESULT CreateInterface(Guid const& classId, void** out) noexcept {
  if (theSystem) return theSystem->CreateInterface(classId, out);
  if (out) *out = nullptr;
  return E_FAIL;  // the caller's fault: there is no System
}

HRESULT RegisterInterface(ClassInfo* info) noexcept {
  return theSystem ? theSystem->RegisterInterface(info) : E_FAIL;
}

}  // namespace yk
