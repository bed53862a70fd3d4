#include "rows_to_write.h"

#include <qecore/image/convert.h>

#include <algorithm>

#include "failure.h"
#include "pixel_layouts.h"

namespace qewic {

using namespace yk;

RowsToWrite::RowsToWrite(Image2d& of) noexcept
    : image(of), bits(of.bits), format(of.format), width(of.width), height(of.height) {
  unsigned const most = img::GetFacts(format).paletteEntries;
  if (!of.palette || !most) return;
  entries = of.paletteCount ? std::min<unsigned>(of.paletteCount, most) : most;
  std::fill_n(palette, most, IMG_PALENTRY{0, 0, 0, 255});
  std::copy_n(of.palette, entries, palette);
}

bool RowsToWrite::HasPaletteAlpha() const noexcept {
  return std::any_of(palette, palette + entries,
                     [](IMG_PALENTRY const& entry) { return entry.alpha != 255; });
}

void RowsToWrite::CompletePalette() noexcept {
  unsigned const indexBits = img::GetFacts(format).bits, most = img::GetFacts(format).paletteEntries;
  for (int y = 0; entries < most && y < height; ++y) {
    uint8_t const* const row = image.GetLine(y);
    for (int x = 0; x < width; ++x) entries = std::max(entries, IndexAt(row, indexBits, x) + 1);
  }
}

HRESULT RowsToWrite::Check() const noexcept {
  if (!IsSame()) return Fail(E_FAIL, WRITE, L"the image changed while it was being written");
  bool const isWhole = entries || !img::GetFacts(format).paletteEntries;
  return isWhole ? S_OK : Fail(YK_E_FORMAT, WRITE, L"the image has no palette");
}

bool RowsToWrite::IsSame() const noexcept {
  return bits && image.bits == bits && image.format == format && image.width == width &&
         image.height == height;
}

HRESULT RowsToWrite::Convert(uint8_t const* from, IMG_FORMAT target, uint8_t* to) noexcept {
  img::FormatFacts const &source = img::GetFacts(format), &wanted = img::GetFacts(target);
  if (wanted.kind == img::ChannelKind::INDEX && source.bits < wanted.bits) {
    WidenIndices(from, source.bits, to, wanted.bits, width);
    return S_OK;
  }
  if (source.paletteEntries && source.bits < 8 && target == IMG_BGRA32) {  // the library cannot convert these
    LookUpColours(from, source.bits, palette, to, width);
    return S_OK;
  }
  if (StoreWords(from, format, to, target, width)) return S_OK;
  return img::ConvertPixels(from, to, format, target, width, palette);
}

HRESULT RowsToWrite::Get(int y, IMG_FORMAT target, void* row) noexcept {
  HRESULT const checked = Check();
  if (Failed(checked)) return checked;
  uint8_t* const to = static_cast<uint8_t*>(row);
  uint64_t const size = uint64_t{img::GetFacts(target).bits} * static_cast<unsigned>(width);
  HRESULT const result = Convert(image.GetLine(y), target, to);
  if (size % 8) to[size / 8] = static_cast<uint8_t>(to[size / 8] & 0xFF00u >> size % 8);
  return result;
}

IMG_FORMAT ClosestFormat(IMG_FORMAT format, std::span<IMG_FORMAT const> held) noexcept {
  std::span<IMG_FORMAT const> const wanted = FormatsToWrite(format);
  auto const found = std::find_first_of(wanted.begin(), wanted.end(), held.begin(), held.end());
  if (found != wanted.end()) return *found;
  Fail(YK_E_FORMAT, WRITE, L"no file type can hold pixels of %S", img::GetFacts(format).name);
  return IMG_NONE;
}

}  // namespace qewic
