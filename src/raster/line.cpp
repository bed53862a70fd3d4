#include "line_p.h"

#include <math.h>

#include <algorithm>

#include "core/buffer_p.h"
#include "line_walk_p.h"
#include "pixel_paint_p.h"
#include "span_p.h"

namespace yk::raster {

namespace {

// Walks a line in Mode::PAINT, on pixels of SIZE bytes.
template <size_t SIZE>
void PaintLine(LineWalk const& line, LinePattern& pattern, Surface const& surface,
               Lanes const& ink) noexcept {
  ptrdiff_t const ahead = line.Ahead(surface.stride);
  WalkLine(line, pattern, {}, {}, [=](int x, int y, unsigned char share) {
    unsigned char* const pixel =
        surface.pixels + y * surface.stride + ptrdiff_t{x} * static_cast<ptrdiff_t>(SIZE);
    FetchAhead(pixel, ahead);
    PaintPixel<SIZE>(ink, pixel, share);
  });
}

}  // namespace

HRESULT DrawLine(Surface const& surface, Paint paint, point2d const& a, point2d const& b,
                 LinePattern& pattern) noexcept {
  if (surface.IsEmpty()) return S_FALSE;
  LineWalk const line(a, b, surface.clip, surface.clip);
  if (!line.IsVisible()) return S_FALSE;
  if (!CanPaint(surface, paint.mode)) return E_NOTIMPL;
  RowCover const cover(paint, surface.bytesPerPixel);
  if (paint.mode != Mode::PAINT) {
    WalkLine(line, pattern, {}, {},
             [&](int x, int y, unsigned char share) { cover(surface.At(x, y), &share, 1); });
  } else {
    (surface.bytesPerPixel == 4 ? PaintLine<4> : PaintLine<3>)(line, pattern, surface, cover.Ink());
  }
  return S_OK;
}

// ---- polylines

namespace {

// The coverage buffer of a polyline: as many rows as fit, but at least one.
constexpr int64_t COVERAGE_BYTES = 4 << 20;

// The coverage of the pixels in a rectangle.
class CoverageMap {
 public:
  /// Clears it. False when there is no memory.
  bool Reset(xrect2d const& newArea) noexcept {
    area = newArea;
    return coverage.Fill(Width(area) * static_cast<size_t>(area.bottom - area.top), 0);
  }

  xrect2d const& Area() const noexcept { return area; }
  ptrdiff_t Stride() const noexcept { return ptrdiff_t{area.right} - area.left; }
  void Plot(int x, int y, unsigned char share, ptrdiff_t ahead) noexcept {
    unsigned char& pixel = Row(y)[x - area.left];
    FetchAhead(&pixel, ahead);
    unsigned const before = pixel;  // always written: a branch here would wait for the pixel
    pixel = static_cast<unsigned char>(before > share ? before : share);
  }
  void PaintRow(int y, SpanPainter& painter) noexcept {
    painter.PaintRuns({area.left, y, area.right - area.left, Row(y)});
  }

 private:
  unsigned char* Row(int y) noexcept {
    return coverage.begin() + static_cast<size_t>(y - area.top) * Width(area);
  }

  xrect2d area;
  Buffer<unsigned char> coverage;
};

struct Polyline {
  Points const& points;
  Ends ends;
  xrect2d const& clip;

  xrect2d Box() const noexcept;
  LinePattern Plot(CoverageMap& map, LinePattern pattern) const noexcept;
};

// The pixels that the lines may touch, clamped to the range of integers.
xrect2d Polyline::Box() const noexcept {
  rect2d box;
  box.Empty();
  for (int i = 0; i < points.count; ++i) box.Add(points.At(i));
  auto const toInt = [](double value) { return static_cast<int>(std::clamp(value, -1e9, 1e9)); };
  return {toInt(floor(box.x1) - 1), toInt(floor(box.y1) - 1), toInt(ceil(box.x2) + 2),
          toInt(ceil(box.y2) + 2)};
}

// \return the pattern after the polyline
LinePattern Polyline::Plot(CoverageMap& map, LinePattern pattern) const noexcept {
  unsigned const firstStep = pattern.phase + 1;
  bool isFirst = true, firstIsSteep = false, wasSteep = false;
  int const lines = ends == Ends::CLOSED ? points.count : points.count - 1;
  // the line back to the first point; a last point that repeats the first adds none
  int closing = ends == Ends::CLOSED ? lines - 1 : -1;
  while (closing >= 0 && points.At(closing) == points.After(closing)) --closing;
  for (int i = 0; i < lines; ++i) {
    point2d const a = points.At(i), b = points.After(i);
    if (a == b) continue;  // compared after adding the offset, which may absorb a tiny difference
    LineWalk const line(a, b, clip, map.Area());
    bool const isSteep = line.IsSteep();
    if (isFirst) firstIsSteep = isSteep;
    JointStep const start = {!isFirst, isSteep != wasSteep, pattern.phase};
    JointStep const end = {i == closing, isSteep != firstIsSteep, firstStep};
    ptrdiff_t const ahead = line.Ahead(map.Stride());
    WalkLine(line, pattern, start, end,
             [&](int x, int y, unsigned char share) { map.Plot(x, y, share, ahead); });
    isFirst = false;
    wasSteep = isSteep;
  }
  return pattern;
}

// The number of rows of a rectangle whose coverage is buffered at a time.
int RowsAtOnce(xrect2d const& r) noexcept {
  int64_t const fitting = COVERAGE_BYTES / std::max<int64_t>(1, int64_t{r.right} - r.left);
  return static_cast<int>(std::max<int64_t>(1, fitting));
}

}  // namespace

HRESULT DrawPolyline(Surface const& surface, Paint paint, Points const& points, Ends ends,
                     LinePattern& pattern) noexcept {
  if (surface.IsEmpty()) return S_FALSE;
  if (!CanPaint(surface, paint.mode)) return E_NOTIMPL;
  Polyline const lines = {points, ends, surface.clip};
  xrect2d box = lines.Box();
  // outside the clip there is nothing to paint, but the pattern advances
  if (!surface.Clip(box)) box = {surface.clip.left, surface.clip.top, surface.clip.left, surface.clip.top};
  int const rows = RowsAtOnce(box);
  LinePattern after = pattern;
  CoverageMap map;
  SpanPainter painter(surface, paint);
  int top = box.top;
  do {
    int const bottom = box.bottom - top > rows ? top + rows : box.bottom;
    if (!map.Reset({box.left, top, box.right, bottom})) return E_OUTOFMEMORY;
    after = lines.Plot(map, pattern);
    for (; top < bottom; ++top) map.PaintRow(top, painter);
  } while (top < box.bottom);
  pattern = after;
  return painter.HasPainted() ? S_OK : S_FALSE;
}

}  // namespace yk::raster
