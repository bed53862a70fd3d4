// hardening/leaks/leaks.h for the native build, where the harness refuses memory.
#pragma once

#include "harness.h"

class Scarcity {
 public:
  explicit Scarcity(int number) : refused(number + 1) { harness::Arm({harness::MEMORY, refused}); }
  ~Scarcity() { harness::Disarm(); }
  Scarcity(Scarcity const&) = delete;
  Scarcity& operator=(Scarcity const&) = delete;

  bool WasFelt() const { return harness::CountCalls() >= refused; }

 private:
  long refused;
};
