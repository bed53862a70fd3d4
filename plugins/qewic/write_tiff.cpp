// TIFF files: indices, grey and colours of all depths that images have, in strips, which may be compressed,
// with the lowest byte of a number first. The directory comes after the pixels.
#include <limits.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>

#include "codec.h"
#include "deflate.h"
#include "failure.h"
#include "image_facts.h"
#include "lzw.h"
#include "out.h"
#include "pixel_layouts.h"
#include "rows_to_write.h"

namespace qewic {

using namespace yk;

namespace {

constexpr size_t PALETTES = 3;  // the first that are encoded; they have no alpha in TIFF files

/// Values of tags.
enum : uint32_t { DIFFERENCES = 2, NO_UNIT = 1 };

// By the channels of a pixel; indices have none.
constexpr uint32_t PHOTOMETRICS[] = {3, 1, 1, 2, 2};

/// By the choice of the option.
enum Method : int { PLAIN, LZW, ZIP };
constexpr TiffCompression COMPRESSIONS[] = {TiffCompression::NONE, TiffCompression::LZW,
                                            TiffCompression::DEFLATE};

constexpr uint32_t HEAD = 8;                  // bytes before the pixels
constexpr uint32_t PLACE_OF_DIRECTORY = 4;    // where in them the place of the directory is
constexpr uint64_t BYTES_OF_STRIP = 1 << 16;  // before it is compressed, unless a row has more
constexpr int ZIP_LEVEL = 6;

template <class T>
void MakeDifferences(T* row, size_t count, size_t channels) noexcept {
  for (size_t i = count; i-- > channels;) row[i] = static_cast<T>(row[i] - row[i - channels]);
}

class Writer {
 public:
  Writer(Stream& to, Image2d& image, RowsToWrite& rowsOf, IMG_FORMAT format, Method how) noexcept
      : out(to, false),
        rows(rowsOf),
        pixels(img::GetFacts(format)),
        method(how),
        said(image),
        tags(said, false),
        zip(Out::Take, &out),
        rowSize((uint64_t{pixels.bits} * static_cast<unsigned>(rows.Width()) + 7) / 8),
        height(static_cast<unsigned>(rows.Height())),
        rowsOfStrip(static_cast<uint32_t>(
            std::clamp<uint64_t>(BYTES_OF_STRIP / rowSize, 1, static_cast<unsigned>(rows.Height())))) {}

  /// Allocates what is needed.
  HRESULT Prepare() noexcept;
  HRESULT Write() noexcept;

 private:
  bool IsPredicted() const noexcept { return method != PLAIN && pixels.channels; }
  uint64_t Most() const noexcept;
  HRESULT CheckSize(uint64_t size) const noexcept;
  void AddLayout() noexcept;
  void AddPalette() noexcept;
  HRESULT PutStrips() noexcept;
  HRESULT PutRow(int y) noexcept;
  void EndStrip() noexcept;
  HRESULT PutDirectory() noexcept;

