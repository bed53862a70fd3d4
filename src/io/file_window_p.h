// The window through which a file stream reads and writes while the library uses it.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/io/file_stream.h>

#include "window_p.h"

namespace yk {

class FileWindow final : public Window {
 public:
  /// Null when there is no memory, or the stream is not over a file on a disk.
  static FileWindow* Create(FileStream& stream) noexcept;

  /// Writes what is to be written and moves the file's own position to that of the window.
  HRESULT Settle() noexcept;
  /// After the file was used without the window: takes over its position, and forgets what was read.
  void Resume() noexcept;

  unsigned users = 1;

 private:
  explicit FileWindow(FileStream& stream, uint64_t at) noexcept : Window(at), file(stream), reached(at) {}

  HRESULT ReadAt(uint64_t at, void* buffer, unsigned size, unsigned& done) noexcept override;
  HRESULT WriteAt(uint64_t at, void const* buffer, unsigned size, unsigned& done) noexcept override;
  bool Reach(uint64_t at) noexcept;

  FileStream& file;
  uint64_t reached;  // the file's own position
};

/// While it exists, a file stream works through a window. Any other stream stays as it is, and so does a file
/// stream with a replaced table of slots.
class BufferedFile {
 public:
  explicit BufferedFile(Stream& stream) noexcept
      : file(Ref<FileStream>::Share(FileStream::StartBuffering(stream))) {}
  ~BufferedFile() {
    if (file) file->EndBuffering();
  }
  BufferedFile(BufferedFile const&) = delete;
  BufferedFile& operator=(BufferedFile const&) = delete;

 private:
  Ref<FileStream> file;
};

}  // namespace yk
