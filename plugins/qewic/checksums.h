// The sums by which files protect their bytes.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace qewic {

/// The cyclic redundancy check of PNG files. `before` is that of the bytes before these.
uint32_t Crc(uint8_t const* bytes, size_t size, uint32_t before = 0) noexcept;

/// The sum at the end of a zlib stream.
uint32_t Adler(uint8_t const* bytes, size_t size) noexcept;

}  // namespace qewic
