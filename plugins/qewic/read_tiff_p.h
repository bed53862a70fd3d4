// From the bytes of a TIFF file's blocks to pixels. Private to read_tiff.cpp.
#pragma once

#include <memory>

#include "tiff_directory.h"

namespace qewic {

enum class TiffColours { WHITE_IS_ZERO, GREY, RGB, PALETTE, CMYK, YCBCR };

/// How a file stores its pixels.
class TiffLayout {
 public:
  static constexpr unsigned MOST_SAMPLES = 16;

  uint32_t width = 0, height = 0;
  uint32_t blockWidth = 0, blockHeight = 0;
  unsigned bits = 0, samples = 0;  // of a sample; of a pixel
  TiffColours colours = TiffColours::GREY;
  unsigned colourChannels = 0;  // an alpha comes directly after them
  bool hasAlpha = false, isPremultiplied = false, isFloat = false, bigEndian = false;
  bool planar = false;  // each channel has blocks of its own
  unsigned predictor = 1;
  unsigned across = 1, down = 1;  // luminances for each pair of colour differences

  bool IsSubsampled() const noexcept { return across * down > 1; }
  unsigned ChannelsOfBlock() const noexcept { return planar ? 1 : samples; }
  uint32_t BlocksAcross() const noexcept { return (width - 1) / blockWidth + 1; }
  uint32_t BlocksDown() const noexcept { return (height - 1) / blockHeight + 1; }
  size_t RowBytes() const noexcept { return BytesOf(uint64_t{blockWidth} * ChannelsOfBlock() * bits); }
  bool IsIndexed() const noexcept {
    return colours == TiffColours::PALETTE || (colourChannels == 1 && !hasAlpha && bits < 8 && !isFloat);
  }
  /// Of the image into which samples are put.
  yk::IMG_FORMAT FormatOfPixels() const noexcept;
  /// Of the image after FinishColours.
  yk::IMG_FORMAT FormatOfPicture() const noexcept;

 private:
  yk::IMG_FORMAT FormatWith(unsigned channels) const noexcept;
};

/// The samples of one row of a block.
class TiffSamples {
 public:
  explicit TiffSamples(TiffLayout const& how) noexcept : layout(how) {}
  bool Allocate() noexcept;

  /// Decodes a row's bytes, which it may change to undo a prediction. A float becomes its bit pattern.
  void Unpack(uint8_t* row) noexcept;
  /// Puts them into row `y` of the image from column `left` on, as far as there are columns.
  void Put(yk::Image2d& image, uint32_t left, uint32_t y, uint32_t plane) const noexcept;

 private:
  size_t Count() const noexcept { return size_t{layout.blockWidth} * layout.ChannelsOfBlock(); }
  void UnpackFloats(uint8_t* row) noexcept;
  void UnpackWords(uint8_t const* row) noexcept;
  void UndoPrediction() noexcept;
  void PutIndices(uint8_t* row, unsigned width, uint32_t left, uint32_t count) const noexcept;
  template <class T>
  void PutChannel(T* pixels, int channels, unsigned from, unsigned channel, uint32_t count) const noexcept;
  template <class T>
  void PutChannels(T* pixels, int channels, uint32_t plane, uint32_t count) const noexcept;

  TiffLayout const& layout;
  std::unique_ptr<uint32_t[]> values;
};

/// Where in the image the rows of a block are.
struct TiffPlace {
  uint32_t left, top, rows;
};

/// Puts the rows of a block of subsampled YCbCr.
void PutUnits(TiffLayout const& layout, uint8_t const* block, TiffPlace const& place,
              yk::Image2d& image) noexcept;

/// Turns the channels of the file's colours into those of the library.
HRESULT FinishColours(StreamAdapter const& file, TiffLayout const& layout, TiffDirectory const& directory,
                      yk::Ref<yk::Image2d>& image) noexcept;

}  // namespace qewic
