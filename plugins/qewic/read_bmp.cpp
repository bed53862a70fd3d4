// BMP files: every header from OS/2's to Windows' fifth, all depths, channels by mask, run lengths.
//
// A decoder of this plug-in's own, since those of platforms differ in what they read, and some leave pixels
// unset or crash.
#include <stdlib.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <memory>
#include <new>
#include <span>

#include "headers.h"
#include "pixel_layouts.h"
#include "reading.h"

namespace qewic {

using namespace yk;

namespace {

constexpr unsigned FILE_HEADER = 14, OS2_HEADER = 12, WINDOWS_HEADER = 40, OS2_LONG_HEADER = 64;

enum Compression : unsigned { PLAIN = 0, RLE8 = 1, RLE4 = 2, MASKS = 3, JPEG = 4, PNG = 5, MASKS_ALPHA = 6 };

// In the order of the file.
enum Channel { RED, GREEN, BLUE, ALPHA, CHANNELS };

struct BmpHeader {
  uint32_t size = 0, pixels = 0;  // its own size; where the pixels begin
  uint32_t width = 0, height = 0;
  unsigned bits = 0, compression = 0, used = 0;
  uint32_t palette = 0;  // where it begins
  uint32_t masks[CHANNELS] = {};
  bool topDown = false;
};

struct Masks {
  unsigned bits;
  uint32_t masks[CHANNELS];
  IMG_FORMAT format;
};

// Pixels that the library has a format for. Others become 8 bits per channel.
constexpr Masks AS_THEY_ARE[] = {
    {16, {0x7C00, 0x3E0, 0x1F, 0}, IMG_RGB555},
    {32, {0xFF0000, 0xFF00, 0xFF, 0xFF000000}, IMG_BGRA32},
};

bool UsesMasks(BmpHeader const& header) noexcept { return header.bits == 16 || header.bits == 32; }

void SetMasks(StreamAdapter& file, uint8_t const* bytes, BmpHeader& header) noexcept {
  static constexpr uint32_t PLAIN_MASKS[][3] = {{0x7C00, 0x3E0, 0x1F}, {0xFF0000, 0xFF00, 0xFF}};
  if (header.compression == PLAIN) {
    std::copy_n(PLAIN_MASKS[header.bits == 32], 3, header.masks);
    return;
  }
  // Beyond the short header they are part of it; after the short one they follow it.
  unsigned const inHeader = header.size >= 56 || header.compression == MASKS_ALPHA ? 4 : 3;
  uint8_t after[16] = {};
  if (header.size == WINDOWS_HEADER) {
    file.ReadAt(FILE_HEADER + header.size, after, inHeader * 4);
    header.palette += inHeader * 4;
  }
  uint8_t const* const at = header.size == WINDOWS_HEADER ? after : bytes + FILE_HEADER + WINDOWS_HEADER;
  for (unsigned i = 0; i < inHeader; ++i) header.masks[i] = Little(at + 4 * i, 4);
}

HRESULT ReadHeader(StreamAdapter& file, BmpHeader& header) noexcept {
  uint8_t bytes[FILE_HEADER + 124] = {};
  if (!HasSignature(file, ids::FILE_BMP) || !file.ReadAt(0, bytes, FILE_HEADER + 4))
    return FailDamaged(L"the header is invalid");
  header.pixels = Little(bytes + 10, 4);
  header.size = Little(bytes + FILE_HEADER, 4);
  bool const isShort = header.size == OS2_HEADER;
  if (!isShort && header.size < 16) return FailDamaged(L"the header is invalid");
  uint8_t* const info = bytes + FILE_HEADER;
  if (!file.ReadAt(FILE_HEADER, info, std::min<size_t>(header.size, 124))) return FailTruncated();
  unsigned const side = isShort ? 2 : 4;
  int64_t const height = isShort ? int64_t{Little(info + 6, 2)} : static_cast<int32_t>(Little(info + 8, 4));
  header.width = Little(info + 4, side);
  header.height = static_cast<uint32_t>(std::abs(height));
  header.topDown = height < 0;
  header.bits = Little(info + (isShort ? 10 : 14), 2);
  header.compression = isShort ? 0 : Little(info + 16, 4);
  header.used = isShort || header.size < WINDOWS_HEADER ? 0 : Little(info + 32, 4);
  header.palette = FILE_HEADER + header.size;
  if (UsesMasks(header)) SetMasks(file, bytes, header);
  return S_OK;
}

HRESULT CheckKind(BmpHeader const& header) noexcept {
  unsigned const bits = header.bits, how = header.compression;
  if (how == JPEG || how == PNG) return FailUnsupported(L"it holds a JPEG or PNG file");
  if (header.size == OS2_LONG_HEADER && how == MASKS) return FailUnsupported(L"its compression is OS/2's");
  bool const isPlain = how == PLAIN && (bits <= 2 || bits == 4 || bits == 8 || bits == 24);
  bool const isRuns = (how == RLE8 && bits == 8) || (how == RLE4 && bits == 4);
  bool const isMasks = UsesMasks(header) && (how == PLAIN || how == MASKS || how == MASKS_ALPHA);
  if (bits == 0 || !(isPlain || isRuns || isMasks)) return FailDamaged(L"the header is invalid");
  if (isRuns && header.topDown) return FailDamaged(L"a picture of run lengths cannot begin at the top");
  if (isMasks && !(header.masks[RED] | header.masks[GREEN] | header.masks[BLUE]))
    return FailDamaged(L"its colour masks are empty");
  return S_OK;
}

Masks const* FindMasks(BmpHeader const& header) noexcept {
  auto const* const found =
      std::find_if(std::begin(AS_THEY_ARE), std::end(AS_THEY_ARE), [&](Masks const& row) {
        return row.bits == header.bits && std::equal(row.masks, row.masks + CHANNELS, header.masks);
      });
  return found == std::end(AS_THEY_ARE) ? nullptr : found;
}

IMG_FORMAT FormatOf(BmpHeader const& header) noexcept {
  if (header.bits <= 8) return IndexFormat(header.bits);
  Masks const* const known = UsesMasks(header) ? FindMasks(header) : nullptr;
  return known ? known->format : FormatOfChannels(img::ChannelKind::UNSIGNED, header.masks[ALPHA] ? 4 : 3, 8);
}

void FillPalette(StreamAdapter& file, BmpHeader const& header, Image2d& image) noexcept {
  unsigned const size = header.size == OS2_HEADER ? 3 : 4;
  unsigned const most = std::min<unsigned>(1u << header.bits, image.paletteCount);
  unsigned count = header.used ? std::min(header.used, most) : most;
  if (header.pixels > header.palette) count = std::min(count, (header.pixels - header.palette) / size);
  for (unsigned i = 0; i < count; ++i) {
    uint8_t entry[4] = {};
    if (!file.ReadAt(header.palette + uint64_t{i} * size, entry, 3)) return;
    image.palette[i] = {entry[2], entry[1], entry[0], 255};
  }
}

/// Takes a channel out of pixels and makes it 8 bits wide.
class ByMask {
 public:
  explicit ByMask(uint32_t channel) noexcept
      : mask(channel), shift(channel ? std::countr_zero(channel) : 0), most(channel >> shift) {}

