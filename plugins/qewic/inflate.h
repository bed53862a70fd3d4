// The compression of TIFF files that is called Deflate: a zlib stream.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace qewic {

/// Decodes a whole stream into exactly `room` bytes. False: it is damaged, truncated or has another length.
bool Inflate(uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept;

/// Decodes a whole stream of at most `room` bytes. \return their number; 0 when there are more, or it is
/// damaged.
size_t InflateUpTo(uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept;

}  // namespace qewic
