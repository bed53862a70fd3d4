// Files in memory: shared by the calls on handles, the searches and the calls on names.
#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <unordered_map>

#include "plan.h"

namespace harness {

struct Opening;

/// A file and its openers: a file that is removed or replaced exists until the last of them closes it.
struct Node : File {
  std::vector<Opening const*> openings;
};

/// An open file.
struct Opening {
  std::shared_ptr<Node> node;
  DWORD access = 0;
  DWORD share = 0;
  uint64_t position = 0;
  bool device = false;  ///< NUL: accepts everything and holds nothing
};

/// A search in progress: the results still to come.
struct Search {
  std::vector<WIN32_FIND_DATAW> found;
  size_t next = 0;
};

struct FileSystem {
  std::map<std::u16string, std::shared_ptr<Node>> files;  ///< by key
  std::set<std::u16string> folders;  ///< keys of created folders, without a trailing backslash
  std::unordered_map<void*, std::unique_ptr<Opening>> openings;
  std::unordered_map<void*, std::unique_ptr<Search>> searches;
  uint64_t clock = 1000;  ///< of the last write; advanced by each
};

/// Locks the files for the duration of a call.
class FilesLocked {
 public:
  FilesLocked();
  FileSystem& Get() const noexcept { return all; }
  FileSystem* operator->() const noexcept { return &all; }

 private:
  std::lock_guard<std::mutex> guard;
  FileSystem& all;
};

std::u16string Text(wchar_t const* name);
/// The prefix of a path that may be long.
inline std::u16string const LONG_PATH = u"\\\\?\\";

/// The unique key of a file: the full path in lower case, with backslashes.
std::u16string Key(std::u16string const& path);
/// The part before the last backslash, or empty.
std::u16string FolderOf(std::u16string const& key);
bool IsFolder(FileSystem const& all, std::u16string const& key);
/// Null if not found.
std::shared_ptr<Node> FindNode(FileSystem const& all, std::u16string const& key);
std::shared_ptr<Node> NewNode(FileSystem& all, std::u16string const& path);

/// The result of a failed call.
inline BOOL Refused(DWORD error) noexcept {
  SetLastError(error);
  return FALSE;
}

}  // namespace harness
