// yk::System: the one object that holds the library together, and the class registry in it.
//
//   Ref<System> system = Ref<System>::Adopt(System::Create());
//   system->ScanModules(L"C:\\Program Files\\App\\plugins", L"C:\\Users\\me\\AppData\\plugins.cache");
//   Ref<AbstractImage> image;
//   HRESULT result = CreateInterface(ids::IMAGE_2D, image.ReceiveVoid());
//
//   slot  8 GetVersion       11 RegisterInterface   14 UnloadModule   17 FindModule
//         9 GetCacheTime     12 FindClass           15 ScanModules    18 QueryFilterInfo
//        10 CreateInterface  13 (reserved)          16 EnumClasses
//
//   offset  16         24        32        40
//           +----------+---------+---------+-----------+
//           | registry | filters | modules | cacheTime |
//           +----------+---------+---------+-----------+
//
// Ownership: the host that calls Create owns the one reference. The last Release destroys every class record,
// unloads the plug-ins (module.h) and makes ptr() null; Create may then be called anew.
// Threads: build the System, scan and unload on one thread, before objects are shared and after they are
// gone. In between, look-ups, creations and registrations may come from any: a plug-in whose class is created
// for the first time is loaded once, and other threads that want one of its classes wait until it is. No lock
// is held while a plug-in runs. What FindClass and EnumClasses lend is to be read, not written.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/registry.h>

namespace yk {

class Array;
class ExecutionContext;
class String;

class YK_API System : public Destroys<System, Unknown> {
 public:
  /// The System, built at the first call: it knows the library's own classes from then on. A later call
  /// returns the same object and adds no reference. Null, and nothing is left, when there is no memory for
  /// all of it.
  static System* Create() noexcept;
  /// The System, lent; null before Create and after the last Release.
  static System* ptr() noexcept;

  /// The version of this interface, 2.
  virtual int GetVersion() noexcept;

  /// Copies the time of the module cache, a 64-bit file time: that of the file as it was read, or that of its
  /// last rewriting; 0 before a scan. E_FAIL unless `size` is 8.
  virtual HRESULT GetCacheTime(void* buffer, unsigned size) noexcept;

  /// Makes an object; see yk::CreateInterface.
  virtual HRESULT CreateInterface(Guid const& classId, void** out) noexcept;

  /// Adds a class; see yk::RegisterInterface. The registry keeps a record of its own, which shares `info`'s
  /// map and, with STATIC_NAME, its name. A class whose interface is ykFlt2d's or qe_Flt3d's becomes a
  /// filter: one instance is made and asked to describe itself (QueryFilterInfo).
  virtual HRESULT RegisterInterface(ClassInfo const* info) noexcept;

  /// The record of a class, lent. YK_E_NOTFOUND, or YK_E_EMPTY when nothing is registered at all, and `*out`
  /// is null.
  virtual HRESULT FindClass(Guid const& classId, ClassInfo** out) noexcept;

  virtual HRESULT Reserved13() noexcept;  ///< E_NOTIMPL

  /// Forgets a plug-in and its classes; the registry's records of them are destroyed. The library itself
  /// stays in the process. S_OK.
  virtual HRESULT UnloadModule(Module* module) noexcept;

  /// Takes stock of the plug-ins, "*.qem", in a folder. The cache file tells what classes the known ones
  /// have, so that their libraries stay unloaded until a class is created; new and changed ones are loaded
  /// and those that went are forgotten. Only that rewrites the cache, all of it or, on failure, nothing. A
  /// file that is no cache is as good as none, and a damaged record is left out. S_OK; a plug-in whose
  /// library does not load is left without classes and is a new one at the next scan. A scan within a scan
  /// does nothing.
  virtual HRESULT ScanModules(String const& folder, String const& cacheFile) noexcept;
  /// The same, for a host that follows or stops it while new plug-ins are loaded. E_ABORT: those that were
  /// not loaded are new at the next scan, and the cache file is as it was.
  HRESULT ScanModules(String const& folder, String const& cacheFile, ExecutionContext* context) noexcept;

  /// The records of the classes of an interface or category, in order of registration, hidden ones left out.
  /// S_OK: `*out` is an array of lent `ClassInfo*`, the caller's to release. E_FAIL: there is none, and
  /// `*out` is null; E_OUTOFMEMORY likewise.
  virtual HRESULT EnumClasses(Guid const& interfaceId, Array** out, unsigned options) noexcept;

  /// Options of EnumClasses.
  enum EnumOption : unsigned {
    /// Search again below each class that is its own category. Such a class is in the very category that is
    /// being searched, so there is nothing more to find; the option is for callers that have always passed
    /// it.
    ENUM_NESTED = 0x1,
  };

  /// The plug-in with this file name, case aside, with one reference more; null when there is none.
  virtual Module* FindModule(String const& fileName) noexcept;

  /// Asks an instance of a filter class for its name, patterns and flags and keeps them in the record's map
  /// (ClassInfo::InfoKey). E_FAIL: no map or no instance could be made, or there was no memory for what it
  /// says: the record then has no map.
  virtual HRESULT QueryFilterInfo(ClassInfo* info) noexcept;

 private:
  friend Destroys;
  friend class ModuleScan;
  friend class Module;

  System() noexcept;
  ~System();

  bool IsLastHolder() noexcept;
  bool Append(ClassInfo* record, bool isFilter) noexcept;
  HRESULT AppendNew(ClassInfo* record) noexcept;
  bool AppendCached(ClassInfo* record) noexcept;
  ClassInfo* TakeRecord(Module& module) noexcept;
  bool AppendModule(Module* module) noexcept;
  bool SetScanning(bool wanted) noexcept;
  void SetCacheTime(uint64_t time) noexcept;
  void ForgetCode(HINSTANCE library) noexcept;

  Array* registry;           // every record, in order of registration; owns them
  Array* filters = nullptr;  // the filters' records
  Array* modules = nullptr;  // one reference each
  uint64_t cacheTime = 0;
  bool scanning = false;
  bool complete = false;  // nothing was missing when it was built
};

}  // namespace yk
