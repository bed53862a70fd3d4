// What programs of the Microsoft C++ ABI use here in place of a C runtime and of Microsoft's headers, neither
// of which exists on the machines that run this check.
#pragma once

#include <qecore/core/base.h>

struct tagPOINT {
  long x, y;
};
struct _POINTL {
  long x, y;
};
struct _RECTL {
  long left, top, right, bottom;
};

/// One call, or a few that belong together, and whether the results are right.
struct Case {
  char const* name;
  bool (*holds)();
};

/// The cases of one file.
struct Cases {
  Case const* first;
  size_t count;
};

extern Cases const CORE, VALUES, IO, PICTURES, UNDO;

template <size_t COUNT>
constexpr Cases CasesOf(Case const (&table)[COUNT]) {
  return {table, COUNT};
}

template <class Char>
bool Same(Char const* a, Char const* b) {
  while (*a && *a == *b) ++a, ++b;
  return *a == *b;
}