  uint8_t operator()(uint32_t pixel) const noexcept {
    uint64_t const value = (pixel & mask) >> shift;
    return static_cast<uint8_t>(most ? (value * 255 + most / 2) / most : 0);
  }

 private:
  uint32_t mask;
  int shift;
  uint64_t most;
};

uint64_t RowBits(BmpHeader const& header) noexcept { return uint64_t{header.width} * header.bits; }

void SpreadRow(BmpHeader const& header, uint8_t const* from, uint8_t* to, Image2d const& image) noexcept {
  ByMask const blue(header.masks[BLUE]), green(header.masks[GREEN]), red(header.masks[RED]);
  ByMask const alpha(header.masks[ALPHA]);
  unsigned const size = header.bits / 8;
  bool const hasAlpha = img::HasAlpha(image.format);
  for (uint32_t x = 0; x < header.width; ++x, from += size, to += image.bytesPerPixel) {
    uint32_t const pixel = Little(from, size);
    to[0] = blue(pixel), to[1] = green(pixel), to[2] = red(pixel);
    if (hasAlpha) to[3] = alpha(pixel);
  }
}

/// How the bytes of a row become pixels.
using PutFunction = void (*)(BmpHeader const& header, uint8_t const* from, uint8_t* to, Image2d const& image);

void CopyRow(BmpHeader const& header, uint8_t const* from, uint8_t* to, Image2d const&) noexcept {
  std::copy_n(from, BytesOf(RowBits(header)), to);
}

void WidenRow(BmpHeader const& header, uint8_t const* from, uint8_t* to, Image2d const& image) noexcept {
  WidenIndices(from, header.bits, to, image.bitsPerPixel, image.width);
}

PutFunction PutFor(BmpHeader const& header) noexcept {
  if (UsesMasks(header)) return FindMasks(header) ? CopyRow : SpreadRow;
  return header.bits == img::GetFacts(FormatOf(header)).bits ? CopyRow : WidenRow;
}

HRESULT ReadRows(StreamAdapter& file, BmpHeader const& header, Image2d& image) noexcept {
  size_t const used = BytesOf(RowBits(header));
  size_t const size = static_cast<size_t>(img::PaddedBytes(static_cast<int64_t>(RowBits(header))));
  PutFunction const put = PutFor(header);
  std::unique_ptr<uint8_t[]> const row(new (std::nothrow) uint8_t[size]);
  if (!row) return E_OUTOFMEMORY;
  uint64_t at = header.pixels;
  for (uint32_t i = 0; i < header.height; ++i, at += size) {
    int const y = static_cast<int>(header.topDown ? i : header.height - 1 - i);
    if (!file.ReadAt(at, row.get(), used)) return FailTruncated();
    put(header, row.get(), image.GetLine(y), image);
  }
  return S_OK;
}

/// Run lengths. Pixels that no run reaches keep the index 0.
class Runs {
 public:
  Runs(std::span<uint8_t const> bytes, Image2d& target) noexcept : data(bytes), image(target) {}

