#include <qecore/io/file.h>

#include <wchar.h>
#include <windows.h>

#include "core/error_p.h"
#include "file_handle_p.h"

namespace yk {
namespace {

constexpr size_t LONGEST_PATH = 32767;  // the system's limit

/// The separator at which FilePath truncates: the last backslash, or the last slash in a text without any.
/// Null when nothing would be left before it.
wchar_t* ParentEnd(wchar_t* path) noexcept {
  wchar_t* separator = wcsrchr(path, L'\\');
  if (!separator) separator = wcsrchr(path, L'/');
  return separator == path ? nullptr : separator;
}

HRESULT MakeFolder(wchar_t const* path) noexcept { return CreateDirectoryW(path, nullptr) ? S_OK : E_FAIL; }

/// file::NewFolderEx, which the system's last error explains.
HRESULT MakeFolders(String const& path) noexcept {
  if (file::IsFolder(path.c_str())) return S_OK;
  HRESULT made = MakeFolder(path.c_str());
  if (Succeeded(made)) return made;

  // Truncate the path at one separator after the other until a parent exists or can be created, then restore
  // the separators one by one. Not recursive, so that a path of a thousand names needs no deep stack.
  String parent = path;
  wchar_t* const text = parent.GetBuffer();
  size_t const length = wcslen(parent.c_str());
  do {
    wchar_t* const end = text ? ParentEnd(text) : nullptr;
    if (!end) return made;
    *end = 0;
    made = file::IsFolder(text) ? S_OK : MakeFolder(text);
  } while (Failed(made));
  for (size_t end = wcslen(text); end < length; end = wcslen(text)) {
    text[end] = path.c_str()[end];
    made = MakeFolder(text);
    if (Failed(made)) return made;
  }
  return made;
}

}  // namespace

bool file::IsFileExist(String const& path) noexcept {
  FileHandle const file(
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  return bool{file};
}

HRESULT file::NewFolder(wchar_t const* path) noexcept {
  constexpr char OPERATION[] = "file::NewFolder";
  if (!path) return Fail(E_FAIL, OPERATION, L"path is null");
  HRESULT const made = MakeFolder(path);
  return Succeeded(made) ? made : FailSystem(made, OPERATION, path, GetLastError());
}

HRESULT file::NewFolderEx(String const& path) noexcept {
  bool const tooLong = path.Length() > LONGEST_PATH;
  HRESULT const made = tooLong ? E_FAIL : MakeFolders(path);
  if (Succeeded(made)) return made;
  DWORD const error = tooLong ? ERROR_FILENAME_EXCED_RANGE : GetLastError();
  return FailSystem(made, "file::NewFolderEx", path.c_str(), error);
}

bool file::IsFolder(wchar_t const* path) noexcept {
  DWORD const attributes = path ? GetFileAttributesW(path) : INVALID_FILE_ATTRIBUTES;
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool file::GetTempFolder(size_t size, wchar_t* buffer) noexcept {
  if (!buffer || size == 0) return GetTempPathW(0, nullptr) != 0;
  buffer[0] = 0;
  auto const room = static_cast<DWORD>(size < MAXDWORD ? size : MAXDWORD);
  DWORD const length = GetTempPathW(room, buffer);
  if (length >= room) buffer[0] = 0;
  if (length == 0) FailSystem(E_FAIL, "file::GetTempFolder", L"the temporary folder", GetLastError());
  return length != 0;
}

}  // namespace yk
