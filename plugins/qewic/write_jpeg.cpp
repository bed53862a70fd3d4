// Writes a JPEG file of a given quality with stb_image_write, since not every Imaging Component honours the
// requested quality. A grey picture becomes a file of three channels, two of them empty.
#include <memory>
#include <new>

#include "codec.h"
#include "failure.h"
#include "out.h"
#include "pixel_layouts.h"
#include "rows_to_write.h"

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
constexpr IMG_FORMAT HELD[] = {IMG_GRAY8, IMG_BGR24};

void AddBytes(void* out, void* data, int size) noexcept {
  static_cast<Out*>(out)->Put(data, static_cast<size_t>(size));
}

}  // namespace

HRESULT WriteJpeg(Stream* stream, Image2d& image, unsigned quality) noexcept {
  if (image.width > LARGEST_SIDE || image.height > LARGEST_SIDE)
    return Fail(YK_E_FORMAT, WRITE, L"no side of a JPEG file can exceed %d pixels", LARGEST_SIDE);
  IMG_FORMAT const format = ClosestFormat(image.format, HELD);
  if (format == IMG_NONE) return YK_E_FORMAT;
  int const channels = img::GetFacts(format).channels;
  size_t const rowSize = static_cast<size_t>(image.width) * channels;
  size_t const size = rowSize * image.height;
  if (size > INT32_MAX) return FailMemory(size);
  std::unique_ptr<uint8_t[]> const pixels(new (std::nothrow) uint8_t[size]);
  if (!pixels) return FailMemory(size);
  RowsToWrite rows(image);
  for (int y = 0; y < image.height; ++y) {
    uint8_t* const row = &pixels[y * rowSize];
    HRESULT const result = rows.Get(y, format, row);
    if (Failed(result)) return result;
    SwapRedBlue(row, image.width, format);
  }
  unsigned const before = ErrorCount();
  Out out(*stream);
  int const made = stbi_write_jpg_to_func(AddBytes, &out, image.width, image.height, channels, pixels.get(),
                                          static_cast<int>(quality));
  return made ? out.Finish(before) : Fail(E_FAIL, WRITE, L"it could not be written completely");
}

}  // namespace qewic
