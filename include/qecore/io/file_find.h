// yk::FileFind: enumerates one folder with a wildcard pattern.
//
//   FileFind find(L"c:\\pictures", L"*.png", FileFind::FILES);
//   for (String path; find.GetNext();) {
//     find.GetFullName(path);
//     ...
//   }
//
//   offset 0 folder   8 pattern   16 flags   24 state   32 name   40 lastAccess   48 lastWrite   56 size
//
// Failures: a search that cannot start finds nothing, and LastError() says why (error.h).
#pragma once

#include <qecore/values/string.h>

namespace yk {

/// True when the whole name matches the pattern, ignoring case:
///   ?       any one character            [a-cx]  one of these; `-` at either end is a literal
///   *       any characters               .       a dot, or nothing at the end of the name
/// `*.*` matches every name, `*.` every name without an extension. There is no escape; a `[` without `]` is a
/// literal.
YK_API bool RegularCompare(wchar_t const* pattern, wchar_t const* name) noexcept;

class FileFind {
 public:
  /// What to enumerate; may be combined.
  enum Flag : unsigned { FILES = 1, FOLDERS = 2 };

  /// Starts the search. If that fails, GetNext returns false. The pattern applies to files only.
  YK_API_INLINE FileFind(String const& where, String const& namePattern, unsigned kinds) noexcept
      : flags(kinds) {
    Begin(where, namePattern);
  }
  YK_API ~FileFind();
  FileFind(FileFind const&) = delete;
  FileFind& operator=(FileFind const&) = delete;

  /// Moves to the next entry; false after the last. "." and ".." are skipped.
  YK_API bool GetNext() noexcept;
  /// The folder and the current name, joined. \return true
  YK_API bool GetFullName(String& out) const noexcept;
  /// True when the current entry is a folder.
  YK_API bool IsFolder() const noexcept;

  String folder;   ///< with a trailing separator
  String pattern;  ///< of RegularCompare; for files only
  unsigned flags;  ///< see Flag

 private:
  struct State;
  State* state = nullptr;  // owned, and bare: callers compile the constructor without knowing the type

  YK_API void Begin(String const& where, String const& namePattern) noexcept;
  bool Fetch() noexcept;

 public:
  // the current entry
  String name;              ///< without the folder
  uint64_t lastAccess = 0;  ///< in the system's units of 100 ns since 1601
  uint64_t lastWrite = 0;   ///< in the same units
  unsigned size = 0;        ///< the low 32 bits of a file's size; 0 for a folder
};

static_assert(sizeof(FileFind) == 64);

}  // namespace yk
