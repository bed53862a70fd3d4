// Shared by the parts of the harness: the count of live objects, and whether a call must fail.
#pragma once

#include <atomic>

#include "harness.h"

namespace harness {

/// Counts on several threads without ordering anything between them, which would hide a race of the library.
class Counter {
 public:
  void operator++() noexcept { count.fetch_add(1, std::memory_order_relaxed); }
  void operator--() noexcept { count.fetch_sub(1, std::memory_order_relaxed); }
  operator long() const noexcept { return count.load(std::memory_order_relaxed); }

 private:
  std::atomic<long> count{0};
};

extern Counter liveBlocks, liveGlobals, liveBitmaps, liveHandles;

/// Whether this call of a kind must fail; counts it.
bool Fails(Kind kind) noexcept;

/// Whether an allocation of this size must fail; counts it.
bool Refuses(size_t bytes) noexcept;

/// Reports what the library did to an invalid handle or block, and ends the program.
[[noreturn]] void Die(char const* what, void const* handle) noexcept;

}  // namespace harness
