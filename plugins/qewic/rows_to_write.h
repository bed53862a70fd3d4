// An image that is being written, row by row.
#pragma once

#include <qecore/image/image.h>

#include <span>

namespace qewic {

/// Whatever asks the stream calls its code, which may change or release the image: this is made before, and
/// each row is checked before it is read. What has been read stays: rows are copied, and so is the palette.
class RowsToWrite {
 public:
  explicit RowsToWrite(yk::Image2d& of) noexcept;
  RowsToWrite(RowsToWrite const&) = delete;
  RowsToWrite& operator=(RowsToWrite const&) = delete;

  yk::IMG_FORMAT Format() const noexcept { return format; }
  int Width() const noexcept { return width; }
  int Height() const noexcept { return height; }
  /// The entries that are in use. Empty: the image has no palette.
  std::span<yk::IMG_PALENTRY const> Palette() const noexcept { return {palette, entries}; }
  bool HasPaletteAlpha() const noexcept;

  /// Adds black entries for indices beyond those in use.
  void CompletePalette() noexcept;

  /// E_FAIL: the image is another one now. YK_E_FORMAT: it has indices, but no palette.
  HRESULT Check() const noexcept;
  /// Copies row `y`, counted from the top, as pixels of `target`, one of FormatsToWrite (pixel_layouts.h).
  /// The bits after the last pixel are 0. Fails as Check does.
  HRESULT Get(int y, yk::IMG_FORMAT target, void* row) noexcept;

 private:
  bool IsSame() const noexcept;
  HRESULT Convert(uint8_t const* from, yk::IMG_FORMAT target, uint8_t* to) noexcept;

  yk::Image2d& image;
  uint8_t const* const bits;
  yk::IMG_FORMAT const format;
  int const width, height;
  unsigned entries = 0;
  yk::IMG_PALENTRY palette[256] = {};
};

/// The formats that PNG and TIFF files hold as they are; first those with palettes.
inline constexpr yk::IMG_FORMAT ENCODED[] = {yk::IMG_PAL1,   yk::IMG_PAL4,   yk::IMG_PAL8,
                                             yk::IMG_GRAY8,  yk::IMG_GRAY16, yk::IMG_BGR24,
                                             yk::IMG_BGRA32, yk::IMG_BGR48,  yk::IMG_BGRA64};

/// The format of `held` that is closest to an image's. IMG_NONE: its pixels have no meaning, which is
/// recorded.
yk::IMG_FORMAT ClosestFormat(yk::IMG_FORMAT format, std::span<yk::IMG_FORMAT const> held) noexcept;

}  // namespace qewic
