#include "line_p.h"

#include <math.h>

#include <algorithm>

namespace yk::draw {
namespace {

// Whether the pixels that a line between two places touches reach into a range of pixels.
bool Reaches(double a, double b, int low, int high) noexcept {
  return std::min(a, b) < high && std::max(a, b) > low - 1.0;
}

}  // namespace

LineWalk::LineWalk(point2d const& a, point2d const& b, xrect2d const& clip, int ends) noexcept {
  if (a == b) return;
  steep = fabs(b.y - a.y) > fabs(b.x - a.x);
  origin = steep ? a.y : a.x;
  offset = steep ? a.x : a.y;
  double const goal = steep ? b.y : b.x;
  slope = ((steep ? b.x : b.y) - offset) / (goal - origin);
  alongLow = steep ? clip.top : clip.left;
  alongHigh = steep ? clip.bottom : clip.right;
  acrossLow = steep ? clip.left : clip.top;
  acrossHigh = steep ? clip.right : clip.bottom;

  start = floor(origin + 0.5);
  double const stop = floor(goal + 0.5);
  direction = stop < start ? -1 : 1;
  begin = first = ends & NO_FIRST ? 1 : 0;
  end = last = std::max(begin, fabs(stop - start) + (ends & NO_LAST ? 0 : 1));

  visible = Reaches(a.x, b.x, clip.left, clip.right) && Reaches(a.y, b.y, clip.top, clip.bottom);
  if (!visible) return;
  Narrow(alongLow, alongHigh);
  if (slope != 0) {
    Narrow(origin + (acrossLow - 1.0 - offset) / slope, origin + (acrossHigh - offset) / slope);
  }
  walked = last > first ? static_cast<int>(last - first) : 0;
}

// Drops the steps that do not lie between two places along the line, in either order; one more stays at each
// end.
void LineWalk::Narrow(double from, double to) noexcept {
  double const a = (from - start) * direction;
  double const b = (to - start) * direction;
  first = std::clamp(floor(std::min(a, b)) - 1, first, end);
  last = std::clamp(ceil(std::max(a, b)) + 2, begin, last);
}

unsigned LineWalk::Modulo(double count) noexcept { return static_cast<unsigned>(fmod(count, 4294967296.0)); }

double LineWalk::Floor(double value) noexcept { return floor(value); }

}  // namespace yk::draw
