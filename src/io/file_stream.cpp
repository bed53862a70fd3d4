#include <qecore/io/file_stream.h>

#include <qecore/io/mem_stream.h>
#include <windows.h>

#include <algorithm>
#include <new>

#include "core/error_p.h"
#include "file_stream_p.h"
#include "file_window_p.h"
#include "stream_p.h"

namespace yk {
namespace {

struct OpenMode {
  DWORD access;
  DWORD share;
  DWORD disposition;
};

/// Indexed by mode; the first is unused.
constexpr OpenMode MODES[] = {
    {},
    {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING},
    {GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING},
    {GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING},
    {GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS},
};
static_assert(sizeof MODES / sizeof *MODES == FileStream::CREATE + 1);

constexpr struct {
  DWORD error;
  HRESULT result;
} FAILURES[] = {
    {ERROR_FILE_NOT_FOUND, YK_E_NOTFOUND},
    {ERROR_PATH_NOT_FOUND, YK_E_NOTFOUND},
    {ERROR_ACCESS_DENIED, YK_E_ACCESS},
    {ERROR_SHARING_VIOLATION, YK_E_ACCESS},
};

constexpr unsigned ERROR_SHIFT = 16;  // in the flags

/// A parsed path "$(module)NAME:RESOURCE.TYPE".
struct ResourcePath {
  String module;
  String name;
  String type;

