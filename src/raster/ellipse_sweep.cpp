#include "ellipse_sweep_p.h"

#include <math.h>

#include <algorithm>

namespace yk::raster {
namespace {

// An arc is approximated by chords that deviate from it by at most this much, and is moved outward to make up
// for the area that they cut off.
constexpr double FLATNESS = 1.0 / 1100;
constexpr double BULGE = FLATNESS / 3;

// The vertices of a polygon of the same area as an ellipse are outside it, at most so far, and the middles
// of its chords half as far inside.
constexpr double OUTSIDE = 1.0 / 660;

constexpr double RIGHT_ANGLE = 1.5707963267948966;

// Radii that are walked along: there are few chords, and they are longer than rounding errors.
constexpr double LEAST_WALKED = 1.0 / 64;
constexpr double MOST_WALKED = 1024;

// An arc is halved, at most so many times, until its ends are near enough and it needs few enough chords.
constexpr int MAX_ARC_DEPTH = 40;
constexpr double NEAR2 = 1.0 / 16;
constexpr int MOST_CHORDS = 64;

bool IsRing(Ellipse const& e) noexcept { return e.ring > 0 && e.ring < std::min(e.radius.x, e.radius.y); }

// When the inset exceeds the ellipse's radius of curvature at the ends of the longer axis, the curve folds
// over there and crosses itself on that axis; the part beyond is nearer to the edge than the inset. This is
// the direction's component across the axis at that crossing; 0 when the curve is smooth.
double EndOfSmooth(point2d const& radius, double inset) noexcept {
  double const shorter = std::min(radius.x, radius.y), longer = std::max(radius.x, radius.y);
  double const reach = inset / shorter * longer;
  if (reach <= shorter) return 0;
  double const share = (reach - shorter) / (longer - shorter) * ((reach + shorter) / (longer + shorter));
  return std::min(sqrt(share), 1.0);
}

double Squared(double v) noexcept { return v * v; }

}  // namespace

// ---- the curve

EllipseCurve::EllipseCurve(point2d const& givenRadius, double inset) noexcept
    : radius({givenRadius.x + BULGE, givenRadius.y + BULGE}),
      inset(inset),
      bend(Squared(std::min(radius.x, radius.y) / (8 * FLATNESS))),
      stretched({Squared(radius.x / std::max(radius.x, radius.y)),
                 Squared(radius.y / std::max(radius.x, radius.y))}) {
  double const across = EndOfSmooth(radius, inset), along = sqrt((1 - across) * (1 + across));
  bool const isWide = radius.x > radius.y;
  axis = At(isWide ? point2d{along, across} : point2d{1, 0});
  bottom = At(isWide ? point2d{0, 1} : point2d{across, along});
  axis.y = 0;  // exactly
  here = Mirrored(bottom);
}

EllipseCurve::Point EllipseCurve::At(point2d const& direction) const noexcept {
  auto const& [c, s] = direction;
  if (inset == 0) return {direction, radius.x * c, radius.y * s};
  double const share = inset / sqrt(Squared(radius.y * c) + Squared(radius.x * s));
  return {direction, std::max(c * (radius.x - radius.y * share), 0.0), s * (radius.y - radius.x * share)};
}

EllipseCurve::Point EllipseCurve::AtHeight(double y) const noexcept {
  double const height = fabs(y);
  if (height >= bottom.y) return y < 0 ? Mirrored(bottom) : bottom;
  if (inset == 0) {
    double const c = sqrt((radius.y - y) * (radius.y + y)) / radius.y;
    return {{c, y / radius.y}, radius.x * c, y};
  }
  Point const point = Solve(height);
  return y < 0 ? Mirrored(point) : point;
}

// The point at a height, by Newton's method, which is kept inside an interval that contains the solution. It
// begins where the last steps lead to: heights are mostly a unit apart.
EllipseCurve::Point EllipseCurve::Solve(double y) const noexcept {
  constexpr int MOST_STEPS = 60;
  constexpr double TOLERANCE = 1e-6;
  double const enough = std::max(TOLERANCE, radius.y * 1e-15);
  double low = axis.direction.y, high = bottom.direction.y;
  double s = std::clamp(fabs(here.direction.y + 2 * step - stepBefore), low, high);
  for (int i = 0;; ++i) {
    double const c2 = (1 - s) * (1 + s), n2 = Squared(radius.y) * c2 + Squared(radius.x * s);
    double const share = inset / sqrt(n2);
    double const excess = s * (radius.y - radius.x * share) - y;
    if (fabs(excess) <= enough || i == MOST_STEPS) {
      double const c = sqrt(c2);
      return {{c, s}, std::max(c * (radius.x - radius.y * share), 0.0), y};
    }
    (excess > 0 ? high : low) = s;
    s -= excess / (radius.y - share * radius.x * (Squared(radius.y) / n2));
    if (!(s > low && s < high)) s = (low + high) / 2;
  }
}

double EllipseCurve::Distance2(Point const& a, Point const& b) noexcept {
  return Squared(a.direction.x - b.direction.x) + Squared(a.direction.y - b.direction.y);
}

// On the straight line between two directions, and then moved out to the circle.
EllipseCurve::Point EllipseCurve::Between(Point const& a, Point const& b, double part) const noexcept {
  point2d const d = {a.direction.x + (b.direction.x - a.direction.x) * part,
                     a.direction.y + (b.direction.y - a.direction.y) * part};
  double const inside = part * (1 - part) * Distance2(a, b);  // 1 minus the squared length
  if (inside < NEAR2 / 4) {                                   // the first terms of the series
    double const factor =
        1 + inside * (1.0 / 2 + inside * (3.0 / 8 + inside * (5.0 / 16 + inside * (35.0 / 128))));
    return At({d.x * factor, d.y * factor});
  }
  double const length = sqrt(Squared(d.x) + Squared(d.y));
  return At(length > 0 ? point2d{d.x / length, d.y / length} : point2d{1, 0});
}

// The chord of an angle t deviates by t t / 8 from a circle, and by that times both radii over the speed of
// the point from an ellipse; a curve inside it is even flatter. The radii may be too large to be multiplied:
// all lengths are relative to the longer one.
int EllipseCurve::ChordsNeeded(Point const& a, Point const& b) const noexcept {
  auto const speed2 = [this](Point const& p) {
    return Squared(p.direction.y) * stretched.x + Squared(p.direction.x) * stretched.y;
  };
  double const deviation2 = Squared(Distance2(a, b)) * bend;
  double const slowest2 = std::min(speed2(a), speed2(b));
  if (deviation2 <= slowest2) return 1;
  return static_cast<int>(std::min<double>(sqrt(sqrt(deviation2 / slowest2)), MOST_CHORDS)) + 1;
}

// ---- the polygon

bool EllipseWalk::Suits(point2d const& radius, double inset) noexcept {
  auto const [shorter, longer] = std::minmax(radius.x, radius.y);
  return shorter >= LEAST_WALKED && longer <= MOST_WALKED && EndOfSmooth(radius, inset) == 0;
}

// A chord of an angle t has its ends t t / 12 times the radius outside.
EllipseWalk::EllipseWalk(point2d const& givenRadius, double inset) noexcept
    : quarter([&] {
        double const longer = std::clamp(std::max(givenRadius.x, givenRadius.y), LEAST_WALKED, MOST_WALKED);
        return static_cast<int>(RIGHT_ANGLE * sqrt(longer / (12 * OUTSIDE))) + 1;
      }()),
      inset(inset) {
  static_assert(RIGHT_ANGLE * RIGHT_ANGLE * MOST_WALKED < 12 * OUTSIDE * (MOST - 1) * (MOST - 1));
  double const angle = RIGHT_ANGLE / quarter;
  turn = {cos(angle), sin(angle)};
  double const outward = sqrt(angle / turn.y);
  radius = {givenRadius.x * outward, givenRadius.y * outward};
  swelling = angle * angle / 12 * Squared(radius.x * radius.y);
  end = upper[0] = Vertex();
  Next();
}

point2d EllipseWalk::Vertex() const noexcept {
  auto const& [c, s] = direction;
  if (inset == 0) return {radius.x * c, radius.y * s};
  double const n = 1 / sqrt(Squared(radius.y * c) + Squared(radius.x * s));
  double const share = inset * n * (1 + swelling * Squared(n * n));
  return {std::max(c * (radius.x - radius.y * share), 0.0), s * (radius.y - radius.x * share)};
}

void EllipseWalk::Turn() noexcept {
  direction = {direction.x * turn.x - direction.y * turn.y, direction.y * turn.x + direction.x * turn.y};
}

void EllipseWalk::Next() noexcept {
  here = start = end;
  if (++at == 2 * quarter) return;
  if (at < quarter) {
    Turn();
    if (at == quarter - 1) direction = {1, 0};  // exactly
    end = upper[at + 1] = Vertex();
  } else {
    point2d const& mirrored = upper[2 * quarter - 1 - at];
    end = {mirrored.x, -mirrored.y};
  }
  slope = (end.x - start.x) / (end.y - start.y);
}

// ---- rows

EllipseSweep::EllipseSweep(xrect2d const& clip, Ellipse const& ellipse) noexcept
    : width(static_cast<double>(Width(clip))),
      centre({ellipse.centre.x - clip.left, ellipse.centre.y}),
      isRing(IsRing(ellipse)),
      isWhole(centre.x - ellipse.radius.x >= 1 && centre.x + ellipse.radius.x <= width - 1),
      isWalked(EllipseWalk::Suits(ellipse.radius, isRing ? ellipse.ring : 0)),
      outer(ellipse.radius, 0),
      inner(ellipse.radius, isRing ? ellipse.ring : 0),
      outerWalk(ellipse.radius, 0),
      innerWalk(ellipse.radius, isRing ? ellipse.ring : 0),
      row(clip, centre.x - ellipse.radius.x - OUTSIDE, centre.x + ellipse.radius.x + OUTSIDE) {}

bool EllipseSweep::PaintRows(int first, int count, SpanPainter& painter) noexcept {
  if (!row.Reserve()) return false;
  auto const inRows = [=](double y) { return static_cast<int>(std::clamp<double>(y, first, first + count)); };
  double const height = isWalked ? outerWalk.Height() : outer.Height();
  int const top = inRows(floor(centre.y - height)), end = inRows(ceil(centre.y + height));
  auto const ignore = [](point2d const&, point2d const&) {};
  if (isWalked) {
    outerWalk.MoveTo(top - centre.y, ignore);
    innerWalk.MoveTo(top - centre.y, ignore);
  } else {
    outer.MoveTo(top - centre.y);
    inner.MoveTo(top - centre.y);
  }
  for (int y = top; y < end; ++y) {
    CoverRow(y + 1 - centre.y);
    row.Paint(y, painter);
  }
  return true;
}

void EllipseSweep::CoverRow(double to) noexcept {
  if (isWalked) {
    outerWalk.MoveTo(to, [this](point2d const& a, point2d const& b) { CoverChord(a, b, 1); });
    if (isRing) innerWalk.MoveTo(to, [this](point2d const& a, point2d const& b) { CoverChord(a, b, -1); });
  } else {
    Cover(outer, to, 1);
    if (isRing) Cover(inner, to, -1);
  }
}

// Covers the inside of a curve down to a height; a negative sign uncovers it.
void EllipseSweep::Cover(EllipseCurve& curve, double to, int sign) noexcept {
  Point const above = curve.Here(), below = curve.MoveTo(to);
  if (above.y == below.y) return;
  if (above.y >= 0 || below.y <= 0) return CoverArc(curve, above, below, sign, MAX_ARC_DEPTH);
  CoverArc(curve, above, curve.AboveAxis(), sign, MAX_ARC_DEPTH);
  CoverArc(curve, curve.BelowAxis(), below, sign, MAX_ARC_DEPTH);
}

// Whether an arc, or its mirror image on the left, is at least partly beside neither side of the clip. An arc
// within a quarter is inside the bounding box of its ends.
bool EllipseSweep::IsVisible(Point const& a, Point const& b) const noexcept {
  auto const [near, far] = std::minmax(a.x, b.x);
  return isWhole || (centre.x + far >= 0 && centre.x + near <= width) ||
         (centre.x - near >= 0 && centre.x - far <= width);
}

void EllipseSweep::CoverArc(EllipseCurve const& curve, Point const& a, Point const& b, int sign,
                            int depth) noexcept {
  int const chords = curve.ChordsNeeded(a, b);
  if (depth == 0 || chords == 1 || !IsVisible(a, b)) return CoverChord(a, b, sign);
  if (chords > MOST_CHORDS || EllipseCurve::Distance2(a, b) > NEAR2) {
    Point const middle = curve.Between(a, b, 0.5);
    CoverArc(curve, a, middle, sign, depth - 1);
    return CoverArc(curve, middle, b, sign, depth - 1);
  }
  Point from = a;
  double const part = 1.0 / chords;
  for (int i = 1; i < chords; ++i) {
    Point const to = curve.Between(a, b, i * part);
    CoverChord(from, to, sign);
    from = to;
  }
  CoverChord(from, b, sign);
}

template <class P>
void EllipseSweep::CoverChord(P const& a, P const& b, int sign) noexcept {
  double const height = (b.y - a.y) * sign;
  if (isWhole) {
    row.CoverRightOf(centre.x - a.x, centre.x - b.x, height);
    return row.CoverRightOf(centre.x + a.x, centre.x + b.x, -height);
  }
  row.CoverClipped(centre.x - a.x, centre.x - b.x, height);
  row.CoverClipped(centre.x + a.x, centre.x + b.x, -height);
}

}  // namespace yk::raster
