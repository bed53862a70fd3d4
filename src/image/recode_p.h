// How one channel becomes another type: the definitions that all kernels reproduce. The anonymous namespace
// keeps the copies of files with different instruction sets apart.
#pragma once

#include <emmintrin.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace yk::img {

/// Instruction sets, each including all previous ones.
enum class Isa { BASE, SSSE3, AVX2 };

namespace {

// Pixels may be at any address: they are read and written as bytes.

template <class T>
T Read(uint8_t const* at, size_t index) noexcept {
  T value;
  memcpy(&value, at + index * sizeof(T), sizeof(T));
  return value;
}

template <class T>
void Write(uint8_t* at, size_t index, T value) noexcept {
  memcpy(at + index * sizeof(T), &value, sizeof(T));
}

template <class To, class From>
struct Recoded;

/// v / 255, rounded once. 1/255 is 1/256 + 1/65280: the first product is exact, and the second is so small
/// that the sum is the correctly rounded quotient for each of the 256 values. Since the first product is
/// exact, a fused multiply-add gives the same sum.
template <>
struct Recoded<float, uint8_t> {
  static constexpr float WHOLE = 1.0f / 256;
  static constexpr float REST = static_cast<float>(1.0 / 255 - 1.0 / 256);

  static float Of(uint8_t value) noexcept {
    float const v = static_cast<float>(static_cast<int>(value));
    return v * WHOLE + v * REST;
  }
};

/// v / 65535, rounded once, by the same method, which is exact for each of the 65536 values.
template <>
struct Recoded<float, uint16_t> {
  static constexpr float WHOLE = 1.0f / 65536;
  static constexpr float REST = static_cast<float>(1.0 / 65535 - 1.0 / 65536);

  static float Of(uint16_t value) noexcept {
    float const v = static_cast<float>(static_cast<int>(value));
    return v * WHOLE + v * REST;
  }
};

/// The high byte.
template <>
struct Recoded<uint8_t, uint16_t> {
  static uint8_t Of(uint16_t value) noexcept { return static_cast<uint8_t>(value >> 8); }
};

/// The low byte of v * 255 + 0.5, truncated and not clamped (contract). Values outside 32 bits give 0.
template <>
struct Recoded<uint8_t, float> {
  static uint8_t Of(float value) noexcept {
    double const scaled = static_cast<double>(value) * 255.0 + 0.5;
    return static_cast<uint8_t>(_mm_cvttsd_si32(_mm_set_sd(scaled)));
  }
};

/// The alpha of an opaque pixel.
template <class T>
constexpr T FULL = static_cast<T>(255);
template <>
constexpr float FULL<float> = 1.0f;

/// Colour as grey.
inline uint8_t Average(uint8_t b, uint8_t g, uint8_t r) noexcept {
  return static_cast<uint8_t>((b + g + r) / 3);
}
inline float Average(float b, float g, float r) noexcept { return ((b + g) + r) / 3.0f; }

}  // namespace
}  // namespace yk::img
