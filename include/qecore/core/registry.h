// The class registry as its users see it: the record of one class, and two calls.
//
//   Ref<UndoManager> undo;
//   HRESULT result = CreateInterface(ids::UNDO_MANAGER, undo.ReceiveVoid());
//
// The registry itself is held by yk::System (system.h), which must exist before either call: without one
// both return E_FAIL. Both may be called from any thread.
#pragma once

#include <qecore/core/guid.h>

namespace yk {

class Deserializer;
class Map;
class Module;
struct ClassInfo;

/// Makes one instance of the class that `info` records and stores it, with one reference, in `*out`.
using ClassFactory = HRESULT (*)(ClassInfo const* info, void** out);

/// One registered class. A plain record; the registry owns those that it holds.
struct ClassInfo {
  Guid classId = {};              ///< the registry key
  Guid interfaceId = {};          ///< the interface or category; filters give ykFlt2d's or qe_Flt3d's
  char const* name = nullptr;     ///< to show or to look up; may be null
  ClassFactory create = nullptr;  ///< null in a class that is announced and not loaded yet
  Module* module = nullptr;       ///< the plug-in that the class belongs to; null for classes of the library
  Map* info = nullptr;            ///< what a filter says of itself (see InfoKey); one reference, the record's
  uint32_t flags = 0;             ///< see Flag
  ClassInfo* next = nullptr;      ///< the next record of the same module

  enum Flag : uint32_t {
    STATIC_NAME = 0x0002,  ///< `name` points at static text: the registry keeps the pointer, not a copy
    HIDDEN = 0x0004,       ///< EnumClasses leaves the class out
    FILTER = 0x0008,       ///< a filter: set by the registry, which goes by `interfaceId`
    OWN_NAME = 0x8000,     ///< `name` was made with yk_new for this record and is freed with it
  };

  /// The keys of a filter's `info`.
  enum InfoKey : unsigned {
    INFO_NAME = 1,           ///< wide string
    INFO_FLAGS = 2,          ///< unsigned
    INFO_PATTERN_COUNT = 3,  ///< number of patterns; absent when there is none
    INFO_PATTERN = 10,       ///< 10, 11, ...: the patterns, wide strings
  };

  ClassInfo() noexcept = default;
  /// Reads the record that a module cache holds; the reader stands inside its chunk (see module.h).
  YK_API explicit ClassInfo(Deserializer* reader) noexcept;
  /// Releases `info` and frees a name of its own. Leaves `module` and `next` alone.
  YK_API ~ClassInfo();
  ClassInfo(ClassInfo const&) = delete;
  ClassInfo& operator=(ClassInfo const&) = delete;
};

static_assert(sizeof(ClassInfo) == 80 && offsetof(ClassInfo, name) == 32 &&
              offsetof(ClassInfo, create) == 40);
static_assert(offsetof(ClassInfo, module) == 48 && offsetof(ClassInfo, info) == 56);
static_assert(offsetof(ClassInfo, flags) == 64 && offsetof(ClassInfo, next) == 72);

/// Makes an object of the class `classId`, loading its plug-in when it has one. S_OK: `*out` has one
/// reference, the caller's. Else `*out` is null: YK_E_NOTFOUND for an unknown class or a plug-in that does
/// not load, or what the class's factory answers.
YK_API HRESULT CreateInterface(Guid const& classId, void** out) noexcept;

/// Adds a class; the caller keeps `info`. A class that is registered without a factory takes the new one's
/// factory; one that has a factory stays as it is: E_INVALIDARG.
YK_API HRESULT RegisterInterface(ClassInfo* info) noexcept;

}  // namespace yk
