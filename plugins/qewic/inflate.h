// The compression of TIFF files that is called Deflate: a zlib stream.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace qewic {

/// Decodes a whole stream into exactly `room` bytes. False: it is damaged, truncated or has another length.
bool Inflate(uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept;

}  // namespace qewic
