// yk::FileStream: a stream over a file.
//
//   Ref<Stream> stream;
//   HRESULT result = FileStream::Create(L"scene.bin", FileStream::CREATE, stream.Receive());
//
//   slot   17 GetFileName   18 GetFileTime   19 SetFileTime   20 GetFailure      (after those of Stream)
//
//   offset 16 handle   24 name   32 status   36 flags (bit 0: delete the file when closed; bits 16
//   to 31: the system's error of the first failure)
//
// A path of the form "$(module)NAME:RESOURCE.TYPE" opens a resource of the loaded module NAME (see
// MemStream::Create). Any other path names a file.
//
// While a SaveFile, a Serializer, a Deserializer or a function that reads pictures uses the stream, it reads
// and writes in pieces of up to 64 KiB. What was written reaches the file when it no longer fits, when
// anything but writing and moving the position is called, and when that use ends. The call that meets a
// failure returns it, and it is kept.
//
// Failures: result codes, and LastError() says which file and why (error.h).
#pragma once

#include <qecore/core/owned.h>
#include <qecore/io/stream.h>
#include <qecore/values/string.h>

namespace yk {

class FileWindow;

class FileStream : public Implements<FileStream, Stream> {
 public:
  /// How a file is opened. Others may read a file while it is open, and write it while it is open for
  /// reading.
  enum Mode : unsigned {
    READ = 1,        ///< an existing file
    WRITE = 2,       ///< an existing file, not truncated
    READ_WRITE = 3,  ///< an existing file
    CREATE = 4,      ///< for reading and writing; a new file, or an existing one, truncated
    MODE_MASK = 0xF,
    TEMPORARY = 0x100,  ///< a new file in the temporary folder, deleted with the stream; path and mode are
                        ///< ignored
  };

  static Guid const& Id() noexcept { return ids::FILE_STREAM; }

  /// Opens `path`. On failure `*out` is null: YK_E_NOTFOUND for a missing file or folder, YK_E_ACCESS when
  /// access is denied or others hold the file, E_FAIL for everything else, including an unknown mode.
  YK_API static HRESULT Create(String const& path, unsigned flags, Stream** out) noexcept;
  YK_API static HRESULT CreateTemp(Stream** out) noexcept;

  Guid const* GetTypeId() noexcept override { return &ids::FILE_STREAM; }

  using Stream::Read;
  YK_API HRESULT Read(void* buffer, unsigned size, unsigned* done) noexcept override;
  YK_API HRESULT Write(void const* buffer, unsigned size, unsigned* done) noexcept override;
  YK_API HRESULT Seek(long offset, unsigned origin, unsigned* newPosition) noexcept override;
  YK_API unsigned GetPosition() noexcept override;
  YK_API unsigned GetSize() noexcept override;
  YK_API HRESULT SetSize(unsigned size) noexcept override;
  /// S_OK until a write, a size change or a seek fails; then that first failure, permanently. (A seek to a
  /// position before the start is the caller's mistake and does not change the state.) So a host can write
  /// all its data and check once, at the end.
  YK_API HRESULT GetState() noexcept override;

  /// The path that was opened; for a temporary file, the path that it was given.
  YK_API virtual HRESULT GetFileName(String& out) noexcept;
  /// The time of the last write, in the system's units of 100 ns since 1601.
  YK_API virtual HRESULT GetFileTime(unsigned long long* time) noexcept;
  /// Sets the times of creation and of the last write.
  YK_API virtual HRESULT SetFileTime(unsigned long long const* time) noexcept;
  /// The first failure, like GetState.
  YK_API virtual HRESULT GetFailure() noexcept;

 private:
  friend Destroys;
  friend class BufferedFile;
  friend void const* QuietTable(Stream const& stream) noexcept;
  friend class Deserializer;
  friend class FileWindow;
  friend class SaveFile;
  friend class Serializer;

  FileStream(String const& path, unsigned openFlags) noexcept;
  FileStream(String const& path, void* openHandle) noexcept;  // takes ownership of the handle
  ~FileStream();

  HRESULT OpenHandle(unsigned mode) noexcept;
  HRESULT Refuse(char const* operation) const noexcept;
  HRESULT Note(char const* operation) noexcept;
  HRESULT RepeatFailure(char const* operation) const noexcept;
  HRESULT ReadStraight(void* buffer, unsigned size, unsigned& done) noexcept;
  HRESULT WriteStraight(void const* buffer, unsigned size, unsigned& done) noexcept;
  HRESULT SeekStraight(long offset, unsigned origin, unsigned* newPosition) noexcept;
  HRESULT FlushWindow() noexcept;
  HRESULT Flush() noexcept;
  void CloseHandle() noexcept;

  /// Whether the stream is a FileStream with its own table of slots.
  static bool IsPlain(Stream const& stream) noexcept;
  /// Lets the stream work through a window until EndBuffering, which returns the failure of what was left to
  /// write. Null for any other stream, and without memory: EndBuffering must then not be called.
  static FileStream* StartBuffering(Stream& stream) noexcept;
  HRESULT EndBuffering() noexcept;
  bool Patch(unsigned at, unsigned number) noexcept;

  static constexpr unsigned DELETE_AT_END = 1;

  void* handle;
  String name;
  HRESULT status = E_FAIL;  // of opening; once open, the first failure
  unsigned flags = 0;
  bool isWritable = true;
  Owned<FileWindow> window;  // only while buffering
};

}  // namespace yk