  /// False: the path is an ordinary one.
  bool Parse(wchar_t const* path) noexcept {
    if (wcsncmp(path, L"$(", 2) != 0) return false;
    wchar_t const* const word = path + 2;
    wchar_t const* const close = wcschr(word, L')');
    if (!close || String(word, static_cast<size_t>(close - word)).CompareNoCase(L"module") != 0) return false;
    wchar_t const* const colon = wcschr(close + 1, L':');
    wchar_t const* const dot = colon ? wcschr(colon + 1, L'.') : nullptr;
    if (!dot) return false;
    module = String(close + 1, static_cast<size_t>(colon - (close + 1)));
    name = String(colon + 1, static_cast<size_t>(dot - (colon + 1)));
    type = dot + 1;
    return true;
  }
};

HRESULT OpenResource(String const& path, ResourcePath const& parts, Stream** out) noexcept {
  constexpr char OPERATION[] = "FileStream::Create";
  HMODULE const module = GetModuleHandleW(parts.module.c_str());
  if (!module) return Fail(E_FAIL, OPERATION, L"%s: the module is not loaded", path.c_str());
  unsigned const before = ErrorCount();
  HRESULT const result = MemStream::Create(module, parts.type.c_str(), parts.name.c_str(), out);
  return Succeeded(result) ? result : FailSince(before, result, OPERATION, L"%s", path.c_str());
}

}  // namespace

HRESULT FailFile(char const* operation, String const& path, unsigned long error) noexcept {
  HRESULT result = E_FAIL;
  for (auto const& row : FAILURES) {
    if (row.error == error) result = row.result;
  }
  return FailSystem(result, operation, path.c_str(), error);
}

bool IsResourcePath(String const& path) noexcept { return ResourcePath().Parse(path.c_str()); }

HRESULT FileStream::Create(String const& path, unsigned flags, Stream** out) noexcept {
  if (!out) return FailNull("FileStream::Create", L"out");
  *out = nullptr;
  ResourcePath resource;
  if (resource.Parse(path.c_str())) return OpenResource(path, resource, out);
  auto* const made = Made(new (std::nothrow) FileStream(path, flags), "FileStream::Create");
  Ref<Stream> const stream = Ref<Stream>::Adopt(made);
  if (!stream) return E_OUTOFMEMORY;
  HRESULT const opened = stream->GetState();
  if (Succeeded(opened)) *out = Ref<Stream>(stream).Detach();
  return opened;
}

HRESULT FileStream::CreateTemp(Stream** out) noexcept { return Create(String(), TEMPORARY | CREATE, out); }

FileStream::FileStream(String const& path, unsigned openFlags) noexcept
    : handle(INVALID_HANDLE_VALUE), name(path) {
  unsigned mode = openFlags & MODE_MASK;
  if (openFlags & TEMPORARY) {
    wchar_t folder[MAX_PATH];
    wchar_t file[MAX_PATH];
    DWORD const length = GetTempPathW(MAX_PATH, folder);
    if (length == 0 || length >= MAX_PATH || !GetTempFileNameW(folder, L"qe", 0, file)) {
      FailSystem(status, "FileStream::Create", L"a temporary file", GetLastError());
      return;
    }
    name.Empty();
    name = file;
    if (name.IsEmpty()) {  // no memory; the caller's path must not be used in its place
      DeleteFileW(file);
      return;
    }
    flags = DELETE_AT_END;
    mode = CREATE;
  }
  bool const named = openFlags & TEMPORARY || name.Length() == path.Length();
  status = named ? OpenHandle(mode) : E_OUTOFMEMORY;
}

FileStream::FileStream(String const& path, void* openHandle) noexcept
    : handle(openHandle), name(path), status(S_OK) {}

FileStream::~FileStream() {
  CloseHandle();
  if (flags & DELETE_AT_END) DeleteFileW(name.c_str());
}

HRESULT FileStream::OpenHandle(unsigned mode) noexcept {
  constexpr char OPERATION[] = "FileStream::Create";
  if (mode == 0 || mode > CREATE)
    return Fail(E_FAIL, OPERATION, L"%s: %u is not a valid mode", name.c_str(), mode);
  auto const [access, share, disposition] = MODES[mode];
  isWritable = access & GENERIC_WRITE;
  handle = CreateFileW(name.c_str(), access, share, nullptr, disposition, 0, nullptr);
  return handle != INVALID_HANDLE_VALUE ? S_OK : FailFile(OPERATION, name, GetLastError());
}

/// Fails with the system's last error.
HRESULT FileStream::Refuse(char const* operation) const noexcept {
  return FailSystem(E_FAIL, operation, name.c_str(), GetLastError());
}

/// The same, and stores the failure if it is the first.
HRESULT FileStream::Note(char const* operation) noexcept {
  unsigned const error = GetLastError();
  if (status == S_OK) {
    status = E_FAIL;
    flags |= error << ERROR_SHIFT;
  }
  return FailSystem(E_FAIL, operation, name.c_str(), error);
}

/// Reports the first failure again, for an operation that cannot succeed because of it.
HRESULT FileStream::RepeatFailure(char const* operation) const noexcept {
  return FailSystem(status, operation, name.c_str(), flags >> ERROR_SHIFT);
}

/// Flushes what was written to the disk.
HRESULT FileStream::Flush() noexcept {
  HRESULT const flushed = FlushWindow();
  return FlushFileBuffers(handle) ? flushed : Note("FileStream::Flush");
}

/// Passes to the system what is still in the window.
HRESULT FileStream::FlushWindow() noexcept { return window ? window->Flush() : S_OK; }

void FileStream::CloseHandle() noexcept {
  FlushWindow();
  window.Reset();
  if (handle != INVALID_HANDLE_VALUE) ::CloseHandle(handle);
  handle = INVALID_HANDLE_VALUE;
}

HRESULT FileStream::Read(void* buffer, unsigned size, unsigned* done) noexcept {
  HRESULT const flushed = FlushWindow();
  unsigned got = 0;
  HRESULT read = flushed;
  if (Succeeded(flushed)) read = window ? window->Read(buffer, size, got) : ReadStraight(buffer, size, got);
  if (got < size) memset(static_cast<unsigned char*>(buffer) + got, 0, size - got);
  if (done) *done = got;
  return Failed(read) && Succeeded(flushed) ? Refuse("FileStream::Read") : read;
}

HRESULT FileStream::Write(void const* buffer, unsigned size, unsigned* done) noexcept {
  unsigned written = 0;
  HRESULT const result =
      window && isWritable ? window->Write(buffer, size, written) : WriteStraight(buffer, size, written);
  if (done) *done = written;
  return result;
}

/// The caller records a failure.
HRESULT FileStream::ReadStraight(void* buffer, unsigned size, unsigned& done) noexcept {
  DWORD got = 0;
  BOOL const read = ReadFile(handle, buffer, size, &got, nullptr);
  done = got;
  return read ? S_OK : E_FAIL;
}

HRESULT FileStream::WriteStraight(void const* buffer, unsigned size, unsigned& done) noexcept {
  DWORD written = 0;
  BOOL const wrote = WriteFile(handle, buffer, size, &written, nullptr);
  done = written;
  if (wrote && written == size) return S_OK;
  if (wrote) SetLastError(ERROR_DISK_FULL);  // the system writes what fits and reports success
  return Note("FileStream::Write");
}

HRESULT FileStream::Seek(long offset, unsigned origin, unsigned* newPosition) noexcept {
  if (!window) return SeekStraight(offset, origin, newPosition);
  uint64_t const base = origin == FROM_POSITION ? window->Position() : 0;
  uint64_t const target = base + static_cast<uint64_t>(int64_t{offset});
  if (origin <= FROM_POSITION && target < INVALID_SET_FILE_POINTER) {
    window->MoveTo(target);
    if (newPosition) *newPosition = static_cast<unsigned>(target);
    return S_OK;
  }
  HRESULT const settled = window->Settle();
  HRESULT const result = Succeeded(settled) ? SeekStraight(offset, origin, newPosition) : settled;
  window->Resume();
  return result;
}

HRESULT FileStream::SeekStraight(long offset, unsigned origin, unsigned* newPosition) noexcept {
  DWORD const position = SetFilePointer(handle, offset, nullptr, origin);
  if (position == INVALID_SET_FILE_POINTER) {
    return GetLastError() == ERROR_NEGATIVE_SEEK ? Refuse("FileStream::Seek") : Note("FileStream::Seek");
  }
  if (newPosition) *newPosition = position;
  return S_OK;
}

unsigned FileStream::GetPosition() noexcept {
  if (window)
    return window->Position() < INVALID_SET_FILE_POINTER ? static_cast<unsigned>(window->Position()) : 0;
  DWORD const position = SetFilePointer(handle, 0, nullptr, FILE_CURRENT);
  return position != INVALID_SET_FILE_POINTER ? position : 0;
}

unsigned FileStream::GetSize() noexcept {
  LARGE_INTEGER bytes = {};  // stays 0 for handles without a size, such as a pipe
  GetFileSizeEx(handle, &bytes);
  auto const size = static_cast<uint64_t>(bytes.QuadPart);
  return static_cast<unsigned>(window ? std::max(size, window->PendingEnd()) : size);
}

HRESULT FileStream::SetSize(unsigned size) noexcept {
  if (Failed(SeekTo(*this, size))) return E_FAIL;
  if (window && Failed(window->Settle())) return E_FAIL;
  bool const changed = SetEndOfFile(handle);
  HRESULT const result = changed ? S_OK : Note("FileStream::SetSize");
  if (window) window->Resume();
  return result;
}

HRESULT FileStream::GetState() noexcept {
  FlushWindow();
  return status;
}

HRESULT FileStream::GetFailure() noexcept {
  FlushWindow();
  return status;
}

HRESULT FileStream::GetFileName(String& out) noexcept {
  if (handle == INVALID_HANDLE_VALUE)
    return FailSystem(E_FAIL, "FileStream::GetFileName", name.c_str(), ERROR_INVALID_HANDLE);
  out = name;
  return S_OK;
}

HRESULT FileStream::GetFileTime(unsigned long long* time) noexcept {
  if (!time) return FailNull("FileStream::GetFileTime", L"time");
  FlushWindow();
  FILETIME lastWrite;
  if (!::GetFileTime(handle, nullptr, nullptr, &lastWrite)) return Refuse("FileStream::GetFileTime");
  memcpy(time, &lastWrite, sizeof *time);
  return S_OK;
}

HRESULT FileStream::SetFileTime(unsigned long long const* time) noexcept {
  if (!time) return FailNull("FileStream::SetFileTime", L"time");
  FlushWindow();
  FILETIME moment;
  memcpy(&moment, time, sizeof moment);
  return ::SetFileTime(handle, &moment, nullptr, &moment) ? S_OK : Refuse("FileStream::SetFileTime");
}

}  // namespace yk
