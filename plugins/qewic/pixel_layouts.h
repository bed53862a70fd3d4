// The correspondence between pixel formats of the Imaging Component and of the library, in both directions.
#pragma once

#include <qecore/image/format.h>
#include <wincodec.h>

#include <span>

namespace qewic {

/// A correspondence between a file's pixels and an image's pixels.
struct Layout {
  enum Use : unsigned { READ = 1, WRITE = 2, BOTH = READ | WRITE };

  /// What has to be done besides copying rows.
  enum Work : unsigned {
    COPY = 0,
    SWAP_RED_BLUE = 1,  ///< 16-bit channels with red first in the file
    WIDEN = 2,          ///< 2 bits in the file, 4 in the image
    RAMP = 4,           ///< no palette on one side: replaced by an even grey ramp
    QUANTISE = 8,       ///< the Imaging Component chooses 256 colours
  };

  GUID const* file;      ///< the Imaging Component's identifier
  yk::IMG_FORMAT image;  ///< the library's format
  Use use;
  unsigned work;  ///< bits of Work
};

/// The layout for reading the pixels `file`, or null when they must be converted first.
Layout const* LayoutToRead(GUID const& file) noexcept;

/// All layouts, in order of preference.
std::span<Layout const> Layouts() noexcept;

/// The formats in which an image of `format` can be written, the closest first. Empty: it cannot be written.
std::span<yk::IMG_FORMAT const> FormatsToWrite(yk::IMG_FORMAT format) noexcept;

/// Exchanges red and blue in `width` pixels of 8 or 16 bits in each channel, if they have colours.
void SwapRedBlue(void* row, int width, yk::IMG_FORMAT format) noexcept;

/// Exchanges the bytes of `count` 16-bit channels.
void SwapBytes(void* row, size_t count) noexcept;

/// Converts `width` pixels to channels of 16 bits, which the library cannot: floats, limited to 0 to 1 and
/// rounded, or grey to colour. False, with nothing written: another conversion.
bool StoreWords(void const* from, yk::IMG_FORMAT format, void* to, yk::IMG_FORMAT target, int width) noexcept;

/// The palette index of `bits` (1, 2 or 4) in column `x`.
inline unsigned IndexAt(uint8_t const* row, unsigned bits, int x) noexcept {
  uint64_t const bit = uint64_t{bits} * static_cast<unsigned>(x);
  return row[bit / 8] >> (8 - bits - bit % 8) & ((1u << bits) - 1);
}

/// Widens `width` palette indices of `fromBits` each (1, 2 or 4) to 4 or 8 bits. Works in place when the rows
/// start at the same address, since it goes from right to left.
void WidenIndices(uint8_t const* from, int fromBits, uint8_t* to, int toBits, int width) noexcept;

/// The colours of `width` palette indices of `bits` each, as blue, green, red and alpha.
void LookUpColours(uint8_t const* from, int bits, yk::IMG_PALENTRY const* palette, uint8_t* to,
                   int width) noexcept;

}  // namespace qewic
