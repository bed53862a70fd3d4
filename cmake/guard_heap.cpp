// A heap that detects overruns: each block ends at an inaccessible page, and a freed block becomes
// inaccessible at once.
//
//   | header |   unused   | the block, to the last byte | guard page |      one reservation for each block
//
// Linked into every program and library by -DQECORE_GUARD_HEAP=ON, with --wrap for the C functions (operator
// new calls malloc). No state: a block allocated in one module may be freed in another, and a pointer from
// the platform's own heap is recognised and passed on to it. A block is aligned as far as its size allows,
// since its end must be at the guard page: 12 bytes at a multiple of 4. Each block takes 64 KiB of address
// space, so that about 32,000 can exist at a time.
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);
std::size_t __real__msize(void* block);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void __wrap_free(void* block);
std::size_t __wrap__msize(void* block);
}

namespace {

constexpr std::size_t PAGE = 4096;
constexpr std::uint64_t MARK = 0x6B636F6C42647247;

struct Header {
  std::uint64_t mark;
  std::uint64_t size;
  void* block;
};

std::size_t CommittedBytes(std::size_t size) { return (size + sizeof(Header) + 2 * PAGE - 1) / PAGE * PAGE; }

// The header of a block of this heap; null for a pointer from another heap.
Header* HeaderOf(void* block) {
  MEMORY_BASIC_INFORMATION info;
  if (!VirtualQuery(block, &info, sizeof info) || !(info.State & MEM_COMMIT)) return nullptr;
  Header* const header = static_cast<Header*>(info.AllocationBase);
  return header->mark == MARK && header->block == block ? header : nullptr;
}

}  // namespace

extern "C" {

void* __wrap_malloc(std::size_t size) {
  std::size_t const wanted = size ? size : 1;
  if (wanted > SIZE_MAX / 2) return nullptr;
  std::size_t const committed = CommittedBytes(wanted);
  char* const base = static_cast<char*>(VirtualAlloc(nullptr, committed + PAGE, MEM_RESERVE, PAGE_NOACCESS));
  if (!base || !VirtualAlloc(base, committed, MEM_COMMIT, PAGE_READWRITE)) return nullptr;
  char* const block = base + committed - wanted;  // aligned as far as the size allows
  std::memset(block, 0xCD, wanted);
  *reinterpret_cast<Header*>(base) = {MARK, size, block};
  return block;
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (size && count > SIZE_MAX / size) return nullptr;
  void* const block = __wrap_malloc(count * size);
  return block ? std::memset(block, 0, count * size) : nullptr;
}

void __wrap_free(void* block) {
  if (!block) return;
  Header* const header = HeaderOf(block);
  if (!header) return __real_free(block);
  VirtualFree(header, 0, MEM_RELEASE);
}

void* __wrap_realloc(void* block, std::size_t size) {
  if (!block) return __wrap_malloc(size);
  Header* const header = HeaderOf(block);
  if (!header) return __real_realloc(block, size);
  if (size == 0) return __wrap_free(block), nullptr;
  void* const moved = __wrap_malloc(size);
  if (!moved) return nullptr;
  std::memcpy(moved, block, header->size < size ? header->size : size);
  __wrap_free(block);
  return moved;
}

std::size_t __wrap__msize(void* block) {
  Header* const header = HeaderOf(block);
  return header ? header->size : __real__msize(block);
}

}  // extern "C"
