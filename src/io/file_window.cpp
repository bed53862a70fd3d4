#include "file_window_p.h"

#include <windows.h>

#include <new>

#include "stream_p.h"

namespace yk {
namespace {

/// The file's own position, or NOWHERE.
uint64_t PositionOf(HANDLE file) noexcept {
  LARGE_INTEGER at;
  return SetFilePointerEx(file, {}, &at, FILE_CURRENT) ? static_cast<uint64_t>(at.QuadPart) : NOWHERE;
}

}  // namespace

FileWindow* FileWindow::Create(FileStream& stream) noexcept {
  if (GetFileType(stream.handle) != FILE_TYPE_DISK) return nullptr;
  uint64_t const at = PositionOf(stream.handle);
  return at != NOWHERE ? new (std::nothrow) FileWindow(stream, at) : nullptr;
}

HRESULT FileWindow::Settle() noexcept {
  HRESULT const flushed = Flush();
  if (!Reach(Position())) return file.Note("FileStream::Seek");
  return flushed;
}

void FileWindow::Resume() noexcept {
  Drop();
  reached = PositionOf(file.handle);
  if (reached != NOWHERE) MoveTo(reached);
}

/// The caller records a failure, which may be one of bytes that nobody asked for.
HRESULT FileWindow::ReadAt(uint64_t at, void* buffer, unsigned size, unsigned& done) noexcept {
  if (!Reach(at)) return E_FAIL;
  HRESULT const read = file.ReadStraight(buffer, size, done);
  reached = Succeeded(read) ? at + done : NOWHERE;
  return read;
}

HRESULT FileWindow::WriteAt(uint64_t at, void const* buffer, unsigned size, unsigned& done) noexcept {
  if (!Reach(at)) return file.Note("FileStream::Seek");
  HRESULT const wrote = file.WriteStraight(buffer, size, done);
  reached = Succeeded(wrote) ? at + size : NOWHERE;
  return wrote;
}

/// Moves the file's own position.
bool FileWindow::Reach(uint64_t at) noexcept {
  if (reached == at) return true;
  LARGE_INTEGER to;
  to.QuadPart = static_cast<LONGLONG>(at);
  bool const there = SetFilePointerEx(file.handle, to, nullptr, FILE_BEGIN);
  reached = there ? at : NOWHERE;
  return there;
}

// ---- FileStream

bool FileStream::IsPlain(Stream const& stream) noexcept {
  FileStream const plain(String(), INVALID_HANDLE_VALUE);
  return TableOf(stream) == TableOf(plain);
}

FileStream* FileStream::StartBuffering(Stream& stream) noexcept {
  if (!IsPlain(stream)) return nullptr;
  FileStream& file = static_cast<FileStream&>(stream);
  if (file.window) {
    ++file.window->users;
  } else {
    file.window.Reset(FileWindow::Create(file));
  }
  return file.window ? &file : nullptr;
}

HRESULT FileStream::EndBuffering() noexcept {
  if (!window) return status;  // the file was closed
  HRESULT const settled = window->Settle();
  if (--window->users == 0) window.Reset();
  return settled;
}

/// Overwrites bytes that are still in the window. False: they are not.
bool FileStream::Patch(unsigned at, unsigned number) noexcept {
  return window && window->Patch(at, &number, sizeof number);
}

}  // namespace yk
