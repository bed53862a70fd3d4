#include <qecore/io/save_file.h>

#include <windows.h>

#include <new>

#include "core/error_p.h"
#include "file_handle_p.h"
#include "file_stream_p.h"
#include "file_window_p.h"

namespace yk {
namespace {

constexpr char OPEN[] = "SaveFile::Open";
constexpr char COMMIT[] = "SaveFile::Commit";
constexpr DWORD ACCESS = GENERIC_READ | GENERIC_WRITE;

/// A path that the system fills in through `ask(buffer, size)`; empty when it fails.
template <class Ask>
String AskForPath(Ask ask) noexcept {
  String path;
  DWORD const size = ask(nullptr, 0);
  if (size == 0 || !path.Realloc(size)) return String();
  DWORD const length = ask(path.GetBuffer(), size + 1);
  if (length == 0 || length > size) return String();
  path.Realloc(length);
  return path;
}

String FullPath(String const& path) noexcept {
  return AskForPath(
      [&](wchar_t* out, DWORD size) { return GetFullPathNameW(path.c_str(), size, out, nullptr); });
}

/// The file's real path, with links resolved and with the prefix for long paths.
String PathOfHandle(HANDLE file) noexcept {
  return AskForPath([=](wchar_t* out, DWORD size) { return GetFinalPathNameByHandleW(file, out, size, 0); });
}

wchar_t const* NameIn(String const& path) noexcept {
  wchar_t const* const separator = wcsrchr(path.c_str(), L'\\');
  return separator ? separator + 1 : path.c_str();
}

/// Creates a new file in the folder of `target`, and sets `path` to its path. On failure the system's last
/// error is the reason.
FileHandle CreateBeside(String const& target, String& path) noexcept {
  constexpr int ATTEMPTS = 1000;
  constexpr size_t NAME_LENGTH = 15;
  auto const length = static_cast<size_t>(NameIn(target) - target.c_str());
  String const folder(target.c_str(), length);
  unsigned number = GetCurrentProcessId() * 0x9E3779B1u ^ GetTickCount();  // arbitrary, to avoid collisions
  for (int i = 0; i < ATTEMPTS; ++i, ++number) {
    String name;
    name.printf(L"~qe%08x.tmp", number);
    path = folder;
    path += name;
    if (path.Length() != length + NAME_LENGTH) break;  // without memory it would be a file elsewhere
    FileHandle file(CreateFileW(path.c_str(), ACCESS, FILE_SHARE_READ, nullptr, CREATE_NEW, 0, nullptr));
    if (file || GetLastError() != ERROR_FILE_EXISTS) return file;
  }
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return {};
}

}  // namespace

SaveFile::~SaveFile() { Discard(); }

HRESULT SaveFile::Open(String const& path) noexcept {
  Discard();
  HRESULT const result = Begin(path);
  if (Failed(result)) Discard();
  return result;
}

HRESULT SaveFile::Begin(String const& path) noexcept {
  if (IsResourcePath(path)) return Fail(YK_E_ACCESS, OPEN, L"%s: resources are read-only", path.c_str());
  FileHandle old(CreateFileW(path.c_str(), ACCESS, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!old && GetLastError() != ERROR_FILE_NOT_FOUND) return FailFile(OPEN, path, GetLastError());
  if (old && GetFileType(old.get()) != FILE_TYPE_DISK) return Adopt(path, old.Detach());
  target = old ? PathOfHandle(old.get()) : String();
  old.Close();
  if (target.IsEmpty()) target = FullPath(path);
  return OpenBeside(path);
}

HRESULT SaveFile::OpenBeside(String const& path) noexcept {
  if (!*NameIn(target)) return FailFile(OPEN, path, ERROR_INVALID_NAME);
  if (wcschr(NameIn(target), L':')) {  // a named stream of a file cannot be replaced on its own
    target.Empty();
    FileHandle part(CreateFileW(path.c_str(), ACCESS, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr));
    return part ? Adopt(path, part.Detach()) : FailFile(OPEN, path, GetLastError());
  }
  FileHandle file = CreateBeside(target, beside);
  if (file) return Adopt(path, file.Detach());
  HRESULT const result = FailFile(OPEN, path, GetLastError());
  beside.Empty();  // not created here, so not to be deleted
  return result;
}

HRESULT SaveFile::Adopt(String const& path, void* handle) noexcept {
  FileHandle file(handle);
  stream = Ref<FileStream>::Adopt(Made(new (std::nothrow) FileStream(path, handle), OPEN));
  if (!stream) return E_OUTOFMEMORY;
  (void)file.Detach();                  // now the stream's
  FileStream::StartBuffering(*stream);  // until it is closed
  return stream->name.Length() == path.Length() ? S_OK : E_OUTOFMEMORY;
}

HRESULT SaveFile::Commit() noexcept {
  if (!stream) return Fail(E_FAIL, COMMIT, L"no file is open");
  stream->FlushWindow();
  HRESULT result = stream->status;
  if (!beside.IsEmpty()) {
    result = Replace();
  } else if (Failed(result)) {
    stream->RepeatFailure(COMMIT);
  }
  Discard();
  return result;
}

HRESULT SaveFile::Replace() noexcept {
  stream->Flush();
  stream->CloseHandle();
  if (Failed(stream->status)) return stream->RepeatFailure(COMMIT);
  constexpr DWORD HOW = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
  if (!MoveFileExW(beside.c_str(), target.c_str(), HOW))
    return FailFile(COMMIT, stream->name, GetLastError());
  beside.Empty();
  return S_OK;
}

void SaveFile::Discard() noexcept {
  if (stream && !beside.IsEmpty()) stream->window.Reset();
  if (stream) stream->CloseHandle();
  stream.Reset();
  if (!beside.IsEmpty()) DeleteFileW(beside.c_str());
  beside.Empty();
  target.Empty();
}

}  // namespace yk
