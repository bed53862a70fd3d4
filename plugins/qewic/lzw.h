// The LZW compression of GIF files and of many TIFF files. Each code is the number of a string of bytes; each
// new string is an earlier one and one more byte.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "deflate.h"

namespace qewic {

/// How the variants differ.
struct LzwKind {
  unsigned rootBits;  ///< bits of the values that are compressed, 1 to 8
  bool highestFirst;  ///< a code begins at the highest free bit of a byte, not at the lowest
  bool early;         ///< codes become one bit longer a code before they must
};

/// Decodes up to `room` bytes. \return their number: fewer where the data end or are damaged.
size_t DecodeLzw(LzwKind kind, uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept;

/// Encodes as TIFF files have it: values of 8 bits, the highest bit first, early. Finish ends a stream; the
/// next byte begins another.
class LzwEncoder {
 public:
  LzwEncoder(TakeBytes function, void* to) noexcept : take(function), target(to) {}

  void Add(uint8_t const* data, size_t size) noexcept;
  void Finish() noexcept;

 private:
  static constexpr uint32_t NONE = 0xFFFFFFFF;
  static constexpr unsigned PLACE_BITS = 13;  // twice as many places as codes

  void Forget() noexcept;
  uint32_t& Place(uint32_t longer) noexcept;
  void EndString() noexcept;
  void PutCode(uint32_t code) noexcept;
  void PutByte(uint32_t byte) noexcept;
  void PassOn() noexcept;

  TakeBytes const take;
  void* const target;
  uint32_t string = NONE;  // the code of the bytes that no code has been put for
  uint32_t next = 0, bits = 0;
  uint32_t window = 0;
  unsigned held = 0;                      // bits in the window
  uint32_t places[1 << PLACE_BITS] = {};  // by hash: a known string's code, a byte, and the code of both
  unsigned used = 0;
  uint8_t block[4096] = {};
};

}  // namespace qewic
