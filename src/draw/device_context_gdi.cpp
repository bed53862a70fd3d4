// Drawing by GDI on a device context: text and aliased polygons, as masks whose coverage is then painted.
#include "device_context_p.h"

#include <math.h>
#include <qecore/values/string.h>
#include <wchar.h>

#include <algorithm>

#include "core/buffer_p.h"
#include "core/error_p.h"
#include "gdi_p.h"
#include "raster/span_p.h"

namespace yk {
namespace {

using draw::BorrowedCanvas;
using draw::Canvas;
using draw::GdiMask;
using draw::Selected;
using Coverage = Buffer<unsigned char>;
using Corners = Buffer<POINT>;

constexpr COLORREF BLACK = RGB(0, 0, 0);

// A polygon's mask holds the coverage of both colours: of the fill in the red bytes, of the outline in the
// blue ones.
constexpr COLORREF FILL_MASK = RGB(255, 0, 0);
constexpr COLORREF OUTLINE_MASK = RGB(0, 0, 255);
constexpr int FILL_BYTE = 2;
constexpr int OUTLINE_BYTE = 0;

// The greatest distance of coordinates passed to GDI from the visible area, and the widest pen.
constexpr int FAR_AWAY = 0x4000;
constexpr int WIDEST_PEN = FAR_AWAY - 1;

// Paints the mask held in one of the three bytes of each pixel.
HRESULT PaintMask(IDC const& dc, unsigned colour, GdiMask const& mask, int byte) noexcept {
  Coverage coverage;
  if (!coverage.Resize(raster::Width(mask.Area()))) return E_OUTOFMEMORY;
  raster::Surface const surface = draw::SurfaceOf(dc);
  raster::SpanPainter painter(surface, draw::PaintOf(dc, colour));
  raster::ForEachRow(surface, mask.Area(), [&](unsigned char*, int y) {
    unsigned char const* next = mask.Row(y - mask.Area().top) + byte;
    for (unsigned char& share : coverage) {
      share = *next;
      next += 3;
    }
    painter.PaintRuns({mask.Area().left, y, mask.Columns(), coverage.begin()});
  });
  return S_OK;
}

// ---- text

struct Text {
  wchar_t const* characters;
  int length;
  unsigned format;
};

// \return the height; 0 when GDI fails
int CallDrawText(HDC dc, Text const& text, unsigned format, RECT& r) noexcept {
  return DrawTextW(dc, text.characters, text.length, &r, format);
}

RECT ToRect(xrect2d const& r) noexcept { return {r.left, r.top, r.right, r.bottom}; }
xrect2d FromRect(RECT const& r) noexcept { return {r.left, r.top, r.right, r.bottom}; }

HRESULT MeasureText(Canvas& canvas, Text const& text, xrect2d& r) noexcept {
  RECT measured = ToRect(r);
  if (!CallDrawText(canvas.Dc(), text, text.format, measured) && text.length > 0) return E_FAIL;
  r = FromRect(measured);
  return S_OK;
}

HRESULT Measured(IDC const& dc, Text const& text, xrect2d& r) noexcept {
  BorrowedCanvas const canvas;
  if (!canvas) return E_FAIL;
  Selected const font(canvas->Dc(), GetCurrentObject(dc.memoryDC, OBJ_FONT));
  return MeasureText(*canvas, text, r);
}

// Flags that do not affect the size of text, or only make it smaller; it is measured without them.
constexpr unsigned PLACING =
    DT_CENTER | DT_RIGHT | DT_VCENTER | DT_BOTTOM | DT_END_ELLIPSIS | DT_PATH_ELLIPSIS | DT_WORD_ELLIPSIS;

// In a rectangle with fewer pixels, measuring the text is not worth it.
constexpr double FEW_PIXELS = 16384;

bool IsTurned(HDC dc) noexcept {
  LOGFONTW font = {};
  GetObjectW(GetCurrentObject(dc, OBJ_FONT), sizeof font, &font);
  return font.lfEscapement != 0 || font.lfOrientation != 0;
}

// Whether the position of the text follows from its size and alignment.
bool IsPlaced(IDC const& dc, unsigned format) noexcept {
  bool const isUpright = (format & (DT_VCENTER | DT_BOTTOM)) == 0 || (format & DT_SINGLELINE) != 0;
  return isUpright && !(format & DT_RTLREADING) && !IsTurned(dc.memoryDC);
}

enum class Alignment { FIRST, MIDDLE, LAST };

Alignment AlignmentOf(unsigned format, unsigned middle, unsigned last) noexcept {
  if (format & last) return Alignment::LAST;
  return format & middle ? Alignment::MIDDLE : Alignment::FIRST;
}

// The start of a piece of the given length that is aligned between two ends.
int Align(int from, int to, int length, Alignment alignment) noexcept {
  int64_t const room = int64_t{to} - from - length;
  int64_t const before[] = {0, room / 2, room};
  return ClampToInt(from + before[static_cast<int>(alignment)]);
}

// The area that text may touch: its box plus a margin of its height, since glyphs may extend beyond it;
// without DT_NOCLIP clipped to the rectangle.
xrect2d TextArea(Canvas& canvas, IDC const& dc, Text const& text, xrect2d const& r) noexcept {
  unsigned const format = text.format;
  xrect2d const frame = draw::Shifted(dc, r);
  if (format & DT_TABSTOP) return frame;  // its upper bits are then not flags
  double const pixels = (static_cast<double>(r.right) - r.left) * (static_cast<double>(r.bottom) - r.top);
  if (!(format & DT_NOCLIP) && pixels < FEW_PIXELS) return frame;
  xrect2d size = r;
  Text const measured = {text.characters, text.length, (format & ~PLACING) | DT_CALCRECT};
  if (Failed(MeasureText(canvas, measured, size))) return frame;
  size.Normalize();
  int const w = ClampToInt(int64_t{size.right} - size.left), h = ClampToInt(int64_t{size.bottom} - size.top);
  xrect2d area = frame;
  if (IsPlaced(dc, format)) {
    area.left = Align(frame.left, frame.right, w, AlignmentOf(format, DT_CENTER, DT_RIGHT));
    area.top = Align(frame.top, frame.bottom, h, AlignmentOf(format, DT_VCENTER, DT_BOTTOM));
    area.right = AddClamped(area.left, w);
    area.bottom = AddClamped(area.top, h);
    area.Inflate(h, h);
  } else if (format & DT_NOCLIP) {
    area.Normalize();
    area.Inflate(AddClamped(w, h), AddClamped(w, h));
  }
  if (!(format & DT_NOCLIP)) frame.Clip(area);
  return area;
}

// Draws text into a mask. False when GDI fails.
bool DrawInto(GdiMask const& mask, Text const& text, xrect2d const& r, COLORREF colour) noexcept {
  RECT where = ToRect(r);
  SetBkMode(mask.Dc(), TRANSPARENT);
  ::SetTextColor(mask.Dc(), colour);
  int const height = CallDrawText(mask.Dc(), text, text.format, where);
  GdiFlush();
  return height != 0;
}

// Yellow text on blue is white on black in its red and green bytes, and black on white in its blue ones; blue
// text on yellow is the other way round.
constexpr COLORREF YELLOW = RGB(255, 255, 0);
constexpr COLORREF BLUE = RGB(0, 0, 255);

// Of a pixel of either: how much text there is in its three bytes together.
unsigned YellowText(unsigned char const* pixel) noexcept { return pixel[2] + pixel[1] + 255u - pixel[0]; }
unsigned BlueText(unsigned char const* pixel) noexcept { return 3 * 255 - YellowText(pixel); }

// Eight pixels, of which most are blue, hence without any text.
constexpr int BLOCK = 8;

bool IsBlue(unsigned char const* block) noexcept {
  uint64_t words[3];
  static_assert(sizeof words == 3 * BLOCK);
  memcpy(words, block, sizeof words);
  return words[0] == 0x00FF0000FF0000FF && words[1] == 0xFF0000FF0000FF00 && words[2] == 0x0000FF0000FF0000;
}

// Takes the coverage of yellow text. \return bits in which red and green differ
int TakePixels(unsigned char const* pixel, unsigned char* shares, int count) noexcept {
  int differing = 0;
  for (int i = 0; i < count; ++i, pixel += 3) {
    shares[i] = static_cast<unsigned char>((pixel[2] + 255 - pixel[0] + 1) / 2);
    differing |= pixel[1] ^ pixel[2];
  }
  return differing;
}

bool TakeRow(unsigned char const* pixels, unsigned char* shares, int count) noexcept {
  int differing = 0;
  for (; count >= BLOCK; count -= BLOCK, pixels += ptrdiff_t{3} * BLOCK, shares += BLOCK) {
    if (IsBlue(pixels)) {
      memset(shares, 0, BLOCK);
    } else {
      differing |= TakePixels(pixels, shares, BLOCK);
    }
  }
  return (differing | TakePixels(pixels, shares, count)) == 0;
}

// False when red and green differ anywhere.
bool TakeMask(GdiMask const& mask, Coverage& coverage) noexcept {
  for (int y = 0; y < mask.Rows(); ++y)
    if (!TakeRow(mask.Row(y), coverage.begin() + ptrdiff_t{mask.Columns()} * y, mask.Columns())) return false;
  return true;
}

// Calls use(pixel, index) for all pixels of a mask.
template <class Use>
void ForEachPixel(GdiMask const& mask, Use use) noexcept {
  size_t index = 0;
  for (int y = 0; y < mask.Rows(); ++y) {
    unsigned char const* pixel = mask.Row(y);
    for (int x = 0; x < mask.Columns(); ++x, pixel += 3) use(pixel, index++);
  }
}

// Adds to the mask of yellow text what the other colours show of it.
HRESULT CoverAgain(Text const& text, xrect2d const& where, GdiMask& mask, Coverage& coverage) noexcept {
  Buffer<uint16_t> sums;
  if (!sums.Resize(coverage.Count())) return E_OUTOFMEMORY;
  ForEachPixel(mask, [&](unsigned char const* pixel, size_t i) {
    sums[i] = static_cast<uint16_t>(YellowText(pixel));
  });
  mask.Fill(YELLOW);
  if (!DrawInto(mask, text, where, BLUE)) return E_FAIL;
  ForEachPixel(mask, [&](unsigned char const* pixel, size_t i) {
    coverage[i] = static_cast<unsigned char>((sums[i] + BlueText(pixel) + 3) / 6);
  });
  return S_OK;
}

// GDI applies a gamma curve to coverage, which makes light letters bolder and dark ones thinner by the same
// amount: the true coverage is the mean of white on black and black on white. One call draws both, unless GDI
// smooths each of the three bytes on its own.
HRESULT CoverText(Text const& text, xrect2d const& where, GdiMask& mask, Coverage& coverage) noexcept {
  mask.Fill(BLUE);
  if (!DrawInto(mask, text, where, YELLOW)) return E_FAIL;
  return TakeMask(mask, coverage) ? S_OK : CoverAgain(text, where, mask, coverage);
}

HRESULT PaintClippedText(Canvas& canvas, IDC const& dc, Text const& text, xrect2d const& r,
                         xrect2d const& area) noexcept {
  GdiMask mask(canvas, area);
  if (!mask.Make()) return E_FAIL;
  size_t const columns = raster::Width(area);
  Coverage coverage;
  if (!coverage.Resize(columns * static_cast<size_t>(mask.Rows()))) return E_OUTOFMEMORY;
  HRESULT const result = CoverText(text, draw::Shifted(dc, r), mask, coverage);
  if (Failed(result)) return result;
  raster::Surface const surface = draw::SurfaceOf(dc);
  raster::SpanPainter painter(surface, draw::PaintOf(dc));
  raster::ForEachRow(surface, area, [&](unsigned char*, int y) {
    unsigned char const* const shares = coverage.begin() + columns * static_cast<size_t>(y - area.top);
    painter.PaintRuns({area.left, y, mask.Columns(), shares});
  });
  return S_OK;
}

HRESULT PaintOnSurface(IDC const& dc, Text const& text, xrect2d const& r) noexcept {
  if (!dc.bits || text.length == 0) return S_FALSE;
  if (!draw::CanPaint(dc)) return E_NOTIMPL;
  BorrowedCanvas const canvas;
  if (!canvas) return E_FAIL;
  Selected const font(
      canvas->Dc(),
      GetCurrentObject(dc.memoryDC, OBJ_FONT));  // once: it takes the system longer than the text does
  xrect2d area = TextArea(*canvas, dc, text, r);
  if (!draw::SurfaceOf(dc).Clip(area)) return S_FALSE;
  return PaintClippedText(*canvas, dc, text, r, area);
}

// ---- polygons

xrect2d Bounds(POINT const* points, int count) noexcept {
  xrect2d box(points[0].x, points[0].y, points[0].x, points[0].y);
  for (int i = 1; i < count; ++i) box.Add(points[i].x, points[i].y);
  return box;
}

// The points in surface coordinates. False when there is no memory.
bool ShiftInto(Corners& corners, IDC const& dc, POINT const* points, int count) noexcept {
  if (!corners.Reserve(static_cast<size_t>(count) + 1)) return false;
  for (int i = 0; i < count; ++i) {
    corners.Append({AddClamped(points[i].x, dc.originX), AddClamped(points[i].y, dc.originY)});
  }
  return true;
}

int Rounded(double value) noexcept { return static_cast<int>(floor(value + 0.5)); }

enum class Axis { X, Y };
enum class Limit { LEAST, MOST };

// One of the four sides of a box: the minimum or maximum of a coordinate.
struct Side {
  Axis axis;
  Limit kind;
  int limit;

