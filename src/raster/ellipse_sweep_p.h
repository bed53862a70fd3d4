// Converts an ellipse, or the ring inside its edge, into the coverage of each pixel.
//
// Curves of common sizes are walked along as polygons of the same area. Of all others, the point at the
// height where each row begins and ends is computed; the arcs between are approximated by chords, in which
// all four quarters are alike.
#pragma once

#include "area_p.h"
#include "coverage_row_p.h"

namespace yk::raster {

/// The edge of an ellipse, or the curve at a distance inside it, relative to the centre: its right half, from
/// the top to the bottom.
class EllipseCurve {
 public:
  /// The curve of the points at a distance of at least `inset` from the edge; `inset` must be less than both
  /// radii.
  EllipseCurve(point2d const& radius, double inset) noexcept;

  /// A point of the curve, and the direction that determines it: a unit vector.
  struct Point {
    point2d direction;
    double x, y;
  };

  double Height() const noexcept { return bottom.y; }
  /// Moves to the point at a height, or to the nearest end.
  Point const& MoveTo(double y) noexcept {
    Point const next = AtHeight(y);
    stepBefore = step;
    step = next.direction.y - here.direction.y;
    return here = next;
  }
  Point const& Here() const noexcept { return here; }
  /// The one or two points on the horizontal axis: the last above it, and the first below it.
  Point AboveAxis() const noexcept { return Mirrored(axis); }
  Point BelowAxis() const noexcept { return axis; }
  /// The point of the direction at a part of the way from one to another.
  Point Between(Point const& a, Point const& b, double part) const noexcept;
  /// The number of chords, of equal parts of the arc between two points, that deviate little enough from it.
  int ChordsNeeded(Point const& a, Point const& b) const noexcept;
  /// The squared distance of two directions.
  static double Distance2(Point const& a, Point const& b) noexcept;

 private:
  Point At(point2d const& direction) const noexcept;
  Point AtHeight(double y) const noexcept;
  Point Solve(double y) const noexcept;
  static Point Mirrored(Point const& p) noexcept { return {{p.direction.x, -p.direction.y}, p.x, -p.y}; }

  point2d const radius;
  double const inset;
  double const bend;        // of an arc of the longer radius: the deviation of a chord, over the one allowed
  point2d const stretched;  // the squared radii, relative to the longer one
  Point axis, bottom;       // the ends of the lower half
  Point here;
  double step = 0, stepBefore = 0;  // of the direction's y, to the last points found
};

/// The right half of the same curve as a polygon, from the top to the bottom. Each chord turns the direction
/// by the same angle, and has the area of its arc. The chords do not depend on the rows.
class EllipseWalk {
 public:
  /// Whether the curve may be walked along: it is smooth, and neither very large nor very small.
  static bool Suits(point2d const& radius, double inset) noexcept;

  /// Must suit, or not be used.
  // cppcheck-suppress uninitMemberVar  // the upper vertices are kept for the lower half
  EllipseWalk(point2d const& radius, double inset) noexcept;

  double Height() const noexcept { return -upper[0].y; }
  /// Moves down to a height, and calls cover(from, to) for each chord, or part of one, on the way.
  template <class Cover>
  void MoveTo(double y, Cover cover) noexcept {
    for (; at < 2 * quarter && end.y <= y; Next()) cover(here, end);
    if (at == 2 * quarter || here.y >= y) return;
    point2d const cut = {start.x + (y - start.y) * slope, y};
    cover(here, cut);
    here = cut;
  }

 private:
  static constexpr int MOST = 384;  // chords of a quarter

  void Next() noexcept;
  point2d Vertex() const noexcept;
  void Turn() noexcept;

  int const quarter;  // chords
  int at = -1;        // the current chord
  double const inset;
  point2d turn;     // the direction by which each chord turns
  point2d radius;   // of the polygon's vertices
  double swelling;  // of the inset's, where the curve is a circle of radius 1
  point2d direction = {0, -1};
  point2d start, end;  // of the chord
  point2d here;
  double slope = 0;  // x per y
  point2d upper[MOST + 1];
};

class EllipseSweep {
 public:
  EllipseSweep(xrect2d const& clip, Ellipse const& ellipse) noexcept;

  /// Paints these rows, which must be inside the clip. False when there is no memory.
  bool PaintRows(int first, int count, SpanPainter& painter) noexcept;

 private:
  using Point = EllipseCurve::Point;

  void CoverRow(double to) noexcept;
  void Cover(EllipseCurve& curve, double to, int sign) noexcept;
  void CoverArc(EllipseCurve const& curve, Point const& a, Point const& b, int sign, int depth) noexcept;
  /// The area to the right of a chord of the right half, and to the left of its mirror image.
  template <class P>
  void CoverChord(P const& a, P const& b, int sign) noexcept;
  bool IsVisible(Point const& a, Point const& b) const noexcept;

  double const width;    // of the clip
  point2d const centre;  // x relative to the left of the clip
  bool const isRing;
  bool const isWhole;  // between the sides of the clip
  bool const isWalked;
  EllipseCurve outer, inner;
  EllipseWalk outerWalk, innerWalk;
  CoverageRow row;
};

}  // namespace yk::raster
