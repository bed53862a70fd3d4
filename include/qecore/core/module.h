// Plug-ins: the function that one exports, and the object that represents its file.
//
// A plug-in is a library "*.qem" that exports one function, qe_entrypoint. A complete plug-in:
//
//   #include <qecore/core/module.h>
//   using namespace yk;
//
//   static Guid const ECHO_ID = {...};
//   class Echo final : public Implements<Echo, yk::Unknown> { public: static Guid const& Id() noexcept ... };
//
//   static HRESULT MakeEcho(ClassInfo const* info, void** out) {
//     if (!(info->classId == ECHO_ID)) return E_NOINTERFACE;
//     *out = new (std::nothrow) Echo;
//     return *out ? S_OK : E_OUTOFMEMORY;
//   }
//
//   extern "C" __declspec(dllexport)
//   intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) {
//     if (message == MODULE_VERSION_QUERY) return KTZ_VERSION;
//     if (message != MODULE_CLASS || first != 0) return 0;   // 0: there is no class with this index
//     ClassInfo* const info = static_cast<ClassInfo*>(second);
//     info->classId = info->interfaceId = ECHO_ID;
//     info->name = "Echo";
//     info->flags = ClassInfo::STATIC_NAME;
//     info->create = MakeEcho;
//     return 1;
//   }
//
// A plug-in that is unknown, or whose file has changed, is loaded by the scan (System::ScanModules); any
// other one when one of its classes is first created. Once loaded, its code stays in the process, even when a
// later scan drops the plug-in; the last Release of the System unloads the plug-ins that it still lists.
//
// Failures: plug-ins report their own with Fail and FailSince (error.h), as the library does.
//
// Threads: a plug-in gets its messages from one thread at a time, with no lock held, and may create classes
// of its own and of others while it is being loaded. Other threads that create one of its classes wait until
// MODULE_CLASS has returned 0; so a plug-in must not wait in its entry point for such a thread.
//
// module_cache.h shows what a scan keeps of a plug-in.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/registry.h>
#include <qecore/values/string.h>

namespace yk {

class ExecutionContext;
class LoadTurn;
class Serializer;
class System;

/// The messages that qe_entrypoint receives, in the order of a plug-in's life.
enum ModuleMessage : unsigned {
  MODULE_VERSION_QUERY = 256,  ///< (2, null): return KTZ_VERSION
  MODULE_ATTACH = 261,         ///< (the System, borrowed, as a pointer; the plug-in's HINSTANCE): to store
  MODULE_CLASS = 258,   ///< (index from 0, zeroed ClassInfo*): fill it and return non-zero, or return 0
  MODULE_DETACH = 260,  ///< (0, null): the library is about to be freed
};

/// The version of the entry point's interface.
inline constexpr intptr_t KTZ_VERSION = 2;

/// The maximum number of classes of one plug-in; the library asks for no more.
inline constexpr unsigned MODULE_MAX_CLASSES = 4096;

/// qe_entrypoint.
using ModuleEntry = intptr_t (*)(unsigned message, uintptr_t first, void* second);

/// One plug-in file. Created by the System; the fields are read-only for everybody else.
///
///   slot  8 (reserved)   9 Load   10 Unload   11 Save
class Module : public Destroys<Module, Unknown> {
 public:
  static Guid const& Id() noexcept { return ids::MODULE; }

  /// True for Id() and Unknown's. Contract: QueryInterface supports Unknown's alone.
  YK_API bool IsTypeOf(Guid const& id) noexcept override;

  YK_API virtual HRESULT Reserved8() noexcept;  ///< E_NOTIMPL

  /// Loads the library and registers its classes, or waits until another thread has done so; returns S_OK at
  /// once when it is loaded already. YK_E_NOTFOUND: the library cannot be loaded. E_FAIL: it has no
  /// qe_entrypoint (reported by qe_Error), or there is no System. A plug-in of another version is loaded
  /// nevertheless, after a message.
  YK_API virtual HRESULT Load() noexcept;

  /// Frees the library: no object of its classes may be left. The classes stay registered, and creating one
  /// loads the library again. S_OK.
  YK_API virtual HRESULT Unload() noexcept;

  /// Writes the plug-in's record of the cache. S_OK, or the reason why the writer accepts no chunk.
  YK_API virtual HRESULT Save(Serializer* writer, ExecutionContext* context) noexcept;

  /// Bits of `flags`.
  enum Flag : unsigned {
    UNSEEN = 0x1,  ///< read from the cache; the scan has not found the file yet
  };

  String fileName;               ///< without the folder; the key of System::FindModule
  String path;                   ///< the whole path
  ModuleEntry entry = nullptr;   ///< set while loaded
  ClassInfo* classes = nullptr;  ///< the class registered last; linked through ClassInfo::next
  uint64_t fileTime = 0;         ///< the file's last-write time when it was found; 0: the next scan loads it
  uint32_t fileSize = 0;         ///< its size at that time, the low 32 bits
  uint32_t reserved = 0;         ///< not used
  HINSTANCE library = nullptr;   ///< set while loaded
  unsigned flags = 0;            ///< see Flag

 private:
  friend Destroys;
  friend class ModuleScan;

  Module() noexcept = default;
  explicit Module(String const& toPath) noexcept;
  ~Module();

  HRESULT Open(LoadTurn& turn) noexcept;
  void KeepLibrary(HINSTANCE loaded) noexcept;
  void RegisterClasses(System& system) noexcept;

  // The time of no file, so that the next scan treats the plug-in as new.
  static constexpr uint64_t UNKNOWN_TIME = 0;
};

}  // namespace yk
