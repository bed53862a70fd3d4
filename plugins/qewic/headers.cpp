#include "headers.h"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "deflate.h"

namespace qewic {

using namespace yk;

namespace {

/// A kind of colour in PNG files.
struct PngKind {
  unsigned channels;
  bool hasPalette = false;
};

constexpr PngKind PNG_KINDS[] = {{1}, {}, {3}, {1, true}, {2}, {}, {4}};

// A transparent colour precedes the pixels and makes decoders add alpha.
bool HasTransparentColour(StreamAdapter& file) noexcept {
  uint8_t head[8];
  for (uint64_t at = 8; file.ReadAt(at, head, 8) && memcmp(head + 4, "IDAT", 4) != 0;) {
    if (memcmp(head + 4, "tRNS", 4) == 0) return true;
    at += uint64_t{Big(head, 4)} + 12;
  }
  return false;
}

/// What the picture is read as, if all decoders agree.
IMG_FORMAT FormatOf(StreamAdapter& file, PngKind const& kind, unsigned bits) noexcept {
  if (kind.hasPalette) return IndexFormat(bits);
  if (HasTransparentColour(file)) return IMG_NONE;
  if (kind.channels == 1 && bits < 8) return IndexFormat(bits);
  return bits < 8 ? IMG_NONE : FormatOfChannels(img::ChannelKind::UNSIGNED, kind.channels, bits);
}

/// S_FALSE: there is no header.
HRESULT ReadPngHeader(StreamAdapter& file, Header& header) noexcept {
  uint8_t head[26];
  if (!HasSignature(file, ids::FILE_PNG) || !file.ReadAt(0, head, sizeof head)) return S_FALSE;
  unsigned const bits = head[24];
  PngKind const kind = head[25] < std::size(PNG_KINDS) ? PNG_KINDS[head[25]] : PngKind{};
  header.claim = {Big(head + 16, 4), Big(head + 20, 4), kind.channels * bits};
  if (header.claim.bits == 0) return FailDamaged(L"the header is invalid");
  header.format = FormatOf(file, kind, bits);
  return S_OK;
}

bool ReadJpegHeader(StreamAdapter& file, Header& header) noexcept {
  constexpr uint8_t RESTART = 0xD0, END = 0xD9, FRAME = 0xC0, SCAN = 0xDA;
  uint64_t at = 2;
  uint8_t head[10] = {};
  if (!HasSignature(file, ids::FILE_JPEG)) return false;
  while (file.ReadAt(at, head, 4) && head[0] == 0xFF && head[1] != SCAN) {
    uint8_t const kind = head[1];
    bool const isFrame = (kind & 0xF0) == FRAME && kind != 0xC4 && kind != 0xC8 && kind != 0xCC;
    if (isFrame && file.ReadAt(at, head, sizeof head)) {
      unsigned const channels = head[9];
      header.claim = {Big(head + 7, 2), Big(head + 5, 2), 8 * channels};
      if (channels != 4)  // of ink, which each decoder converts in its own way
        header.format = FormatOfChannels(img::ChannelKind::UNSIGNED, channels, 8);
      return true;
    }
    bool const isBare = kind == 0xFF || kind == 1 || (kind >= RESTART && kind <= END);
    at += isBare ? (kind == 0xFF ? 1 : 2) : 2 + Big(head + 2, 2);
  }
  return false;
}

/// The checksum of bytes of the file. False: they are not all there.
bool SumAt(StreamAdapter& file, uint64_t at, uint64_t size, uint32_t& sum) noexcept {
  uint8_t bytes[4096];
  sum = 0;
  for (size_t now = 0; size > 0; size -= now, at += now) {
    now = static_cast<size_t>(std::min<uint64_t>(size, sizeof bytes));
    if (!file.ReadAt(at, bytes, now)) return false;
    sum = Crc(bytes, now, sum);
  }
  return true;
}

struct PngChunk {
  uint8_t head[8] = {};
  uint32_t Size() const noexcept { return Big(head, 4); }
  bool Is(char const* kind) const noexcept { return memcmp(head + 4, kind, 4) == 0; }
  bool MakesPixels() const noexcept { return !(head[4] & 0x20) || Is("tRNS"); }
};

}  // namespace

HRESULT DescribePng(StreamAdapter& file, Header& header) noexcept { return ReadPngHeader(file, header); }

HRESULT DescribeJpeg(StreamAdapter& file, Header& header) noexcept {
  return ReadJpegHeader(file, header) ? S_OK : S_FALSE;
}

// Decoders allocate what a header claims, some several times as much, or crash: it is checked before they see
// it. A header that cannot be read is left to the decoder. Decoders also drop a damaged transparency, or show
// a damaged palette.
HRESULT CheckPng(StreamAdapter& file, unsigned, Ref<Image2d>&) noexcept {
  Header header;
  HRESULT const read = ReadPngHeader(file, header);
  if (read != S_OK) return read;
  HRESULT const checked = CheckClaim(file, header.claim);
  uint64_t at = 8;  // of the first chunk
  for (PngChunk chunk; Succeeded(checked) && file.ReadAt(at, chunk.head, 8) && !chunk.Is("IEND");) {
    uint8_t sum[4];
    if (chunk.MakesPixels()) {
      uint32_t counted = 0;
      if (!SumAt(file, at + 4, uint64_t{chunk.Size()} + 4, counted) ||
          !file.ReadAt(at + 8 + chunk.Size(), sum, 4))
        return FailTruncated();
      if (counted != Big(sum, 4)) return FailDamaged(L"a checksum does not match");
    }
    at += uint64_t{chunk.Size()} + 12;
  }
  return Failed(checked) ? checked : S_FALSE;
}

HRESULT CheckJpeg(StreamAdapter& file, unsigned, Ref<Image2d>&) noexcept {
  Header header;
  HRESULT const checked = ReadJpegHeader(file, header) ? CheckClaim(file, header.claim) : S_OK;
  return Failed(checked) ? checked : S_FALSE;
}

}  // namespace qewic
