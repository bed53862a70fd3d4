#include "module_p.h"

#include <qecore/core/module.h>
#include <qecore/core/module_cache.h>
#include <qecore/core/system.h>
#include <qecore/io/file_find.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/save_file.h>
#include <qecore/io/serializer.h>
#include <qecore/values/array.h>
#include <windows.h>

#include <memory>
#include <new>
#include <utility>

#include "cache_record_p.h"
#include "class_info_p.h"
#include "error_p.h"
#include "io/records_p.h"
#include "progress_p.h"
#include "values/array_p.h"
#include "values/indexed_array_p.h"

namespace yk {

namespace {

constexpr wchar_t PLUGIN_PATTERN[] = L"*.qem";
constexpr size_t MAX_FILE_NAME = 255;
constexpr int MAX_MODULES = 2048;  // since names may be chosen so that all look-ups collide

/// A module record being read.
struct CachedModule {
  Module* module;
  ClassInfo** end;  // where to link the next class record
  unsigned classes = 0;
};

bool ReadFileName(Deserializer& reader, CachedModule& target) noexcept {
  return target.module->fileName.Load(&reader);
}

bool ReadFileTime(Deserializer& reader, CachedModule& target) noexcept {
  return ReadBytes(reader, &target.module->fileTime, sizeof target.module->fileTime);
}

bool ReadFileSize(Deserializer& reader, CachedModule& target) noexcept {
  return ReadBytes(reader, &target.module->fileSize, sizeof target.module->fileSize);
}

bool ReadClass(Deserializer& reader, CachedModule& target) noexcept {
  if (++target.classes > MODULE_MAX_CLASSES) return false;
  ClassInfo* const info = new (std::nothrow) ClassInfo;
  if (!info) return false;
  *target.end = info;
  target.end = &info->next;
  return ReadClassInfo(reader, *info);
}

constexpr CacheItem<CachedModule> ITEMS[] = {
    {cache::FILE_NAME, ReadFileName},
    {cache::FILE_TIME, ReadFileTime},
    {cache::FILE_SIZE, ReadFileSize},
    {cache::CLASS, ReadClass},
};

// Only file names without a folder are accepted: a cache must not make the System load libraries from another
// folder.
bool IsPluginName(String const& name) noexcept {
  if (name.Length() > MAX_FILE_NAME || !RegularCompare(PLUGIN_PATTERN, name.c_str())) return false;
  for (size_t i = 0; i < name.Length(); ++i) {
    wchar_t const c = name.At(i);
    if (c < L' ' || c == L'\\' || c == L'/' || c == L':') return false;
  }
  return true;
}

uint64_t LastWrite(Stream& stream) noexcept {
  unsigned long long time = 0;
  if (Ref<FileStream> const file = Ref<Stream>::Share(&stream).Query<FileStream>()) file->GetFileTime(&time);
  return time;
}

uint64_t Now() noexcept {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  return uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime;
}

// Whether the file was read completely. Damage inside it is detected while reading.
bool IsComplete(Deserializer& reader) noexcept {
  HRESULT const failure = reader.GetFailure();
  return Succeeded(failure) || failure == YK_E_BADFILE;
}

void DeleteClasses(Module& module) noexcept {
  while (std::unique_ptr<ClassInfo> const info{module.classes}) module.classes = info->next;
}

constexpr wchar_t Folded(wchar_t c) noexcept {
  if (c >= 0x80) return 0x80;  // its lower case depends on the locale
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
}

uint32_t HashOfModule(void const* module, void const*) noexcept {
  return HashOfName(static_cast<Module const*>(module)->fileName);
}

}  // namespace

uint32_t HashOfName(String const& name) noexcept {
  constexpr uint64_t START = 14695981039346656037u, FACTOR = 1099511628211u;
  uint64_t hash = START;
  for (wchar_t const* c = name.c_str(); *c; ++c) hash = (hash ^ Folded(*c)) * FACTOR;
  return MixHash(hash, 0);
}

IndexedArray* NewModuleList() noexcept { return IndexedArray::Create(HashOfModule); }

Module* ModuleAt(Ref<Array> const& modules, int index) noexcept {
  return static_cast<Module*>(modules->At(index));
}

Module* SeekModule(IndexedArray& modules, String const& fileName) noexcept {
  auto const isNamed = [&](void* module) {
    return static_cast<Module*>(module)->fileName.CompareNoCase(fileName) == 0;
  };
  return static_cast<Module*>(modules.Seek(HashOfName(fileName), isNamed));
}

ModuleScan::ModuleScan(System& forSystem, String const& inFolder, String const& withCache,
                       ExecutionContext* forHost) noexcept
    : system(forSystem),
      folder(inFolder),
      cacheFile(withCache),
      context(forHost),
      changed(forSystem.cacheIsDue),
      cached(Ref<IndexedArray>::Adopt(NewModuleList())),
      found(Ref<Array>::Adopt(Array::CreateEx(Array::ReleasesObjects()))) {
  // Without memory for the folder's name the scan would search the current folder.
  if (folder.Length() != inFolder.Length()) cached.Reset();
  folder.TerminatePath();
  wchar_t const last = folder.IsEmpty() ? L'\\' : folder.At(folder.Length() - 1);
  if (last != L'\\' && last != L'/') cached.Reset();
}

ModuleScan::~ModuleScan() {
  while (cached && cached->Count() > 0) DropCached(cached->Count() - 1);
}

HRESULT ModuleScan::Run() noexcept {
  if (!cached || !found) return S_OK;
  MarkKnown();
  ReadCache();
  SearchFolder();
  DropUnseen();
  AdoptCached();
  HRESULT const result = LoadNew();
  if (dropped) PromoteRivals();
  bool const wasStopped = Failed(result);
  if (changed && !wasStopped) WriteCache();
  system.cacheIsDue = changed && wasStopped;
  return result;
}

// A module found by an earlier scan of this folder must be found again, or its file no longer exists.
void ModuleScan::MarkKnown() noexcept {
  for (int i = 0; system.modules && i < system.modules->Count(); ++i) {
    Module& module = *static_cast<Module*>(system.modules->At(i));
    if ((folder + module.fileName).CompareNoCase(module.path) == 0) module.flags |= Module::UNSEEN;
  }
}

// An invalid cache counts as missing. That alone is not a reason to overwrite it: it may be a file of another
// kind.
void ModuleScan::ReadCache() noexcept {
  Attempt const attempt;
  Ref<Stream> stream;
  if (Failed(FileStream::Create(cacheFile, FileStream::READ, stream.Receive()))) return;
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  if (!reader || Failed(reader->Open(stream.get(), 0)) || reader->GetVersion() != chunk::FILE_VERSION) return;
  system.SetCacheTime(LastWrite(*stream));
  if (!reader->IsInChunk() || reader->BeginChunk() != cache::MODULE_LIST) return;
  while (reader->IsInChunk()) {
    if (reader->BeginChunk() == cache::MODULE) ReadModule(*reader);
    reader->EndChunk();
  }
}

// Whether the cache may have a record with this name, and has not had one before.
bool ModuleScan::IsNew(String const& fileName) noexcept {
  return IsPluginName(fileName) && cached->Count() < MAX_MODULES && !SeekModule(*cached, fileName);
}

// A record that is damaged, unreadable or in another folder is skipped: its file, if any, then counts as new,
// as does any file without a record.
void ModuleScan::ReadModule(Deserializer& reader) noexcept {
  Ref<Module> const module = Ref<Module>::Adopt(new (std::nothrow) Module);
  if (!module) return;
  module->flags = Module::UNSEEN;
  CachedModule target = {module.get(), &module->classes};
  bool const sound = ReadItems(reader, ITEMS, target) && IsComplete(reader) && IsNew(module->fileName);
  module->path = folder + module->fileName;
  bool const whole = module->path.Length() == folder.Length() + module->fileName.Length();
  if (sound && whole && cached->Append(module.get())) {
    (void)Ref<Module>(module).Detach();  // owned by the list
    return;
  }
  DeleteClasses(*module);
  changed = true;
}

// New plug-ins are registered in the order of their names, on every file system: the first one of a class
// has it.
void ModuleScan::SearchFolder() noexcept {
  FileFind file(folder, PLUGIN_PATTERN, FileFind::FILES);
  while (file.GetNext()) ProcessFile(file);
  auto const byName = [](void const* a, void const* b, void const*) {
    return static_cast<Module const*>(a)->fileName.CompareNoCase(static_cast<Module const*>(b)->fileName);
  };
  found->Sort(byName, nullptr);
}

// The name comes from the search and not from the Module's path: the folder may be empty or contain both
// kinds of separators.
void ModuleScan::ProcessFile(FileFind& file) noexcept {
  if (ConfirmFile(file)) return;
  changed = true;
  String path;
  file.GetFullName(path);
  Ref<Module> const module = Ref<Module>::Adopt(Made(new (std::nothrow) Module(path), "System::ScanModules"));
  if (!module) return;
  module->fileName = file.name;
  module->fileTime = file.lastWrite;
  module->fileSize = file.size;
  AppendObject(*found, module);
}

// True when the file is known and unchanged.
bool ModuleScan::ConfirmFile(FileFind& file) noexcept {
  Module* const read = SeekModule(*cached, file.name);
  Ref<Module> const known = Ref<Module>::Adopt(system.FindModule(file.name));
  Module* const module = known ? known.get() : read;
  bool const keep = module && module->fileTime == file.lastWrite;
  if (keep) module->flags &= ~Module::UNSEEN;
  if (known && !keep) system.UnloadModule(known.get());
  if (read && (known || !keep)) DropCached(cached->Find(read));
  return keep;
}

void ModuleScan::DropUnseen() noexcept {
  while (Ref<Module> const module = AnyUnseen()) {
    module->flags &= ~Module::UNSEEN;
    system.UnloadModule(module.get());
    changed = dropped = true;
  }
  for (int i = cached->Count() - 1; i >= 0; --i) {
    if (!(CachedAt(i)->flags & Module::UNSEEN)) continue;
    DropCached(i);
    changed = dropped = true;
  }
}

// The identifier that a rival's class could not have may be free now: the next scan registers it anew.
void ModuleScan::PromoteRivals() noexcept {
  for (int i = 0; system.modules && i < system.modules->Count(); ++i) {
    Module& module = *static_cast<Module*>(system.modules->At(i));
    for (ClassInfo const* info = module.classes; info; info = info->next) {
      if (info->flags & ClassInfo::RIVAL) module.fileTime = Module::UNKNOWN_TIME;
    }
  }
}

Ref<Module> ModuleScan::AnyUnseen() noexcept {
  for (int i = 0; system.modules && i < system.modules->Count(); ++i) {
    Module* const module = static_cast<Module*>(system.modules->At(i));
    if (module->flags & Module::UNSEEN) return Ref<Module>::Share(module);
  }
  return {};
}

// Cached classes are registered as they are: nothing is compared, no filter is asked, no library is loaded. A
// file for which there is no memory counts as new at the next scan.
void ModuleScan::AdoptCached() noexcept {
  Ref<Array> const known = std::move(cached);
  for (int i = 0; i < known->Count(); ++i) {
    Ref<Module> const module = Ref<Module>::Adopt(ModuleAt(known, i));
    system.AppendModule(module.get()) ? AdoptClasses(*module) : DeleteClasses(*module);
  }
}

void ModuleScan::AdoptClasses(Module& module) noexcept {
  ClassInfo* next = module.classes;
  module.classes = nullptr;
  while (std::unique_ptr<ClassInfo> info{next}) {
    next = info->next;
    info->module = &module;
    if (system.AppendCached(info.get()))
      (void)info.release();  // the registry's now
    else
      module.fileTime = Module::UNKNOWN_TIME;
  }
}

// A library that could not be loaded may be loadable at the next scan: its file may be in use, or a library
// that it depends on may be missing. It is recorded without its time, so that it then counts as new for this
// System and for the cache.
HRESULT ModuleScan::LoadNew() noexcept {
  auto const count = static_cast<unsigned>(found->Count());
  ProgressMeter meter(context, "System::ScanModules", count, ProgressMeter::Unit::ITEMS);
  for (int i = 0; i < found->Count() && meter.Reach(static_cast<unsigned>(i)); ++i) {
    Module* const module = ModuleAt(found, i);
    if (module->Load() == YK_E_NOTFOUND) module->fileTime = Module::UNKNOWN_TIME;
    if (system.AppendModule(module)) continue;
    system.UnloadModule(module);  // nothing would refer to its library any more
    module->Unload();
  }
  meter.Reach(count);
  return meter.Result(S_OK);
}

// All or nothing: an incomplete cache would be taken as complete. A failure, which is recorded, leaves the
// file and its time as they were: the next start loads the new plug-ins again.
void ModuleScan::WriteCache() noexcept {
  SaveFile file;
  if (Failed(file.Open(cacheFile))) return;
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  if (!writer || Failed(writer->Open(file.GetStream(), 0))) return;
  writer->BeginChunk(cache::MODULE_LIST);
  bool whole = true;
  for (int i = 0; system.modules && i < system.modules->Count(); ++i) {
    writer->BeginChunk(cache::MODULE);
    whole = Succeeded(static_cast<Module*>(system.modules->At(i))->Save(writer.get(), nullptr)) && whole;
    writer->EndChunk();
  }
  writer->EndChunk();
  writer->Close();
  if (whole && Succeeded(writer->GetFailure()) && Succeeded(file.Commit())) system.SetCacheTime(Now());
}

Module* ModuleScan::CachedAt(int index) noexcept { return static_cast<Module*>(cached->At(index)); }

void ModuleScan::DropCached(int index) noexcept {
  Ref<Module> const module = Ref<Module>::Adopt(CachedAt(index));
  cached->TakeAt(index);
  DeleteClasses(*module);
}

}  // namespace yk
