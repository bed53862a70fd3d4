#include "headers.h"

#include <string.h>

#include <iterator>

namespace qewic {

using namespace yk;

namespace {

/// A kind of colour in PNG files.
struct PngKind {
  unsigned channels;
  IMG_FORMAT bytes, words;  // what channels of 8 and of 16 bits are read as
};

constexpr PngKind PNG_KINDS[] = {
    {1, IMG_GRAY8, IMG_GRAY16}, {}, {3, IMG_BGR24, IMG_BGR48},   {1, IMG_NONE, IMG_NONE},  // a palette
    {2, IMG_NONE, IMG_NONE},    {}, {4, IMG_BGRA32, IMG_BGRA64},
};

// A transparent colour precedes the pixels and makes decoders add alpha.
bool HasTransparentColour(StreamAdapter& file) noexcept {
  uint8_t head[8];
  for (uint64_t at = 8; file.ReadAt(at, head, 8) && memcmp(head + 4, "IDAT", 4) != 0;) {
    if (memcmp(head + 4, "tRNS", 4) == 0) return true;
    at += uint64_t{Big(head, 4)} + 12;
  }
  return false;
}

}  // namespace

bool ReadPngHeader(StreamAdapter& file, Header& header) noexcept {
  uint8_t head[26];
  if (!file.ReadAt(0, head, sizeof head) || memcmp(head, "\x89PNG", 4) != 0) return false;
  unsigned const bits = head[24];
  PngKind const kind = head[25] < std::size(PNG_KINDS) ? PNG_KINDS[head[25]] : PngKind{};
  header.claim = {Big(head + 16, 4), Big(head + 20, 4), kind.channels * bits};
  IMG_FORMAT const format = bits == 8 ? kind.bytes : bits == 16 ? kind.words : IMG_NONE;
  header.format = format != IMG_NONE && !HasTransparentColour(file) ? format : IMG_NONE;
  return true;
}

bool ReadJpegHeader(StreamAdapter& file, Header& header) noexcept {
  constexpr uint8_t RESTART = 0xD0, END = 0xD9, FRAME = 0xC0, SCAN = 0xDA;
  uint64_t at = 2;
  uint8_t head[10] = {};
  if (!file.ReadAt(0, head, 2) || head[0] != 0xFF || head[1] != 0xD8) return false;
  while (file.ReadAt(at, head, 4) && head[0] == 0xFF && head[1] != SCAN) {
    uint8_t const kind = head[1];
    bool const isFrame = (kind & 0xF0) == FRAME && kind != 0xC4 && kind != 0xC8 && kind != 0xCC;
    if (isFrame && file.ReadAt(at, head, sizeof head)) {
      unsigned const channels = head[9];
      header.claim = {Big(head + 7, 2), Big(head + 5, 2), 8 * channels};
      header.format = channels == 1 ? IMG_GRAY8 : channels == 3 ? IMG_BGR24 : IMG_NONE;
      return true;
    }
    bool const isBare = kind == 0xFF || kind == 1 || (kind >= RESTART && kind <= END);
    at += isBare ? (kind == 0xFF ? 1 : 2) : 2 + Big(head + 2, 2);
  }
  return false;
}

}  // namespace qewic
