// A JPEG file of a stated quality, by stb_image_write: not every Imaging Component listens to the quality that it is
// asked for. A grey picture becomes a file of three channels, two of them empty.
#include <qecore/image/convert.h>

#include <algorithm>
#include <memory>
#include <new>

#include "codec.h"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#define STBI_WRITE_NO_STDIO
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"  // it writes other formats as well
#endif
#include <stb_image_write.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

namespace qewic {

using namespace yk;

namespace {

constexpr int LARGEST_SIDE = 65500;  // what decoders take

struct Target {
  Stream& stream;
  HRESULT result;
};

void WriteBytes(void* context, void* data, int size) noexcept {
  Target& target = *static_cast<Target*>(context);
  unsigned done = 0;
  if (Failed(target.result)) return;
  target.result = target.stream.Write(data, static_cast<unsigned>(size), &done);
  if (Succeeded(target.result) && done != static_cast<unsigned>(size)) target.result = E_FAIL;
}

/// One row from the top as grey, or as red, green, blue.
bool GatherRow(Image2d& image, int y, IMG_FORMAT format, unsigned char* row) noexcept {
  HRESULT const converted =
      img::ConvertPixels(image.GetLine(y), row, image.format, format, image.width, image.palette);
  if (Failed(converted)) return false;
  for (int x = 0; format == IMG_BGR24 && x < image.width; ++x) std::swap(row[3 * x], row[3 * x + 2]);
  return true;
}

}  // namespace

HRESULT WriteJpeg(Stream* stream, Image2d& image, unsigned quality) noexcept {
  if (image.width > LARGEST_SIDE || image.height > LARGEST_SIDE) return YK_E_FORMAT;
  bool const grey = image.format == IMG_GRAY8 || image.format == IMG_GRAYF;
  IMG_FORMAT const format = grey ? IMG_GRAY8 : IMG_BGR24;
  int const channels = grey ? 1 : 3;
  size_t const rowSize = static_cast<size_t>(image.width) * channels;
  if (rowSize * image.height > INT32_MAX) return E_OUTOFMEMORY;
  std::unique_ptr<unsigned char[]> const pixels(new (std::nothrow) unsigned char[rowSize * image.height]);
  if (!pixels) return E_OUTOFMEMORY;
  for (int y = 0; y < image.height; ++y) {
    if (!GatherRow(image, y, format, &pixels[y * rowSize])) return YK_E_FORMAT;
  }
  Target target = {*stream, S_OK};
  int const made = stbi_write_jpg_to_func(WriteBytes, &target, image.width, image.height, channels,
                                          pixels.get(), static_cast<int>(quality));
  if (Failed(target.result)) return target.result;
  return made ? stream->GetState() : E_FAIL;  // which tells of bytes that were refused later
}

}  // namespace qewic
