// yk::MemStream: a growable stream over a movable global memory block; and streams over module resources.
//
//   Ref<Stream> stream;
//   MemStream::Create(stream.Receive());              // empty; the first write allocates the block
//   MemStream::Create(module, L"PICTURE", L"LOGO", stream.Receive());   // a resource, read-only
//
//   slot   17 Attach   18 AttachBuffer   19 GetHandle   20 GetBuffer   21 GetFailure    (after Stream's)
//
//   offset 16 block   24 size   32 position   40 capacity   48 data   56 flags (bit 0: owned, bit 1: failed)
//
//   block  0                    size                 capacity
//          | content            | room               |      capacity grows to the next multiple of 64 KiB
//          +--------------------+--------------------+      above the new end
//          +--------------------+--------------------+
//
// While nobody else knows the block, it is larger than its capacity, so that the cost of writing a byte does
// not rise with the size. GetHandle trims it to its size; from then on it grows by exactly what is needed.
//
// Ownership: a block that the stream allocated is freed with it, unless GetHandle(false) passes it to the
// caller; an attached block or buffer stays its owner's.
// Failures: result codes, and LastError() says why (error.h). Unlike in other streams, a read at the very
// end returns E_FAIL (contract); it records nothing. Reading into or writing from null is E_INVALIDARG, and
// moves nothing, unless the size is 0.
#pragma once

#include <qecore/io/stream.h>

namespace yk {

class MemStream : public Implements<MemStream, Stream> {
 public:
  /// Bits of the flags.
  enum Flag : unsigned { OWNED = 1, BROKEN = 2 };

  static Guid const& Id() noexcept { return ids::MEM_STREAM; }

  /// An empty stream. E_OUTOFMEMORY: `*out` is null.
  YK_API static HRESULT Create(Stream** out) noexcept;
  /// A read-only stream over the resource `name` of the given `type`. E_INVALIDARG, with `*out` null: no such
  /// resource, or an empty one. Its GetState is E_FAIL while the position is at the end.
  YK_API static HRESULT Create(HINSTANCE module, wchar_t const* type, wchar_t const* name,
                               Stream** out) noexcept;

  Guid const* GetTypeId() noexcept override { return &ids::MEM_STREAM; }

  using Stream::Read;
  YK_API HRESULT Read(void* buffer, unsigned size, unsigned* done) noexcept override;
  YK_API HRESULT Write(void const* buffer, unsigned size, unsigned* done) noexcept override;
  /// E_INVALIDARG for a position beyond the end. Clears the failed flag.
  YK_API HRESULT Seek(long offset, unsigned origin, unsigned* newPosition) noexcept override;
  YK_API unsigned GetPosition() noexcept override;
  YK_API unsigned GetSize() noexcept override;
  /// Resizes the block to exactly `newSize` bytes; 0 keeps it. On failure nothing changes, unless the block
  /// can no longer be locked: the stream is then empty.
  YK_API HRESULT SetSize(unsigned newSize) noexcept override;
  YK_API HRESULT GetState() noexcept override;

  /// Adopts a movable block as storage and content; null allocates one of 64 KiB without content. E_FAIL when
  /// there is a block already, or this one cannot be locked.
  YK_API virtual HRESULT Attach(HGLOBAL newBlock) noexcept;
  /// Reads and writes the caller's memory in place. Contract: a write beyond its end abandons it, and the
  /// stream continues in a new block, zeroed, into which nothing is copied. YK_E_EMPTY when there is storage
  /// already.
  YK_API virtual HRESULT AttachBuffer(void* buffer, unsigned bytes) noexcept;
  /// The block, of the size stated above, or null. With `owned` the stream frees it,
  /// otherwise the caller does, after the stream is gone.
  YK_API virtual HGLOBAL GetHandle(bool owned) noexcept;
  /// The address of the content, borrowed until the next write.
  YK_API virtual HRESULT GetBuffer(void** out) noexcept;
  /// S_OK, or the first failure of a Write or a SetSize: no memory, 4 GiB reached, null. Unlike the state, it
  /// is never cleared.
  YK_API virtual HRESULT GetFailure() noexcept;

 private:
  friend Destroys;
  friend class Serializer;
  friend void const* QuietTable(Stream const& stream) noexcept;

  MemStream() noexcept = default;
  ~MemStream();

  enum class Access { READ, WRITE };

  static bool IsPlain(Stream const& stream) noexcept;
  bool Patch(unsigned at, unsigned number) noexcept;
  bool Advance(unsigned& bytes, Access access) noexcept;
  bool HasRoom(uint64_t end) const noexcept;
  bool MakeRoom(uint64_t end) noexcept;
  bool Resize(uint64_t bytes) noexcept;
  bool MoveTo(uint64_t bytes) noexcept;
  bool Reallocate(uint64_t bytes) noexcept;
  void Trim() noexcept;
  HRESULT Note(HRESULT result) noexcept;

  HGLOBAL block = nullptr;
  uint64_t size = 0;
  uint64_t position = 0;
  uint64_t capacity = 0;
  unsigned char* data = nullptr;
  unsigned flags = 0;
  bool shown = false;      // others know the block: it has exactly the size it must have
  HRESULT failure = S_OK;  // the first
  uint64_t blockSize = 0;  // the size that the block must have; SetSize makes it differ from the capacity
  uint64_t room = 0;       // the size that it has
};

}  // namespace yk
