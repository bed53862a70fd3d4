#include <qecore/io/file_find.h>

#include <string.h>
#include <windows.h>

#include <memory>
#include <new>

#include "core/error_p.h"
#include "file_stream_p.h"

namespace yk {

/// A search in progress.
struct FileFind::State {
  explicit State(wchar_t const* path) noexcept : find(FindFirstFileW(path, &entry)) {}
  ~State() {
    if (IsOpen()) FindClose(find);
  }
  State(State const&) = delete;
  State& operator=(State const&) = delete;

  bool IsOpen() const noexcept { return find != INVALID_HANDLE_VALUE; }

  WIN32_FIND_DATAW entry = {};
  HANDLE find;
  unsigned fetched = 0;  // entries that GetNext has examined; the first one comes with the search itself
};

namespace {

uint64_t TimeOf(FILETIME const& time) noexcept {
  uint64_t value;
  memcpy(&value, &time, sizeof value);
  return value;
}

constexpr char OPERATION[] = "FileFind";
constexpr wchar_t ALL[] = L"*.*";

bool IsSelfOrParent(wchar_t const* name) noexcept {
  return wcscmp(name, L".") == 0 || wcscmp(name, L"..") == 0;
}

}  // namespace

void FileFind::Begin(String const& where, String const& namePattern) noexcept {
  folder = where;
  pattern = namePattern;
  folder.TerminatePath();
  String all = folder;
  all += ALL;
  // Without memory for the whole path another folder would be searched.
  bool const whole = folder.Length() >= where.Length() && all.Length() == folder.Length() + wcslen(ALL);
  std::unique_ptr<State> started(whole ? Made(new (std::nothrow) State(all.c_str()), OPERATION) : nullptr);
  if (!started) return;
  if (started->IsOpen()) {
    state = started.release();
  } else if (GetLastError() != ERROR_FILE_NOT_FOUND) {  // which means that a drive is empty
    FailFile(OPERATION, folder, GetLastError());
  }
}

FileFind::~FileFind() { delete state; }

bool FileFind::GetNext() noexcept {
  while (Fetch()) {
    WIN32_FIND_DATAW const& entry = state->entry;
    bool const isFolder = IsFolder();
    if (!(flags & (isFolder ? FOLDERS : FILES))) continue;
    if (isFolder ? IsSelfOrParent(entry.cFileName) : !RegularCompare(pattern.c_str(), entry.cFileName))
      continue;
    name = entry.cFileName;
    lastAccess = TimeOf(entry.ftLastAccessTime);
    lastWrite = TimeOf(entry.ftLastWriteTime);
    size = isFolder ? 0 : entry.nFileSizeLow;
    return true;
  }
  return false;
}

bool FileFind::GetFullName(String& out) const noexcept {
  out = folder;
  out += name;
  return true;
}

bool FileFind::IsFolder() const noexcept {
  return state && (state->entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
}

/// Fetches the next entry of any kind into the state.
bool FileFind::Fetch() noexcept {
  if (!state || (state->fetched > 0 && !FindNextFileW(state->find, &state->entry))) return false;
  ++state->fetched;
  return true;
}

}  // namespace yk
