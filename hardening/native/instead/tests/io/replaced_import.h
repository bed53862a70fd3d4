// tests/io/replaced_import.h for the native build, where nothing is imported: what the tests replace by a refusal, the harness
// refuses.
#pragma once

#include <windows.h>

#include <string>

#include "harness.h"

template <class Function>
class ReplacedImport {
 public:
  ReplacedImport(std::string const& name, Function) {
    if (name != "GlobalReAlloc") abort();  // what the harness cannot refuse
    harness::Arm({harness::MEMORY, 1, true});
  }
  ~ReplacedImport() { harness::Disarm(); }
};
