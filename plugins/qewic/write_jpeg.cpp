// Writes a JPEG file of a given quality with stb_image_write, since not every Imaging Component honours the
// requested quality. A grey picture becomes a file of three channels, two of them empty.
#include <qecore/image/convert.h>

#include <string.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>

#include "codec.h"
#include "failure.h"
#include "pixel_layouts.h"
#include "stream_adapter.h"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#define STBI_WRITE_NO_STDIO
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"  // it can write other formats as well
#endif
#include <stb_image_write.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

namespace qewic {

using namespace yk;

namespace {

constexpr int LARGEST_SIDE = 65500;  // the limit of decoders

/// Collects the encoder's output, most of it single bytes, into blocks for the stream.
class Sink {
 public:
  explicit Sink(Stream& target) noexcept : stream(target) {}

  void Add(uint8_t const* data, size_t size) noexcept {
    while (size > 0) {
      size_t const part = std::min(size, sizeof block - used);
      memcpy(block + used, data, part);
      used += static_cast<unsigned>(part);
      data += part;
      size -= part;
      if (used == sizeof block) Flush();
    }
  }

  /// \return the first failure
  HRESULT Flush() noexcept {
    if (used > 0 && Succeeded(result)) result = WriteAll(stream, block, used);
    used = 0;
    return result;
  }

 private:
  Stream& stream;
  HRESULT result = S_OK;
  unsigned used = 0;
  uint8_t block[4096] = {};
};

void AddBytes(void* sink, void* data, int size) noexcept {
  static_cast<Sink*>(sink)->Add(static_cast<uint8_t const*>(data), static_cast<size_t>(size));
}

/// The closest format to the image's own that the encoder accepts; IMG_NONE: its pixels have no meaning.
IMG_FORMAT FormatToEncode(IMG_FORMAT format) noexcept {
  static constexpr IMG_FORMAT TAKEN[] = {IMG_GRAY8, IMG_BGR24};
  std::span<IMG_FORMAT const> const wanted = FormatsToWrite(format);
  auto const found = std::find_first_of(wanted.begin(), wanted.end(), std::begin(TAKEN), std::end(TAKEN));
  return found == wanted.end() ? IMG_NONE : *found;
}

/// Copies a row, counted from the top, as grey or as red, green, blue.
bool GatherRow(Image2d& image, int y, IMG_FORMAT format, uint8_t* row) noexcept {
  HRESULT const converted =
      img::ConvertPixels(image.GetLine(y), row, image.format, format, image.width, image.palette);
  if (Failed(converted)) return false;
  for (int x = 0; format == IMG_BGR24 && x < image.width; ++x) std::swap(row[3 * x], row[3 * x + 2]);
  return true;
}

HRESULT FailMemory(size_t size) noexcept {
  return Fail(E_OUTOFMEMORY, WRITE, L"not enough memory for %llu bytes",
              static_cast<unsigned long long>(size));
}

}  // namespace

HRESULT WriteJpeg(Stream* stream, Image2d& image, unsigned quality) noexcept {
  if (image.width > LARGEST_SIDE || image.height > LARGEST_SIDE)
    return Fail(YK_E_FORMAT, WRITE, L"no side of a JPEG file can exceed %d pixels", LARGEST_SIDE);
  IMG_FORMAT const format = FormatToEncode(image.format);
  if (format == IMG_NONE)
    return Fail(YK_E_FORMAT, WRITE, L"no file type can hold pixels of %S", img::GetFacts(image.format).name);
  int const channels = img::GetFacts(format).channels;
  size_t const rowSize = static_cast<size_t>(image.width) * channels;
  size_t const size = rowSize * image.height;
  if (size > INT32_MAX) return FailMemory(size);
  std::unique_ptr<uint8_t[]> const pixels(new (std::nothrow) uint8_t[size]);
  if (!pixels) return FailMemory(size);
  for (int y = 0; y < image.height; ++y) {
    if (!GatherRow(image, y, format, &pixels[y * rowSize])) return YK_E_FORMAT;  // the conversion records why
  }
  unsigned const before = ErrorCount();
  Sink sink(*stream);
  int const made = stbi_write_jpg_to_func(AddBytes, &sink, image.width, image.height, channels, pixels.get(),
                                          static_cast<int>(quality));
  HRESULT const written = sink.Flush();
  HRESULT result = written;
  if (Succeeded(result))
    result = made ? stream->GetState() : E_FAIL;  // reports bytes that were refused later
  return Failed(result) ? FailSince(before, result, WRITE, L"it could not be written completely") : result;
}

}  // namespace qewic
