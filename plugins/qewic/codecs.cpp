#include <algorithm>
#include <iterator>

#include "codec.h"
#include "file_facts.h"

namespace qewic {

using namespace yk;

namespace {

constexpr Codec CODECS[] = {
    {.id = ids::FILE_PNG,
     .container = &GUID_ContainerFormatPng,
     .className = "PNG filter",
     .options = PNG_OPTIONS,
     .read = CheckPng,
     .readEvery = nullptr,
     .describe = DescribePng,
     .readFacts = ReadPngFacts,
     .write = WritePng},
    {.id = ids::FILE_JPEG,
     .container = &GUID_ContainerFormatJpeg,
     .className = "JPEG filter",
     .options = JPEG_OPTIONS,
     .read = CheckJpeg,
     .readEvery = nullptr,
     .describe = DescribeJpeg,
     .readFacts = ReadJpegFacts,
     .writeFacts = WriteJpegFacts},
    {.id = ids::FILE_BMP,
     .container = &GUID_ContainerFormatBmp,
     .className = "BMP filter",
     .options = {},
     .read = ReadBmp,
     .readEvery = nullptr,
     .describe = DescribeBmp,
     .readFacts = ReadBmpFacts,
     .writeFacts = WriteBmpFacts},
    {.id = ids::FILE_GIF,
     .container = &GUID_ContainerFormatGif,
     .className = "GIF filter",
     .options = GIF_OPTIONS,
     .read = ReadGif,
     .readEvery = ReadEveryGif,
     .describe = DescribeGif,
     .readFacts = nullptr},
    {.id = ids::FILE_TIFF,
     .container = &GUID_ContainerFormatTiff,
     .className = "TIFF filter",
     .options = TIFF_OPTIONS,
     .read = ReadTiff,
     .readEvery = ReadEveryTiff,
     .describe = DescribeTiff,
     .readFacts = ReadTiffFacts,
     .write = WriteTiff},
};

}  // namespace

std::span<Codec const> Codecs() noexcept { return CODECS; }

Codec const* FindCodec(Guid const& id) noexcept {
  auto const* const found =
      std::find_if(std::begin(CODECS), std::end(CODECS), [&](Codec const& codec) { return codec.id == id; });
  return found == std::end(CODECS) ? nullptr : found;
}

}  // namespace qewic
