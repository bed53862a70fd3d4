// The scan for plug-ins.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/values/string.h>

namespace yk {

class Array;
class IndexedArray;
class Deserializer;
class ExecutionContext;
class FileFind;
class Module;
class Stream;
class System;

/// A list of modules, in which SeekModule finds the first with a file name, ignoring case. Null without
/// memory.
IndexedArray* NewModuleList() noexcept;
Module* SeekModule(IndexedArray& modules, String const& fileName) noexcept;

/// An element of such a list.
Module* ModuleAt(Ref<Array> const& modules, int index) noexcept;

/// The same for all names that String::CompareNoCase finds equal, in any locale.
uint32_t HashOfName(String const& name) noexcept;

/// One run of System::ScanModules. The content of the cache stays in here until the folder confirms it, so
/// that a damaged or outdated cache never affects the registry.
class ModuleScan {
 public:
  ModuleScan(System& forSystem, String const& inFolder, String const& withCache,
             ExecutionContext* forHost) noexcept;
  ~ModuleScan();
  ModuleScan(ModuleScan const&) = delete;
  ModuleScan& operator=(ModuleScan const&) = delete;

  /// S_OK, or E_ABORT when the host stopped it.
  HRESULT Run() noexcept;

 private:
  void MarkKnown() noexcept;
  void ReadCache() noexcept;
  void ReadModule(Deserializer& reader) noexcept;
  bool IsNew(String const& fileName) noexcept;
  void SearchFolder() noexcept;
  void ProcessFile(FileFind& file) noexcept;
  bool ConfirmFile(FileFind& file) noexcept;
  void DropUnseen() noexcept;
  void PromoteRivals() noexcept;
  Ref<Module> AnyUnseen() noexcept;
  void AdoptCached() noexcept;
  void AdoptClasses(Module& module) noexcept;
  HRESULT LoadNew() noexcept;
  void WriteCache() noexcept;

  Module* CachedAt(int index) noexcept;
  void DropCached(int index) noexcept;

  System& system;
  String folder;
  String cacheFile;
  ExecutionContext* context;
  bool changed;          // the cache must be written
  bool dropped = false;  // a plug-in is gone
  // Modules of the cache that the System does not know yet, each with its chain of records, in the order of
  // the file. Null: there is no memory, and the scan does nothing.
  Ref<IndexedArray> cached;
  Ref<Array> found;  // modules of new files
};

}  // namespace yk