  int Of(POINT const& p) const noexcept { return axis == Axis::Y ? p.y : p.x; }
  bool Contains(POINT const& p) const noexcept {
    return kind == Limit::LEAST ? Of(p) >= limit : Of(p) <= limit;
  }

  POINT Intersection(POINT const& a, POINT const& b) const noexcept {
    double const t = (static_cast<double>(limit) - Of(a)) / (static_cast<double>(Of(b)) - Of(a));
    double const dx = (static_cast<double>(b.x) - a.x) * t, dy = (static_cast<double>(b.y) - a.y) * t;
    return axis == Axis::Y ? POINT{Rounded(a.x + dx), limit} : POINT{limit, Rounded(a.y + dy)};
  }
};

bool ClipToSide(Side const& side, Corners& from, Corners& to) noexcept {
  to.Shrink(0);
  for (size_t i = 0; i < from.Count(); ++i) {
    POINT const& a = from[i];
    POINT const& b = from[i + 1 < from.Count() ? i + 1 : 0];
    if (side.Contains(a) && !to.Append(a)) return false;
    if (side.Contains(a) != side.Contains(b) && !to.Append(side.Intersection(a, b))) return false;
  }
  return true;
}

// Clips a closed outline to a box; parts outside are moved to the box's sides. The result is in `corners`.
bool ClipToBox(Corners& corners, xrect2d const& box) noexcept {
  Corners other;
  return ClipToSide({Axis::X, Limit::LEAST, box.left}, corners, other) &&
         ClipToSide({Axis::Y, Limit::LEAST, box.top}, other, corners) &&
         ClipToSide({Axis::X, Limit::MOST, box.right}, corners, other) &&
         ClipToSide({Axis::Y, Limit::MOST, box.bottom}, other, corners);
}

// Both return false when GDI fails: it would otherwise paint with the objects selected before.

bool FillMask(HDC dc, Corners& corners) noexcept {
  draw::GdiObject const brush(CreateSolidBrush(FILL_MASK));
  if (!brush.get()) return false;
  Selected const noPen(dc, GetStockObject(NULL_PEN)), selected(dc, brush.get());
  return Polygon(dc, corners.begin(), static_cast<int>(corners.Count()));
}

// The outline is drawn over the fill and removes it; the first corner is repeated at the end.
bool OutlineMask(HDC dc, Corners& corners, int penWidth) noexcept {
  draw::GdiObject const pen(CreatePen(PS_SOLID, penWidth, OUTLINE_MASK));
  if (!pen.get()) return false;
  Selected const selected(dc, pen.get());
  return Polyline(dc, corners.begin(), static_cast<int>(corners.Count()));
}

struct PolygonLook {
  unsigned fill, outline;  // colours
  int penWidth;
};

HRESULT PaintPolygon(IDC const& dc, POINT const* points, int count, PolygonLook const& look) noexcept {
  if (!draw::CanPaint(dc)) return E_NOTIMPL;
  int const pen = std::min(look.penWidth, WIDEST_PEN);
  xrect2d area = draw::Shifted(dc, Bounds(points, count));
  area.Inflate(pen + 1, pen + 1);
  if (!draw::SurfaceOf(dc).Clip(area)) return S_FALSE;
  xrect2d reach = area;
  reach.Inflate(FAR_AWAY, FAR_AWAY);
  Corners corners;
  if (!ShiftInto(corners, dc, points, count) || !ClipToBox(corners, reach)) return E_OUTOFMEMORY;
  if (corners.Count() < 2) return S_FALSE;

  BorrowedCanvas const canvas;
  if (!canvas) return E_FAIL;
  GdiMask mask(*canvas, area);
  if (!mask.Make()) return E_FAIL;
  mask.Fill(BLACK);
  if (look.fill >> 24 && !FillMask(mask.Dc(), corners)) return E_FAIL;
  if (!corners.Append(POINT(corners[0]))) return E_OUTOFMEMORY;
  if (look.outline >> 24 && !OutlineMask(mask.Dc(), corners, pen)) return E_FAIL;
  GdiFlush();
  HRESULT const result = PaintMask(dc, look.fill, mask, FILL_BYTE);
  return Failed(result) ? result : PaintMask(dc, look.outline, mask, OUTLINE_BYTE);
}

}  // namespace

HRESULT IDC::DrawPolygon(POINT const* points, int count, unsigned fill, unsigned outline,
                         int penWidth) noexcept {
  constexpr char OPERATION[] = "IDC::DrawPolygon";
  if (!points) return FailNull(OPERATION, L"points");
  if (count < 0 || penWidth < 0)
    return Fail(E_INVALIDARG, OPERATION, L"the count or the pen width is negative");
  if (count < 2 || !bits) return draw::Report(*this, OPERATION, S_FALSE);
  return draw::Report(*this, OPERATION, PaintPolygon(*this, points, count, {fill, outline, penWidth}));
}

HRESULT IDC::PaintText(String const& text, xrect2d* r, unsigned format) noexcept {
  return PaintText(text.c_str(), ClampToInt(static_cast<int64_t>(text.Length())), r, format);
}

HRESULT IDC::PaintText(wchar_t const* text, int length, xrect2d* r, unsigned format) noexcept {
  constexpr char OPERATION[] = "IDC::PaintText";
  if (!text || !r) return FailNull(OPERATION, text ? L"r" : L"text");
  if (length < -1) return Fail(E_INVALIDARG, OPERATION, L"%d is not a valid text length", length);
  int const count = length >= 0 ? length : ClampToInt(static_cast<int64_t>(wcslen(text)));
  // DT_MODIFYSTRING would let GDI write an ellipsis into the caller's text
  Text const given = {text, count, format & ~static_cast<unsigned>(DT_MODIFYSTRING)};
  bool const measures = (format & DT_CALCRECT) && !(format & DT_TABSTOP);  // whose width uses the same bits
  HRESULT const result = measures ? Measured(*this, given, *r) : PaintOnSurface(*this, given, *r);
  return draw::Report(*this, OPERATION, result);
}

}  // namespace yk
