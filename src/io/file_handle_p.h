// The owner of an open file.
#pragma once

#include <windows.h>

#include <utility>

namespace yk {

/// Closes the file at the end of the scope. Without a file it does not change the system's last error.
class FileHandle {
 public:
  FileHandle() noexcept = default;
  explicit FileHandle(HANDLE opened) noexcept : handle(opened) {}
  FileHandle(FileHandle&& other) noexcept : handle(other.Detach()) {}
  FileHandle& operator=(FileHandle&&) = delete;
  ~FileHandle() { Close(); }

  explicit operator bool() const noexcept { return handle != INVALID_HANDLE_VALUE; }
  HANDLE get() const noexcept { return handle; }
  /// Hands the file to the caller.
  [[nodiscard]] HANDLE Detach() noexcept { return std::exchange(handle, INVALID_HANDLE_VALUE); }
  void Close() noexcept {
    if (*this) CloseHandle(Detach());
  }

 private:
  HANDLE handle = INVALID_HANDLE_VALUE;
};

}  // namespace yk
