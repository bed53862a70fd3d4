// Plug-ins in memory: files that load as libraries, each with an entry point defined by the test. No lock is
// taken here: the system must not order what the library itself has to.
#include <list>

#include "files_p.h"

using namespace harness;

namespace {

struct Plugin {
  std::u16string key;
  PluginEntry entry;
  std::atomic<long> now{0}, ever{0};
};

// Plug-ins are installed before threads run.
std::list<Plugin>& Plugins() {
  static auto* const all = new std::list<Plugin>;
  return *all;
}

Plugin* FindByKey(std::u16string const& key) {
  for (Plugin& plugin : Plugins()) {
    if (plugin.key == key) return &plugin;
  }
  return nullptr;
}

Plugin* FindByHandle(HMODULE module) {
  for (Plugin& plugin : Plugins()) {
    if (reinterpret_cast<HMODULE>(&plugin) == module) return &plugin;
  }
  return nullptr;
}

}  // namespace

namespace harness {

void PutPlugin(std::u16string const& path, PluginEntry entry) {
  PutFile(path, "a plug-in");
  Plugin* plugin = FindByKey(Key(path));
  if (!plugin) plugin = &Plugins().emplace_back();
  plugin->key = Key(path);
  plugin->entry = entry;
}

Loads CountLoads(std::u16string const& path) {
  Plugin const* const plugin = FindByKey(Key(path));
  return plugin ? Loads{plugin->now, plugin->ever} : Loads{};
}

void UnloadPlugins() {
  for (Plugin& plugin : Plugins()) {
    for (; plugin.now > 0; plugin.now.fetch_sub(1, std::memory_order_relaxed)) --liveHandles;
  }
}

void ClearFiles() {
  FilesLocked all;
  if (!all->openings.empty()) Die("ClearFiles while a file is open", all->openings.begin()->first);
  all->files.clear();
  all->folders.clear();
  // Contract: a plug-in that the System has removed stays loaded.
  for (Plugin& plugin : Plugins()) {
    for (; plugin.now > 0; plugin.now.fetch_sub(1)) --liveHandles;
  }
  Plugins().clear();
}

}  // namespace harness

extern "C" {

HMODULE WINAPI harness_LoadLibraryW(wchar_t const* name) {
  Plugin* const plugin = FindByKey(Key(Text(name)));
  DWORD const error = Fails(LOAD) ? ERROR_NOT_ENOUGH_MEMORY : !plugin ? ERROR_MOD_NOT_FOUND : 0;
  SetLastError(error);
  if (error) return nullptr;
  plugin->now.fetch_add(1, std::memory_order_relaxed);
  plugin->ever.fetch_add(1, std::memory_order_relaxed);
  ++liveHandles;
  return reinterpret_cast<HMODULE>(plugin);
}

HMODULE WINAPI harness_LoadLibraryExW(wchar_t const* name, HANDLE, DWORD) {
  return harness_LoadLibraryW(name);
}

FARPROC WINAPI harness_GetProcAddress(HMODULE module, char const* name) {
  Plugin const* const plugin = FindByHandle(module);
  if (!plugin) return GetProcAddress(module, name);
  bool const known = !strcmp(name, "qe_entrypoint");
  return known ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(plugin->entry)) : nullptr;
}

BOOL WINAPI harness_FreeLibrary(HMODULE module) {
  Plugin* const plugin = FindByHandle(module);
  if (!plugin) return FreeLibrary(module);
  if (plugin->now.fetch_sub(1, std::memory_order_relaxed) <= 0)
    Die("FreeLibrary of a plug-in that is not loaded", plugin);
  --liveHandles;
  return TRUE;
}

// Of a plug-in's code only the entry point is known; no other address belongs to a plug-in.
BOOL WINAPI harness_GetModuleHandleExW(DWORD how, wchar_t const* address, HMODULE* module) {
  *module = nullptr;
  for (Plugin& plugin : Plugins()) {
    if (reinterpret_cast<void const*>(plugin.entry) == address && plugin.now > 0)
      *module = reinterpret_cast<HMODULE>(&plugin);
  }
  if (!(how & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) || !*module) return Refused(ERROR_MOD_NOT_FOUND);
  if (how & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) return TRUE;
  reinterpret_cast<Plugin*>(*module)->now.fetch_add(1, std::memory_order_relaxed);
  ++liveHandles;
  return TRUE;
}

}  // extern "C"
