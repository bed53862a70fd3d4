// yk::Deserializer: reads an object file (chunk.h draws one).
//
//   Ref<Deserializer> reader = Ref<Deserializer>::Adopt(Deserializer::Create());
//   if (Failed(reader->Open(stream, 0))) return;
//   while (reader->IsInChunk()) {
//     switch (reader->BeginChunk()) {
//       case MY_TAG: reader->GetStream()->Read(&fields, sizeof fields); break;
//       case TITLE_TAG: title.Load(reader.get()); break;
//     }
//     reader->EndChunk();                                   // skips what was not read
//   }
//
//   slot    8 Open    10 ReadReference   12 GetChunkSize   14 EndChunk     16 GetFailure
//           9 Close   11 BeginChunk      13 IsInChunk      15 GetVersion
//
// A damaged file does no harm to a client that is written like this one. A chunk is corrupt when its header
// is cut short, its size is below 6, or it ends behind the chunk around it or behind the stream. BeginChunk
// then returns 0; the chunk has the size 0, nothing is in it, and its EndChunk goes to the end of the chunk
// around it, whose loop so ends. The same holds when there is no memory to enter one more chunk. Depth has no
// other limit than the bytes: a client that enters chunks of any tag does it in a loop.
//
// Ownership: holds the stream and the objects of its table while open. One thread at a time.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/ref.h>
#include <qecore/io/chunk.h>

namespace yk {

class Array;
class Stream;

/// It has no identifier of its own: QueryInterface and IsTypeOf are Unknown's.
class YK_API Deserializer : public Destroys<Deserializer, Unknown> {
 public:
  /// A new reader, or null.
  static Deserializer* Create() noexcept;

  /// Reads the frame, from where the stream stands, and stops at the first byte of the body. With chunk::RAW
  /// there is no frame. A file that is still open is closed first.
  /// E_INVALIDARG: no stream. YK_E_BADFILE: not an object file, or a damaged one. E_FAIL: the file ends
  /// before its body, or was never closed by its writer. After a failure the stream is held until Close.
  virtual HRESULT Open(Stream* newStream, unsigned openFlags) noexcept;
  /// Goes behind the frame and lets go of the stream and the objects. \return S_OK
  virtual HRESULT Close() noexcept;
  /// Reads a reference to an object of the table; S_OK: `*object` has one reference more. Else `*object` is
  /// null: E_INVALIDARG for a number that the table does not have, every first occurrence among them (begin
  /// the chunk FIRST_OCCURRENCE, make the object, AddReference, load it); E_NOINTERFACE for an object that
  /// could not be made.
  virtual HRESULT ReadReference(Unknown** object) noexcept;
  /// Enters the next chunk. \return its tag, 0 when it is corrupt; EndChunk is due either way
  virtual unsigned short BeginChunk() noexcept;
  /// Bytes of payload of the innermost chunk.
  virtual unsigned GetChunkSize() noexcept;
  /// True while the stream stands before the end of the innermost chunk.
  virtual bool IsInChunk() noexcept;
  /// Goes to the end of the innermost chunk and leaves it. False, and nothing moves, when none is open.
  virtual bool EndChunk() noexcept;
  /// The format's version that the file gives; nobody compares it.
  virtual unsigned GetVersion() noexcept;
  /// S_OK, or the first failure since Open: that of Open itself, of a read by this reader or by a value's
  /// Load that failed or fell short before the end of the chunk, a corrupt chunk (YK_E_BADFILE), a chunk, a
  /// value or a reference for which there was no memory. That nothing is left is no failure. It stays until
  /// the next Open.
  virtual HRESULT GetFailure() noexcept;

  /// The stream to read payload from, lent; null while no file is open.
  Stream* GetStream() const noexcept { return stream.get(); }
  /// Bytes between the stream's position and the end of the innermost chunk (or of the stream, when no chunk
  /// is open): what a record may still take.
  unsigned GetRemaining() noexcept;
  /// Adds an object, of which the table takes a reference, or null for one that could not be made. Objects
  /// must be added in the order of their first occurrences.
  HRESULT AddReference(Unknown* object) noexcept;

 private:
  friend Destroys;
  friend void ReadInChunk(Deserializer& reader, void* buffer, unsigned size) noexcept;
  friend void NoteNoMemory(Deserializer& reader) noexcept;

  struct OpenChunk {
    unsigned short tag;
    bool ended;  // nothing more to read in it, wherever the stream stands
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

  Ref<Stream> stream;
  Ref<Array> objects;
  OpenChunk* chunks = nullptr;
  int capacity = 0;
  int depth = -1;     // the innermost chunk's place in `chunks`
  unsigned lost = 0;  // chunks begun inside the innermost one for which there was no memory: all are corrupt
  unsigned streamSize = 0;
  unsigned fileStart = 0;
  unsigned flags = 0;
  unsigned version = 0;
  bool inFrame = false;
  bool unclosed = false;   // the chunk begun last is a frame whose writer never filled in the size
  HRESULT failure = S_OK;  // the first
};

}  // namespace yk
