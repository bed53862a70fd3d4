// What the processor can do beyond the instructions of every x86-64 one.
#pragma once

#if !defined(__GNUC__)
#include <intrin.h>
#endif

namespace yk {

/// Whether the processor has AVX2, and the system saves its registers.
inline bool HasAvx2() noexcept {
#if defined(__GNUC__)
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2");
#else
  constexpr int OSXSAVE = 1 << 27, AVX2 = 1 << 5, SAVED = 6;
  int facts[4], extended[4];
  __cpuid(facts, 1);
  if (!(facts[2] & OSXSAVE) || (_xgetbv(0) & SAVED) != SAVED) return false;
  __cpuidex(extended, 7, 0);
  return (extended[1] & AVX2) != 0;
#endif
}

}  // namespace yk
