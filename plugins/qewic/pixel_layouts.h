// Which pixels of the Imaging Component are which of the library's, in both directions.
#pragma once

#include <qecore/image/format.h>
#include <wincodec.h>

#include <span>

namespace qewic {

/// One way in which a file's pixels and an image's pixels correspond.
struct Layout {
  enum Use : unsigned { READ = 1, WRITE = 2, BOTH = READ | WRITE };

  /// What has to be done beside copying rows.
  enum Work : unsigned {
    COPY = 0,
    SWAP_RED_BLUE = 1,  ///< 16-bit channels that stand red first in the file
    WIDEN = 2,          ///< 2 bits in the file, 4 in the image
    RAMP = 4,           ///< no palette on one side: an even ramp of greys stands for it
    QUANTISE = 8,       ///< the Imaging Component chooses 256 colours
  };

  GUID const* file;      ///< the Imaging Component's identifier
  yk::IMG_FORMAT image;  ///< the same in the library
  Use use;
  unsigned work;  ///< of Work
};

/// The layout for reading the pixels `file`, or null when they first have to be converted.
Layout const* LayoutToRead(GUID const& file) noexcept;

/// All layouts, in order of preference.
std::span<Layout const> Layouts() noexcept;

/// The formats as which an image of `format` may be written, the closest first. Empty: it cannot be written.
std::span<yk::IMG_FORMAT const> FormatsToWrite(yk::IMG_FORMAT format) noexcept;

/// Exchanges the first and third of `channels` 16-bit channels in `width` pixels.
void SwapRedBlue(void* row, int width, int channels) noexcept;

/// Exchanges the bytes of `count` 16-bit channels.
void SwapBytes(void* row, int count) noexcept;

/// Copies `width` palette indices of `fromBits` each (1, 2 or 4) into wider ones (4 or 8). The rows may start
/// at the same address: it goes from right to left.
void WidenIndices(unsigned char const* from, int fromBits, unsigned char* to, int toBits, int width) noexcept;

}  // namespace qewic
