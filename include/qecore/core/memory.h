// Memory: allocation functions for blocks that cross a module boundary, an arena, and the library's strncmp,
// for hosts that import it.
//
// The library, hosts and plug-ins may each have a C runtime of their own, so a block must be freed by the
// module that allocated it, unless it comes from yk_new or yk_realloc and is freed with yk_delete: these are
// the library's malloc, realloc and free. Failures: null, and LastError() says why (error.h).
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/lock.h>

namespace qe {

/// The C library's strncmp.
YK_API int strncmp(char const* a, char const* b, size_t count) noexcept;

}  // namespace qe

namespace yk {

/// A block of `size` bytes, or null: the library's malloc.
YK_API void* yk_new(size_t size) noexcept;
/// Frees a block of yk_new or yk_realloc; null is a no-op.
YK_API void yk_delete(void* block) noexcept;
/// Changes the size of a block, which may move; null allocates one. Null: no memory, and the block stays.
YK_API void* yk_realloc(void* block, size_t size) noexcept;

/// An arena: many small blocks that are freed at once.
///
///   Ref<Malloc> arena = Ref<Malloc>::Adopt(Malloc::Create(0x10000));
///   wchar_t* copy = arena->StrDup(L"lives as long as the arena");
///
///   slot  8 StrDup(wchar_t)   10 Alloc       12 AllocAligned   14 SetThreadSafe
///         9 StrDup(char)      11 AllocZero   13 Reset          15 DeleteThis
///
///   a block   0         8        16         24       32                     blockSize
///             +---------+--------+----------+--------+----------------------+
///             | handle  | used   | total    | next   | payload              |
///             +---------+--------+----------+--------+----------------------+
///
/// One thread at a time, unless SetThreadSafe(true): then Alloc, AllocZero, AllocAligned and StrDup may be
/// called from any thread; Reset and the last Release must still not run at the same time.
class Malloc : public Implements<Malloc, Unknown> {
 public:
  static Guid const& Id() noexcept { return ids::MALLOC; }

  /// A new arena, or null. `blockSize` includes the 32-byte header and is the size of every block requested
  /// from the system; no single allocation can be larger than blockSize - 32. With a block size that leaves
  /// no room after the header, every allocation fails.
  YK_API static Malloc* Create(int blockSize) noexcept;

  YK_API void Destroy() noexcept override;  ///< through slot 15

  /// Copies a text and its terminator. Null for an empty or null text, and when there is no memory.
  YK_SLOT_PAIR(YK_API virtual wchar_t* StrDup(wchar_t const* text) noexcept,
               YK_API virtual char* StrDup(char const* text) noexcept);

  /// `size` bytes at the current position, unaligned. Null, with the arena unchanged, when they do not fit a
  /// block or there is no memory.
  YK_API virtual void* Alloc(size_t size) noexcept;
  /// Alloc, with the bytes set to zero.
  YK_API virtual void* AllocZero(size_t size) noexcept;
  /// `size` bytes at a multiple of `alignment`; null for an alignment of 0.
  YK_API virtual void* AllocAligned(size_t size, size_t alignment) noexcept;
  /// Frees all allocations at once but keeps the blocks: the same requests get the same addresses again.
  YK_API virtual void Reset() noexcept;
  /// Whether several threads may allocate; set it before they do.
  YK_API virtual void SetThreadSafe(bool on) noexcept;
  YK_API virtual void* DeleteThis(unsigned flags) noexcept;

 private:
  friend Destroys;

  struct Block;

  explicit Malloc(int toRequest) noexcept;
  ~Malloc();

  void* Take(size_t size, size_t alignment) noexcept;
  void* Refuse(size_t size) const noexcept;
  size_t Payload() const noexcept;
  bool Fits(size_t size, size_t alignment) const noexcept;
  bool NextBlock() noexcept;
  Block* NewBlock() noexcept;
  template <class Char>
  Char* Duplicate(Char const* text) noexcept;

  unsigned blockSize;
  unsigned char* cursor = nullptr;
  uint64_t total = 0;      // bytes allocated since the creation or the last Reset, padding included
  uint64_t remaining = 0;  // bytes left in the current block
  Block* first = nullptr;
  Block* current = nullptr;
  CriticalSection lock;
  bool threadSafe = false;
};

}  // namespace yk
