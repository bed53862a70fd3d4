// TIFF files: grey, colours, palettes, YCbCr and CMYK of 1 to 16 bits and floats, in strips or tiles, with
// channels together or apart, in either byte order.
//
//   strip or tile --decompress--> bytes --unpack, undo the prediction--> samples --put--> image --finish-->
//
// A decoder of this plug-in's own, since those of platforms know only some of these, and swap the bytes of
// others. Fax and JPEG compression are left to the platform.
#include "read_tiff_p.h"

#include <limits.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "codec.h"
#include "deflate.h"
#include "failure.h"
#include "headers.h"
#include "lzw.h"

namespace qewic {

using namespace yk;

namespace {

using enum TiffCompression;

// Bytes for which a compression may need more than twice those of the pixels.
constexpr uint64_t MOST_OVERHEAD = 1024;

enum : uint32_t { UNSIGNED = 1, FLOAT = 3, UNDEFINED = 4 };  // sample formats

struct ColourKind {
  uint32_t photometric;
  TiffColours colours;
  unsigned channels;  // without alpha and other extra ones
};

constexpr ColourKind KINDS[] = {
    {0, TiffColours::WHITE_IS_ZERO, 1}, {1, TiffColours::GREY, 1}, {2, TiffColours::RGB, 3},
    {3, TiffColours::PALETTE, 1},       {5, TiffColours::CMYK, 4}, {6, TiffColours::YCBCR, 3},
};

HRESULT UnpackBits(uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept {
  size_t done = 0;
  for (size_t i = 0; done < room && i < size;) {
    unsigned const head = data[i++];
    if (head == 128) continue;
    bool const isRun = head > 128;
    size_t const count = isRun ? 257 - head : head + 1, fits = std::min(count, room - done);
    size_t const used = isRun ? 1 : count;
    if (used > size - i && (isRun || fits > size - i)) return YK_E_BADFILE;
    if (isRun) {
      std::fill_n(out + done, fits, data[i]);
    } else {
      std::copy_n(data + i, fits, out + done);
    }
    i += std::min(used, size - i);
    done += fits;
  }
  return done == room ? S_OK : YK_E_BADFILE;
}

HRESULT DecompressLzw(uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept {
  size_t const done = DecodeLzw({.rootBits = 8, .highestFirst = true, .early = true}, data, size, out, room);
  return done == room ? S_OK : YK_E_BADFILE;
}

struct Decompressor {
  TiffCompression compression;
  HRESULT (*decode)(uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept;
};

constexpr Decompressor DECOMPRESSORS[] = {
    {LZW, DecompressLzw}, {DEFLATE, Inflate}, {OLD_DEFLATE, Inflate}, {PACK_BITS, UnpackBits}};

Decompressor const* FindDecompressor(TiffCompression compression) noexcept {
  auto const* const found =
      std::find_if(std::begin(DECOMPRESSORS), std::end(DECOMPRESSORS),
                   [=](Decompressor const& row) { return row.compression == compression; });
  return found == std::end(DECOMPRESSORS) ? nullptr : found;
}

void ReverseBits(uint8_t* bytes, size_t size) noexcept {
  for (size_t i = 0; i < size; ++i) {
    unsigned b = bytes[i];
    b = (b & 0xF0) >> 4 | (b & 0x0F) << 4;
    b = (b & 0xCC) >> 2 | (b & 0x33) << 2;
    bytes[i] = static_cast<uint8_t>((b & 0xAA) >> 1 | (b & 0x55) << 1);
  }
}

class Reader {
 public:
  /// `at` is the offset of the page's directory; 0: it is looked for.
  explicit Reader(StreamAdapter& from, unsigned frame = 0, uint32_t at = 0) noexcept
      : file(from), page(frame), place(at) {}
  HRESULT Describe(Header& header) noexcept;
  HRESULT Read(Ref<Image2d>& image) noexcept;
  uint32_t Following() const noexcept { return directory.Following(); }

 private:
  HRESULT OpenDirectory() noexcept;
  HRESULT ReadKind() noexcept;
  HRESULT ReadLayout() noexcept;
  HRESULT CheckSamples() noexcept;
  HRESULT ReadColours() noexcept;
  HRESULT ReadAlpha() noexcept;
  HRESULT ReadBlocks() noexcept;
  HRESULT CheckCompression() noexcept;
  HRESULT FillPalette(Image2d& image) noexcept;
  HRESULT DecodeBlocks(Image2d& image) noexcept;
  HRESULT DecodeBlock(uint32_t index, size_t size) noexcept;
  HRESULT ReadPacked(uint64_t offset, size_t size) noexcept;
  HRESULT PutBlock(Image2d& image, uint32_t index, TiffSamples& samples) noexcept;
  uint32_t RowsOf(uint32_t top) const noexcept;
  uint64_t SizeOfRows(uint32_t rows) const noexcept;

  StreamAdapter& file;
  unsigned const page;
  uint32_t const place;
  TiffDirectory directory;
  TiffLayout layout;
  TiffCompression compression = NONE;
  bool reversed = false, tiled = false;
  Tag offsets = Tag::STRIP_OFFSETS, sizes = Tag::STRIP_SIZES;
  std::unique_ptr<uint8_t[]> packed, block;
  size_t packedRoom = 0;
};

HRESULT Reader::ReadColours() noexcept {
  uint32_t const photometric = directory.Number(Tag::PHOTOMETRIC, UINT32_MAX);
  auto const* const kind = std::find_if(std::begin(KINDS), std::end(KINDS), [=](ColourKind const& row) {
    return row.photometric == photometric;
  });
  if (kind == std::end(KINDS)) return FailUnsupported(L"of its colour space");
  if (layout.samples < kind->channels) return FailDamaged(L"it has too few channels");
  layout.colours = kind->colours;
  layout.colourChannels = kind->channels;
  if (layout.colours != TiffColours::YCBCR) return S_OK;
  layout.across = directory.Number(Tag::SUBSAMPLING, 2, 0);
  layout.down = directory.Number(Tag::SUBSAMPLING, 2, 1);
  if (layout.across < 1 || layout.across > 4 || layout.down < 1 || layout.down > 4)
    return FailDamaged(L"the subsampling of its colours is invalid");
  static constexpr double PLAIN[] = {0, 255, 128, 255, 128, 255};
  for (unsigned i = 0; i < 6; ++i)
    if (directory.Fraction(Tag::BLACK_AND_WHITE, PLAIN[i], i) != PLAIN[i])
      return FailUnsupported(L"its colours do not use the full range");
  return S_OK;
}

HRESULT Reader::CheckSamples() noexcept {
  uint32_t const format = directory.Number(Tag::SAMPLE_FORMAT, UNSIGNED);
  layout.isFloat = format == FLOAT;
  if (format != UNSIGNED && format != FLOAT && format != UNDEFINED)
    return FailUnsupported(L"its samples are signed or complex");
  unsigned const bits = layout.bits;
  bool const isPossible = layout.isFloat ? bits == 16 || bits == 32 || bits == 64 : bits >= 1 && bits <= 16;
  if (!isPossible) return FailUnsupported(L"of the number of bits in its samples");
  for (uint32_t i = 1; i < std::min<uint32_t>(layout.samples, directory.Count(Tag::BITS)); ++i)
    if (directory.Number(Tag::BITS, bits, i) != bits ||
        (directory.Number(Tag::SAMPLE_FORMAT, format, i) == FLOAT) != layout.isFloat)
      return FailUnsupported(L"its channels differ in depth or kind");
  bool const isPalette = layout.colours == TiffColours::PALETTE;
  if (isPalette && (bits > 8 || layout.isFloat))
    return FailUnsupported(L"its palette indices have more than 8 bits");
  bool const isRare =
      layout.isFloat && layout.colours != TiffColours::GREY && layout.colours != TiffColours::RGB;
  if (isRare || (layout.colours == TiffColours::YCBCR && bits != 8))
    return FailUnsupported(L"of its kind of samples in this colour space");
  return S_OK;
}

HRESULT Reader::ReadAlpha() noexcept {
  enum : uint32_t { PREMULTIPLIED = 1, STRAIGHT = TIFF_STRAIGHT_ALPHA };
  uint32_t const kind = directory.Number(Tag::EXTRA_SAMPLES, 0);
  bool const canHave = layout.colours == TiffColours::GREY || layout.colours == TiffColours::RGB ||
                       layout.colours == TiffColours::WHITE_IS_ZERO;
  if (layout.samples == layout.colourChannels || !canHave || kind < PREMULTIPLIED || kind > STRAIGHT)
    return S_OK;
  layout.hasAlpha = true;
  layout.isPremultiplied = kind == PREMULTIPLIED;
  return S_OK;
}

HRESULT Reader::ReadBlocks() noexcept {
  tiled = directory.Has(Tag::TILE_WIDTH);
  if (tiled) offsets = Tag::TILE_OFFSETS, sizes = Tag::TILE_SIZES;
  layout.blockWidth = tiled ? directory.Number(Tag::TILE_WIDTH, 0) : layout.width;
  uint32_t const rows =
      directory.Number(tiled ? Tag::TILE_HEIGHT : Tag::ROWS_PER_STRIP, tiled ? 0 : UINT32_MAX);
  layout.blockHeight = tiled ? rows : std::min(rows, layout.height);
  HRESULT const checked =
      CheckClaim(file, {layout.blockWidth, layout.blockHeight, layout.bits * layout.ChannelsOfBlock()});
  if (yk::Failed(checked)) return checked;
  uint64_t const planes = layout.planar ? layout.samples : 1;
  uint64_t const blocks = uint64_t{layout.BlocksAcross()} * layout.BlocksDown();  // of a plane
  if (blocks > directory.Count(offsets) / planes) return FailDamaged(L"some of its pixels are missing");
  // Tiles may reach far beyond the picture.
  double const bytes =
      static_cast<double>(blocks * planes) * static_cast<double>(SizeOfRows(layout.blockHeight));
  return CanBack(file, bytes) ? S_OK : FailDamaged(L"the file is too small for its tiles");
}

HRESULT Reader::CheckCompression() noexcept {
  compression = TiffCompression{directory.Number(Tag::COMPRESSION, static_cast<uint32_t>(NONE))};
  bool const isFax = compression >= FAX_FIRST && compression <= FAX_LAST;
  if (isFax && layout.bits == 1 && layout.samples == 1) return S_FALSE;
  if (compression == JPEG || compression == OLD_JPEG) return FailUnsupported(L"it is compressed as JPEG");
  if (compression == NONE || compression == PACK_BITS) return S_OK;
  if (!FindDecompressor(compression)) return FailUnsupported(L"of its compression");
  layout.predictor = directory.Number(Tag::PREDICTOR, 1);
  bool const isKnown = layout.predictor == 1 || layout.predictor == (layout.isFloat ? 3 : 2);
  return isKnown ? S_OK : FailUnsupported(L"of its predictor");
}

HRESULT Reader::OpenDirectory() noexcept {
  using Opened = TiffDirectory::Opened;
  Opened const opened = place ? directory.OpenAt(file, place) : directory.Open(file, 0, page);
  if (opened == Opened::BIG) return FailUnsupported(L"it is a BigTIFF file");
  if (opened == Opened::TRUNCATED) return FailTruncated();
  if (opened == Opened::MISSING) return FailNoFrame(page, directory.CountPages());
  if (opened == Opened::EMPTY) return FailDamaged(L"it contains no picture");
  if (opened == Opened::INVALID) return FailDamaged(L"the header is invalid");
  layout.width = directory.Number(Tag::WIDTH, 0);
  layout.height = directory.Number(Tag::HEIGHT, 0);
  layout.bits = directory.Number(Tag::BITS, 1);
  layout.samples = directory.Number(Tag::SAMPLES, 1);
  return S_OK;
}

/// What the pixels are. S_FALSE: they are compressed as fax.
HRESULT Reader::ReadKind() noexcept {
  layout.planar = layout.samples > 1 && directory.Number(Tag::PLANAR, 1) == 2;
  layout.bigEndian = directory.IsBigEndian();
  reversed = directory.Number(Tag::FILL_ORDER, 1) == 2;
  if (layout.samples < 1 || layout.samples > TiffLayout::MOST_SAMPLES)
    return FailUnsupported(L"of its number of channels");
  HRESULT result = ReadColours();
  if (Succeeded(result)) result = CheckSamples();
  if (Succeeded(result)) result = ReadAlpha();
  if (Succeeded(result)) result = CheckCompression();
  if (Succeeded(result) && layout.IsSubsampled() && (layout.planar || layout.samples != 3))
    return FailUnsupported(L"its subsampled channels are in separate planes, or not three");
  return result;
}

HRESULT Reader::ReadLayout() noexcept {
  HRESULT const opened = OpenDirectory();
  if (yk::Failed(opened)) return opened;
  HRESULT const kind = ReadKind();
  if (yk::Failed(kind)) return kind;
  HRESULT const checked = CheckClaim(file, {layout.width, layout.height, layout.bits * layout.samples});
  if (yk::Failed(checked)) return checked;
  return kind == S_FALSE ? kind : ReadBlocks();
}

/// A file that cannot be read is described nevertheless, but without a pixel format.
HRESULT Reader::Describe(Header& header) noexcept {
  HRESULT const opened = OpenDirectory();
  if (yk::Failed(opened)) return opened;
  header.claim = {layout.width, layout.height, layout.bits * layout.samples};
  header.frames = directory.CountPages();
  if (Succeeded(ReadKind())) header.format = layout.FormatOfPicture();
  return directory.IsBroken() ? FailTruncated() : S_OK;
}

HRESULT Reader::FillPalette(Image2d& image) noexcept {
  unsigned const count = 1u << layout.bits;
  if (layout.colours != TiffColours::PALETTE) {
    FillGreys({image.palette, count});
    return S_OK;
  }
  uint32_t missing = directory.Count(Tag::COLOURS) == 3 * count ? 0 : UINT32_MAX;
  auto const byte = [&](unsigned index) {
    uint32_t const word = directory.Number(Tag::COLOURS, UINT32_MAX, index);
    missing |= word >> 16;
    return static_cast<uint8_t>(word >> 8);
  };
  for (unsigned i = 0; i < count; ++i)
    image.palette[i] = {byte(i), byte(count + i), byte(2 * count + i), 255};
  return missing ? FailDamaged(L"its palette is incomplete") : S_OK;
}

uint32_t Reader::RowsOf(uint32_t top) const noexcept {
  return tiled ? layout.blockHeight : std::min(layout.blockHeight, layout.height - top);
}

uint64_t Reader::SizeOfRows(uint32_t rows) const noexcept {
  if (layout.IsSubsampled()) {
    uint64_t const units = uint64_t{(layout.blockWidth + layout.across - 1) / layout.across} *
                           ((rows + layout.down - 1) / layout.down);
    return units * (layout.across * layout.down + 2);
  }
  return layout.RowBytes() * rows;
}

HRESULT Reader::ReadPacked(uint64_t offset, size_t size) noexcept {
  if (size > packedRoom) {
    packed.reset(new (std::nothrow) uint8_t[size]);
    packedRoom = packed ? size : 0;
    if (!packed) return E_OUTOFMEMORY;
  }
  if (!file.ReadAt(offset, packed.get(), size)) return FailTruncated();
  if (reversed) ReverseBits(packed.get(), size);
  return S_OK;
}

HRESULT Reader::DecodeBlock(uint32_t index, size_t size) noexcept {
  uint64_t const offset = directory.Number(offsets, UINT32_MAX, index);
  if (offset >= file.Extent()) return FailTruncated();
  if (compression == NONE) {
    if (!file.ReadAt(offset, block.get(), size)) return FailTruncated();
    if (reversed) ReverseBits(block.get(), size);
    return S_OK;
  }
  uint64_t const left = file.Extent() - offset;
  uint64_t const stored = directory.Number(sizes, static_cast<uint32_t>(left), index);
  if (stored > left) return FailTruncated();
  // Each block of a damaged file may claim all of it, which must not be read again and again.
  size_t const used = static_cast<size_t>(std::min<uint64_t>(stored, 2 * uint64_t{size} + MOST_OVERHEAD));
  HRESULT const read = ReadPacked(offset, used);
  if (yk::Failed(read)) return read;
  HRESULT const decoded = FindDecompressor(compression)->decode(packed.get(), used, block.get(), size);
  return decoded == YK_E_BADFILE ? FailDamaged(L"its compressed pixels are invalid") : decoded;
}

HRESULT Reader::PutBlock(Image2d& image, uint32_t index, TiffSamples& samples) noexcept {
  uint32_t const perPlane = layout.BlocksAcross() * layout.BlocksDown();
  uint32_t const plane = index / perPlane, place = index % perPlane;
  uint32_t const left = place % layout.BlocksAcross() * layout.blockWidth;
  uint32_t const top = place / layout.BlocksAcross() * layout.blockHeight;
  uint32_t const rows = RowsOf(top);
  HRESULT const decoded = DecodeBlock(index, static_cast<size_t>(SizeOfRows(rows)));
  if (yk::Failed(decoded)) return decoded;
  uint32_t const shown = std::min(rows, layout.height - top);
  if (layout.IsSubsampled()) {
    PutUnits(layout, block.get(), {left, top, shown}, image);
    return S_OK;
  }
  for (uint32_t i = 0; i < shown; ++i) {
    samples.Unpack(block.get() + layout.RowBytes() * i);
    samples.Put(image, left, top + i, plane);
  }
  return S_OK;
}

HRESULT Reader::DecodeBlocks(Image2d& image) noexcept {
  uint64_t const size = SizeOfRows(layout.blockHeight);
  if (size > INT_MAX) return E_OUTOFMEMORY;
  block.reset(new (std::nothrow) uint8_t[static_cast<size_t>(size)]);
  TiffSamples samples(layout);
  if (!block || !samples.Allocate()) return E_OUTOFMEMORY;
  uint32_t const blocks = layout.BlocksAcross() * layout.BlocksDown() *
                          (layout.planar ? layout.colourChannels + layout.hasAlpha : 1);
  HRESULT result = S_OK;
  for (uint32_t i = 0; i < blocks && Succeeded(result); ++i) result = PutBlock(image, i, samples);
  return result;
}

HRESULT Reader::Read(Ref<Image2d>& image) noexcept {
  HRESULT result = ReadLayout();
  if (result != S_OK) return result;
  if (directory.IsBroken()) return FailTruncated();
  result = MakePicture(file, layout.FormatOfPixels(), layout.width, layout.height, image);
  if (yk::Failed(result)) return result;
  if (layout.IsIndexed()) result = FillPalette(*image);
  if (Succeeded(result)) result = DecodeBlocks(*image);
  if (Succeeded(result)) result = FinishColours(file, layout, directory, image);
  return Succeeded(result) && directory.IsBroken() ? FailTruncated() : result;
}

}  // namespace

HRESULT DescribeTiff(StreamAdapter& file, Header& header) noexcept { return Reader(file).Describe(header); }

HRESULT ReadTiff(StreamAdapter& file, unsigned frame, Ref<Image2d>& image) noexcept {
  return Reader(file, frame).Read(image);
}

HRESULT ReadEveryTiff(StreamAdapter& file, unsigned frame, Ref<Image2d>& image) noexcept {
  TiffDirectory last;
  if (last.Open(file, 0, frame) == TiffDirectory::Opened::MISSING)
    return FailNoFrame(frame, last.CountPages());
  uint32_t place = 0;
  double work = 0;  // pages may have their pixels in common
  for (unsigned page = 0;; ++page) {
    unsigned const before = ErrorCount();
    Reader reader(file, page, place);
    HRESULT result = reader.Read(image);
    if (result == S_FALSE) result = ReadWithPlatform(GUID_ContainerFormatTiff, file, page, image);
    if (SUCCEEDED(result)) work += static_cast<double>(image->stride) * image->height;
    if (!CanBack(file, work)) result = FailDamaged(L"the file is too small for its pages");
    if (FAILED(result)) return ReportFrame(page, before, result);
    if (page == frame) return S_OK;
    image.Reset();
    place = reader.Following();
    if (!place) return FailTruncated();  // the stream has changed meanwhile
  }
}

}  // namespace qewic
