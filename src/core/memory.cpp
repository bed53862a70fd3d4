#include <qecore/core/memory.h>

#include <stdlib.h>
#include <string.h>
#include <windows.h>

#include <atomic>
#include <new>
#include <string>

#include "error_p.h"
#include "global_block_p.h"

namespace yk {

// The header of each block.
struct Malloc::Block {
  HGLOBAL handle;
  uint64_t used;   // set when the arena moves on to a new block
  uint64_t total;  // the arena's total when this block became current
  Block* next;

  unsigned char* Payload() noexcept { return reinterpret_cast<unsigned char*>(this + 1); }
};

namespace {

constexpr unsigned BLOCK_HEADER = 32;

size_t Padding(unsigned char const* cursor, size_t alignment) noexcept {
  bool const isPower = (alignment & (alignment - 1)) == 0;  // avoids the division
  uintptr_t const place = reinterpret_cast<uintptr_t>(cursor);
  size_t const over = isPower ? place & (alignment - 1) : place % alignment;
  return over ? alignment - over : 0;
}

// A store that the compiler does not eliminate although the object is about to be destroyed.
template <class T>
void Clear(T& field) noexcept {
  *static_cast<T volatile*>(&field) = T();
}

// Holds a critical section, unless that is null.
class OptionalLocker {
 public:
  explicit OptionalLocker(CriticalSection* toHold) noexcept : section(toHold) {
    if (section) section->Enter();
  }
  ~OptionalLocker() {
    if (section) section->Leave();
  }
  OptionalLocker(OptionalLocker const&) = delete;
  OptionalLocker& operator=(OptionalLocker const&) = delete;

 private:
  CriticalSection* section;
};

}  // namespace

void* yk_new(size_t size) noexcept {
  void* const block = malloc(size);
  if (!block) FailMemory("yk_new", size);
  return block;
}
void yk_delete(void* block) noexcept { free(block); }
void* yk_realloc(void* block, size_t size) noexcept {
  void* const moved = realloc(block, size);
  if (!moved && size > 0) FailMemory("yk_realloc", size);
  return moved;
}

Malloc::Malloc(int toRequest) noexcept : blockSize(static_cast<unsigned>(toRequest)) {
  static_assert(sizeof(Block) == BLOCK_HEADER);
}

// Slot 15 without bit 0 leaves the memory to the caller, who may look at it: a destroyed arena is empty.
Malloc::~Malloc() {
  while (Block* const block = first) {
    first = block->next;
    FreeGlobal(block->handle);
  }
  Clear(cursor), Clear(total), Clear(remaining), Clear(first), Clear(current);
}

Malloc* Malloc::Create(int blockSize) noexcept {
  return Made(new (std::nothrow) Malloc(blockSize), "Malloc::Create");
}

void Malloc::Destroy() noexcept { DeleteThis(1); }

wchar_t* Malloc::StrDup(wchar_t const* text) noexcept { return Duplicate(text); }
char* Malloc::StrDup(char const* text) noexcept { return Duplicate(text); }

template <class Char>
Char* Malloc::Duplicate(Char const* text) noexcept {
  if (!text || !*text) return nullptr;
  size_t const bytes = (std::char_traits<Char>::length(text) + 1) * sizeof(Char);
  void* const copy = Alloc(bytes);
  return copy ? static_cast<Char*>(memcpy(copy, text, bytes)) : nullptr;
}

void* Malloc::Alloc(size_t size) noexcept {
  if (threadSafe || size > remaining) return Take(size, 1);
  void* const taken = cursor;
  cursor += size;
  total += size;
  // Together the compiler would change the two as a vector, which takes longer than all the rest.
  std::atomic_signal_fence(std::memory_order_relaxed);
  remaining -= size;
  return taken;
}

void* Malloc::AllocZero(size_t size) noexcept {
  void* const block = Alloc(size);
  return block ? memset(block, 0, size) : nullptr;
}

void* Malloc::AllocAligned(size_t size, size_t alignment) noexcept {
  if (alignment > 0) return Take(size, alignment);
  Fail(E_INVALIDARG, "Malloc::AllocAligned", L"the alignment is 0");
  return nullptr;
}

void Malloc::Reset() noexcept {
  if (!current) return;
  total = 0;
  current = first;
  cursor = first->Payload();
  remaining = Payload();
  for (Block* block = first; block; block = block->next) block->used = block->total = 0;
}

void Malloc::SetThreadSafe(bool on) noexcept { threadSafe = on; }

void* Malloc::DeleteThis(unsigned flags) noexcept { return DeleteSelf(flags); }

void* Malloc::Take(size_t size, size_t alignment) noexcept {
  OptionalLocker const guard(threadSafe ? &lock : nullptr);
  if (size > Payload()) return Refuse(size);
  if (!Fits(size, alignment)) {
    // A new block whose alignment padding is too large is kept for later; the arena is unchanged.
    Block* const block = current;
    unsigned char* const place = cursor;
    uint64_t const left = remaining;
    if (!NextBlock()) return nullptr;
    if (!Fits(size, alignment)) {
      current = block, cursor = place, remaining = left;
      return Refuse(size);
    }
  }
  size_t const padding = Padding(cursor, alignment);
  void* const taken = cursor + padding;
  total += padding + size;
  cursor += padding + size;
  remaining -= padding + size;
  return taken;
}

void* Malloc::Refuse(size_t size) const noexcept {
  Fail(E_FAIL, "Malloc::Alloc", L"%llu bytes do not fit the arena's blocks of %u",
       static_cast<unsigned long long>(size), blockSize);
  return nullptr;
}

// A block size without room after the header, or a negative one, leaves no payload.
size_t Malloc::Payload() const noexcept {
  return static_cast<int>(blockSize) > static_cast<int>(BLOCK_HEADER) ? blockSize - BLOCK_HEADER : 0;
}

bool Malloc::Fits(size_t size, size_t alignment) const noexcept {
  size_t const padding = Padding(cursor, alignment);
  return padding <= remaining && size <= remaining - padding;
}

bool Malloc::NextBlock() noexcept {
  Block* next = current ? current->next : first;
  if (!next) next = NewBlock();
  if (!next) return false;
  current = next;
  current->total = total;
  cursor = current->Payload();
  remaining = Payload();
  return true;
}

Malloc::Block* Malloc::NewBlock() noexcept {
  auto const [handle, address] = NewGlobal(blockSize);
  if (!address) return FailMemory("Malloc::Alloc", blockSize), nullptr;
  Block* const block = static_cast<Block*>(address);
  *block = {handle, 0, 0, nullptr};
  if (current) {
    current->next = block;
    current->used = total - current->total;
  } else {
    first = block;
  }
  return block;
}

}  // namespace yk

int qe::strncmp(char const* a, char const* b, size_t count) noexcept { return ::strncmp(a, b, count); }
