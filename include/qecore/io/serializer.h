// yk::Serializer: writes an object file (see chunk.h for the format).
//
//   Ref<Serializer> writer = Ref<Serializer>::Adopt(Serializer::Create());
//   writer->Open(stream, 0);
//   writer->BeginChunk(MY_TAG);
//   writer->Write(&fields, sizeof fields);
//   title.Save(writer.get(), TITLE_TAG);
//   writer->EndChunk();
//   writer->Close();
//   if (Failed(writer->GetFailure())) ...                   // the file is incomplete
//
//   slot    8 Open              12 BeginChunk(tag, flags)   16 Write
//           9 Close             13 EndChunk                 17 GetFailure
//          10 WriteReference    14 WriteChunk
//          11 BeginChunk(tag)   15 WriteStringChunk
//
// The stream must be able to seek: the size of a chunk is filled in when it ends. Most results do not report
// a stream that fails; GetFailure does, once for the whole file, and LastError() says why (error.h). A
// FileStream works in pieces of up to 64 KiB while a writer is open on it: a full disk may be noticed only by
// GetFailure or Close. After Close everything is in the file.
// Ownership: holds the stream while open, and a reference to each object that it wrote a reference to until
// it is destroyed; being destroyed it closes. One thread at a time.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/owned.h>
#include <qecore/core/ref.h>
#include <qecore/io/chunk.h>

namespace yk {

class Array;
class FileStream;
class MemStream;
class ReferenceIndex;
class Stream;
struct Held;

/// It has no identifier of its own: QueryInterface and IsTypeOf are Unknown's.
class Serializer : public Destroys<Serializer, Unknown> {
 public:
  /// A new writer, or null.
  YK_API static Serializer* Create() noexcept;

  /// Starts a file at the stream's position, with the flags chunk::NO_TABLES and chunk::RAW, and begins its
  /// body. E_FAIL: a file is open. E_INVALIDARG: no stream.
  YK_API virtual HRESULT Open(Stream* newStream, unsigned openFlags) noexcept;
  /// Ends the file and releases the stream. The numbering of references continues in the next file. E_FAIL:
  /// no file is open.
  YK_API virtual HRESULT Close() noexcept;
  /// Writes a reference; at an object's first occurrence the caller must write the object itself after it.
  YK_API virtual HRESULT WriteReference(Unknown* object) noexcept;
  /// Begins a chunk inside the open one, at any depth. E_FAIL: no file is open. E_OUTOFMEMORY: nothing is
  /// written, and Write refuses the payload; EndChunk must be called nevertheless.
  YK_SLOT_PAIR(YK_API virtual HRESULT BeginChunk(unsigned short tag) noexcept,
               YK_API virtual HRESULT BeginChunk(unsigned short tag, unsigned short chunkFlags) noexcept);
  /// Ends the innermost chunk. E_FAIL: none is open.
  YK_API virtual HRESULT EndChunk() noexcept;
  /// A chunk with these bytes. S_FALSE, with nothing written, for a size of 0.
  YK_API virtual HRESULT WriteChunk(unsigned short tag, void const* data, unsigned size) noexcept;
  /// A chunk with this text, without its terminator. S_FALSE for a null or empty one.
  YK_API virtual HRESULT WriteStringChunk(unsigned short tag, char const* text) noexcept;

  /// Writes payload into the innermost chunk. \return the stream's result; E_FAIL when it accepted less than
  /// `size` bytes, or no file is open
  YK_API virtual HRESULT Write(void const* data, unsigned size) noexcept;
  /// S_OK, or the first failure since Open: of a write or a seek by this writer, a chunk or reference that
  /// was refused, a file of more than 32 bits, or the state of the stream, which is checked here and by
  /// Close. It stays until the next Open.
  YK_API virtual HRESULT GetFailure() noexcept;

  /// The stream, borrowed; null while no file is open. Payload may also be written to it directly; failures
  /// of such writes are then known only from the stream's own state.
  Stream* GetStream() const noexcept { return stream.get(); }

 private:
  friend Destroys;
  friend HRESULT NoteFailure(Serializer& writer, HRESULT result) noexcept;

  struct OpenChunk {
    unsigned short tag;
    unsigned size;
    unsigned start;
    unsigned short flags;
  };

  Serializer() noexcept;
  ~Serializer();

  HRESULT Note(HRESULT result) noexcept;
  Held Hold() noexcept;
  bool HasChunk() const noexcept;
  bool Patch(unsigned at, unsigned number) noexcept;
  HRESULT MoveTo(Stream& target, unsigned to) noexcept;
  void FillInSize(Stream& target, OpenChunk const& ended, unsigned end) noexcept;
  int FindObject(Unknown* object) noexcept;
  bool AddObject(Unknown* object, int index) noexcept;
  void WriteFrame() noexcept;
  void WriteNumberChunk(unsigned short tag, unsigned number) noexcept;

  Ref<Stream> stream;
  void const* quietTable = nullptr;  // see QuietTable
  void const* ownTable;              // of slots, as long as nobody replaces it
  MemStream* memory = nullptr;       // the stream, if it is one
  FileStream* buffered = nullptr;    // the stream, if it works through a window for this writer
  Ref<Array> objects;                // created by the first reference
  chunk::Stack<OpenChunk> chunks;
  int depth = -1;          // the innermost chunk's index in `chunks`
  int bottom = -1;         // the depth at which nothing is open
  unsigned untracked = 0;  // chunks begun inside the innermost one without memory for them
  uint64_t place = 0;      // the stream's position, not limited to 32 bits
  unsigned flags = 0;
  HRESULT failure = S_OK;       // the first
  Owned<ReferenceIndex> index;  // of `objects`; none while they are few, or without memory
};

}  // namespace yk
