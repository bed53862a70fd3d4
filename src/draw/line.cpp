#include "line_p.h"

#include <math.h>
#include <string.h>

#include <algorithm>

namespace yk::draw {
namespace {

// Whether the pixels that a line between two places touches reach into a range of pixels.
bool Reaches(double a, double b, int low, int high) noexcept {
  return std::min(a, b) < high && std::max(a, b) > low - 1.0;
}

// How much coverage a polyline keeps at a time: as many rows as fit, and at least one.
constexpr int64_t RASTER_BYTES = 4 << 20;

// A count of steps, which may be more than an integer holds.
unsigned Modulo(double count) noexcept { return static_cast<unsigned>(fmod(count, 4294967296.0)); }

}  // namespace

LineWalk::LineWalk(point2d const& a, point2d const& b, xrect2d const& clip) noexcept {
  if (a == b) return;
  steep = fabs(b.y - a.y) > fabs(b.x - a.x);
  origin = steep ? a.y : a.x;
  offset = steep ? a.x : a.y;
  double const goal = steep ? b.y : b.x;
  slope = ((steep ? b.x : b.y) - offset) / (goal - origin);
  acrossLow = steep ? clip.left : clip.top;
  acrossHigh = steep ? clip.right : clip.bottom;

  // the places of the first and the last step
  double const start = floor(origin + 0.5);
  double const stop = floor(goal + 0.5);
  direction = stop < start ? -1 : 1;
  all = Modulo((stop - start) * direction + 1);

  visible = Reaches(a.x, b.x, clip.left, clip.right) && Reaches(a.y, b.y, clip.top, clip.bottom);
  if (!visible) return;
  double low = std::max<double>(std::min(start, stop), steep ? clip.top : clip.left);
  double high = std::min<double>(std::max(start, stop), (steep ? clip.bottom : clip.right) - 1.0);
  if (slope != 0) {  // where the line passes the clip on the other axis, and a step more at each end
    double const enters = origin + (acrossLow - 1.0 - offset) / slope;
    double const leaves = origin + (acrossHigh - offset) / slope;
    low = std::max(low, floor(std::min(enters, leaves)) - 1);
    high = std::min(high, ceil(std::max(enters, leaves)) + 1);
  }
  if (!(high >= low)) return;
  first = direction > 0 ? low : high;
  before = Modulo(fabs(first - start));
  walked = static_cast<int>(high - low) + 1;
}

double LineWalk::Floor(double value) noexcept { return floor(value); }

// ---- polylines

// The coverage of the pixels of a rectangle.
struct Polyline::Raster {
  xrect2d area;
  Buffer<unsigned char> coverage;

  size_t Width() const noexcept { return static_cast<size_t>(area.right - area.left); }
  size_t Height() const noexcept { return static_cast<size_t>(area.bottom - area.top); }
  unsigned char* Row(int y) noexcept {
    return coverage.begin() + static_cast<size_t>(y - area.top) * Width();
  }
  void Plot(int x, int y, unsigned char share) noexcept {
    unsigned char& pixel = Row(y)[x - area.left];
    pixel = std::max(pixel, share);
  }
  void TellRow(int y, Sink sink, void* context) noexcept;
};

// Tells the runs of a row that have pixels; a run ends where there are none for a while.
void Polyline::Raster::TellRow(int y, Sink sink, void* context) noexcept {
  constexpr size_t BLOCK = 8;
  unsigned char const* const row = Row(y);
  auto const hasInk = [=, this](size_t x) {
    uint64_t block = 0;
    memcpy(&block, row + x, std::min(BLOCK, Width() - x));
    return block != 0;
  };
  for (size_t x = 0; x < Width(); x += BLOCK) {
    if (!hasInk(x)) continue;
    size_t const from = x;
    while (x < Width() && hasInk(x)) x += BLOCK;
    size_t const to = std::min(x, Width());
    sink(context, area.left + static_cast<int>(from), y, row + from, static_cast<int>(to - from));
  }
}

// What the lines may touch, as far as integers reach.
xrect2d Polyline::Box() const noexcept {
  rect2d box;
  box.Empty();
  for (int i = 0; i < count; ++i) box.Add(At(i));
  auto const toInt = [](double value) { return static_cast<int>(std::clamp(value, -1e9, 1e9)); };
  return {toInt(floor(box.x1) - 1), toInt(floor(box.y1) - 1), toInt(ceil(box.x2) + 2),
          toInt(ceil(box.y2) + 2)};
}

// \return the pattern after it
LinePattern Polyline::Walk(Raster& raster, LinePattern pattern) const noexcept {
  unsigned const firstStep = pattern.phase + 1;
  bool isFirst = true, firstIsSteep = false, wasSteep = false;
  int const lines = closed ? count : count - 1;
  auto const next = [this](int i) { return At(i + 1 < count ? i + 1 : 0); };
  int closing = closed ? lines - 1 : -1;  // a last point that repeats the first adds no line
  while (closing >= 0 && At(closing) == next(closing)) --closing;
  for (int i = 0; i < lines; ++i) {
    point2d const a = At(i), b = next(i);
    if (a == b) continue;  // seen with what is added, which may have swallowed a tiny difference
    LineWalk const line(a, b, raster.area);
    bool const isSteep = line.IsSteep();
    if (isFirst) firstIsSteep = isSteep;
    JointStep const start = {!isFirst, isSteep != wasSteep, pattern.phase};
    JointStep const end = {i == closing, isSteep != firstIsSteep, firstStep};
    WalkLine(line, pattern, start, end, [&](int x, int y, unsigned char share) { raster.Plot(x, y, share); });
    isFirst = false;
    wasSteep = isSteep;
  }
  return pattern;
}

bool Polyline::Tell(xrect2d const& clip, LinePattern& pattern, Sink sink, void* context) const noexcept {
  xrect2d box = Box();
  if (!clip.Clip(box)) box = {clip.left, clip.top, clip.left, clip.top};  // the pattern moves on all the same
  LinePattern const before = pattern;
  Raster raster;
  raster.area = box;
  int64_t const fitting = RASTER_BYTES / std::max<int64_t>(1, int64_t{box.right} - box.left);
  int const rows = static_cast<int>(std::max<int64_t>(1, fitting));
  do {
    raster.area.bottom = box.bottom - raster.area.top > rows ? raster.area.top + rows : box.bottom;
    if (!raster.coverage.Fill(raster.Width() * raster.Height(), 0)) return false;
    pattern = Walk(raster, before);
    for (int y = raster.area.top; y < raster.area.bottom; ++y) raster.TellRow(y, sink, context);
    raster.area.top = raster.area.bottom;
  } while (raster.area.top < box.bottom);
  return true;
}

}  // namespace yk::draw