  HRESULT Decode() noexcept {
    while (y < image.height) {
      if (data.size() < 2) return IsComplete() ? S_OK : FailTruncated();
      uint8_t const count = data[0], value = data[1];
      data = data.subspan(2);
      bool const isFit = count ? Run(count, value) : value > 2 ? Literal(value) : Escape(value);
      if (!isFit) return FailDamaged(L"its run lengths exceed the picture");
    }
    return S_OK;
  }

 private:
  bool IsComplete() const noexcept { return y == image.height - 1 && x == image.width; }

  bool Put(unsigned index) noexcept {
    if (x >= image.width) return false;
    uint8_t* const row = image.GetLine(image.height - 1 - y);
    if (image.bitsPerPixel == 8) {
      row[x] = static_cast<uint8_t>(index);
    } else {
      row[x / 2] = static_cast<uint8_t>(row[x / 2] | index << (x % 2 ? 0 : 4));
    }
    ++x;
    return true;
  }

  // The index of pixel `i` of a run or literal that consists of these bytes.
  unsigned Index(uint8_t byte, unsigned i) const noexcept {
    if (image.bitsPerPixel == 8) return byte;
    return i % 2 ? byte & 15u : byte >> 4;
  }

  bool Run(unsigned count, uint8_t value) noexcept {
    for (unsigned i = 0; i < count; ++i)
      if (!Put(Index(value, i))) return false;
    return true;
  }

  bool Literal(unsigned count) noexcept {
    unsigned const perByte = 8 / image.bitsPerPixel, used = (count + perByte - 1) / perByte;
    if (data.size() < used) return false;
    for (unsigned i = 0; i < count; ++i)
      if (!Put(Index(data[i / perByte], i))) return false;
    data = data.subspan(std::min<size_t>(data.size(), (used + 1) / 2 * 2));
    return true;
  }

  bool Escape(unsigned what) noexcept {
    if (what == 0) x = 0, ++y;
    if (what == 1) y = image.height;
    if (what < 2) return true;
    if (data.size() < 2) return false;
    x += data[0];
    y += data[1];
    data = data.subspan(2);
    return x <= image.width && y < image.height;
  }

  std::span<uint8_t const> data;
  Image2d& image;
  int x = 0, y = 0;  // from the bottom up
};

HRESULT ReadRuns(StreamAdapter& file, BmpHeader const& header, Image2d& image) noexcept {
  if (header.pixels >= file.Extent()) return FailTruncated();
  // No writer needs more bytes for a pixel; what follows may be another part of a large stream.
  uint64_t const most = 8 * (uint64_t{header.width} + 2) * header.height;
  size_t const size = static_cast<size_t>(std::min(file.Extent() - header.pixels, most));
  std::unique_ptr<uint8_t[]> const data(new (std::nothrow) uint8_t[size]);
  if (!data) return E_OUTOFMEMORY;
  if (!file.ReadAt(header.pixels, data.get(), size)) return FailTruncated();
  return Runs({data.get(), size}, image).Decode();
}

}  // namespace

HRESULT DescribeBmp(StreamAdapter& file, Header& header) noexcept {
  BmpHeader bmp;
  HRESULT result = ReadHeader(file, bmp);
  if (Succeeded(result)) result = CheckKind(bmp);
  if (Succeeded(result)) header = {{bmp.width, bmp.height, bmp.bits}, FormatOf(bmp)};
  return result;
}

HRESULT ReadBmp(StreamAdapter& file, unsigned, Ref<Image2d>& image) noexcept {
  BmpHeader header;
  HRESULT result = ReadHeader(file, header);
  if (Succeeded(result)) result = CheckKind(header);
  if (Succeeded(result)) result = MakePicture(file, FormatOf(header), header.width, header.height, image);
  if (Failed(result)) return result;
  if (image->palette) FillPalette(file, header, *image);
  bool const isRuns = header.compression == RLE8 || header.compression == RLE4;
  return isRuns ? ReadRuns(file, header, *image) : ReadRows(file, header, *image);
}

}  // namespace qewic
