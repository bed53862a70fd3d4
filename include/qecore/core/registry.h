// The public part of the class registry: the record of one class, and two functions.
//
//   Ref<UndoManager> undo;
//   HRESULT result = CreateInterface(ids::UNDO_MANAGER, undo.ReceiveVoid());
//
// The registry itself is held by yk::System (system.h), which must exist before either call: without one
// both return E_FAIL. Both may be called from any thread. LastError() says why they fail: which class
// is unknown, and why its plug-in does not load (error.h).
#pragma once

#include <qecore/core/guid.h>

namespace yk {

class Deserializer;
class Map;
class Module;
struct ClassInfo;

/// Creates an instance of the class that `info` describes and stores it, with one reference, in `*out`.
using ClassFactory = HRESULT (*)(ClassInfo const* info, void** out);

/// One registered class. A plain record; the registry owns the records in it.
///
/// Two plug-ins may have a filter with one class identifier, the format's. The first one registered has it;
/// the registry gives any other one, its rival, an identifier made of the class's and the plug-in's file
/// name, and hides it. img::FindFilters lists both, and img::RankFilter makes the rival come first. When the
/// first one is removed, the next scan but one gives the rival the class identifier.
struct ClassInfo {
  Guid classId = {};              ///< the registry key
  Guid interfaceId = {};          ///< the interface or category; for filters that of ykFlt2d or qe_Flt3d
  char const* name = nullptr;     ///< for display and look-up; may be null
  ClassFactory create = nullptr;  ///< null for a class that is known but not loaded yet
  Module* module = nullptr;       ///< the plug-in of the class; null for classes of the library
  Map* info = nullptr;            ///< a filter's description (see InfoKey); the record owns one reference
  uint32_t flags = 0;             ///< see Flag
  ClassInfo* next = nullptr;      ///< the next record of the same module

  /// Bits of `flags`.
  enum Flag : uint32_t {
    STATIC_NAME = 0x0002,  ///< `name` points to static text: the registry keeps the pointer, not a copy
    HIDDEN = 0x0004,       ///< EnumClasses skips the class
    FILTER = 0x0008,       ///< a filter: set by the registry, according to `interfaceId`
    RIVAL = 0x0010,        ///< a filter whose class identifier was taken; see above
    OWN_NAME = 0x8000,     ///< `name` was allocated with yk_new for this record and is freed with it
  };

  /// The keys of a filter's `info`.
  enum InfoKey : unsigned {
    INFO_NAME = 1,           ///< wide string
    INFO_FLAGS = 2,          ///< unsigned
    INFO_PATTERN_COUNT = 3,  ///< number of patterns; may be absent
    INFO_RANK = 4,           ///< int, not kept in the cache: see img::RankFilter; absent: 0
    INFO_PATTERN = 10,       ///< 10, 11, ...: the patterns, wide strings
  };

  ClassInfo() noexcept = default;
  /// Reads the record from a module cache; its chunk must be the reader's current one (module_cache.h).
  YK_API_INLINE explicit ClassInfo(Deserializer* reader) noexcept { Read(reader); }
  /// Releases `info` and frees the record's own name. Does not touch `module` and `next`.
  YK_API ~ClassInfo();
  ClassInfo(ClassInfo const&) = delete;
  ClassInfo& operator=(ClassInfo const&) = delete;

 private:
  YK_API void Read(Deserializer* reader) noexcept;
};

static_assert(sizeof(ClassInfo) == 80 && offsetof(ClassInfo, name) == 32 &&
              offsetof(ClassInfo, create) == 40);
static_assert(offsetof(ClassInfo, module) == 48 && offsetof(ClassInfo, info) == 56);
static_assert(offsetof(ClassInfo, flags) == 64 && offsetof(ClassInfo, next) == 72);

/// Creates an object of the class `classId`, loading its plug-in if necessary. S_OK: `*out` has one
/// reference, owned by the caller. Otherwise `*out` is null: YK_E_NOTFOUND for an unknown class or a plug-in
/// that cannot be loaded, or the result of the class's factory.
YK_API HRESULT CreateInterface(Guid const& classId, void** out) noexcept;

/// Adds a class; the caller keeps `info`. A class registered without a factory receives the new one; a class
/// that has a factory is unchanged: E_INVALIDARG. A class that only the module cache lists also receives its
/// interface.
YK_API HRESULT RegisterInterface(ClassInfo* info) noexcept;

}  // namespace yk
