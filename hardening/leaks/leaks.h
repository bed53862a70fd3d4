// The resources that the library holds at a moment, and the increase until another: for finding leaks. And
// simulated out-of-memory failures.
//
//   WatchTheLibrary();
//   Held const before = WhatIsHeld();
//   ...
//   std::string const left = WhatIsLeft(before);   // empty: nothing
//
// Blocks are those of the library and of the plug-ins that it loads, not the program's own: from the C
// runtime's heap, from global memory, whole pages, and file searches. Their imports are redirected to an
// exact list. GDI objects and handles are counted for the whole process: the platform caches some at first
// use.
#pragma once

#include <stddef.h>

#include <string>

struct Held {
  size_t blocks;
  unsigned made;  // blocks allocated so far
  int objects;    // of GDI
  int handles;
};

/// Must be called once, after the library is loaded and before it is used.
void WatchTheLibrary();

Held WhatIsHeld();

/// A line for each kind and for each block of which there are more than in `before`.
std::string WhatIsLeft(Held const& before);

/// From now on, blocks are recorded with the calls that led to them. Slow.
void NoteCallers();

/// During its lifetime, one allocation of the library fails, the first one being number 0. A loop over the
/// numbers, until one is not reached, covers every way to run out of memory.
class Scarcity {
 public:
  explicit Scarcity(int number);
  ~Scarcity();
  Scarcity(Scarcity const&) = delete;
  Scarcity& operator=(Scarcity const&) = delete;

  /// Whether the allocation was requested, and refused.
  bool WasFelt() const;
};

/// "module+0x1234": `x86_64-w64-mingw32-addr2line -e MODULE` converts it into a source line, after the
/// module's preferred base (`objdump -p MODULE | grep ImageBase`) is added to the offset.
std::string PlaceOf(void const* address);
