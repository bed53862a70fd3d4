// Files in memory: the tests' view of them, and the calls on open files.
#include "files_p.h"

#include <algorithm>

namespace harness {

namespace {

constexpr uint64_t DISK_SIZE = 64u << 20;  // a file that grows beyond this finds the disk full

std::mutex filesMutex;

FileSystem& All() {
  static auto* const all = new FileSystem;
  return *all;
}

bool IsSlash(char16_t c) { return c == u'\\' || c == u'/'; }

bool IsRoot(std::u16string const& key) { return key.empty() || (key.size() == 2 && key[1] == u':'); }

DWORD ShareBits(DWORD access) {
  DWORD bits = 0;
  if (access & (GENERIC_READ | GENERIC_ALL)) bits |= FILE_SHARE_READ;
  if (access & (GENERIC_WRITE | GENERIC_ALL)) bits |= FILE_SHARE_WRITE;
  if (access & DELETE) bits |= FILE_SHARE_DELETE;
  return bits;
}

bool MayShare(Node const& node, DWORD access, DWORD share) {
  return std::ranges::all_of(node.openings, [&](Opening const* other) {
    return !(ShareBits(access) & ~other->share) && !(ShareBits(other->access) & ~share);
  });
}

bool IsDevice(std::u16string const& key) { return key.ends_with(u"\\nul") || key.ends_with(u"\\con"); }

HANDLE Keep(FileSystem& all, std::shared_ptr<Node> node, DWORD access, DWORD share, bool device) {
  auto opening = std::make_unique<Opening>(Opening{std::move(node), access, share, 0, device});
  if (opening->node) opening->node->openings.push_back(opening.get());
  HANDLE const handle = opening.get();
  all.openings[handle] = std::move(opening);
  ++liveHandles;
  return handle;
}

// 0, or the error of opening an existing or missing file.
DWORD Check(FileSystem const& all, std::u16string const& key, Node const* node, DWORD access, DWORD share,
            DWORD how) {
  if (IsFolder(all, key)) return ERROR_ACCESS_DENIED;
  if (!IsFolder(all, FolderOf(key))) return ERROR_PATH_NOT_FOUND;
  bool const mustExist = how == OPEN_EXISTING || how == TRUNCATE_EXISTING;
  if (!node) return mustExist ? ERROR_FILE_NOT_FOUND : 0;
  if (how == CREATE_NEW) return ERROR_FILE_EXISTS;
  bool const writes = (ShareBits(access) & FILE_SHARE_WRITE) || how == CREATE_ALWAYS;
  if (node->readOnly && writes) return ERROR_ACCESS_DENIED;
  return MayShare(*node, access, share) ? 0 : ERROR_SHARING_VIOLATION;
}

Opening* FindOpening(FileSystem& all, HANDLE handle) {
  auto const found = all.openings.find(handle);
  return found == all.openings.end() ? nullptr : found->second.get();
}

void Touch(FileSystem& all, Node& node) { node.time = ++all.clock; }

}  // namespace

FilesLocked::FilesLocked() : guard(filesMutex), all(All()) {}

std::u16string Text(wchar_t const* name) { return name ? reinterpret_cast<char16_t const*>(name) : u""; }

std::u16string Key(std::u16string const& path) {
  std::u16string key;
  for (char16_t c : path.starts_with(LONG_PATH) ? path.substr(LONG_PATH.size()) : path) {
    if (IsSlash(c) && key.size() > 1 && key.back() == u'\\') continue;
    key += IsSlash(c) ? u'\\' : c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
  }
  bool const whole = key.size() > 1 && (key[1] == u':' || key.starts_with(u"\\\\"));
  if (!whole && !key.empty()) key = u"c:\\" + key;
  if (key.ends_with(u'\\')) key.pop_back();
  return key;
}

std::u16string FolderOf(std::u16string const& key) {
  size_t const slash = key.rfind(u'\\');
  return slash == key.npos ? u"" : key.substr(0, slash);
}

bool IsFolder(FileSystem const& all, std::u16string const& key) {
  if (IsRoot(key) || all.folders.contains(key)) return true;
  auto const below = all.files.lower_bound(key + u'\\');
  return below != all.files.end() && below->first.starts_with(key + u'\\');
}

std::shared_ptr<Node> FindNode(FileSystem const& all, std::u16string const& key) {
  auto const found = all.files.find(key);
  return found == all.files.end() ? nullptr : found->second;
}

std::shared_ptr<Node> NewNode(FileSystem& all, std::u16string const& path) {
  auto node = std::make_shared<Node>();
  node->name = path;
  std::ranges::replace(node->name, u'/', u'\\');
  Touch(all, *node);
  all.files[Key(path)] = node;
  return node;
}

// ---- for tests ----

File& PutFile(std::u16string const& path, std::string bytes) {
  FilesLocked all;
  std::shared_ptr<Node> node = FindNode(all.Get(), Key(path));
  if (!node) node = NewNode(all.Get(), path);
  node->bytes = std::move(bytes);
  return *node;
}

File* FindFile(std::u16string const& path) {
  FilesLocked all;
  return FindNode(all.Get(), Key(path)).get();
}

std::string ReadFile(std::u16string const& path) {
  File const* const file = FindFile(path);
  return file ? file->bytes : std::string();
}

std::vector<std::u16string> ListFiles() {
  FilesLocked all;
  std::vector<std::u16string> names;
  for (auto const& [key, node] : all->files) names.push_back(node->name);
  return names;
}

}  // namespace harness

