// The compression of GIF files and of many TIFF files: codes for strings, each a known one and one more byte.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace qewic {

/// Where the variants differ.
struct LzwKind {
  unsigned rootBits;  ///< of the values that are compressed
  bool highestFirst;  ///< the order of bits in a byte
  bool early;         ///< codes become longer one code before they must
};

/// Decodes up to `room` bytes. \return their number; fewer when the data end, or cannot be.
size_t DecodeLzw(LzwKind kind, uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept;

}  // namespace qewic
