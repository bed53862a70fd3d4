// Files in memory: the calls on names, and the searches.
#include <algorithm>

#include "files_p.h"

using namespace harness;

namespace {

bool IsOpenUnshared(Node const& node) {
  return std::ranges::any_of(node.openings,
                             [](Opening const* opening) { return !(opening->share & FILE_SHARE_DELETE); });
}

// 0, or the reason why a file cannot be removed, moved or replaced.
DWORD CheckRemovable(Node const* node) {
  if (!node) return ERROR_FILE_NOT_FOUND;
  if (node->readOnly) return ERROR_ACCESS_DENIED;
  return IsOpenUnshared(*node) ? ERROR_SHARING_VIOLATION : 0;
}

DWORD AttributesOf(FileSystem const& all, std::u16string const& key) {
  if (Node const* const node = FindNode(all, key).get()) {
    return node->readOnly ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_NORMAL;
  }
  return !key.empty() && IsFolder(all, key) ? FILE_ATTRIBUTE_DIRECTORY : INVALID_FILE_ATTRIBUTES;
}

DWORD CheckMove(FileSystem const& all, std::u16string const& from, std::u16string const& to,
                bool mayReplace) {
  if (DWORD const error = CheckRemovable(FindNode(all, from).get())) return error;
  if (IsFolder(all, to)) return ERROR_ACCESS_DENIED;
  if (!IsFolder(all, FolderOf(to))) return ERROR_PATH_NOT_FOUND;
  Node const* const old = from == to ? nullptr : FindNode(all, to).get();
  if (!old) return 0;
  return mayReplace ? CheckRemovable(old) : ERROR_ALREADY_EXISTS;
}

void Move(FileSystem& all, std::u16string const& from, std::u16string const& toPath) {
  std::shared_ptr<Node> const node = FindNode(all, Key(from));
  all.files.erase(Key(from));
  node->name = toPath;
  all.files[Key(toPath)] = node;
}

size_t Length(std::u16string const& text, DWORD room, wchar_t* to) {
  if (room <= text.size()) return text.size() + 1;
  memcpy(to, text.c_str(), (text.size() + 1) * sizeof *to);
  return text.size();
}

// ---- searches ----

bool Matches(char16_t const* pattern, char16_t const* name) {
  if (*pattern == u'*') return Matches(pattern + 1, name) || (*name && Matches(pattern, name + 1));
  if (!*pattern || !*name) return *pattern == *name;
  return (*pattern == u'?' || *pattern == *name) && Matches(pattern + 1, name + 1);
}

WIN32_FIND_DATAW Entry(std::u16string const& name, DWORD attributes, Node const* node) {
  WIN32_FIND_DATAW entry = {};
  size_t const length = std::min<size_t>(name.size(), MAX_PATH - 1);
  memcpy(entry.cFileName, name.data(), length * sizeof(wchar_t));
  entry.dwFileAttributes = attributes;
  if (!node) return entry;
  entry.nFileSizeLow = static_cast<DWORD>(node->bytes.size());
  memcpy(&entry.ftLastWriteTime, &node->time, sizeof entry.ftLastWriteTime);
  return entry;
}

// The names directly in a folder, as keys, with the paths as they were written.
std::map<std::u16string, std::u16string> NamesIn(FileSystem const& all, std::u16string const& folder) {
  std::map<std::u16string, std::u16string> names;
  auto const add = [&](std::u16string const& key, std::u16string const& path) {
    if (!key.starts_with(folder + u'\\')) return;
    std::u16string const rest = key.substr(folder.size() + 1);
    size_t const length = rest.find(u'\\');
    std::u16string const written = path.size() == key.size() ? path : key;
    names[rest.substr(0, length)] = written.substr(folder.size() + 1, length);
  };
  for (auto const& made : all.folders) add(made, made);
  for (auto const& [key, node] : all.files) add(key, node->name);
  return names;
}

Search Found(FileSystem const& all, std::u16string const& wanted) {
  std::u16string const folder = FolderOf(wanted);
  std::u16string const pattern = wanted.substr(wanted.rfind(u'\\') + 1);
  Search search;
  for (std::u16string const dots : {u".", u".."}) {
    if (folder.size() > 2 && Matches(pattern.c_str(), dots.c_str())) {
      search.found.push_back(Entry(dots, FILE_ATTRIBUTE_DIRECTORY, nullptr));
    }
  }
  for (auto const& [name, written] : NamesIn(all, folder)) {
    if (!Matches(pattern.c_str(), name.c_str())) continue;
    std::u16string const key = folder + u'\\' + name;
    search.found.push_back(Entry(written, AttributesOf(all, key), FindNode(all, key).get()));
  }
  return search;
}

BOOL Next(Search& search, WIN32_FIND_DATAW* entry) {
  if (search.next == search.found.size()) return Refused(ERROR_NO_MORE_FILES);
  *entry = search.found[search.next++];
  return TRUE;
}

}  // namespace

