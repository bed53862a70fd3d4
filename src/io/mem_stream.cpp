#include <qecore/io/mem_stream.h>

#include <string.h>
#include <windows.h>

#include <algorithm>
#include <new>

#include "core/error_p.h"
#include "core/global_block_p.h"
#include "stream_p.h"

namespace yk {
namespace {

constexpr unsigned STEP_BITS = 16;  // blocks grow by 64 KiB
constexpr uint64_t STEP = uint64_t{1} << STEP_BITS;
constexpr uint64_t LARGEST = 0xFFFFFFFF;  // callers see 32-bit positions

HRESULT FailToGrow(char const* operation, uint64_t end) noexcept {
  if (end > LARGEST) return FailTooLarge(operation);
  return Fail(E_FAIL, operation, L"not enough memory for %llu bytes", static_cast<unsigned long long>(end));
}

}  // namespace

HRESULT MemStream::Create(Stream** out) noexcept {
  if (!out) return FailNull("MemStream::Create", L"out");
  *out = Made(new (std::nothrow) MemStream, "MemStream::Create");
  return *out ? S_OK : E_OUTOFMEMORY;
}

MemStream::~MemStream() {
  if (!block) return;
  GlobalUnlock(block);
  if (flags & OWNED) GlobalFree(block);
}

HRESULT MemStream::Read(void* buffer, unsigned bytes, unsigned* done) noexcept {
  if (!buffer && bytes > 0) {
    if (done) *done = 0;
    return FailNull("MemStream::Read", L"buffer");
  }
  uint64_t const from = position;
  unsigned got = bytes;
  bool const advanced = Advance(got, Access::READ);
  if (got > 0) CopyFew(buffer, data + from, got);
  if (got < bytes) memset(static_cast<unsigned char*>(buffer) + got, 0, bytes - got);
  if (done) *done = got;
  return advanced ? S_OK : E_FAIL;
}

HRESULT MemStream::Write(void const* buffer, unsigned bytes, unsigned* done) noexcept {
  uint64_t const from = position;
  if (buffer && HasRoom(from + bytes)) {
    CopyFew(data + from, buffer, bytes);
    position += bytes;
    size = std::max(size, position);
    if (done) *done = bytes;
    return S_OK;
  }
  if (!buffer && bytes > 0) {
    if (done) *done = 0;
    return Note(FailNull("MemStream::Write", L"buffer"));
  }
  unsigned room = bytes;
  bool const advanced = Advance(room, Access::WRITE);
  if (data && room > 0) CopyFew(data + from, buffer, room);
  if (done) *done = room;
  return advanced ? S_OK : Note(FailToGrow("MemStream::Write", from + bytes));
}

HRESULT MemStream::Seek(long offset, unsigned origin, unsigned* newPosition) noexcept {
  int64_t target = offset;
  if (origin == FROM_POSITION) target += static_cast<int64_t>(position);
  if (origin == FROM_END) target += static_cast<int64_t>(size);
  if (target < 0 || static_cast<uint64_t>(target) > size) {
    return Fail(E_INVALIDARG, "MemStream::Seek", L"byte %lld is outside the stream of %llu bytes",
                static_cast<long long>(target), static_cast<unsigned long long>(size));
  }
  flags &= ~BROKEN;
  position = static_cast<uint64_t>(target);
  if (newPosition) *newPosition = static_cast<unsigned>(position);
  return S_OK;
}

unsigned MemStream::GetPosition() noexcept { return static_cast<unsigned>(position); }

unsigned MemStream::GetSize() noexcept { return static_cast<unsigned>(size); }

HRESULT MemStream::SetSize(unsigned newSize) noexcept {
  if (newSize > 0) {
    // Contract: the capacity is unchanged
    if (!Resize(newSize)) return Note(FailToGrow("MemStream::SetSize", newSize));
  }
  size = newSize;
  if (position > size) position = size;
  return S_OK;
}

/// Stores a failure, if it is the first. \return the result
HRESULT MemStream::Note(HRESULT result) noexcept {
  if (Failed(result) && failure == S_OK) failure = result;
  return result;
}

HRESULT MemStream::GetFailure() noexcept { return failure; }

HRESULT MemStream::GetState() noexcept { return flags & BROKEN ? E_FAIL : S_OK; }

HRESULT MemStream::Attach(HGLOBAL newBlock) noexcept {
  constexpr char OPERATION[] = "MemStream::Attach";
  if (block) return Fail(E_FAIL, OPERATION, L"the stream already has a block");
  if (newBlock) {
    void* const locked = GlobalLock(newBlock);
    if (!locked) return FailSystem(E_FAIL, OPERATION, L"the block", GetLastError());
    block = newBlock;
    data = static_cast<unsigned char*>(locked);
    blockSize = room = GlobalSize(block);
    shown = true;
    flags &= ~OWNED;
  } else if (!Resize(STEP)) {
    return FailToGrow(OPERATION, STEP);
  }
  capacity = GlobalSize(block);
  size = newBlock ? capacity : 0;
  if (position > size) position = size;
  return S_OK;
}

HRESULT MemStream::AttachBuffer(void* buffer, unsigned bytes) noexcept {
  constexpr char OPERATION[] = "MemStream::AttachBuffer";
  if (block || data) return Fail(YK_E_EMPTY, OPERATION, L"the stream already has memory");
  if (!buffer && bytes > 0) return FailNull(OPERATION, L"buffer");
  data = static_cast<unsigned char*>(buffer);
  size = capacity = bytes;
  return S_OK;
}

HGLOBAL MemStream::GetHandle(bool owned) noexcept {
  if (!block) return nullptr;
  Trim();
  shown = true;
  flags = owned ? flags | OWNED : flags & ~OWNED;
  return block;
}

HRESULT MemStream::GetBuffer(void** out) noexcept {
  if (!out) return FailNull("MemStream::GetBuffer", L"out");
  *out = data;
  return S_OK;
}

/// Whether the stream is a MemStream with its own table of slots.
bool MemStream::IsPlain(Stream const& stream) noexcept {
  MemStream const plain;
  return TableOf(stream) == TableOf(plain);
}

/// Overwrites bytes of the content; the position stays. False: there are none.
bool MemStream::Patch(unsigned at, unsigned number) noexcept {
  if (flags & BROKEN || uint64_t{at} + sizeof number > size) return false;
  memcpy(data + at, &number, sizeof number);
  return true;
}

/// Advances the position by `bytes`; a read clamps it to the end, a write makes room. False: the position is
/// unchanged and `bytes` is 0.
bool MemStream::Advance(unsigned& bytes, Access access) noexcept {
  bool const writes = access == Access::WRITE;
  uint64_t const end = position + bytes;
  bool const beyond = end > size;
  bool const possible = !(flags & BROKEN) && (!beyond || (writes ? MakeRoom(end) : position < size));
  if (!possible) {
    bytes = 0;
    return false;
  }
  if (beyond && writes) size = end;
  if (beyond && !writes) bytes = static_cast<unsigned>(size - position);
  position += bytes;
  return true;
}

/// Whether the storage extends beyond `end`: then a write up to there changes nothing but bytes. (One that
/// fills the storage may have to grow it.)
bool MemStream::HasRoom(uint64_t end) const noexcept {
  return data && end < capacity && !(block && end > blockSize) && !(flags & BROKEN);
}

/// Makes sure that the storage extends to `end`.
bool MemStream::MakeRoom(uint64_t end) noexcept {
  if (end > LARGEST) return false;
  // Contract: an owned block grows even when it is exactly full.
  bool const full = end == capacity && block && (flags & OWNED);
  bool const fits = data && end <= capacity && !(block && end > blockSize);
  if (fits && !full) return true;
  uint64_t const grown = ((end >> STEP_BITS) + 1) << STEP_BITS;  // Contract: strictly above the end
  uint64_t const wanted = full || end > capacity ? grown : capacity;
  if (!Resize(wanted)) return fits && data;
  capacity = wanted;
  return true;
}

/// Gives the block this size, or allocates one if it has no block or the storage is a caller's buffer. New
/// bytes are zero. A block whose handle was not given out doubles, if there is memory for it. On failure the
/// storage is unchanged.
bool MemStream::Resize(uint64_t bytes) noexcept {
  if (flags & BROKEN) return false;
  bool const grows = block && data && bytes > blockSize;
  uint64_t const before = block ? blockSize : 0;
  if (!grows || bytes > room) {
    uint64_t const more = grows && !shown ? std::min(2 * room, LARGEST) : 0;
    bool const isRoomy = more > bytes && MoveTo(more);
    if (!isRoomy && !Reallocate(bytes)) return false;
  }
  if (bytes > before) memset(data + before, 0, bytes - before);
  blockSize = bytes;
  return true;
}

/// Moves the content to a larger block. Resizing one may copy the room that is not used, and slowly.
bool MemStream::MoveTo(uint64_t bytes) noexcept {
  auto const [handle, address] = NewGlobal(bytes);
  if (!address) return false;
  memcpy(address, data, blockSize);
  FreeGlobal(block);
  block = handle;
  data = static_cast<unsigned char*>(address);
  room = bytes;
  return true;
}

/// Resizes or allocates the block itself.
bool MemStream::Reallocate(uint64_t bytes) noexcept {
  if (block) GlobalUnlock(block);
  HGLOBAL const resized =
      block ? GlobalReAlloc(block, bytes, GMEM_MOVEABLE) : GlobalAlloc(GMEM_MOVEABLE, bytes);
  if (resized && !block) flags |= OWNED;
  if (resized) block = resized, room = bytes;
  if (block) data = static_cast<unsigned char*>(GlobalLock(block));
  if (!data) size = position = capacity = blockSize = 0;  // a block that cannot be locked has no content
  return resized && data;
}

/// Trims the block to its size. It is locked and must not move, so its address stays the same.
void MemStream::Trim() noexcept {
  if (data && room > blockSize && GlobalReAlloc(block, blockSize, 0)) room = blockSize;
}

}  // namespace yk
