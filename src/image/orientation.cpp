#include <qecore/image/orientation.h>

#include <qecore/image/file_info.h>
#include <string.h>

#include "core/error_p.h"
#include "indexed_p.h"
#include "rows_p.h"

namespace yk {

namespace {

constexpr char ORIENT[] = "img::Orient";
constexpr unsigned UPRIGHT = 1, LAST = 8;

/// From the pixels of the result to those of the source.
struct Turn {
  explicit Turn(unsigned orientation) noexcept
      : isTurned(orientation >= 5),
        flipsColumns(orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8),
        flipsRows(orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7) {}
  bool isTurned;  // rows become columns
  bool flipsColumns;
  bool flipsRows;
};

void TurnRow(Image2d& from, Turn const& turn, Image2d& to, int y) noexcept {
  uint8_t* const row = to.GetLine(y);
  size_t const size = from.bytesPerPixel;
  unsigned const bits = img::GetFacts(from.format).bits;
  for (int x = 0; x < to.width; ++x) {
    int const across = turn.isTurned ? y : x, down = turn.isTurned ? x : y;
    int const column = turn.flipsColumns ? from.width - 1 - across : across;
    uint8_t const* const line = from.GetLine(turn.flipsRows ? from.height - 1 - down : down);
    if (size == 0) {
      unsigned const index = img::IndexAt(line, bits, static_cast<size_t>(column));
      img::PutIndex(row, bits, static_cast<size_t>(x), index);
    } else {
      memcpy(row + static_cast<size_t>(x) * size, line + static_cast<size_t>(column) * size, size);
    }
  }
}

/// Pixels that are turned have exchanged their sides.
HRESULT SwapResolution(Image2d& image) noexcept {
  Variant across, down;
  bool const isKnown = Succeeded(image.GetValue(img::INFO_RESOLUTION_X, across)) &&
                       Succeeded(image.GetValue(img::INFO_RESOLUTION_Y, down));
  if (!isKnown) return S_OK;
  HRESULT const set = image.SetValue(img::INFO_RESOLUTION_X, down);
  return Failed(set) ? set : image.SetValue(img::INFO_RESOLUTION_Y, across);
}

}  // namespace

HRESULT img::Orient(Image2d& image, unsigned orientation, Image2d** result) noexcept {
  if (!result) return FailNull(ORIENT, L"result");
  *result = nullptr;
  if (orientation < UPRIGHT || orientation > LAST)
    return Fail(E_INVALIDARG, ORIENT, L"the orientation %u is not between 1 and 8", orientation);
  if (!image.bits || image.width < 1 || image.height < 1)
    return Fail(YK_E_EMPTY, ORIENT, L"the image has no pixels");
  Turn const turn(orientation);
  Ref<Image2d> made = Ref<Image2d>::Adopt(Image2d::Create());
  if (!made) return E_OUTOFMEMORY;
  made->flags = image.flags;
  HRESULT const created = turn.isTurned ? made->Create(image.format, image.height, image.width)
                                        : made->Create(image.format, image.width, image.height);
  if (Failed(created)) return created;
  CopyPalette(image, *made);
  for (int y : RowsInMemory(0, made->height)) TurnRow(image, turn, *made, y);
  *result = made.Detach();
  return S_OK;
}

HRESULT img::CopyFileInfo(AbstractImage& from, AbstractImage& to) noexcept {
  for (FileInfoFacts const& facts : FILE_INFO) {
    Variant value;
    if (facts.key < INFO_ORIENTATION || Failed(from.GetValue(facts.key, value))) continue;
    HRESULT const set = to.SetValue(facts.key, value);
    if (Failed(set)) return set;
  }
  return S_OK;
}

HRESULT img::MakeUpright(Image2d& image, Image2d** result) noexcept {
  if (!result) return FailNull("img::MakeUpright", L"result");
  *result = nullptr;
  Variant value;
  unsigned orientation = UPRIGHT;
  bool const isKnown = Succeeded(image.GetValue(INFO_ORIENTATION, value)) && value.Get(orientation);
  if (!isKnown || orientation == UPRIGHT || orientation > LAST || orientation == 0) {
    *result = Ref<Image2d>::Share(&image).Detach();
    return S_OK;
  }
  Image2d* turned = nullptr;
  HRESULT made = Orient(image, orientation, &turned);
  if (Failed(made)) return made;
  Ref<Image2d> const upright = Ref<Image2d>::Adopt(turned);
  made = CopyFileInfo(image, *upright);
  value.Init(UPRIGHT);
  if (Succeeded(made)) made = upright->SetValue(INFO_ORIENTATION, value);
  if (Succeeded(made) && Turn(orientation).isTurned) made = SwapResolution(*upright);
  if (Succeeded(made)) *result = Ref<Image2d>(upright).Detach();
  return made;
}

}  // namespace yk