  Out out;
  RowsToWrite& rows;
  img::FormatFacts const& pixels;  // of the file
  Method const method;
  ImageFacts said;
  Tags tags;
  Tags::Value *offsets = nullptr, *sizes = nullptr;
  Deflater zip;
  std::unique_ptr<LzwEncoder> lzw;
  uint64_t const rowSize;
  uint32_t const height, rowsOfStrip;
  std::unique_ptr<uint8_t[]> row;
};

/// How large the file may be: its own offsets have 32 bits, and those of a stream, 31. The stream is moved
/// only when it is not known beforehand where the directory will be.
uint64_t Writer::Most() const noexcept {
  if (method == PLAIN) return UINT32_MAX;
  return out.Base() < INT_MAX ? INT_MAX - out.Base() : 0;
}

HRESULT Writer::CheckSize(uint64_t size) const noexcept {
  if (size <= Most()) return S_OK;
  if (Most() == 0)
    return Fail(YK_E_FORMAT, WRITE, L"the stream is too long to be given a compressed TIFF file");
  return Fail(YK_E_FORMAT, WRITE, L"the TIFF file would be larger than %.1f GB",
              static_cast<double>(Most()) / 1e9);
}

void Writer::AddLayout() noexcept {
  unsigned const samples = std::max<unsigned>(pixels.channels, 1);
  uint32_t const strips = (height - 1) / rowsOfStrip + 1;
  tags.AddNumber(Tag::WIDTH, Tags::LONG, static_cast<uint32_t>(rows.Width()));
  tags.AddNumber(Tag::HEIGHT, Tags::LONG, height);
  Tags::Value* const bits = tags.AddNumbers(Tag::BITS, Tags::SHORT, samples);
  for (unsigned i = 0; i < samples; ++i) tags.Set(bits, i, pixels.bits / samples);
  tags.AddNumber(Tag::COMPRESSION, Tags::SHORT, static_cast<uint32_t>(COMPRESSIONS[method]));
  tags.AddNumber(Tag::PHOTOMETRIC, Tags::SHORT, PHOTOMETRICS[pixels.channels]);
  tags.AddNumber(Tag::SAMPLES, Tags::SHORT, samples);
  tags.AddNumber(Tag::ROWS_PER_STRIP, Tags::LONG, rowsOfStrip);
  offsets = tags.AddNumbers(Tag::STRIP_OFFSETS, Tags::LONG, strips);
  sizes = tags.AddNumbers(Tag::STRIP_SIZES, Tags::LONG, strips);
  if (IsPredicted()) tags.AddNumber(Tag::PREDICTOR, Tags::SHORT, DIFFERENCES);
  if (pixels.channels == 4) tags.AddNumber(Tag::EXTRA_SAMPLES, Tags::SHORT, TIFF_STRAIGHT_ALPHA);
}

/// All reds, all greens, all blues, of 16 bits.
void Writer::AddPalette() noexcept {
  unsigned const count = pixels.paletteEntries;
  Tags::Value* const colours = tags.AddNumbers(Tag::COLOURS, Tags::SHORT, 3 * count);
  unsigned i = 0;
  for (IMG_PALENTRY const& entry : rows.Palette()) {
    tags.Set(colours, i, entry.red * 257u);
    tags.Set(colours, count + i, entry.green * 257u);
    tags.Set(colours, 2 * count + i++, entry.blue * 257u);
  }
}

HRESULT Writer::Prepare() noexcept {
  HRESULT const checked = rows.Check();
  if (Failed(checked)) return checked;
  row.reset(rowSize <= SIZE_MAX ? new (std::nothrow) uint8_t[static_cast<size_t>(rowSize)] : nullptr);
  if (method == LZW) lzw.reset(new (std::nothrow) LzwEncoder(Out::Take, &out));
  bool const hasEncoder = method == ZIP ? zip.Open(ZIP_LEVEL, true) : method == PLAIN || lzw;
  if (!row || !hasEncoder) return FailMemory(rowSize);
  AddLayout();
  if (pixels.paletteEntries) AddPalette();
  tags.AddFacts();
  tags.AddProfile();
  if (!tags.AddResolution()) {  // only that the pixels are square
    tags.AddFraction(Tag::X_RESOLUTION, 1);
    tags.AddFraction(Tag::Y_RESOLUTION, 1);
    tags.AddNumber(Tag::RESOLUTION_UNIT, Tags::SHORT, NO_UNIT);
  }
  if (said.IsLost()) return ImageFacts::FailLost();
  return method == PLAIN ? CheckSize(HEAD + rowSize * height + tags.Size() + 1) : S_OK;
}

HRESULT Writer::PutRow(int y) noexcept {
  HRESULT const result = rows.Get(y, pixels.format, row.get());
  if (Failed(result)) return result;
  SwapRedBlue(row.get(), rows.Width(), pixels.format);
  size_t const count = size_t{pixels.channels} * static_cast<unsigned>(rows.Width());
  if (IsPredicted())
    pixels.channelBits == 16 ? MakeDifferences(reinterpret_cast<uint16_t*>(row.get()), count, pixels.channels)
                             : MakeDifferences(row.get(), count, pixels.channels);
  size_t const size = static_cast<size_t>(rowSize);
  if (method == PLAIN) out.Put(row.get(), size);
  if (method == LZW) lzw->Add(row.get(), size);
  if (method == ZIP) zip.Add(row.get(), size);
  return CheckSize(out.Count());
}

void Writer::EndStrip() noexcept {
  if (method == LZW) lzw->Finish();
  if (method == ZIP) zip.Finish();
}

HRESULT Writer::PutStrips() noexcept {
  for (uint32_t y = 0; y < height && Succeeded(out.Result());) {
    uint32_t const strip = y / rowsOfStrip, end = y + std::min(rowsOfStrip, height - y);
    uint64_t const before = out.Count();
    for (; y < end; ++y) {
      HRESULT const result = PutRow(static_cast<int>(y));
      if (Failed(result)) return result;
    }
    EndStrip();
    tags.Set(offsets, strip, static_cast<uint32_t>(before));
    tags.Set(sizes, strip, static_cast<uint32_t>(out.Count() - before));
  }
  return S_OK;
}

HRESULT Writer::PutDirectory() noexcept {
  out.Put("", out.Count() % 2);
  uint64_t const at = out.Count();
  HRESULT const checked = CheckSize(at + tags.Size());
  if (Failed(checked)) return checked;
  tags.Write(out, static_cast<uint32_t>(at));
  if (method != PLAIN) out.Replace(PLACE_OF_DIRECTORY, static_cast<uint32_t>(at));
  return S_OK;
}

HRESULT Writer::Write() noexcept {
  unsigned const before = ErrorCount();
  uint64_t const end = HEAD + rowSize * height;  // unless the pixels are compressed
  out.Put("II*\0", PLACE_OF_DIRECTORY);
  out.Put(static_cast<uint32_t>(method == PLAIN ? end + end % 2 : 0), 4);
  HRESULT result = PutStrips();
  if (Succeeded(result)) result = PutDirectory();
  return Succeeded(result) ? out.Finish(before) : result;
}

}  // namespace

HRESULT WriteTiff(Stream& stream, Image2d& image, Map* options) noexcept {
  int method = 0;
  HRESULT result = Choose(TIFF_OPTIONS[TIFF_COMPRESSION], options, method);
  if (Failed(result)) return result;
  RowsToWrite rows(image);
  std::span<IMG_FORMAT const> const all = ENCODED;
  IMG_FORMAT const format =
      ClosestFormat(rows.Format(), rows.HasPaletteAlpha() ? all.subspan(PALETTES) : all);
  if (format == IMG_NONE) return YK_E_FORMAT;
  Writer writer(stream, image, rows, format, static_cast<Method>(method));
  result = writer.Prepare();
  return Failed(result) ? result : writer.Write();
}

}  // namespace qewic
