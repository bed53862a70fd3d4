#include "line_walk_p.h"

#include <algorithm>

namespace yk::raster {
namespace {

// Whether the pixels touched by a line between two positions extend into a range of pixels.
bool Reaches(double a, double b, int low, int high) noexcept {
  return std::min(a, b) < high && std::max(a, b) > low - 1.0;
}

// A step count modulo 2^32, since it may exceed an integer.
unsigned Modulo(double count) noexcept { return static_cast<unsigned>(fmod(count, 4294967296.0)); }

}  // namespace

LineWalk::LineWalk(point2d const& a, point2d const& b, xrect2d const& clip, xrect2d const& area) noexcept {
  if (a == b) return;
  steep = fabs(b.y - a.y) > fabs(b.x - a.x);
  origin = steep ? a.y : a.x;
  offset = steep ? a.x : a.y;
  double const goal = steep ? b.y : b.x;
  slope = ((steep ? b.x : b.y) - offset) / (goal - origin);
  acrossLow = steep ? area.left : area.top;
  acrossHigh = steep ? area.right : area.bottom;

  // the positions of the first and the last step
  double const start = floor(origin + 0.5);
  double const stop = floor(goal + 0.5);
  direction = stop < start ? -1 : 1;
  all = Modulo((stop - start) * direction + 1);

  // uses the clip, since the first and the last step may extend into rows that the line itself does not reach
  bool const isReached = std::max(start, stop) >= (steep ? clip.top : clip.left);
  visible = isReached && Reaches(a.x, b.x, clip.left, clip.right) && Reaches(a.y, b.y, clip.top, clip.bottom);
  if (!visible) return;
  double low = std::max<double>(std::min(start, stop), steep ? area.top : area.left);
  double high = std::min<double>(std::max(start, stop), (steep ? area.bottom : area.right) - 1.0);
  if (slope != 0) {  // where the line crosses the area along the other axis, plus a step at each end
    double const enters = origin + (acrossLow - 1.0 - offset) / slope;
    double const leaves = origin + (acrossHigh - offset) / slope;
    low = std::max(low, floor(std::min(enters, leaves)) - 1);
    high = std::min(high, ceil(std::max(enters, leaves)) + 1);
  }
  if (!(high >= low)) return;
  first = static_cast<int>(direction > 0 ? low : high);
  before = Modulo(fabs((direction > 0 ? low : high) - start));
  walked = static_cast<int>(high - low) + 1;
}

}  // namespace yk::raster
