#include <qecore/core/system.h>

#include <qecore/core/filter.h>
#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <string.h>
#include <windows.h>

#include <memory>
#include <new>
#include <utility>

#include "builtin_classes_p.h"
#include "class_info_p.h"
#include "draw/gdi_p.h"
#include "dying_p.h"
#include "error_p.h"
#include "image/convert_p.h"
#include "module_p.h"
#include "parallel_p.h"
#include "registry_lock_p.h"
#include "registry_p.h"
#include "values/indexed_array_p.h"

namespace yk {

namespace {

System* theSystem;

constexpr int VERSION = 2;

constexpr char CREATE[] = "CreateInterface";
constexpr char REGISTER[] = "RegisterInterface";

/// Fails for a class; "%s" in `text` is its identifier.
HRESULT FailClass(unsigned before, HRESULT result, char const* operation, wchar_t const* text,
                  Guid const& classId) noexcept {
  wchar_t id[Guid::TEXT_SIZE];
  classId.toString(id);
  return FailSince(before, result, operation, text, id);
}

HRESULT FailWithoutSystem(char const* operation) noexcept {
  return Fail(E_FAIL, operation, L"there is no System");
}

ClassInfo* RecordAt(Ref<Array> const& records, int index) noexcept {
  return static_cast<ClassInfo*>(records->At(index));
}

int CountOf(Ref<Array> const& array) noexcept { return array ? array->Count() : 0; }

/// Appends to an array that is created at its first use. \return false without memory
bool AppendTo(Ref<Array>& array, void* element) noexcept {
  if (!array) array = Ref<Array>::Adopt(Array::Create(0));
  int const before = CountOf(array);
  return array && array->Add(element) == before;
}

bool RemoveFrom(Ref<Array> const& array, void* element) noexcept {
  int const index = array ? array->Find(element) : -1;
  return index >= 0 && array->AtDelete(index);
}

uint32_t HashOf(Guid const& id, void const* key) noexcept {
  uint64_t halves[2];
  static_assert(sizeof halves == sizeof id);
  memcpy(halves, &id, sizeof halves);
  return MixHash(halves[0], halves[1], key);
}

uint32_t HashOfRecord(void const* record, void const* key) noexcept {
  return HashOf(static_cast<ClassInfo const*>(record)->classId, key);
}

/// The first record of a class for which `matches(record)` is true, or null. Call under the lock.
template <class Matches>
ClassInfo* SeekRecord(Ref<Array> const& records, Guid const& classId, Matches matches) noexcept {
  if (!records) return nullptr;
  auto const isOf = [&](void* element) {
    auto const& record = *static_cast<ClassInfo*>(element);
    return record.classId == classId && matches(record);
  };
  IndexedArray& all = IndexedArray::Of(records);
  return static_cast<ClassInfo*>(all.Seek(HashOf(classId, &all), isOf));
}

/// The record of a class, the first one registered, or null. Call under the lock.
ClassInfo* RecordOf(Ref<Array> const& records, Guid const& classId) noexcept {
  return SeekRecord(records, classId, [](ClassInfo const&) { return true; });
}

bool IsFilter(ClassInfo const& info) noexcept {
  return info.interfaceId == ids::FLT_2D || info.interfaceId == ids::FLT_3D;
}

/// Sets the flag of filters according to the interface, whatever a host or a cache says.
void MarkFilter(ClassInfo& info) noexcept {
  info.flags = (info.flags & ~ClassInfo::FILTER) | (IsFilter(info) ? ClassInfo::FILTER : 0u);
}

/// Replaces the interface that a cache states for a class by that of its factory, whose objects would
/// otherwise be called through the wrong slots. The description stays, since others may be reading it, until
/// the next scan asks the plug-in again. Call under the lock. \return false without memory
bool Correct(ClassInfo& record, Guid const& interfaceId, Ref<Array>& filters) noexcept {
  ClassInfo corrected;
  corrected.interfaceId = interfaceId;
  bool const wasFilter = IsFilter(record), isFilter = IsFilter(corrected);
  if (isFilter && !wasFilter && !AppendTo(filters, &record)) return false;
  if (wasFilter && !isFilter) RemoveFrom(filters, &record);
  record.interfaceId = interfaceId;
  MarkFilter(record);
  record.module->fileTime = 0;
  return true;
}

/// Gives a class registered without a factory its factory. Call under the lock.
HRESULT Complete(ClassInfo& record, ClassInfo const& info, Ref<Array>& filters) noexcept {
  if (record.create) {
    return FailClass(ErrorCount(), E_INVALIDARG, REGISTER, L"the class %s is already registered",
                     record.classId);
  }
  bool const isWrong = record.module && info.create && !(record.interfaceId == info.interfaceId);
  if (isWrong && !Correct(record, info.interfaceId, filters)) return E_OUTOFMEMORY;
  record.create = info.create;
  return S_OK;
}

ClassFactory FactoryOf(ClassInfo const& record) noexcept {
  RegistryLock const guard;
  return record.create;
}

/// A new record with the same content, which it owns; null without memory. Whether it is a filter is not
/// taken from the host's flags.
std::unique_ptr<ClassInfo> Copy(ClassInfo const& info) noexcept {
  std::unique_ptr<ClassInfo> copy(Made(new (std::nothrow) ClassInfo, REGISTER));
  if (!copy) return nullptr;
  copy->classId = info.classId;
  copy->interfaceId = info.interfaceId;
  copy->create = info.create;
  copy->module = info.module;
  copy->info = Ref<Map>::Share(info.info).Detach();
  copy->flags = info.flags & ~(ClassInfo::OWN_NAME | ClassInfo::FILTER);
  if (copy->flags & ClassInfo::STATIC_NAME) {
    copy->name = info.name;
    return copy;
  }
  CopyName(*copy, info.name);
  bool const isWhole = copy->name || !info.name || !*info.name;
  return isWhole ? std::move(copy) : nullptr;
}

bool IsInside(HINSTANCE library, void const* address) noexcept {
  HMODULE owner = nullptr;
  constexpr DWORD HOW = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  return address && GetModuleHandleExW(HOW, static_cast<wchar_t const*>(address), &owner) && owner == library;
}

/// \return false without memory. An empty text is not set.
bool Set(Map& map, unsigned key, wchar_t const* text) noexcept {
  Variant value;
  value.Init(text);
  if (value.type == Variant::EMPTY) return *text == 0;
  return Succeeded(map.SetValue(key, value));
}

bool Set(Map& map, unsigned key, unsigned number) noexcept {
  Variant value;
  value.Init(number);
  return Succeeded(map.SetValue(key, value));
}

/// \return false without memory for the whole description
bool Describe(ykFlt& filter, Map& map) noexcept {
  wchar_t const* const name = filter.GetName();
  bool whole = !name || Set(map, ClassInfo::INFO_NAME, name);
  unsigned patterns = 0;
  while (patterns < MAX_PATTERNS) {
    wchar_t const* const pattern = filter.GetPattern(patterns);
    if (!pattern) break;
    whole = Set(map, ClassInfo::INFO_PATTERN + patterns, pattern) && whole;
    ++patterns;
  }
  whole = Set(map, ClassInfo::INFO_FLAGS, filter.GetFlags()) && whole;
  return (patterns == 0 || Set(map, ClassInfo::INFO_PATTERN_COUNT, patterns)) && whole;
}

/// Loads the plug-in of a class; the module may be released meanwhile.
HRESULT LoadModule(Module& toLoad) noexcept {
  Ref<Module> const module = Ref<Module>::Share(&toLoad);
  unsigned const before = ErrorCount();
  HRESULT const result = module->Load();
  if (Succeeded(result)) return result;
  return FailSince(before, result, CREATE, L"the plug-in %s could not be loaded", module->fileName.c_str());
}

/// Creates an object by its factory.
HRESULT MakeObject(ClassInfo const& info, void** out) noexcept {
  Guid const id = info.classId;  // the factory may cause its record to be freed
  unsigned const before = ErrorCount();
  ClassFactory const create = FactoryOf(info);
  if (!create) return FailClass(before, YK_E_NOTFOUND, CREATE, L"the class %s has no factory", id);
  HRESULT const result = create(&info, out);
  if (Succeeded(result)) return result;
  *out = nullptr;
  return FailClass(before, result, CREATE, L"cannot create an object of the class %s", id);
}

/// A program may use what later versions added, so it needs its own minor version or a later one.
bool IsServed(unsigned version) noexcept {
  constexpr unsigned PATCHES = 0xFF, MINOR_SHIFT = 8, MAJOR_SHIFT = 16;
  if (version >> MAJOR_SHIFT == QECORE_VERSION_MAJOR && version <= (QECORE_VERSION | PATCHES)) return true;
  Fail(E_NOINTERFACE, "System::Create",
       L"this program was compiled for qeCore %u.%u, and the library is " QECORE_VERSION_TEXT,
       version >> MAJOR_SHIFT, version >> MINOR_SHIFT & PATCHES);
  return false;
}

}  // namespace

System* System::CreateFor(unsigned version) noexcept {
  if (!IsServed(version)) return nullptr;
  if (theSystem) return theSystem;
  Ref<System> built = Ref<System>::Adopt(Made(new (std::nothrow) System, "System::Create"));
  if (built && built->complete) return built.Detach();
  built.Reset();
  return theSystem;
}

System* System::ptr() noexcept { return theSystem; }

System::System() noexcept {
  theSystem = this;
  AllowThreads();
  draw::Canvas::StartKeeping();
  // cppcheck-suppress useInitializationList  // Contract: only after the System can be found
  registry = Ref<Array>::Adopt(IndexedArray::Create(HashOfRecord));
  img::BuildConversionTable();
  complete = registry && RegisterBuiltinClasses();
}

// A plug-in that calls the System during MODULE_DETACH finds it empty.
System::~System() {
  theSystem = nullptr;
  EndThreads();
  HoldWhileDying(*this);
  scanning = true;  // turns further scans into no-ops
  Ref<Array> const records = std::move(registry), plugins = std::move(modules);
  filters.Reset();
  for (int i = 0; i < CountOf(plugins); ++i) ModuleAt(plugins, i)->classes = nullptr;
  for (int i = 0; i < CountOf(records); ++i) delete RecordAt(records, i);
  for (int i = 0; i < CountOf(plugins); ++i) {
    Ref<Module> const module = Ref<Module>::Adopt(ModuleAt(plugins, i));
    module->Unload();
  }
  if (theSystem) return;  // a plug-in has created a new one during MODULE_DETACH
  draw::Canvas::StopKeeping();
  img::FreeConversionTable();
}

int System::GetVersion() noexcept { return VERSION; }

HRESULT System::GetCacheTime(void* buffer, unsigned size) noexcept {
  if (!buffer || size != sizeof cacheTime)
    return Fail(E_FAIL, "System::GetCacheTime", L"the time needs a buffer of 8 bytes");
  RegistryLock const guard;
  memcpy(buffer, &cacheTime, sizeof cacheTime);
  return S_OK;
}

void System::SetCacheTime(uint64_t time) noexcept {
  RegistryLock const guard;
  cacheTime = time;
}

// Plug-ins and factories may do anything meanwhile: register, unload, even release this System.
HRESULT System::CreateInterface(Guid const& classId, void** out) noexcept {
  if (!out) return FailNull(CREATE, L"out");
  *out = nullptr;
  Ref<System> const kept = Ref<System>::Share(this);
  unsigned const before = ErrorCount();
  ClassInfo* info = nullptr;
  HRESULT found = FindClass(classId, &info);
  if (Succeeded(found) && info->module) {
    HRESULT const loaded = LoadModule(*info->module);
    if (Failed(loaded)) return loaded;
    found = FindClass(classId, &info);
  }
  if (Failed(found)) return FailClass(before, found, CREATE, L"the class %s is not registered", classId);
  HRESULT const result = MakeObject(*info, out);
  if (Failed(result) || !IsLastHolder()) return result;
  Unknown::Free(out);  // its code is unloaded with the System at the end of this call
  return FailWithoutSystem(CREATE);
}

/// True when only the caller holds the System, which will be destroyed with the call.
bool System::IsLastHolder() noexcept { return CountReferences(*this) == 1; }

HRESULT System::RegisterInterface(ClassInfo const* info) noexcept {
  if (!info) return FailNull(REGISTER, L"info");
  if (!registry) return Fail(E_OUTOFMEMORY, REGISTER, L"the registry could not be created");
  ClassInfo* present = nullptr;
  if (Succeeded(FindClass(info->classId, &present))) {
    RegistryLock const guard;
    return Complete(*present, *info, filters);
  }
  Ref<System> const kept = Ref<System>::Share(this);
  std::unique_ptr<ClassInfo> record = Copy(*info);
  if (!record) return E_OUTOFMEMORY;
  MarkFilter(*record);
  if (IsFilter(*record)) {
    // Before it is listed: other threads never find a filter that is not described.
    Attempt const attempt;  // a filter that cannot be queried is still a class
    QueryFilterInfo(record.get());
  }
  HRESULT const result = AppendNew(record.get());
  if (result == S_OK) (void)record.release();  // the registry's now
  return result == S_FALSE ? S_OK : result;
}

HRESULT System::FindClass(Guid const& classId, ClassInfo** out) noexcept {
  if (!out) return FailNull("System::FindClass", L"out");
  RegistryLock const guard;
  *out = RecordOf(registry, classId);
  if (*out) return S_OK;
  return CountOf(registry) == 0 ? YK_E_EMPTY : YK_E_NOTFOUND;
}

HRESULT System::Reserved13() noexcept { return E_NOTIMPL; }

HRESULT System::UnloadModule(Module* module) noexcept {
  if (!module) return S_OK;
  Ref<System> const keptSystem = Ref<System>::Share(this);
  Ref<Module> const keptModule = Ref<Module>::Share(module);
  while (std::unique_ptr<ClassInfo> const record{TakeRecord(*module)}) {
  }
  Ref<Module> listed;  // released without the lock
  RegistryLock const guard;
  if (modules && IndexedArray::Of(modules).Take(module)) listed = Ref<Module>::Adopt(module);
  return S_OK;
}

HRESULT System::ScanModules(String const& folder, String const& cacheFile) noexcept {
  return ScanModules(folder, cacheFile, nullptr);
}

HRESULT System::ScanModules(String const& folder, String const& cacheFile,
                            ExecutionContext* context) noexcept {
  Ref<System> const kept = Ref<System>::Share(this);
  if (!SetScanning(true)) return S_OK;  // called by a plug-in that is being loaded
  HRESULT const result = ModuleScan(*this, folder, cacheFile, context).Run();
  SetScanning(false);
  return result;
}

/// \return false when it has this value already
bool System::SetScanning(bool wanted) noexcept {
  RegistryLock const guard;
  bool const before = scanning;
  scanning = wanted;
  return before != wanted;
}

// Contract: ENUM_NESTED asks for a second search below a class that is its own category. Since such a class
// is in the category being searched, that would be the same search again, without end; it is skipped, as it
// would find nothing new.
HRESULT System::EnumClasses(Guid const& interfaceId, Array** out, unsigned options) noexcept {
  (void)options;
  if (!out) return FailNull("System::EnumClasses", L"out");
  *out = nullptr;
  Ref<Array> found;
  RegistryLock const guard;
  for (int i = 0; i < CountOf(registry); ++i) {
    ClassInfo* const record = RecordAt(registry, i);
    if (!(record->interfaceId == interfaceId) || record->flags & ClassInfo::HIDDEN) continue;
    if (!AppendTo(found, record)) return E_OUTOFMEMORY;  // no incomplete lists
  }
  *out = found.Detach();
  return *out ? S_OK : E_FAIL;
}

Module* System::FindModule(String const& fileName) noexcept {
  RegistryLock const guard;
  Module* const module = modules ? SeekModule(IndexedArray::Of(modules), fileName) : nullptr;
  return Ref<Module>::Share(module).Detach();
}

HRESULT System::QueryFilterInfo(ClassInfo* info) noexcept {
  constexpr char OPERATION[] = "System::QueryFilterInfo";
  constexpr wchar_t NO_DESCRIPTION[] = L"no description of the filter class %s";
  if (!info) return FailNull(OPERATION, L"info");
  unsigned const mark = ErrorCount();
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  if (!map) return FailClass(mark, E_FAIL, OPERATION, NO_DESCRIPTION, info->classId);
  Ref<Map> const before = Ref<Map>::Adopt(info->info);  // released last: it may call back
  info->info = Ref<Map>(map).Detach();
  void* made = nullptr;
  if (!info->create || Failed(info->create(info, &made)) || !made)
    return FailClass(mark, E_FAIL, OPERATION, L"cannot create a filter of the class %s", info->classId);
  Ref<ykFlt> const filter = Ref<ykFlt>::Adopt(static_cast<ykFlt*>(made));
  if (Describe(*filter, *map)) return S_OK;
  if (info->info == map.get())
    Unknown::Free(reinterpret_cast<void**>(&info->info));  // no incomplete descriptions
  return FailClass(mark, E_FAIL, OPERATION, NO_DESCRIPTION, info->classId);
}

/// Adds a record to its lists: the filters', the registry's, its module's. Call under the lock.
bool System::Append(ClassInfo* record) noexcept {
  bool const isFilter = record->flags & ClassInfo::FILTER;
  if (isFilter && !AppendTo(filters, record)) return false;
  if (!registry || !IndexedArray::Of(registry).Append(record)) {
    if (isFilter) RemoveFrom(filters, record);
    return false;
  }
  if (Module* const module = record->module) {
    record->next = module->classes;
    module->classes = record;
  }
  return true;
}

/// Registers a class. Meanwhile the class may have been registered by another thread, or by the filter while
/// describing itself: S_FALSE when it just received its factory, and E_INVALIDARG when it had one.
HRESULT System::AppendNew(ClassInfo* record) noexcept {
  RegistryLock const guard;
  if (ClassInfo* const present = RecordOf(registry, record->classId)) {
    HRESULT const result = Complete(*present, *record, filters);
    return Failed(result) ? result : S_FALSE;
  }
  return Append(record) ? S_OK : E_OUTOFMEMORY;
}

/// Registers a class of the cache as it is. Others may have the identifier, as those that a host registers
/// before it scans, but no plug-in has one twice.
bool System::AppendCached(ClassInfo* record) noexcept {
  MarkFilter(*record);
  RegistryLock const guard;
  auto const isOfSame = [&](ClassInfo const& other) { return other.module == record->module; };
  return !SeekRecord(registry, record->classId, isOfSame) && Append(record);
}

/// Removes the first record of a module from all lists; null when it has none.
ClassInfo* System::TakeRecord(Module& module) noexcept {
  RegistryLock const guard;
  ClassInfo* const record = module.classes;
  if (!record) return nullptr;
  module.classes = record->next;
  RemoveFrom(filters, record);
  if (registry) IndexedArray::Of(registry).Take(record);
  return record;
}

bool System::AppendModule(Module* module) noexcept {
  RegistryLock const guard;
  if (!modules) modules = Ref<Array>::Adopt(NewModuleList());
  if (!modules || !IndexedArray::Of(modules).Append(module)) return false;
  (void)Ref<Module>::Share(module).Detach();  // owned by the list
  return true;
}

/// The classes of a library about to be freed stay registered, but nothing inside it may be called or read
/// any more. The library of an address is determined without the lock, since the system's loader has its own.
void System::ForgetCode(HINSTANCE library) noexcept {
  for (int i = 0; i < CountOf(registry); ++i) {
    ClassInfo& record = *RecordAt(registry, i);
    bool const isMade = IsInside(library, reinterpret_cast<void const*>(record.create));
    bool const isNamed = record.flags & ClassInfo::STATIC_NAME && IsInside(library, record.name);
    RegistryLock const guard;
    if (isMade) record.create = nullptr;
    if (!isNamed) continue;
    record.flags &= ~ClassInfo::STATIC_NAME;
    CopyName(record, record.name);
  }
}

HRESULT CreateInterface(Guid const& classId, void** out) noexcept {
  if (theSystem) return theSystem->CreateInterface(classId, out);
  if (out) *out = nullptr;
  return FailWithoutSystem(CREATE);
}

ClassInfo const* FindClass(Guid const& classId) noexcept {
  ClassInfo* info = nullptr;
  return theSystem && Succeeded(theSystem->FindClass(classId, &info)) ? info : nullptr;
}

HRESULT CopyFilters(char const* operation, Ref<Array>& copy) noexcept {
  if (!theSystem) return FailWithoutSystem(operation);
  copy = Ref<Array>::Adopt(Array::Create(0));
  if (!copy) return E_OUTOFMEMORY;
  RegistryLock const guard;
  Ref<Array> const& filters = theSystem->filters;
  for (int i = 0; i < CountOf(filters); ++i) {
    if (!AppendTo(copy, RecordAt(filters, i))) return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT RegisterInterface(ClassInfo* info) noexcept {
  return theSystem ? theSystem->RegisterInterface(info) : FailWithoutSystem(REGISTER);
}

}  // namespace yk