// ---- calls on open files ----

using namespace harness;

extern "C" {

HANDLE WINAPI harness_CreateFileW(wchar_t const* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES*,
                                  DWORD how, DWORD, HANDLE) {
  FilesLocked all;
  std::u16string const key = Key(Text(name));
  std::shared_ptr<Node> node = FindNode(all.Get(), key);
  bool const device = IsDevice(key);
  DWORD error = Fails(OPEN) ? ERROR_ACCESS_DENIED : key.empty() ? ERROR_PATH_NOT_FOUND : 0;
  if (!error && !device) error = Check(all.Get(), key, node.get(), access, share, how);
  if (error) {
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
  }
  SetLastError(node && (how == CREATE_ALWAYS || how == OPEN_ALWAYS) ? ERROR_ALREADY_EXISTS : 0);
  if (!node && !device) node = NewNode(all.Get(), Text(name));
  if (how == CREATE_ALWAYS || how == TRUNCATE_EXISTING) node->bytes.clear();
  return Keep(all.Get(), node, access, share, device);
}

// Everything else belongs to the system: a semaphore or an event.
BOOL WINAPI harness_CloseHandle(HANDLE handle) {
  FilesLocked all;
  Opening* const opening = FindOpening(all.Get(), handle);
  if (!opening) return CloseHandle(handle);
  if (opening->node) std::erase(opening->node->openings, opening);
  all->openings.erase(handle);
  --liveHandles;
  return TRUE;
}

BOOL WINAPI harness_ReadFile(HANDLE handle, void* to, DWORD size, DWORD* done, OVERLAPPED*) {
  FilesLocked all;
  *done = 0;
  Opening* const opening = FindOpening(all.Get(), handle);
  if (!opening) return Refused(ERROR_INVALID_HANDLE);
  if (!(ShareBits(opening->access) & FILE_SHARE_READ)) return Refused(ERROR_ACCESS_DENIED);
  if (Fails(READ)) return Refused(ERROR_READ_FAULT);
  if (opening->device) return TRUE;
  std::string const& bytes = opening->node->bytes;
  size_t const left = opening->position < bytes.size() ? bytes.size() - opening->position : 0;
  size_t count = std::min<size_t>(size, left);
  if (count > 1 && Fails(SHORT_READ)) count /= 2;
  if (count) memcpy(to, bytes.data() + opening->position, count);
  opening->position += count;
  *done = static_cast<DWORD>(count);
  return TRUE;
}

BOOL WINAPI harness_WriteFile(HANDLE handle, void const* from, DWORD size, DWORD* done, OVERLAPPED*) {
  FilesLocked all;
  *done = 0;
  Opening* const opening = FindOpening(all.Get(), handle);
  if (!opening) return Refused(ERROR_INVALID_HANDLE);
  if (!(ShareBits(opening->access) & FILE_SHARE_WRITE)) return Refused(ERROR_ACCESS_DENIED);
  if (Fails(WRITE) || opening->position + size > DISK_SIZE) return Refused(ERROR_DISK_FULL);
  size_t const count = size > 1 && Fails(SHORT_WRITE) ? size / 2 : size;
  *done = static_cast<DWORD>(count);
  if (opening->device || count == 0) return TRUE;
  std::string& bytes = opening->node->bytes;
  if (bytes.size() < opening->position + count) bytes.resize(opening->position + count);
  memcpy(bytes.data() + opening->position, from, count);
  opening->position += count;
  Touch(all.Get(), *opening->node);
  return TRUE;
}

BOOL WINAPI harness_SetFilePointerEx(HANDLE handle, LARGE_INTEGER distance, LARGE_INTEGER* reached,
                                     DWORD from) {
  FilesLocked all;
  Opening* const opening = FindOpening(all.Get(), handle);
  if (!opening) return Refused(ERROR_INVALID_HANDLE);
  bool const onlyAsks = from == FILE_CURRENT && distance.QuadPart == 0;
  if (!onlyAsks && Fails(SEEK)) return Refused(ERROR_SEEK);
  int64_t const end = opening->node ? static_cast<int64_t>(opening->node->bytes.size()) : 0;
  int64_t const origin = from == FILE_CURRENT ? static_cast<int64_t>(opening->position)
                         : from == FILE_END   ? end
                                              : 0;
  if (origin + distance.QuadPart < 0) return Refused(ERROR_NEGATIVE_SEEK);
  opening->position = static_cast<uint64_t>(origin + distance.QuadPart);
  if (reached) reached->QuadPart = origin + distance.QuadPart;
  return TRUE;
}

DWORD WINAPI harness_SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD from) {
  LARGE_INTEGER distance;
  distance.QuadPart = high ? (int64_t{*high} << 32) | static_cast<DWORD>(low) : low;
  LARGE_INTEGER reached;
  if (!harness_SetFilePointerEx(handle, distance, &reached, from)) return INVALID_SET_FILE_POINTER;
  SetLastError(0);
  if (high) *high = reached.HighPart;
  return reached.LowPart;
}

