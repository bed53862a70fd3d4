// What the parts of the harness share: the count of what lives, and whether a call is to fail.
#pragma once

#include <atomic>

#include "harness.h"

namespace harness {

/// Counts on several threads and orders nothing between them: that would hide a race of the library's.
class Counter {
 public:
  void operator++() noexcept { count.fetch_add(1, std::memory_order_relaxed); }
  void operator--() noexcept { count.fetch_sub(1, std::memory_order_relaxed); }
  operator long() const noexcept { return count.load(std::memory_order_relaxed); }

 private:
  std::atomic<long> count{0};
};

extern Counter liveBlocks, liveGlobals, liveBitmaps, liveHandles;

/// Whether this call of a kind is to fail; counts it.
bool Fails(Kind kind) noexcept;

/// Whether a request for so much memory is to be refused; counts it.
bool Refuses(size_t bytes) noexcept;

/// Says what the library did to a handle or block that is none, and ends the program.
[[noreturn]] void Die(char const* what, void const* handle) noexcept;

}  // namespace harness