extern "C" {

BOOL WINAPI harness_DeleteFileW(wchar_t const* name) {
  FilesLocked all;
  std::u16string const key = Key(Text(name));
  if (Fails(REMOVE)) return Refused(ERROR_ACCESS_DENIED);
  if (DWORD const error = CheckRemovable(FindNode(all.Get(), key).get())) return Refused(error);
  all->files.erase(key);
  return TRUE;
}

BOOL WINAPI harness_MoveFileExW(wchar_t const* from, wchar_t const* to, DWORD flags) {
  FilesLocked all;
  if (Fails(REPLACE)) return Refused(ERROR_ACCESS_DENIED);
  bool const mayReplace = (flags & MOVEFILE_REPLACE_EXISTING) != 0;
  if (DWORD const error = CheckMove(all.Get(), Key(Text(from)), Key(Text(to)), mayReplace))
    return Refused(error);
  Move(all.Get(), Text(from), Text(to));
  return TRUE;
}

BOOL WINAPI harness_MoveFileW(wchar_t const* from, wchar_t const* to) {
  return harness_MoveFileExW(from, to, 0);
}

// The new file replaces the old one, which is kept as `backup` if that is given.
BOOL WINAPI harness_ReplaceFileW(wchar_t const* old, wchar_t const* replacement, wchar_t const* backup, DWORD,
                                 void*, void*) {
  FilesLocked all;
  if (Fails(REPLACE)) return Refused(ERROR_UNABLE_TO_REMOVE_REPLACED);
  if (DWORD const error = CheckRemovable(FindNode(all.Get(), Key(Text(old))).get())) return Refused(error);
  if (DWORD const error = CheckMove(all.Get(), Key(Text(replacement)), Key(Text(old)), true))
    return Refused(error);
  if (backup) Move(all.Get(), Text(old), Text(backup));
  Move(all.Get(), Text(replacement), Text(old));
  return TRUE;
}

BOOL WINAPI harness_CopyFileW(wchar_t const* from, wchar_t const* to, BOOL onlyNew) {
  FilesLocked all;
  std::shared_ptr<Node> const source = FindNode(all.Get(), Key(Text(from)));
  std::shared_ptr<Node> const old = FindNode(all.Get(), Key(Text(to)));
  if (!source || !IsFolder(all.Get(), FolderOf(Key(Text(to))))) return Refused(ERROR_FILE_NOT_FOUND);
  if (old && onlyNew) return Refused(ERROR_FILE_EXISTS);
  if (Fails(OPEN)) return Refused(ERROR_ACCESS_DENIED);
  std::string const bytes = source->bytes;
  NewNode(all.Get(), Text(to))->bytes = bytes;
  return TRUE;
}

DWORD WINAPI harness_GetFileAttributesW(wchar_t const* name) {
  FilesLocked all;
  DWORD const attributes = AttributesOf(all.Get(), Key(Text(name)));
  if (attributes == INVALID_FILE_ATTRIBUTES) SetLastError(ERROR_FILE_NOT_FOUND);
  return attributes;
}

BOOL WINAPI harness_GetFileAttributesExW(wchar_t const* name, GET_FILEEX_INFO_LEVELS, void* to) {
  FilesLocked all;
  std::u16string const key = Key(Text(name));
  DWORD const attributes = AttributesOf(all.Get(), key);
  if (attributes == INVALID_FILE_ATTRIBUTES) return Refused(ERROR_FILE_NOT_FOUND);
  WIN32_FIND_DATAW const entry = Entry(key, attributes, FindNode(all.Get(), key).get());
  memcpy(to, &entry, sizeof(WIN32_FILE_ATTRIBUTE_DATA));  // the beginning of that record
  return TRUE;
}

BOOL WINAPI harness_SetFileAttributesW(wchar_t const* name, DWORD attributes) {
  FilesLocked all;
  std::shared_ptr<Node> const node = FindNode(all.Get(), Key(Text(name)));
  if (!node) return Refused(ERROR_FILE_NOT_FOUND);
  node->readOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
  return TRUE;
}

BOOL WINAPI harness_CreateDirectoryW(wchar_t const* name, SECURITY_ATTRIBUTES*) {
  FilesLocked all;
  std::u16string const key = Key(Text(name));
  if (Fails(OPEN)) return Refused(ERROR_ACCESS_DENIED);
  if (AttributesOf(all.Get(), key) != INVALID_FILE_ATTRIBUTES) return Refused(ERROR_ALREADY_EXISTS);
  if (!IsFolder(all.Get(), FolderOf(key))) return Refused(ERROR_PATH_NOT_FOUND);
  all->folders.insert(key);
  return TRUE;
}

BOOL WINAPI harness_RemoveDirectoryW(wchar_t const* name) {
  FilesLocked all;
  std::u16string const key = Key(Text(name));
  if (!IsFolder(all.Get(), key)) return Refused(ERROR_PATH_NOT_FOUND);
  if (!NamesIn(all.Get(), key).empty()) return Refused(ERROR_DIR_NOT_EMPTY);
  all->folders.erase(key);
  return TRUE;
}

DWORD WINAPI harness_GetTempPathW(DWORD room, wchar_t* to) {
  return static_cast<DWORD>(Length(u"T:\\", room, to));
}

// Without a number it uses the next free one and creates the file.
UINT WINAPI harness_GetTempFileNameW(wchar_t const* folder, wchar_t const* prefix, UINT number, wchar_t* to) {
  FilesLocked all;
  std::u16string const start =
      Text(folder) + (Text(folder).ends_with(u'\\') ? u"" : u"\\") + Text(prefix).substr(0, 3);
  UINT chosen = number ? number : 1;
  auto const name = [&] {
    std::string const digits = std::to_string(chosen);
    return start + std::u16string(digits.begin(), digits.end()) + u".tmp";
  };
  while (!number && FindNode(all.Get(), Key(name()))) ++chosen;
  if (!number && Fails(OPEN)) return static_cast<UINT>(Refused(ERROR_ACCESS_DENIED));
  if (!IsFolder(all.Get(), FolderOf(Key(name())))) return static_cast<UINT>(Refused(ERROR_DIRECTORY));
  if (!number) NewNode(all.Get(), name());
  return Length(name(), MAX_PATH, to) < MAX_PATH ? chosen : 0;
}

// The current folder is C:\.
DWORD WINAPI harness_GetFullPathNameW(wchar_t const* name, DWORD room, wchar_t* to, wchar_t** lastPart) {
  std::u16string path = Text(name);
  if (path.empty()) return 0;
  std::ranges::replace(path, u'/', u'\\');
  bool const whole = path.size() > 1 && (path[1] == u':' || path.starts_with(u"\\\\"));
  if (!whole) path = (path.starts_with(u'\\') ? u"C:" : u"C:\\") + path;
  size_t const length = Length(path, room, to);
  if (lastPart && length < room) *lastPart = to + path.rfind(u'\\') + 1;
  return static_cast<DWORD>(length);
}

DWORD WINAPI harness_GetFinalPathNameByHandleW(HANDLE handle, wchar_t* to, DWORD room, DWORD) {
  FilesLocked all;
  auto const opening = all->openings.find(handle);
  if (opening == all->openings.end() || opening->second->device) return Refused(ERROR_INVALID_HANDLE);
  return static_cast<DWORD>(Length(LONG_PATH + Key(opening->second->node->name), room, to));
}

HANDLE WINAPI harness_FindFirstFileW(wchar_t const* pattern, WIN32_FIND_DATAW* entry) {
  FilesLocked all;
  std::u16string const wanted = Key(Text(pattern));
  auto search = std::make_unique<Search>(Found(all.Get(), wanted));
  bool const there = IsFolder(all.Get(), FolderOf(wanted));
  DWORD const error = Fails(FIND) ? ERROR_ACCESS_DENIED : !there ? ERROR_PATH_NOT_FOUND : 0;
  if (error || !Next(*search, entry)) {
    SetLastError(error ? error : ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  HANDLE const handle = search.get();
  all->searches[handle] = std::move(search);
  ++liveHandles;
  return handle;
}

BOOL WINAPI harness_FindNextFileW(HANDLE handle, WIN32_FIND_DATAW* entry) {
  FilesLocked all;
  auto const found = all->searches.find(handle);
  if (found == all->searches.end()) return Refused(ERROR_INVALID_HANDLE);
  return Fails(FIND) ? Refused(ERROR_READ_FAULT) : Next(*found->second, entry);
}

BOOL WINAPI harness_FindClose(HANDLE handle) {
  FilesLocked all;
  if (!all->searches.erase(handle)) Die("FindClose of an invalid search", handle);
  --liveHandles;
  return TRUE;
}

}  // extern "C"
