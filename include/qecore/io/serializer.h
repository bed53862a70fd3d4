// yk::Serializer: writes an object file (chunk.h draws one).
//
//   Ref<Serializer> writer = Ref<Serializer>::Adopt(Serializer::Create());
//   writer->Open(stream, 0);
//   writer->BeginChunk(MY_TAG);
//   writer->GetStream()->Write(&fields, sizeof fields);
//   title.Save(writer.get(), TITLE_TAG);
//   writer->EndChunk();
//   writer->Close();
//
//   slot    8 Open    10 WriteReference    12 BeginChunk(tag, flags)   14 WriteChunk
//           9 Close   11 BeginChunk(tag)   13 EndChunk                 15 WriteStringChunk
//
// The stream must be able to seek: the size of a chunk is filled in when it ends. Write errors of the stream
// are reported by WriteChunk only. Ownership: holds the stream while open, and a reference to each object
// that it wrote a reference to until it is destroyed; being destroyed it closes. One thread at a time.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/ref.h>
#include <qecore/io/chunk.h>

namespace yk {

class Array;
class Stream;

/// It has no identifier of its own: QueryInterface and IsTypeOf are Unknown's.
class YK_API Serializer : public Destroys<Serializer, Unknown> {
 public:
  /// A new writer, or null.
  static Serializer* Create() noexcept;

  /// Starts a file where the stream stands, with the flags chunk::NO_TABLES and chunk::RAW, and leaves its
  /// body open. E_FAIL: a file is open. E_INVALIDARG: no stream.
  virtual HRESULT Open(Stream* newStream, unsigned openFlags) noexcept;
  /// Ends the file and lets go of the stream. The numbers of references go on in the next file. E_FAIL: no
  /// file is open.
  virtual HRESULT Close() noexcept;
  /// Writes a reference: at an object's first occurrence the caller writes the object itself behind it.
  virtual HRESULT WriteReference(Unknown* object) noexcept;
  /// Begins a chunk inside the one that is open. E_FAIL: no file is open. Deeper than chunk::MAX_DEPTH
  /// (E_INVALIDARG) or without memory (E_OUTOFMEMORY) nothing is written, and what should stand inside goes
  /// to the chunk around; EndChunk is due all the same.
  YK_SLOT_PAIR(virtual HRESULT BeginChunk(unsigned short tag) noexcept,
               virtual HRESULT BeginChunk(unsigned short tag, unsigned short chunkFlags) noexcept);
  /// Ends the innermost chunk. E_FAIL: none is open.
  virtual HRESULT EndChunk() noexcept;
  /// A chunk of these bytes. S_FALSE, and nothing is written, for a size of 0.
  virtual HRESULT WriteChunk(unsigned short tag, void const* data, unsigned size) noexcept;
  /// A chunk of this text without its terminator. S_FALSE for a null or an empty one.
  virtual HRESULT WriteStringChunk(unsigned short tag, char const* text) noexcept;

  /// The stream to write payload to, lent; null while no file is open.
  Stream* GetStream() const noexcept { return stream.get(); }

 private:
  template <class, class>
  friend class Destroys;

  struct OpenChunk {
    unsigned short tag;
    unsigned size;
    unsigned start;
    unsigned short flags;
  };

  Serializer() noexcept;
  ~Serializer();

  void WriteFrame() noexcept;
  void WriteNumberChunk(unsigned short tag, unsigned number, unsigned& position) noexcept;

  Ref<Stream> stream;
  Ref<Array> objects;  // made by the first reference
  OpenChunk* chunks = nullptr;
  int capacity = 0;
  int depth = -1;     // the innermost chunk's place in `chunks`
  int bottom = -1;    // the depth at which nothing is open
  unsigned lost = 0;  // chunks begun inside the innermost one that could not be noted
  unsigned fileStart = 0;
  unsigned offsetPositions[2] = {};
  unsigned flags = 0;
};

}  // namespace yk
