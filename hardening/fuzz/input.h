// One input of the fuzzer, read byte by byte as the numbers, texts and choices that a target asks for. Past
// its end everything is zero, so that targets need no checks.
#pragma once

#include <limits.h>
#include <math.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace fuzz {

class Input {
 public:
  Input(uint8_t const* bytes, size_t size) noexcept : next(bytes), left(size) {}

  bool More() const noexcept { return left > 0; }
  size_t Left() const noexcept { return left; }

  uint8_t Peek() const noexcept { return left > 0 ? *next : 0; }
  uint8_t Byte() noexcept {
    if (left == 0) return 0;
    --left;
    return *next++;
  }

  /// Any value of a trivial type.
  template <class Value>
  Value Take() noexcept {
    Value value{};
    size_t const size = std::min(left, sizeof value);
    memcpy(&value, next, size);
    next += size;
    left -= size;
    return value;
  }

  /// 0 to bound - 1, for a bound up to 256.
  unsigned Below(unsigned bound) noexcept { return Byte() % bound; }
  bool Flag() noexcept { return Byte() & 1; }
  bool OneIn(unsigned times) noexcept { return Below(times) == times - 1; }
  template <class Table>
  auto& Pick(Table& table) noexcept {
    return table[Below(static_cast<unsigned>(std::size(table)))];
  }

  /// One of a table's steps. Append new steps to the table, so that the stored inputs (regressions/) keep
  /// their meaning.
  template <class Table>
  auto& Step(Table& steps) noexcept {
    constexpr unsigned MOST_STEPS = 64;
    return steps[Below(MOST_STEPS) % std::size(steps)];
  }

  int Small() noexcept { return Take<int8_t>(); }
  /// Small most of the time, otherwise at the limits of the range.
  int Any() noexcept;
  /// A number of the order of a pixel with a fraction, occasionally one that breaks arithmetic.
  double Real() noexcept;
  float Single() noexcept;

  /// Up to `most` non-zero characters and a terminator, in a block of exactly that size.
  std::vector<wchar_t> Wide(size_t most);
  std::vector<char> Narrow(size_t most);
  /// The next `most` bytes as a separate input.
  Input Part(size_t most) noexcept;
  /// All remaining bytes, in a block of exactly that size.
  std::vector<uint8_t> Rest();

 private:
  uint8_t const* next;
  size_t left;
};

inline int Input::Any() noexcept {
  switch (Below(8)) {
    case 0:
      return INT_MIN;
    case 1:
      return INT_MAX;
    case 2:
      return Take<int>();
    case 3:
      return Take<int16_t>();
    default:
      return Small();
  }
}

inline double Input::Real() noexcept {
  static constexpr double ODD[] = {NAN, INFINITY, -INFINITY, 1e300, 1e-320, -0.0};
  unsigned const choice = Below(16);
  if (choice < std::size(ODD)) return ODD[choice];
  if (choice == 6) return Take<double>();
  if (choice == 7) return Take<int>();
  int const whole = Small();
  return whole + Byte() / 256.0;
}

inline float Input::Single() noexcept {
  static constexpr float ODD[] = {NAN, INFINITY, -INFINITY, 3e38f, 1e-42f, -0.0f};
  unsigned const choice = Below(16);
  if (choice < std::size(ODD)) return ODD[choice];
  if (choice == 6) return Take<float>();
  if (choice == 7) return static_cast<float>(Take<int>());
  int const whole = Small();
  return static_cast<float>(whole) + Byte() / 256.0f;
}

// A byte of 255 introduces an arbitrary 16-bit character; any other byte is the character itself.
inline std::vector<wchar_t> Input::Wide(size_t most) {
  std::vector<wchar_t> text;
  for (size_t count = std::min<size_t>(Byte(), most); count > 0 && left > 0; --count) {
    uint8_t const byte = Byte();
    wchar_t const c = byte == 255 ? static_cast<wchar_t>(Take<uint16_t>()) : byte;
    text.push_back(c ? c : L'x');
  }
  text.push_back(0);
  text.shrink_to_fit();
  return text;
}

inline std::vector<char> Input::Narrow(size_t most) {
  size_t const count = std::min({size_t{Byte()}, most, left});
  std::vector<char> text(count + 1);
  memcpy(text.data(), next, count);
  std::replace(text.begin(), text.end() - 1, '\0', 'x');
  next += count;
  left -= count;
  return text;
}

inline Input Input::Part(size_t most) noexcept {
  size_t const size = std::min(most, left);
  Input const part(next, size);
  next += size;
  left -= size;
  return part;
}

inline std::vector<uint8_t> Input::Rest() {
  std::vector<uint8_t> rest(next, next + left);
  left = 0;
  return rest;
}

}  // namespace fuzz
