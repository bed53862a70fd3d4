// Rectangles on a device context: fills, frames, gradients, images, and operations that change alpha or
// colours in place.
//
// Operations with callbacks hold a reference to the context: a callback may release the last one.
#include "device_context_p.h"

#include <qecore/core/ref.h>
#include <qecore/draw/color.h>
#include <qecore/image/image.h>
#include <string.h>

#include "core/buffer_p.h"
#include "core/error_p.h"
#include "image/convert_p.h"
#include "image/indexed_p.h"

namespace yk {
namespace {

using draw::PaintOf;
using draw::Shifted;
using draw::SurfaceOf;
using raster::Surface;

xrect2d FromSize(int x, int y, int w, int h) noexcept { return {x, y, AddClamped(x, w), AddClamped(y, h)}; }

int Span(int from, int to) noexcept { return ClampToInt(int64_t{to} - from); }

// The weight of the second colour at a position in a gradient.
float Progress(int at, int from, int to) noexcept {
  return static_cast<float>((static_cast<double>(at) - from) / (static_cast<double>(to) - from));
}

// Calls fill(x, y, w, h) for the four edges of a frame. Top and bottom have the full width, so that each
// corner belongs to one edge.
template <class Fill>
void ForEachEdge(int x, int y, int w, int h, Fill fill) noexcept {
  int const lastX = AddClamped(AddClamped(x, w), -1), lastY = AddClamped(AddClamped(y, h), -1);
  int const innerTop = AddClamped(y, 1), innerHeight = AddClamped(h, -2);
  fill(x, y, w, 1);
  fill(x, lastY, w, 1);
  fill(x, innerTop, 1, innerHeight);
  fill(lastX, innerTop, 1, innerHeight);
}

unsigned WithAlphaDividedBy(unsigned colour, unsigned divisor) noexcept {
  return (colour & 0xFFFFFF) | (colour >> 24) / divisor << 24;
}

// Changes a rectangle of a surface with alpha: change(surface, rectangle).
template <class Change>
HRESULT ChangeAlpha(IDC const& dc, char const* operation, xrect2d const& r, Change change) noexcept {
  Surface const surface = SurfaceOf(dc);
  if (!surface.hasAlpha) return draw::Report(dc, operation, YK_E_EMPTY);
  return draw::Report(dc, operation, change(surface, Shifted(dc, r)));
}

// The part of an image that falls inside the clip.
struct Placement {
  xrect2d area;            // on the surface
  int64_t dx = 0, dy = 0;  // where the image's pixel (0, 0) is; 64-bit, since callers may pass any position

  // False when there is no such part.
  bool Set(IDC const& dc, Image2d const& source, int x, int y, xrect2d const* sourceRect) noexcept {
    xrect2d const whole(0, 0, source.width, source.height);
    xrect2d const wanted = sourceRect ? *sourceRect : whole;
    xrect2d part = wanted;
    if (!source.bits || !whole.Clip(part)) return false;
    dx = int64_t{x} + dc.originX - wanted.left;
    dy = int64_t{y} + dc.originY - wanted.top;
    area = xrect2d(ClampToInt(part.left + dx), ClampToInt(part.top + dy), ClampToInt(part.right + dx),
                   ClampToInt(part.bottom + dy));
    return SurfaceOf(dc).Clip(area);
  }

