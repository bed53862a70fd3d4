// The pixel loops of the device context: rows of bytes in, rows of bytes out, no Windows and no geometry.
//
// Channels stand in memory as blue, green, red and, in pixels of 4 bytes, alpha. Colours are packed with red
// lowest.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace yk::draw {

/// The fill modes are 0 to 5.
inline constexpr unsigned MODE_COUNT = 6;

/// One colour in one mode, made once and then run over the rows of a rectangle.
///
/// A row is a run of bytes over which a pattern of channels repeats, three long or four. 48 bytes hold whole
/// pixels of both kinds: each fill is one loop over blocks of 48 bytes that knows neither the pixel size nor
/// which byte is which, and a channel is kept by giving its lanes values that change nothing.
class RowFill {
 public:
  /// `mode` below MODE_COUNT; the last two need pixels of 4 bytes.
  RowFill(unsigned mode, unsigned colour, int bytesPerPixel) noexcept;

  void operator()(unsigned char* row, size_t pixels) const noexcept { run(row, pixels * pixelSize, lanes); }

  static constexpr size_t LANES = 48;
  struct Lanes {
    uint16_t weight[LANES], product[LANES];  // for blending: of what is there, and what comes to it
    uint8_t mask[LANES], value[LANES];       // for all else: what stays of a byte, and what comes to it
    unsigned alpha;
  };
  using Kernel = void (*)(unsigned char* row, size_t bytes, Lanes const& lanes);

 private:
  Kernel run;
  size_t pixelSize;
  Lanes lanes;
};

/// Paints pixels in a mode, each as much as its coverage says: 255 does what RowFill does, 0 nothing.
void CoverRow(unsigned mode, unsigned colour, unsigned char* row, int bytesPerPixel,
              unsigned char const* coverage, size_t pixels) noexcept;

/// Blends one colour into a pixel, or one each into the pixels of a row, by the colour's alpha a: every
/// channel d becomes d (255 - a) / 255 + s a / 255, both quotients truncated. The pixel's alpha stays.
void BlendInto(unsigned char* pixel, unsigned colour) noexcept;
void BlendRow(unsigned char* row, int bytesPerPixel, unsigned const* colours, size_t pixels) noexcept;

// Rows of pixels of 4 bytes.
void SetAlphaRow(unsigned char* row, unsigned char alpha, size_t pixels) noexcept;
void WhitenRow(unsigned char* row, size_t pixels) noexcept;

/// Replaces the colour channels through a table of 256.
void TranslateRow(unsigned char* row, int bytesPerPixel, unsigned char const* table, size_t pixels) noexcept;

}  // namespace yk::draw
