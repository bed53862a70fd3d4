// Plug-ins: what one exports, and the object by which the library knows its file.
//
// A plug-in is a library "*.qem" that exports one function, qe_entrypoint. A whole plug-in:
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
// While it is unknown, or its file has changed, a plug-in is loaded by the scan (System::ScanModules); else
// when one of its classes is first created. Once loaded its code stays, also when a later scan drops the
// plug-in; the last Release of the System unloads those that it still lists.
//
// Threads: the messages of one plug-in come from one thread at a time, no lock is held meanwhile, and a
// plug-in may create classes of its own and of others while it is being loaded. Other threads that create one
// of its classes wait until MODULE_CLASS has returned 0; so it must not wait in its entry point for such a
// thread.
//
// The cache keeps one chunk 0x1001 for each plug-in, all of them in one chunk 0x1000; serializer.h draws
// chunks.
//
//   0x1001 +-- 274   fileName, UTF-16
//          +-- 4099  fileTime, 8 bytes; 0 when the library did not load, or not with all its classes
//          +-- 4100  fileSize, 4 bytes
//          +-- 4098  a class, one chunk for each, the class registered last first
//               +-- flags, 4 bytes bare
//               +-- 4103  classId, 16 bytes
//               +-- 4102  interfaceId, 16 bytes
//               +-- 11    name, narrow, without terminator; absent when there is none
//               +-- 4101  what a filter says of itself, a Map; absent when there is none
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/registry.h>
#include <qecore/values/string.h>

namespace yk {

class ExecutionContext;
class LoadTurn;
class Serializer;
class System;

/// What qe_entrypoint is told, in the order of a plug-in's life.
enum ModuleMessage : unsigned {
  MODULE_VERSION_QUERY = 256,  ///< (2, null): answer KTZ_VERSION
  MODULE_ATTACH = 261,         ///< (the System, lent, as a pointer; the plug-in's own HINSTANCE): to keep
  MODULE_CLASS = 258,   ///< (index from 0, ClassInfo* all zero): fill it and answer non-zero, or answer 0
  MODULE_DETACH = 260,  ///< (0, null): the library is about to be freed
};

/// The version of the entry point's contract.
inline constexpr intptr_t KTZ_VERSION = 2;

/// The classes that one plug-in may have; the library asks for no more.
inline constexpr unsigned MODULE_MAX_CLASSES = 4096;

/// qe_entrypoint.
using ModuleEntry = intptr_t (*)(unsigned message, uintptr_t first, void* second);

/// One plug-in file. The System makes these; everybody may read the fields.
///
///   slot  8 (reserved)   9 Load   10 Unload   11 Save
class YK_API Module : public Destroys<Module, Unknown> {
 public:
  static Guid const& Id() noexcept { return ids::MODULE; }

  /// Answers Id() and Unknown's; QueryInterface answers Unknown's alone, as intended.
  bool IsTypeOf(Guid const& id) noexcept override;

  virtual HRESULT Reserved8() noexcept;  ///< E_NOTIMPL

  /// Loads the library and registers its classes, or waits until another thread has; S_OK at once when that
  /// is done already. YK_E_NOTFOUND: the file is no library that loads. E_FAIL: it has no qe_entrypoint (a
  /// message box says so), or there is no System. A plug-in of another version is loaded all the same, after
  /// a message box.
  virtual HRESULT Load() noexcept;

  /// Frees the library: objects of its classes must be gone. The classes stay registered, and creating one
  /// loads it anew. S_OK.
  virtual HRESULT Unload() noexcept;

  /// Writes the record drawn above. S_OK, or why the writer takes no chunk.
  virtual HRESULT Save(Serializer* writer, ExecutionContext* context) noexcept;

  enum Flag : unsigned {
    UNSEEN = 0x1,  ///< read from the cache, and the scan has not found the file yet
  };

  String fileName;               ///< without the folder; the key of System::FindModule
  String path;                   ///< the whole path
  ModuleEntry entry = nullptr;   ///< set while loaded
  ClassInfo* classes = nullptr;  ///< the class registered last; chained through ClassInfo::next
  uint64_t fileTime = 0;  ///< last-write time of the file when it was found; 0: to be loaded by the next scan
  uint32_t fileSize = 0;  ///< its size then, the low 32 bits
  uint32_t reserved = 0;
  HINSTANCE library = nullptr;  ///< set while loaded
  unsigned flags = 0;           ///< see Flag

 private:
  friend Destroys;
  friend class ModuleScan;

  Module() noexcept = default;
  explicit Module(String const& toPath) noexcept;
  ~Module();

  HRESULT Open(LoadTurn& turn) noexcept;
  void KeepLibrary(HINSTANCE loaded) noexcept;
  void RegisterClasses(System& system) noexcept;

  static constexpr uint64_t UNKNOWN_TIME =
      0;  // no file's, so that the next scan takes the file for a new one
};

}  // namespace yk
