// The decoder is that of stb_image, which does not compare the checksum.
#include "inflate.h"

#include <limits.h>

#include <algorithm>

#include "checksums.h"

#if !defined(__clang_analyzer__)  // it does not see that the caller owns the output, and tells of a leak
#define STB_IMAGE_IMPLEMENTATION
#endif
#define STB_IMAGE_STATIC
#define STBI_ONLY_PNG
#define STBI_NO_STDIO
#define STBI_NO_FAILURE_STRINGS
#define STBI_NO_THREAD_LOCALS
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"  // it can decode pictures as well
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wcast-qual"
#endif
#include <stb_image.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

namespace qewic {

namespace {

// Writers may pad the stream; the sum is in its last bytes.
bool EndsWith(uint8_t const* data, size_t size, uint32_t sum) noexcept {
  constexpr size_t MOST_PADDING = 4;
  uint8_t const bytes[] = {static_cast<uint8_t>(sum >> 24), static_cast<uint8_t>(sum >> 16),
                           static_cast<uint8_t>(sum >> 8), static_cast<uint8_t>(sum)};
  uint8_t const* const from = data + size - std::min(size, sizeof bytes + MOST_PADDING);
  return std::search(from, data + size, bytes, bytes + sizeof bytes) != data + size;
}

}  // namespace

size_t InflateUpTo(uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept {
  if (size > INT_MAX || room > INT_MAX) return 0;
  int const done = stbi_zlib_decode_buffer(reinterpret_cast<char*>(out), static_cast<int>(room),
                                           reinterpret_cast<char const*>(data), static_cast<int>(size));
  size_t const count = done > 0 ? static_cast<size_t>(done) : 0;
  return count && EndsWith(data, size, Adler(out, count)) ? count : 0;
}

bool Inflate(uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept {
  return InflateUpTo(data, size, out, room) == room;
}

}  // namespace qewic
