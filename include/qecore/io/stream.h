// yk::Stream: the byte-stream interface of the library.
//
//   Ref<Stream> stream;
//   if (Failed(FileStream::Create(L"scene.bin", FileStream::READ, stream.Receive()))) return;
//   unsigned done = 0;
//   stream->Read(header, sizeof header, &done);
//
//   slot   8 Read(String&)   10 Write   12 GetPosition   14 SetSize    16 WriteStringAsUTF8
//          9 Read(bytes)     11 Seek    13 GetSize       15 GetState
//
// Positions and sizes are unsigned 32-bit: no stream is larger than 4 GiB. Every read zeroes the part of the
// caller's buffer that it could not fill, so that a short read never leaves garbage.
//
// Kinds: FileStream (file_stream.h), MemStream and the streams over module resources (mem_stream.h), a
// block-buffered reader (buffered_stream.h) and a writer in large pieces (write_behind_stream.h). Hosts and
// plug-ins derive their own, which must implement Read, Seek, GetPosition, GetSize and GetState; everything
// else defaults to E_NOTIMPL.
//
// Ownership: counted objects; a creating function returns the only reference.
// Failures: result codes, and LastError() says why (error.h); reaching the end of a stream is not a failure.
// Threads: one stream is used by one thread at a time.
#pragma once

#include <qecore/core/implements.h>

namespace yk {

class String;

class Stream : public Answers<Stream, Unknown> {
 public:
  /// What the offset of Seek is relative to.
  enum Origin : unsigned { FROM_START = 0, FROM_POSITION = 1, FROM_END = 2 };

  static Guid const& Id() noexcept { return ids::STREAM; }

  Guid const* GetTypeId() noexcept override { return &ids::STREAM; }

  /// Two overloads in neighbouring slots:
  ///
  /// slot 8: reads a text, a 16-bit count followed by UTF-16 units. Always S_OK: missing data reads as zero.
  ///
  /// slot 9: reads up to `size` bytes. `*done`, if given, receives the number read; the rest of the buffer is
  /// zeroed. A short read is not a failure (except at the very end of a MemStream).
  YK_SLOT_PAIR(virtual HRESULT Read(String& text) noexcept,
               virtual HRESULT Read(void* buffer, unsigned size, unsigned* done = nullptr) noexcept = 0);

  /// Writes `size` bytes; `*done`, if given, receives the number written.
  virtual HRESULT Write(void const* buffer, unsigned size, unsigned* done = nullptr) noexcept {
    (void)buffer, (void)size, (void)done;
    return E_NOTIMPL;
  }
  /// Moves the position; `*newPosition`, if given, receives the resulting one.
  virtual HRESULT Seek(long offset, unsigned origin, unsigned* newPosition = nullptr) noexcept = 0;
  /// In bytes.
  virtual unsigned GetPosition() noexcept = 0;
  virtual unsigned GetSize() noexcept = 0;
  /// Truncates or extends the stream.
  virtual HRESULT SetSize(unsigned size) noexcept {
    (void)size;
    return E_NOTIMPL;
  }
  /// S_OK while the stream is usable.
  virtual HRESULT GetState() noexcept = 0;

  /// Writes a 16-bit byte count and the text as UTF-8; with `scramble`, every byte is rotated left by two
  /// bits. A text of more than 527 bytes in UTF-8 is truncated at a character boundary. Contract: slot 8 is
  /// not the inverse, since it reads UTF-16.
  virtual HRESULT WriteStringAsUTF8(wchar_t const* text, bool scramble) noexcept {
    return WriteUtf8(*this, text, scramble);
  }

 protected:
  Stream() noexcept = default;
  ~Stream() = default;

 private:
  YK_API static HRESULT ReadText(Stream& stream, String& text) noexcept;
  YK_API static HRESULT WriteUtf8(Stream& stream, wchar_t const* text, bool scramble) noexcept;
};

inline HRESULT Stream::Read(String& text) noexcept { return ReadText(*this, text); }

/// Copies `count` bytes from `start` of the source to the target's position, in pieces of 24576 bytes; a
/// negative count means the size of the whole source. Stops early when either stream's state is not
/// S_OK. Contract: a piece that the source cannot fill is written at full length, padded with zeros. The
/// source's position is restored, unless a read fails: its failure is then returned at once. S_FALSE for a
/// count of 0; the failure of the seek for a `start` out of range.
YK_API HRESULT CopyStream(Stream* source, Stream* target, int start, int count) noexcept;

}  // namespace yk
