// yk::Deserializer: reads an object file (see chunk.h for the format).
//
//   Ref<Deserializer> reader = Ref<Deserializer>::Adopt(Deserializer::Create());
//   if (Failed(reader->Open(stream, 0))) return;
//   while (reader->IsInChunk()) {
//     switch (reader->BeginChunk()) {
//       case MY_TAG:
//         if (reader->GetChunkSize() == sizeof fields) reader->GetStream()->Read(&fields, sizeof fields);
//         break;
//       case TITLE_TAG: title.Load(reader.get()); break;
//     }
//     reader->EndChunk();                                   // skips the unread rest
//   }
//
//   slot    8 Open    10 ReadReference   12 GetChunkSize   14 EndChunk     16 GetFailure
//           9 Close   11 BeginChunk      13 IsInChunk      15 GetVersion
//
// A damaged file is harmless to a client written like this one. A chunk is corrupt when its header is
// truncated, its size is below 6, or it ends after its parent chunk or after the stream. BeginChunk then
// returns 0; the chunk has the size 0 and no content, and its EndChunk moves to the end of the parent chunk,
// which ends the parent's loop. The same applies when there is no memory for another nesting level. Depth has
// no limit other than the size of the file: a client that enters chunks of any tag must do so in a loop.
//
// Failures: results and GetFailure, and LastError() says why and at which byte (error.h).
// Ownership: holds references to the stream and to the objects of its table while open. One thread at a time.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/ref.h>
#include <qecore/io/chunk.h>

namespace yk {

class Array;
class FileStream;
class Stream;
struct Held;

/// It has no identifier of its own: QueryInterface and IsTypeOf are Unknown's.
class Deserializer : public Destroys<Deserializer, Unknown> {
 public:
  /// A new reader, or null.
  YK_API static Deserializer* Create() noexcept;

  /// Reads the frame from the stream's position up to the first byte of the body. With chunk::RAW there is no
  /// frame. A file that is still open is closed first. E_INVALIDARG: no stream. YK_E_BADFILE: not an object
  /// file, or a damaged one, as when a chunk ends after its parent. E_FAIL: the file ends before its body, or
  /// its writer never closed it. After a failure the stream is held until Close.
  YK_API virtual HRESULT Open(Stream* newStream, unsigned openFlags) noexcept;
  /// Moves to the end of the frame and releases the stream and the objects. \return S_OK
  YK_API virtual HRESULT Close() noexcept;
  /// Reads a reference to an object of the table. S_OK: `*object` has an added reference. Otherwise `*object`
  /// is null: E_INVALIDARG for a number that is not in the table, which includes every first occurrence
  /// (begin the chunk FIRST_OCCURRENCE, create the object, AddReference, load it); E_NOINTERFACE for an
  /// object that could not be created.
  YK_API virtual HRESULT ReadReference(Unknown** object) noexcept;
  /// Enters the next chunk. \return its tag, 0 when it is corrupt; EndChunk must be called either way
  YK_API virtual unsigned short BeginChunk() noexcept;
  /// Payload bytes of the innermost chunk.
  YK_API virtual unsigned GetChunkSize() noexcept;
  /// True while the stream is before the end of the innermost chunk.
  YK_API virtual bool IsInChunk() noexcept;
  /// Moves to the end of the innermost chunk and leaves it. False, as a no-op, when none is open.
  YK_API virtual bool EndChunk() noexcept;
  /// The file's format version, which is not checked.
  YK_API virtual unsigned GetVersion() noexcept;
  /// S_OK, or the first failure since Open: that of Open itself; a read, by this reader or by a value's Load,
  /// that failed or fell short before the end of the chunk; a corrupt chunk (YK_E_BADFILE); no memory for a
  /// chunk, a value or a reference. Reaching the end is not a failure. It stays until the next Open.
  YK_API virtual HRESULT GetFailure() noexcept;

  /// The stream to read payload from, borrowed; null while no file is open.
  Stream* GetStream() const noexcept { return stream.get(); }
  /// Bytes between the stream's position and the end of the innermost chunk (or of the stream, when no chunk
  /// is open): the most that a record may still take.
  YK_API unsigned GetRemaining() noexcept;
  /// Adds an object, to which the table adds a reference, or null for one that could not be created. Objects
  /// must be added in the order of their first occurrences.
  YK_API HRESULT AddReference(Unknown* object) noexcept;

 private:
  friend Destroys;
  friend void ReadInChunk(Deserializer& reader, void* buffer, unsigned size) noexcept;
  friend HRESULT NoteFailure(Deserializer& reader, HRESULT result) noexcept;

  struct OpenChunk {
    unsigned short tag;
    bool ended;  // nothing more is read from it, at any position of the stream
    unsigned payload;
    unsigned end;
  };

  Deserializer() noexcept;
  ~Deserializer();

  unsigned short EnterChunk(unsigned bound) noexcept;
  HRESULT ReadFrame() noexcept;
  HRESULT ReadFramePart(unsigned short tag) noexcept;
  HRESULT CheckTable(unsigned short tag) noexcept;
  bool ReadNumber(unsigned& number) noexcept;
  unsigned ReadThere(void* buffer, unsigned size) noexcept;
  HRESULT Note(HRESULT result) noexcept;
  Held Hold() noexcept;

  Ref<Stream> stream;
  void const* quietTable = nullptr;  // see QuietTable
  void const* ownTable;              // of slots, as long as nobody replaces it
  FileStream* buffered = nullptr;    // the stream, if it works through a window for this reader
  Ref<Array> objects;
  chunk::Stack<OpenChunk> chunks;
  int depth = -1;  // the innermost chunk's index in `chunks`
  // Chunks begun inside the innermost one without memory for them: all count as corrupt.
  unsigned untracked = 0;
  unsigned streamSize = 0;
  unsigned fileStart = 0;
  unsigned flags = 0;
  unsigned version = 0;
  bool inFrame = false;
  bool unclosed = false;   // the chunk begun last is a frame whose writer never filled in the size
  HRESULT failure = S_OK;  // the first
};

}  // namespace yk
