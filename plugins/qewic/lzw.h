// The LZW compression of GIF files and of many TIFF files. Each code is the number of a string of bytes; each
// new string is an earlier one and one more byte.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace qewic {

/// How the variants differ.
struct LzwKind {
  unsigned rootBits;  ///< bits of the values that are compressed, 1 to 8
  bool highestFirst;  ///< a code begins at the highest free bit of a byte, not at the lowest
  bool early;         ///< codes become one bit longer a code before they must
};

/// Decodes up to `room` bytes. \return their number: fewer where the data end or are damaged.
size_t DecodeLzw(LzwKind kind, uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept;

}  // namespace qewic
