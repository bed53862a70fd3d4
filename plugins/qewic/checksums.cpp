#include "checksums.h"

#include <array>

namespace qewic {

uint32_t Crc(uint8_t const* bytes, size_t size, uint32_t before) noexcept {
  static constexpr auto TABLE = [] {
    std::array<uint32_t, 256> table = {};
    for (uint32_t i = 0; i < table.size(); ++i) {
      table[i] = i;
      for (int bit = 0; bit < 8; ++bit) table[i] = table[i] >> 1 ^ (table[i] & 1 ? 0xEDB88320u : 0);
    }
    return table;
  }();
  uint32_t sum = ~before;
  for (size_t i = 0; i < size; ++i) sum = TABLE[(sum ^ bytes[i]) & 255] ^ sum >> 8;
  return ~sum;
}

uint32_t Adler(uint8_t const* bytes, size_t size) noexcept {
  constexpr uint32_t PRIME = 65521;
  uint32_t low = 1, high = 0;
  for (size_t i = 0; i < size; ++i) {
    low += bytes[i];
    if (low >= PRIME) low -= PRIME;
    high += low;
    if (high >= PRIME) high -= PRIME;
  }
  return high << 16 | low;
}

}  // namespace qewic
