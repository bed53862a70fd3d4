#include <qecore/image/image.h>

#include <qecore/core/ref.h>
#include <qecore/draw/geometry.h>
#include <string.h>

#include <algorithm>

#include "convert_p.h"
#include "core/error_p.h"
#include "indexed_p.h"
#include "premultiply_kernels_p.h"
#include "properties_p.h"
#include "row_kernels_p.h"
#include "shared_rows_p.h"

namespace yk {

namespace {

using img::CopyPalette, img::RowsInMemory, img::RowTable, img::SizeOf;

/// The index at `ratio` of `size`, clamped to below `size`; NaN gives 0.
int IndexAt(float ratio, int size) noexcept {
  float const at = static_cast<float>(size) * ratio;
  if (!(at > 0)) return 0;
  if (at >= static_cast<float>(size)) return size - 1;
  return std::min(static_cast<int>(at), size - 1);
}

/// Copies `count` bytes of indices that start `shift` pixels into the first byte. Bytes past the end of
/// `source`, which has `available` bytes, count as 0. Contract: the two shifts do not add up to 8, and pixels
/// of four bits are shifted like those of one.
void CopyIndices(uint8_t const* source, size_t available, uint8_t* target, size_t count,
                 unsigned shift) noexcept {
  if (shift == 0) {
    memcpy(target, source, count);
    return;
  }
  for (size_t i = 0; i < count; ++i) {
    unsigned const next = i + 1 < available ? source[i + 1] : 0;
    target[i] = static_cast<uint8_t>(source[i] << (7 - shift) | next >> shift);
  }
}

/// Fills `count` pixels of `size` bytes with the first one, doubling the filled part each time.
void Repeat(uint8_t* row, size_t size, size_t count) noexcept {
  size_t const total = size * count;
  for (size_t done = size; done < total; done *= 2) memcpy(row + done, row, std::min(done, total - done));
}

/// The number of rows with pixels: 0 for an image without columns, which may have 2^31 rows.
int CountRows(Image2d const& image) noexcept { return image.bits && image.width > 0 ? image.height : 0; }

RowsInMemory RowsOf(Image2d const& image) noexcept { return {0, CountRows(image)}; }

/// Fills every row with one pixel; the padding is unchanged.
void FillPixels(Image2d& image, uint8_t const* pixel) noexcept {
  size_t const size = image.bytesPerPixel;
  size_t const count = static_cast<size_t>(image.width);
  for (int y : RowsOf(image)) {
    uint8_t* const row = image.GetLine(y);
    memcpy(row, pixel, size);
    Repeat(row, size, count);
  }
}

/// Fills the rows, padding included.
void FillRows(Image2d& image, int value) noexcept {
  size_t const size = static_cast<size_t>(std::max(image.stride, 0));
  for (int y : RowsOf(image)) memset(image.GetLine(y), value, size);
}

HRESULT CopyPixels(Image2d const& from, Image2d& to) noexcept {
  to.flags = from.flags;
  if (!from.bits) return S_OK;
  HRESULT const created = to.Create(from.format, from.width, from.height);
  if (Failed(created)) return created;
  memcpy(to.bits, from.bits, static_cast<size_t>(from.stride) * static_cast<size_t>(from.height));
  CopyPalette(from, to);
  return S_OK;
}

constexpr char CLEAR[] = "Image2d::ClearColor";

HRESULT FailEmpty(char const* operation) noexcept {
  return Fail(YK_E_EMPTY, operation, L"the image has no pixels");
}

}  // namespace

bool Image2d::GetPixel(point3df const& at, point4df& colour) noexcept {
  uint8_t const* const row = GetLine(IndexAt(at.y, height));
  if (!row || width < 1) return true;
  uint8_t const* const pixel =
      row + static_cast<size_t>(bytesPerPixel) * static_cast<size_t>(IndexAt(at.x, width));
  img::ConvertRow({pixel, format, palette}, {&colour, IMG_BGRAF}, 1);
  return true;
}

HRESULT Image2d::ClearColor(unsigned colour) noexcept {
  if (!bits) return FailEmpty(CLEAR);
  unsigned const c0 = colour & 0xFF;
  unsigned const c1 = colour >> 8 & 0xFF;
  unsigned const c2 = colour >> 16 & 0xFF;
  if (format == IMG_BGR24) {
    uint8_t const pixel[3] = {static_cast<uint8_t>(c2), static_cast<uint8_t>(c1), static_cast<uint8_t>(c0)};
    if (c0 == c1 && c1 == c2) {
      FillRows(*this, static_cast<int>(c0));
    } else {
      FillPixels(*this, pixel);
    }
    return S_OK;
  }
  // Contract: grey and BGRA images are filled but return E_NOTIMPL; BGRA has the reverse byte order.
  if (format == IMG_GRAY8) FillRows(*this, static_cast<int>((c0 + c1 + c2) / 3));
  if (format == IMG_BGRA32) FillPixels(*this, reinterpret_cast<uint8_t const*>(&colour));
  return Fail(E_NOTIMPL, CLEAR, L"the pixels are %S, not bgr24", img::GetFacts(format).name);
}

HRESULT Image2d::ClearColor(point4df const&) noexcept {
  return Fail(E_NOTIMPL, CLEAR, L"images are not filled with a colour of floats");
}

HRESULT Image2d::FlipH() noexcept {
  RowTable rows(*this);
  img::ShareEachRow(
      CountRows(*this), 2 * SizeOf(*this),
      [&](int y) { img::MirrorRow(rows[y], static_cast<size_t>(width), bytesPerPixel); }, rows);
  return S_OK;
}

HRESULT Image2d::FlipV() noexcept {
  if (!bits) return FailEmpty("Image2d::FlipV");
  size_t const size = static_cast<size_t>(std::max(width, 0)) * bytesPerPixel;
  RowTable rows(*this);
  img::ShareEachRow(
      CountRows(*this) / 2, 2 * SizeOf(*this),
      [&](int y) { img::SwapBytes(rows[y], rows[height - 1 - y], size); }, rows);
  return S_OK;
}

HRESULT Image2d::Crop(int left, int top, int right, int bottom, Image2d** result) noexcept {
  constexpr char OPERATION[] = "Image2d::Crop";
  if (!result) return FailNull(OPERATION, L"result");
  if (left < 0 || top < 0 || right > width || bottom > height || right <= left || bottom <= top) {
    return Fail(E_INVALIDARG, OPERATION, L"%d,%d,%d,%d is not inside %d \u00D7 %d pixels", left, top, right,
                bottom, int{width}, int{height});
  }
  if (!bits) return FailEmpty(OPERATION);
  int const w = right - left;
  int const h = bottom - top;
  Ref<Image2d> made = Ref<Image2d>::Adopt(Create());
  *result = made.get();  // Contract: dangling after a failure; callers check the result code
  if (!made) return E_OUTOFMEMORY;
  HRESULT const created = made->Create(format, w, h);
  if (Failed(created)) return created;
  Image2d& target = *(*result = made.Detach());

  CopyPalette(*this, target);
  if (bytesPerPixel == 0) {
    size_t const skip = static_cast<size_t>(left) / 8;
    size_t const count = (static_cast<size_t>(w) + 7) / 8;  // Contract: for pixels of four bits as well
    for (int y : RowsInMemory(0, h)) {
      CopyIndices(GetLine(top + y) + skip, static_cast<size_t>(stride) - skip, target.GetLine(y), count,
                  static_cast<unsigned>(left) % 8);
    }
    return S_OK;
  }
  size_t const count = static_cast<size_t>(w) * bytesPerPixel;
  for (int y : RowsInMemory(0, h)) memcpy(target.GetLine(y), GetLineEx(top + y, left), count);
  return S_OK;
}

HRESULT Image2d::Clone(Image2d** result) noexcept {
  constexpr char OPERATION[] = "Image2d::Clone";
  if (!result) return FailNull(OPERATION, L"result");
  *result = nullptr;
  Ref<Image2d> made = Ref<Image2d>::Adopt(Create());
  if (!made) return E_OUTOFMEMORY;
  HRESULT const copied = CopyPixels(*this, *made);
  if (Failed(copied)) return copied;
  made->name = name;
  bool const isNamed = made->name.Length() == name.Length();
  if (!isNamed || !img::CopyProperties(GetProperties(), *made))
    return Fail(E_OUTOFMEMORY, OPERATION, L"not enough memory for the name and the properties");
  *result = made.Detach();
  return S_OK;
}

HRESULT Image2d::PremultiplyAlpha() noexcept {
  if (format != IMG_BGRA32) {
    return Fail(YK_E_FORMAT, "Image2d::PremultiplyAlpha", L"the pixels are %S, not bgra32",
                img::GetFacts(format).name);
  }
  RowTable rows(*this);
  img::PremultiplyFunction const premultiply = img::BestPremultiply();
  img::ShareEachRow(
      CountRows(*this), 2 * SizeOf(*this),
      [&](int y) {
        premultiply({rows[y], 0, static_cast<size_t>(width), 1});
      },
      rows);
  return S_OK;
}

}  // namespace yk
