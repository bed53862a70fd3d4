// What the processor can do beyond the instructions of every x86-64 one.
#pragma once

#if !defined(__GNUC__)
#include <intrin.h>
#endif

namespace yk {

#if defined(__GNUC__)

/// Whether the processor has AVX2 and fused multiply-add, and the system saves their registers.
inline bool HasAvx2() noexcept {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

inline bool HasSsse3() noexcept {
  __builtin_cpu_init();
  return __builtin_cpu_supports("ssse3");
}

#else

inline bool HasAvx2() noexcept {
  constexpr int FMA = 1 << 12, OSXSAVE = 1 << 27, AVX2 = 1 << 5, SAVED = 6;
  int facts[4], extended[4];
  __cpuid(facts, 1);
  if (!(facts[2] & FMA) || !(facts[2] & OSXSAVE) || (_xgetbv(0) & SAVED) != SAVED) return false;
  __cpuidex(extended, 7, 0);
  return (extended[1] & AVX2) != 0;
}

inline bool HasSsse3() noexcept {
  constexpr int SSSE3 = 1 << 9;
  int facts[4];
  __cpuid(facts, 1);
  return (facts[2] & SSSE3) != 0;
}

#endif

}  // namespace yk
