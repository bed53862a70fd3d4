// yk::System: the object that represents the running library, with the class registry.
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
// Failures: result codes, and LastError() says why (error.h). A scan also records why a plug-in did not load
// or the cache was not written, although neither fails the scan. A class that is not found is not a failure.
// Ownership: the host that calls Create owns the only reference. The last Release destroys every class
// record, unloads the plug-ins (module.h) and makes ptr() null; Create may then be called again.
// Threads: create the System, scan and unload on one thread, before objects are shared and after they are
// gone. In between, look-ups, creations and registrations may come from any thread: a plug-in whose class is
// created for the first time is loaded once, and other threads that want one of its classes wait until it is.
// No lock is held while a plug-in runs. The records from FindClass and EnumClasses are read-only.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/ref.h>
#include <qecore/core/registry.h>
#include <qecore/core/version.h>

namespace yk {

class Array;
class ExecutionContext;
class String;

class System : public Destroys<System, Unknown> {
 public:
  /// The System, created at the first call, when the library's own classes are registered. A later call
  /// returns the same object without adding a reference. Null, with everything undone, when there is no
  /// memory for all of it, and E_NOINTERFACE is recorded when the caller's headers are newer than the library
  /// (version.h).
  YK_API_INLINE static System* Create() noexcept { return CreateFor(QECORE_VERSION); }
  /// The same for a program compiled with the headers of `version`: Create passes the caller's own.
  YK_API static System* CreateFor(unsigned version) noexcept;
  /// The System, borrowed; null before Create and after the last Release.
  YK_API static System* ptr() noexcept;

  /// The version of this interface, 2.
  YK_API virtual int GetVersion() noexcept;

  /// Copies the time of the module cache, a 64-bit file time: that of the file when it was read or last
  /// rewritten; 0 before a scan. E_FAIL unless `size` is 8.
  YK_API virtual HRESULT GetCacheTime(void* buffer, unsigned size) noexcept;

  /// Creates an object; see yk::CreateInterface.
  YK_API virtual HRESULT CreateInterface(Guid const& classId, void** out) noexcept;

  /// Adds a class; see yk::RegisterInterface. The registry keeps a record of its own, which shares the map of
  /// `info` and, with STATIC_NAME, its name. A class with the interface of ykFlt2d or qe_Flt3d becomes a
  /// filter: an instance is created to describe itself (QueryFilterInfo).
  YK_API virtual HRESULT RegisterInterface(ClassInfo const* info) noexcept;

  /// The record of a class, borrowed. `*out` is null on failure: YK_E_NOTFOUND, or YK_E_EMPTY when no class
  /// is registered at all.
  YK_API virtual HRESULT FindClass(Guid const& classId, ClassInfo** out) noexcept;

  YK_API virtual HRESULT Reserved13() noexcept;  ///< E_NOTIMPL

  /// Removes a plug-in and its classes; the registry's records of them are destroyed. The library itself
  /// stays in the process. S_OK.
  YK_API virtual HRESULT UnloadModule(Module* module) noexcept;

  /// Finds the plug-ins, "*.qem", in a folder. The cache file lists the classes of the known ones, so that
  /// their libraries need not be loaded until a class is created; new and changed plug-ins are loaded,
  /// missing ones removed. Only such changes rewrite the cache, as a whole or, on failure, not at all. An
  /// invalid cache file counts as a missing one; a damaged record is skipped. S_OK; a plug-in whose library
  /// cannot be loaded has no classes and counts as new at the next scan. A scan within a scan is a no-op.
  YK_API virtual HRESULT ScanModules(String const& folder, String const& cacheFile) noexcept;
  /// The same with progress while new plug-ins are loaded. E_ABORT if the host stops it: plug-ins that were
  /// not loaded count as new at the next scan, and the cache file is unchanged until then.
  YK_API HRESULT ScanModules(String const& folder, String const& cacheFile,
                             ExecutionContext* context) noexcept;

  /// The records of the classes of an interface or category, in order of registration, without hidden ones.
  /// S_OK: `*out` is a new array of borrowed `ClassInfo*`, owned by the caller. E_FAIL: there are none, and
  /// `*out` is null; E_OUTOFMEMORY likewise. The record of a plug-in that is not loaded repeats the cache
  /// file, which may be wrong: compare its interfaceId again after creating an object.
  YK_API virtual HRESULT EnumClasses(Guid const& interfaceId, Array** out, unsigned options) noexcept;

  /// Options of EnumClasses.
  enum EnumOption : unsigned {
    /// Search again below each class that is its own category. Such a class belongs to the category being
    /// searched, so that this finds nothing more (contract: callers pass it).
    ENUM_NESTED = 0x1,
  };

  /// The plug-in with this file name, ignoring case, with an added reference, or null.
  YK_API virtual Module* FindModule(String const& fileName) noexcept;

  /// Asks an instance of a filter class for its name, patterns and flags and stores them in the record's map
  /// (ClassInfo::InfoKey). E_FAIL: no map or no instance could be created, or there was no memory for the
  /// description: the record then has no map.
  YK_API virtual HRESULT QueryFilterInfo(ClassInfo* info) noexcept;

 private:
  friend Destroys;
  friend class ModuleScan;
  friend class Module;
  friend HRESULT CopyFilters(char const* operation, Ref<Array>& copy) noexcept;

  System() noexcept;
  ~System();

  bool IsLastHolder() noexcept;
  bool Append(ClassInfo* record) noexcept;
  HRESULT AppendNew(ClassInfo* record) noexcept;
  bool AppendCached(ClassInfo* record) noexcept;
  ClassInfo* TakeRecord(Module& module) noexcept;
  bool AppendModule(Module* module) noexcept;
  bool SetScanning(bool wanted) noexcept;
  void SetCacheTime(uint64_t time) noexcept;
  void ForgetCode(HINSTANCE library) noexcept;

  Ref<Array> registry;  // every record, in order of registration; owns them
  Ref<Array> filters;   // the filters' records
  Ref<Array> modules;   // one reference each
  uint64_t cacheTime = 0;
  bool scanning = false;
  bool complete = false;    // no allocation failed during construction
  bool cacheIsDue = false;  // a scan that changed something was stopped before it wrote the cache
};

}  // namespace yk
