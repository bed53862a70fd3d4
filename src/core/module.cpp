#include <qecore/core/diagnostics.h>
#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/io/serializer.h>
#include <qecore/io/stream.h>
#include <windows.h>

#include "class_info_p.h"
#include "module_p.h"

namespace yk {

namespace {

// The file's whole path, so that the system looks nowhere else; relative to the current folder now.
String WholePath(String const& path) noexcept {
  String whole;
  DWORD const room = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (room < 2 || !whole.Realloc(room - 1)) return {};
  DWORD const length = GetFullPathNameW(path.c_str(), room, whole.GetBuffer(), nullptr);
  if (length >= room) return {};
  whole.Terminate(length);
  return whole;
}

// Loads a library and lets the system show no box of its own when the file is none.
HINSTANCE LoadQuietly(String const& path) noexcept {
  String const whole = WholePath(path);
  if (whole.IsEmpty()) return nullptr;
  DWORD before = 0;
  SetThreadErrorMode(GetThreadErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &before);
  HINSTANCE const library = LoadLibraryW(whole.c_str());
  SetThreadErrorMode(before, nullptr);
  return library;
}

}  // namespace

Module::Module(String const& toPath) noexcept : fileName(toPath.FileShortName()), path(toPath) {}

// The library is not freed, as intended. Records are left only when a plug-in goes on registering classes after it
// has asked to be forgotten: they then belong to nobody.
Module::~Module() {
  for (ClassInfo* info = classes; info; info = info->next) info->module = nullptr;
}

bool Module::IsTypeOf(Guid const& id) noexcept { return id == Id() || Unknown::IsTypeOf(id); }

HRESULT Module::Reserved8() noexcept { return E_NOTIMPL; }

// The plug-in may do as it likes in its messages: it may even let go of the System, or unload itself.
HRESULT Module::Load() noexcept {
  if (library && entry) return S_OK;
  Ref<Module> const keptModule = Ref<Module>::Share(this);
  Ref<System> const system = Ref<System>::Share(System::ptr());
  if (!system) return E_FAIL;
  HRESULT const opened = Open();
  if (Failed(opened)) return opened;
  if (entry(MODULE_VERSION_QUERY, KTZ_VERSION, nullptr) != KTZ_VERSION) qe_Error(L"KTZ_VERSION - not valid");
  if (entry) entry(MODULE_ATTACH, reinterpret_cast<uintptr_t>(system.get()), library);
  RegisterClasses(*system);
  return S_OK;
}

// A library without the entry point stays loaded, as intended; it is not loaded twice.
HRESULT Module::Open() noexcept {
  if (!library) library = LoadQuietly(path);
  if (!library) return YK_E_NOTFOUND;
  void* const symbol = reinterpret_cast<void*>(GetProcAddress(library, "qe_entrypoint"));
  entry = reinterpret_cast<ModuleEntry>(symbol);
  if (entry) return S_OK;
  qe_Error(L"qe_entrypoint - not found in %s plugin", fileName.c_str());
  return E_FAIL;
}

// A class that the cache has listed is registered without a factory and gets it now; one that has a factory, be
// it of this library or of another, is left as it is.
void Module::RegisterClasses(System& system) noexcept {
  for (unsigned index = 0; entry && index < MODULE_MAX_CLASSES; ++index) {
    ClassInfo info;
    if (entry(MODULE_CLASS, index, &info) == 0) return;
    info.module = this;
    system.RegisterInterface(&info);
  }
}

// The fields are cleared first: a plug-in that creates one of its own classes when it is told to go is loaded once
// more, not half.
HRESULT Module::Unload() noexcept {
  if (!library) return S_OK;
  Ref<Module> const kept = Ref<Module>::Share(this);
  HINSTANCE const leaving = library;
  ModuleEntry const lastEntry = entry;
  library = nullptr;
  entry = nullptr;
  if (lastEntry) lastEntry(MODULE_DETACH, 0, nullptr);
  System* const system = System::ptr();
  if (system && !library) system->ForgetCode(leaving);
  FreeLibrary(leaving);
  return S_OK;
}

HRESULT Module::Save(Serializer* writer, ExecutionContext* context) noexcept {
  if (!writer || !writer->GetStream()) return E_INVALIDARG;
  fileName.Save(writer, cache::FILE_NAME);
  writer->WriteChunk(cache::FILE_TIME, &fileTime, sizeof fileTime);
  writer->WriteChunk(cache::FILE_SIZE, &fileSize, sizeof fileSize);
  for (ClassInfo* info = classes; info; info = info->next) {
    writer->BeginChunk(cache::CLASS);
    WriteClassInfo(*writer, *info, context);
    writer->EndChunk();
  }
  return S_OK;
}

}  // namespace yk