BOOL WINAPI harness_SetEndOfFile(HANDLE handle) {
  FilesLocked all;
  Opening* const opening = FindOpening(all.Get(), handle);
  if (!opening || opening->device) return Refused(ERROR_INVALID_HANDLE);
  if (!(ShareBits(opening->access) & FILE_SHARE_WRITE)) return Refused(ERROR_ACCESS_DENIED);
  if (Fails(WRITE) || opening->position > DISK_SIZE) return Refused(ERROR_DISK_FULL);
  opening->node->bytes.resize(opening->position);
  Touch(all.Get(), *opening->node);
  return TRUE;
}

BOOL WINAPI harness_FlushFileBuffers(HANDLE handle) {
  FilesLocked all;
  Opening const* const opening = FindOpening(all.Get(), handle);
  if (!opening || opening->device) return Refused(ERROR_INVALID_HANDLE);
  if (!(ShareBits(opening->access) & FILE_SHARE_WRITE)) return Refused(ERROR_ACCESS_DENIED);
  return Fails(FLUSH) ? Refused(ERROR_DISK_FULL) : TRUE;
}

BOOL WINAPI harness_GetFileSizeEx(HANDLE handle, LARGE_INTEGER* size) {
  FilesLocked all;
  Opening const* const opening = FindOpening(all.Get(), handle);
  if (!opening || opening->device) return Refused(ERROR_INVALID_HANDLE);
  size->QuadPart = static_cast<int64_t>(opening->node->bytes.size());
  return TRUE;
}

DWORD WINAPI harness_GetFileSize(HANDLE handle, DWORD* high) {
  LARGE_INTEGER size;
  if (!harness_GetFileSizeEx(handle, &size)) return INVALID_FILE_SIZE;
  SetLastError(0);
  if (high) *high = static_cast<DWORD>(size.HighPart);
  return size.LowPart;
}

BOOL WINAPI harness_GetFileTime(HANDLE handle, FILETIME* created, FILETIME* read, FILETIME* written) {
  FilesLocked all;
  Opening const* const opening = FindOpening(all.Get(), handle);
  if (!opening || opening->device) return Refused(ERROR_INVALID_HANDLE);
  for (FILETIME* const time : {created, read, written}) {
    if (time) memcpy(time, &opening->node->time, sizeof *time);
  }
  return TRUE;
}

BOOL WINAPI harness_SetFileTime(HANDLE handle, FILETIME const*, FILETIME const*, FILETIME const* written) {
  FilesLocked all;
  Opening const* const opening = FindOpening(all.Get(), handle);
  if (!opening || opening->device) return Refused(ERROR_INVALID_HANDLE);
  if (written) memcpy(&opening->node->time, written, sizeof *written);
  return TRUE;
}

DWORD WINAPI harness_GetFileType(HANDLE handle) {
  FilesLocked all;
  Opening const* const opening = FindOpening(all.Get(), handle);
  SetLastError(opening ? 0 : ERROR_INVALID_HANDLE);
  return !opening ? FILE_TYPE_UNKNOWN : opening->device ? FILE_TYPE_CHAR : FILE_TYPE_DISK;
}

}  // extern "C"
