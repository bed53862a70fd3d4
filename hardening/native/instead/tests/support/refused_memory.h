// tests/support/refused_memory.h for the native build, where the harness refuses memory.
#pragma once

#include "harness.h"

class RefusedMemory {
 public:
  explicit RefusedMemory(int request) : refused(request + 1) { harness::Arm({harness::MEMORY, refused}); }
  ~RefusedMemory() { harness::Disarm(); }
  RefusedMemory(RefusedMemory const&) = delete;
  RefusedMemory& operator=(RefusedMemory const&) = delete;

  bool WasRefused() const { return harness::CountCalls() >= refused; }

 private:
  long refused;
};