  int Column() const noexcept { return static_cast<int>(area.left - dx); }
  int Row(int y) const noexcept { return static_cast<int>(y - dy); }
};

// The colour of a pixel of less than a byte: a palette entry has the channels in their order.
unsigned IndexedColour(Image2d const& source, unsigned char const* row, int x) noexcept {
  unsigned colour;
  unsigned const bits = img::GetFacts(source.format).bits;
  memcpy(&colour, source.palette + img::IndexAt(row, bits, static_cast<size_t>(x)), sizeof colour);
  return colour;
}

// Pixels of a row as packed colours, from one on. False when their format cannot be converted.
bool ReadColours(Image2d& source, int row, int from, Buffer<unsigned>& colours) noexcept {
  unsigned char const* const pixels = source.GetLineEx(row, from);
  if (!source.bytesPerPixel) {
    for (unsigned& colour : colours) colour = IndexedColour(source, pixels, from++);
    return true;
  }
  int const count = static_cast<int>(colours.Count());
  if (Failed(img::ConvertRow({pixels, source.format, source.palette}, {colours.begin(), IMG_BGRA32}, count)))
    return false;
  // The conversion of grey copies it to alpha.
  bool const hasAlpha = img::GetFacts(source.format).paletteEntries || img::HasAlpha(source.format);
  unsigned const opaque = hasAlpha ? 0 : raster::ALPHA_BITS;
  for (unsigned& colour : colours) {  // red and blue change places
    colour = (colour & 0xFF00FF00) | (colour >> 16 & 0xFF) | (colour & 0xFF) << 16 | opaque;
  }
  return true;
}

// Paints one row of the surface.
void PaintColours(IDC const& dc, unsigned const* colours, xrect2d const& row) noexcept {
  Surface const surface = SurfaceOf(dc);
  if (dc.mode == IDC::MODE_PAINT) {
    raster::BlendColumns(surface, row, [&](int x) { return colours[x - row.left]; });
    return;
  }
  for (int x = row.left; x < row.right; ++x) {
    raster::RowFill const fill({draw::ModeOf(dc.mode), colours[x - row.left]}, surface.bytesPerPixel);
    fill(surface.At(x, row.top), 1);
  }
}

}  // namespace

// ---- fills

HRESULT IDC::FillRect(int x, int y, int w, int h) noexcept { return FillRect(FromSize(x, y, w, h)); }

HRESULT IDC::FillRect(xrect2d const& r) noexcept {
  HRESULT const result =
      draw::Report(*this, "IDC::FillRect", raster::Fill(SurfaceOf(*this), PaintOf(*this), Shifted(*this, r)));
  // Contract: S_FALSE from MODE_COPY on.
  return result == S_OK && mode >= MODE_COPY ? S_FALSE : result;
}

HRESULT IDC::FillRectWith(int x, int y, int w, int h, ColorCallback callback, void* context) noexcept {
  return FillRectWith(FromSize(x, y, w, h), callback, context);
}

HRESULT IDC::FillRectWith(xrect2d const& r, ColorCallback callback, void* context) noexcept {
  if (!callback) return FailNull("IDC::FillRectWith", L"callback");
  Ref<IDC> const held = Ref<IDC>::Share(this);
  return draw::Report(*this, "IDC::FillRectWith",
                      raster::BlendPixels(SurfaceOf(*this), Shifted(*this, r), [=, this](int x, int y) {
                        return callback(x - originX, y - originY, context);
                      }));
}

HRESULT IDC::FillGradientV(xrect2d const& r, unsigned first, unsigned second) noexcept {
  xrect2d const whole = Shifted(*this, r);
  HRESULT const result = raster::FillRows(SurfaceOf(*this), draw::ModeOf(mode), whole, [&](int y) {
    return BlendColor(second, first, Progress(y, whole.top, whole.bottom));
  });
  if (result == S_FALSE) return draw::Report(*this, "IDC::FillGradientV", result);
  return S_OK;  // Contract: even for an unknown mode
}

HRESULT IDC::FillGradientH(xrect2d const& r, unsigned first, unsigned second) noexcept {
  xrect2d const whole = Shifted(*this, r);
  HRESULT const result = raster::BlendColumns(SurfaceOf(*this), whole, [&](int x) {
    return BlendColor(second, first, Progress(x, whole.left, whole.right));
  });
  return draw::Report(*this, "IDC::FillGradientH", result);
}

// ---- frames

HRESULT IDC::FrameRect(xrect2d const& r) noexcept {
  return FrameRect(r.left, r.top, Span(r.left, r.right), Span(r.top, r.bottom));
}

HRESULT IDC::FrameRect(int x, int y, int w, int h) noexcept {
  ForEachEdge(x, y, w, h,
              [this](int left, int top, int width, int height) { FillRect(left, top, width, height); });
  return S_OK;
}

HRESULT IDC::FrameRectWith(int x, int y, int w, int h, ColorCallback callback, void* context) noexcept {
  if (!callback) return FailNull("IDC::FrameRectWith", L"callback");
  Ref<IDC> const held = Ref<IDC>::Share(this);
  ForEachEdge(x, y, w, h, [=, this](int left, int top, int width, int height) {
    FillRectWith(left, top, width, height, callback, context);
  });
  return S_OK;
}

HRESULT IDC::FrameRectWith(xrect2d const& r, ColorCallback callback, void* context) noexcept {
  return FrameRectWith(r.left, r.top, Span(r.left, r.right), Span(r.top, r.bottom), callback, context);
}

HRESULT IDC::FrameRoundRect(xrect2d const& r) noexcept {
  int const insideLeft = AddClamped(r.left, 1), insideTop = AddClamped(r.top, 1);
  int const lastX = AddClamped(r.right, -1), lastY = AddClamped(r.bottom, -1);
  int const insideX = AddClamped(r.right, -2), insideY = AddClamped(r.bottom, -2);
  int const length = AddClamped(Span(r.left, r.right), -2), height = AddClamped(Span(r.top, r.bottom), -2);
  FillRect(insideLeft, r.top, length, 1);
  FillRect(insideLeft, lastY, length, 1);
  FillRect(r.left, insideTop, 1, height);
  FillRect(lastX, insideTop, 1, height);

  unsigned const third = WithAlphaDividedBy(colour, 3), fifth = WithAlphaDividedBy(colour, 5);
  for (int y : {insideTop, insideY}) {
    for (int x : {insideLeft, insideX}) BlendPixel(x, y, third);
  }
  for (int y : {r.top, lastY}) {
    for (int x : {r.left, lastX}) BlendPixel(x, y, fifth);
  }
  return S_OK;
}

HRESULT IDC::FrameBevel(xrect2d const& r, unsigned light, unsigned dark, int frameWidth) noexcept {
  return draw::Report(
      *this, "IDC::FrameBevel",
      raster::FillBevel(SurfaceOf(*this), draw::ModeOf(mode), {Shifted(*this, r), frameWidth, light, dark}));
}

// ---- images and visibility

HRESULT IDC::DrawImage(Image2d* source, int x, int y, xrect2d const* sourceRect, PixelCallback callback,
                       void* context) noexcept {
  constexpr char OPERATION[] = "IDC::DrawImage";
  if (!source || !callback) return FailNull(OPERATION, source ? L"callback" : L"source");
  Placement place;
  if (!place.Set(*this, *source, x, y, sourceRect)) return draw::Report(*this, OPERATION, S_FALSE);
  Ref<IDC> const held = Ref<IDC>::Share(this);
  Ref<Image2d> const heldSource = Ref<Image2d>::Share(source);
  raster::ForEachRowDown(SurfaceOf(*this), place.area, [&](unsigned char* pixel, int row) {
    unsigned char const* sourcePixel = source->GetLineEx(place.Row(row), place.Column());
    for (size_t i = raster::Width(place.area); i > 0;
         --i, pixel += bytesPerPixel, sourcePixel += source->bytesPerPixel) {
      callback(pixel, sourcePixel, context);
    }
  });
  return S_OK;
}

HRESULT IDC::DrawImage(Image2d* source, int x, int y, xrect2d const* sourceRect) noexcept {
  constexpr char OPERATION[] = "IDC::DrawImage";
  if (!source) return FailNull(OPERATION, L"source");
  Placement place;
  if (!place.Set(*this, *source, x, y, sourceRect)) return draw::Report(*this, OPERATION, S_FALSE);
  if (!draw::CanPaint(*this)) return draw::Report(*this, OPERATION, E_NOTIMPL);
  Buffer<unsigned> colours;
  if (!colours.Resize(raster::Width(place.area))) return draw::Report(*this, OPERATION, E_OUTOFMEMORY);
  for (int row = place.area.top; row < place.area.bottom; ++row) {
    if (!ReadColours(*source, place.Row(row), place.Column(), colours))
      return Fail(E_INVALIDARG, OPERATION, L"%S pixels cannot be painted",
                  img::GetFacts(source->format).name);
    PaintColours(*this, colours.begin(), {place.area.left, row, place.area.right, row + 1});
  }
  return S_OK;
}

bool IDC::IsVisible(xrect2d const& r) noexcept {
  xrect2d area = Shifted(*this, r);
  return clip.Clip(area);
}

// ---- alpha and adjustment

HRESULT IDC::SetAlpha(xrect2d const& r, unsigned char alpha) noexcept {
  return ChangeAlpha(*this, "IDC::SetAlpha", r, [=](Surface const& surface, xrect2d const& area) {
    return raster::SetAlpha(surface, area, alpha);
  });
}

HRESULT IDC::PremultiplyAlpha(xrect2d const& r) noexcept {
  return ChangeAlpha(*this, "IDC::PremultiplyAlpha", r, [](Surface const& surface, xrect2d const& area) {
    return raster::Premultiply(surface, area);
  });
}

HRESULT IDC::WhitenOpaque(xrect2d const& r) noexcept {
  return ChangeAlpha(*this, "IDC::WhitenOpaque", r, [](Surface const& surface, xrect2d const& area) {
    return raster::Whiten(surface, area);
  });
}

HRESULT IDC::Adjust(xrect2d const* r, int a, int b, IADJUSTMENT* adjustment) noexcept {
  if (!adjustment) return FailNull("IDC::Adjust", L"adjustment");
  Surface const surface = SurfaceOf(*this);
  xrect2d area = r ? Shifted(*this, *r) : clip;
  if (!surface.Clip(area)) return draw::Report(*this, "IDC::Adjust", S_FALSE);
  if (adjustment->lift != a || adjustment->contrast != b) adjustment->Init(a, b);
  return raster::Translate(surface, area, adjustment->table);
}

}  // namespace yk
