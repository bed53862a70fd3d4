// yk::MemStream: a growable stream over a movable global memory block; and streams over module resources.
//
//   Ref<Stream> stream;
//   MemStream::Create(stream.Receive());              // empty; the first write makes the block
//   MemStream::Create(module, L"PICTURE", L"LOGO", stream.Receive());   // a resource, read-only
//
//   slot   17 Attach   18 AttachBuffer   19 GetHandle   20 GetBuffer   21 GetFailure    (after Stream's)
//
//   offset 16 block   24 size   32 position   40 capacity   48 data   56 flags (bit 0: owned, bit 1: failed)
//
//   block  0                    size                 capacity
//          +--------------------+--------------------+      grows to the next multiple of 64 KiB above
//          | content            | room               |      the new end
//          +--------------------+--------------------+
//
// Ownership: a block that the stream made is freed with it, until GetHandle(false) hands it to the caller;
// an attached block or buffer stays its owner's.
// Failure: a read at the very end, unlike other streams', answers E_FAIL.
#pragma once

#include <qecore/io/stream.h>

namespace yk {

class YK_API MemStream : public Implements<MemStream, Stream> {
 public:
  /// Bits of the flags.
  enum Flag : unsigned { OWNED = 1, BROKEN = 2 };

  static Guid const& Id() noexcept { return ids::MEM_STREAM; }

  /// An empty stream. E_OUTOFMEMORY: `*out` is null.
  static HRESULT Create(Stream** out) noexcept;
  /// A read-only stream over the resource `name` of the given `type`. E_INVALIDARG: there is no such
  /// resource, or it is empty, and `*out` is null. Its GetState is E_FAIL as soon as it stands at its end.
  static HRESULT Create(HINSTANCE module, wchar_t const* type, wchar_t const* name, Stream** out) noexcept;

  Guid const* GetTypeId() noexcept override { return &ids::MEM_STREAM; }

  using Stream::Read;
  HRESULT Read(void* buffer, unsigned size, unsigned* done) noexcept override;
  HRESULT Write(void const* buffer, unsigned size, unsigned* done) noexcept override;
  /// E_INVALIDARG for a place beyond the end. Clears the failed flag.
  HRESULT Seek(long offset, unsigned origin, unsigned* newPosition) noexcept override;
  unsigned GetPosition() noexcept override;
  unsigned GetSize() noexcept override;
  /// Resizes the block to `newSize` bytes exactly; 0 keeps it. On failure nothing changes, unless
  /// the block can no longer be locked: the stream is empty then.
  HRESULT SetSize(unsigned newSize) noexcept override;
  HRESULT GetState() noexcept override;

  /// Takes a movable block as storage and content; null makes one of 64 KiB, with no content. E_FAIL when a
  /// block is there already, or this one cannot be locked.
  virtual HRESULT Attach(HGLOBAL newBlock) noexcept;
  /// Reads and writes the caller's memory in place. A write beyond its end leaves it: the stream goes on in a
  /// new block, into which nothing is copied (it starts as zeros): this is intended. YK_E_EMPTY when there is
  /// storage already.
  virtual HRESULT AttachBuffer(void* buffer, unsigned bytes) noexcept;
  /// The block, null when there is none. With `owned` the stream frees it, else the caller does, after the
  /// stream is gone.
  virtual HGLOBAL GetHandle(bool owned) noexcept;
  /// The address of the content, lent until the next write.
  virtual HRESULT GetBuffer(void** out) noexcept;
  /// S_OK, or the first failure of a Write or a SetSize: the system had no memory, or 4 GiB were reached. It
  /// stays, unlike the state.
  virtual HRESULT GetFailure() noexcept;

 private:
  friend Destroys;

  MemStream() noexcept = default;
  ~MemStream();

  bool Advance(unsigned& bytes, bool writing) noexcept;
  bool MakeRoom(uint64_t end) noexcept;
  bool Resize(uint64_t bytes) noexcept;
  HRESULT Note(HRESULT result) noexcept;

  HGLOBAL block = nullptr;
  uint64_t size = 0;
  uint64_t position = 0;
  uint64_t capacity = 0;
  unsigned char* data = nullptr;
  unsigned flags = 0;
  bool shrunk = false;     // SetSize does not touch the capacity: the block may have less
  HRESULT failure = S_OK;  // the first
};

}  // namespace yk
