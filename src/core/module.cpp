#include <qecore/core/module.h>

#include <qecore/core/diagnostics.h>
#include <qecore/core/module_cache.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/io/serializer.h>
#include <qecore/io/stream.h>
#include <qecore/values/map.h>
#include <windows.h>

#include <new>

#include "class_info_p.h"
#include "error_p.h"
#include "module_imports_p.h"
#include "module_p.h"
#include "registry_lock_p.h"

namespace yk {

namespace {

// The full path, so that the system searches nowhere else; resolves a path relative to the current folder.
String WholePath(String const& path) noexcept {
  String whole;
  DWORD const room = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (room < 2 || !whole.Realloc(room - 1)) return {};
  DWORD const length = GetFullPathNameW(path.c_str(), room, whole.GetBuffer(), nullptr);
  if (length >= room) return {};
  whole.Terminate(length);
  return whole;
}

constexpr char LOAD[] = "Module::Load";

// The libraries that a plug-in needs may also be beside it, not only where the host's own are.
HINSTANCE LoadWithNeighbours(wchar_t const* path) noexcept {
  HINSTANCE const library = LoadLibraryW(path);
  if (library || GetLastError() != ERROR_MOD_NOT_FOUND) return library;
  return LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

HRESULT FailToLoad(String const& path, DWORD error) noexcept {
  FailureText const missing = error == ERROR_MOD_NOT_FOUND ? FindMissingImport(path) : FailureText();
  if (missing.IsEmpty()) return FailSystem(YK_E_NOTFOUND, LOAD, path.c_str(), error);
  return Fail(YK_E_NOTFOUND, LOAD, L"%s: it needs %s, which is missing", path.c_str(), missing.c_str());
}

// Loads a library and suppresses the system's message box for invalid files.
HINSTANCE LoadQuietly(String const& path, LoadTurn& turn) noexcept {
  String const whole = WholePath(path);
  if (whole.IsEmpty()) return FailSystem(YK_E_NOTFOUND, LOAD, path.c_str(), GetLastError()), nullptr;
  DWORD before = 0;
  SetThreadErrorMode(GetThreadErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &before);
  turn.SetInLoader(true);
  HINSTANCE const library = LoadWithNeighbours(whole.c_str());
  DWORD const error = GetLastError();
  turn.SetInLoader(false);
  if (!library) FailToLoad(whole, error);
  SetThreadErrorMode(before, nullptr);
  return library;
}

bool IsLoaded(Module const& module) noexcept {
  RegistryLock const guard;
  return module.library && module.entry;
}

HINSTANCE LibraryOf(Module const& module) noexcept {
  RegistryLock const guard;
  return module.library;
}

ModuleEntry EntryOf(Module const& module) noexcept {
  RegistryLock const guard;
  return module.entry;
}

/// Whether the class registered last is a filter without a description, for lack of memory.
bool LacksDescription(Module const& module) noexcept {
  RegistryLock const guard;
  ClassInfo const* const last = module.classes;
  return last && last->flags & ClassInfo::FILTER && !last->info;
}

/// Registers a class of a plug-in. That it is registered already, for instance by the cache, is not a
/// failure.
HRESULT Register(System& system, ClassInfo const& info) noexcept {
  Attempt attempt;
  HRESULT const result = system.RegisterInterface(&info);
  if (result != E_INVALIDARG) attempt.KeepRecords();
  return result;
}

/// The identifier of a rival.
Guid RivalId(Guid const& classId, String const& fileName) noexcept {
  Guid id = classId;
  id.first ^= HashOfName(fileName);
  return id;
}

/// The factory of rivals: that of the plug-in's own class.
HRESULT CreateRival(ClassInfo const* info, void** out) noexcept {
  *out = nullptr;
  Ref<Module> const module = Ref<Module>::Share(info->module);
  Guid const id = info->classId;
  for (unsigned index = 0; module && index < MODULE_MAX_CLASSES; ++index) {
    ModuleEntry const send = EntryOf(*module);
    ClassInfo own;
    if (!send || send(MODULE_CLASS, index, &own) == 0) break;
    if (own.create && RivalId(own.classId, module->fileName) == id) return own.create(&own, out);
  }
  return Fail(YK_E_NOTFOUND, "CreateInterface", L"the plug-in does not have the class any more");
}

/// Whether a class is a filter of this plug-in, and its identifier another one's; a class that a host has
/// only announced, without a factory, is to get the plug-in's.
bool IsRival(System& system, ClassInfo const& info) noexcept {
  ClassInfo* present = nullptr;
  bool const isFilter = info.interfaceId == ids::FLT_2D && info.create;
  if (!isFilter || Failed(system.FindClass(info.classId, &present))) return false;
  RegistryLock const guard;
  return present->module != info.module && (present->module || present->create);
}

/// Registers a class of a plug-in, under an identifier of its own if it is a rival.
HRESULT RegisterOrRival(System& system, ClassInfo& info) noexcept {
  if (!IsRival(system, info)) return Register(system, info);
  info.classId = RivalId(info.classId, info.module->fileName);
  info.flags |= ClassInfo::RIVAL | ClassInfo::HIDDEN;
  info.create = CreateRival;
  return Register(system, info);
}

/// A record that is saved exactly like `info`, flags included; null without memory. It must be freed by a
/// CopiedChain. Call under the lock.
ClassInfo* CopyToSave(ClassInfo const& info) noexcept {
  ClassInfo* const copy = Made(new (std::nothrow) ClassInfo, "Module::Save");
  if (!copy) return nullptr;
  copy->classId = info.classId;
  copy->interfaceId = info.interfaceId;
  copy->info = Ref<Map>::Share(info.info).Detach();
  CopyName(*copy, info.name);
  copy->flags = info.flags;
  return copy;
}

/// Owns copies, which own their names regardless of their flags.
struct CopiedChain {
  CopiedChain() noexcept = default;
  ~CopiedChain() {
    while (ClassInfo* const copy = first) {
      first = copy->next;
      copy->flags = ClassInfo::OWN_NAME;
      delete copy;
    }
  }
  CopiedChain(CopiedChain const&) = delete;
  CopiedChain& operator=(CopiedChain const&) = delete;

  ClassInfo* first = nullptr;
};

/// Copies a module's records. \return false without memory for all of them
bool CopyRecords(Module const& module, CopiedChain& copies) noexcept {
  RegistryLock const guard;
  ClassInfo** end = &copies.first;
  for (ClassInfo const* info = module.classes; info; info = info->next) {
    *end = CopyToSave(*info);
    if (!*end || (info->name && *info->name && !(*end)->name)) return false;
    end = &(*end)->next;
  }
  return true;
}

HRESULT SaveClass(Serializer& writer, ClassInfo const& info, ExecutionContext* context) noexcept {
  HRESULT const begun = writer.BeginChunk(cache::CLASS);
  HRESULT const written = WriteClassInfo(writer, info, context);
  writer.EndChunk();
  return Failed(begun) ? begun : written;
}

/// Keeps the library that contains an address from being unmapped until the end of a scope.
class CodeHold {
 public:
  explicit CodeHold(ModuleEntry address) noexcept {
    constexpr DWORD HOW = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
    if (address && !GetModuleHandleExW(HOW, reinterpret_cast<wchar_t const*>(address), &library))
      library = nullptr;
  }
  ~CodeHold() {
    if (library) FreeLibrary(library);
  }
  CodeHold(CodeHold const&) = delete;
  CodeHold& operator=(CodeHold const&) = delete;

 private:
  HMODULE library = nullptr;
};

}  // namespace

Module::Module(String const& toPath) noexcept : fileName(toPath.FileShortName()), path(toPath) {}

// Contract: the library is not freed. Records are left only when a plug-in continues to register classes
// after asking to be unloaded: they then belong to no module.
Module::~Module() {
  RegistryLock const guard;
  for (ClassInfo* info = classes; info; info = info->next) info->module = nullptr;
}

bool Module::IsTypeOf(Guid const& id) noexcept { return id == Id() || Unknown::IsTypeOf(id); }

HRESULT Module::Reserved8() noexcept { return E_NOTIMPL; }

// In its messages, the plug-in may do anything: even release the System or unload itself. Other threads see
// it as loaded only when all its classes are registered.
HRESULT Module::Load() noexcept {
  Ref<Module> const keptModule = Ref<Module>::Share(this);
  Ref<System> const system = Ref<System>::Share(System::ptr());
  LoadTurn turn(*this);
  if (IsLoaded(*this)) return S_OK;
  if (!system) return Fail(E_FAIL, LOAD, L"there is no System");
  HRESULT const opened = Open(turn);
  if (Failed(opened)) return opened;
  ModuleEntry const send = EntryOf(*this);
  CodeHold const keptCode(send);
  if (send && send(MODULE_VERSION_QUERY, KTZ_VERSION, nullptr) != KTZ_VERSION) {
    qe_Error(L"KTZ_VERSION - not valid");
  }
  if (EntryOf(*this)) send(MODULE_ATTACH, reinterpret_cast<uintptr_t>(system.get()), LibraryOf(*this));
  RegisterClasses(*system);
  return S_OK;
}

// Contract: a library without the entry point stays loaded, and is not loaded twice.
HRESULT Module::Open(LoadTurn& turn) noexcept {
  if (!LibraryOf(*this)) KeepLibrary(LoadQuietly(path, turn));
  HINSTANCE const opened = LibraryOf(*this);
  if (!opened) return YK_E_NOTFOUND;
  void* const symbol = reinterpret_cast<void*>(GetProcAddress(opened, "qe_entrypoint"));
  if (symbol) {
    RegistryLock const guard;
    entry = reinterpret_cast<ModuleEntry>(symbol);
    return S_OK;
  }
  qe_Error(L"qe_entrypoint - not found in %s plugin", fileName.c_str());
  return Fail(E_FAIL, LOAD, L"%s: it does not export qe_entrypoint", path.c_str());
}

// Attaching the library may have loaded it a second time, recursively.
void Module::KeepLibrary(HINSTANCE loaded) noexcept {
  {
    RegistryLock const guard;
    if (!library) {
      library = loaded;
      return;
    }
  }
  if (loaded) FreeLibrary(loaded);
}

// A class listed by the cache is registered without a factory and receives it now; one that has a factory, of
// this library or another, is unchanged. When there is no memory for a class or its description, the cache
// must not omit it permanently: the next scan is made to treat the file as new.
void Module::RegisterClasses(System& system) noexcept {
  for (unsigned index = 0; index < MODULE_MAX_CLASSES; ++index) {
    ModuleEntry const send = EntryOf(*this);
    ClassInfo info;
    if (!send || send(MODULE_CLASS, index, &info) == 0) return;
    info.module = this;
    HRESULT const result = RegisterOrRival(system, info);
    if (result == E_OUTOFMEMORY || LacksDescription(*this)) fileTime = UNKNOWN_TIME;
  }
}

// The fields are cleared first, so that a plug-in that creates one of its own classes during MODULE_DETACH is
// loaded again completely.
HRESULT Module::Unload() noexcept {
  Ref<Module> const kept = Ref<Module>::Share(this);
  HINSTANCE leaving;
  ModuleEntry lastEntry;
  {
    RegistryLock const guard;
    leaving = library;
    lastEntry = entry;
    library = nullptr;
    entry = nullptr;
  }
  if (!leaving) return S_OK;
  if (lastEntry) lastEntry(MODULE_DETACH, 0, nullptr);
  System* const system = System::ptr();
  if (system && !LibraryOf(*this)) system->ForgetCode(leaving);
  FreeLibrary(leaving);
  return S_OK;
}

// The classes are copied before saving: the stream may be foreign code, which may unload the plug-in
// meanwhile.
HRESULT Module::Save(Serializer* writer, ExecutionContext* context) noexcept {
  if (!writer || !writer->GetStream()) return Fail(E_INVALIDARG, "Module::Save", L"there is no open writer");
  Ref<Module> const kept = Ref<Module>::Share(this);
  fileName.Save(writer, cache::FILE_NAME);
  writer->WriteChunk(cache::FILE_TIME, &fileTime, sizeof fileTime);
  writer->WriteChunk(cache::FILE_SIZE, &fileSize, sizeof fileSize);
  CopiedChain copies;
  HRESULT result = CopyRecords(*this, copies) ? S_OK : E_OUTOFMEMORY;
  for (ClassInfo const* info = copies.first; info && Succeeded(result); info = info->next) {
    result = SaveClass(*writer, *info, context);
  }
  return result;
}

}  // namespace yk
