// What the library holds at a moment, and what it holds more at another: for finding leaks. And memory that
// runs out.
//
//   WatchTheLibrary();
//   Held const before = WhatIsHeld();
//   ...
//   std::string const left = WhatIsLeft(before);   // empty: nothing
//
// Blocks are those of the library and of the plug-ins that it loads, not the program's own: from the C
// runtime's heap, from global memory, whole pages, and searches for files. Their imports lead through a list,
// which is exact. GDI objects and handles are the whole process's: the platform keeps some at first use.
#pragma once

#include <stddef.h>

#include <string>

struct Held {
  size_t blocks;
  unsigned made;  // blocks up to now
  int objects;    // of GDI
  int handles;
};

/// To be called once, when the library is loaded and before it is used.
void WatchTheLibrary();

Held WhatIsHeld();

/// A line for each kind and for each block that there is more of than at `before`.
std::string WhatIsLeft(Held const& before);

/// Blocks are kept with the calls that led to them, from now on. Slow.
void NoteCallers();

/// While it lives, one allocation of the library fails, the first one being number 0. A loop over the
/// numbers, until one is not reached, sees every way to run out of memory.
class Scarcity {
 public:
  explicit Scarcity(int number);
  ~Scarcity();
  Scarcity(Scarcity const&) = delete;
  Scarcity& operator=(Scarcity const&) = delete;

  /// Whether the allocation has been asked for, and refused.
  bool WasFelt() const;
};

/// "module+0x1234": `x86_64-w64-mingw32-addr2line -e MODULE` turns it into a line of the source, once the
/// offset is added to the module's preferred base (`objdump -p MODULE | grep ImageBase`).
std::string PlaceOf(void const* address);
